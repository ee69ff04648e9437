// `kestrin watch` as a person runs it: a separate process over a captured
// power-supply tree that the test changes underneath it, asked for things by
// `kestrin limit`, `charge-full` and the like from yet another process,
// telling the desktop through a private D-Bus daemon, and stopped with SIGTERM.
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/StateStore.hpp"
#include "tests/common/NotificationServer.hpp"
#include "tests/common/PrivateBus.hpp"
#include "tests/common/SysfsTree.hpp"
#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>

namespace kestrin::app::live {
namespace {

using batterycore::testing::eventually;
using namespace std::chrono_literals;

class WatchCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
    fs::remove_all(work_);
    fs::create_directories(work_);
    ::setenv("KESTRIN_GROUP_DIR", group().c_str(), 1);
  }
  void TearDown() override {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    ::unsetenv("KESTRIN_GROUP_DIR");
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    fs::remove_all(work_);
  }

  fs::path group() const { return work_ / "group"; }
  fs::path state() const { return work_ / "state"; }
  std::string log() const { return contents(work_ / "watch.log"); }

  void start(const fs::path& sysfs, const std::string& interval, const std::vector<std::string>& more = {}) {
    std::vector<std::string> args{"watch", "--interval", interval, "--sysfs", sysfs.string(), "--state",
                                  state().string()};
    args.insert(args.end(), more.begin(), more.end());
    pid_ = batterycore::testing::spawnKestrin(args, work_ / "watch.log");
    ASSERT_GT(pid_, 0);
  }
  // The exit status once it ended (-1 when it did not in time).
  int exited() {
    int status = 0;
    if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 10s)) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  int stop() {
    ::kill(pid_, SIGTERM);
    return exited();
  }
  // `kestrin ARGS` from another process, not on a terminal; its exit status, its output in `said`.
  int kestrin(const std::string& arguments) {
    const auto run = batterycore::testing::runKestrinWith(arguments, "2>&1 </dev/null");
    said = run.out;
    return run.exitCode;
  }
  std::optional<widget::WidgetSnapshot> widget() const {
    const auto bytes = widget::readWholeFile(group() / "snapshot.json");
    return bytes ? widget::WidgetSnapshot::decoded(*bytes) : std::nullopt;
  }
  bool listening() const {
    if (!fs::exists(group() / "Preferences")) return false;
    std::this_thread::sleep_for(300ms);  // let it listen before asking
    return true;
  }

  fs::path work_ = fs::temp_directory_path() / ("kestrin-watch-cmd-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
  pid_t pid_ = -1;
  std::string said;
};

TEST_F(WatchCommandTest, TicksOnTheLiveTreeAndStopsWithEveryStateOnDisk) {
  SysfsTree tree("thinkpad-two-batteries");  // held at 80% by a threshold of 80
  const fs::path metrics = work_ / "kestrin.prom";
  start(tree.root(), "1", {"--metrics", metrics.string()});
  ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << log();
  EXPECT_EQ(widget()->percent, 80);
  EXPECT_EQ(widget()->limit, 80);

  // Unplugged: the battery discharges, and the widget and the metrics follow.
  write(tree.root() / "BAT0" / "status", "Discharging\n");
  write(tree.root() / "BAT0" / "capacity", "78\n");
  write(tree.root() / "BAT0" / "power_now", "9500000\n");
  ASSERT_TRUE(eventually([&] { return widget() && widget()->percent == 78; })) << log();
  EXPECT_TRUE(eventually([&] { return contents(metrics).find("kestrin_battery_charge_ratio 0.78\n") != std::string::npos; }))
      << contents(metrics);
  EXPECT_NE(contents(metrics).find("kestrin_charge_limit_ratio 0.8\n"), std::string::npos);

  EXPECT_EQ(stop(), 0) << log();
  for (const char* name : {"monitor", "watchdog", "calibration", "session", "departures", "smartTopUp", "highCharge",
                           "health", "milestone", "alertPolicy", "alerts", "chargers", "weakCharger", "threshold"}) {
    EXPECT_TRUE(StateStore::peek(state(), name)) << name;
  }
  // The last reading is on disk, not only the one from ten minutes ago.
  EXPECT_EQ(StateStore::peek(state(), "monitor").value_or(batterycore::Json()).at("last").at("percent"), 78);
  EXPECT_EQ(StateStore::peek(state(), "threshold"), batterycore::Json({{"restore", 80}}));
}

// An hour between ticks: only a request's call can wake the service in time.
TEST_F(WatchCommandTest, AnswersWhatThePersonAsksForBetweenTicksAndAcrossARestart) {
  EXPECT_EQ(kestrin("skip-today"), 1);
  EXPECT_EQ(said, "Kestrin isn't running yet. Open it once, then try again.\n");

  SysfsTree tree("thinkpad-two-batteries");  // plugged in, held at 80%
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << log();
  EXPECT_EQ(kestrin("limit off"), 0) << said;
  EXPECT_EQ(contents(threshold), "100");
  EXPECT_EQ(widget()->limit, std::nullopt) << "the widget shows the change at once";
  // A restart in between: the threshold to put back is remembered on disk.
  EXPECT_EQ(stop(), 0) << "a signal ends the hour-long wait";
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return listening(); }));
  // Each request, the start of its answer, and the threshold it leaves (none: not looked at).
  const struct {
    const char* arguments;
    int exitCode;
    const char* says;
    const char* threshold;
  } requests[] = {
      {"limit toggle", 0, "", "80"},  // the widget shows it off
      {"charge-full --stop", 1, "No full charge is running.\n", nullptr},
      {"charge-full --until-unplug --hours 3", 0, "Charging to 100%. The limit comes back on when you unplug or ", "100"},
      {"charge-full --when-full", 1, "A full charge is already running.\n", nullptr},
      {"charge-full --stop", 0, "Charge limit on. The battery will rest at 80%.\n", "80"},
      {"skip-today", 0, "", nullptr},
      {"forget-departures", 1, "", nullptr},  // not on a terminal and no --yes
      {"forget-departures --yes", 0, "Forgot the unplug times. Kestrin starts learning them again.\n", nullptr},
  };
  for (const auto& request : requests) {
    EXPECT_EQ(kestrin(request.arguments), request.exitCode) << request.arguments << ": " << said;
    EXPECT_TRUE(said.starts_with(request.says)) << request.arguments << ": " << said;
    EXPECT_TRUE(!request.threshold || contents(threshold) == request.threshold) << request.arguments;
  }
  // Unplugged, a full charge is refused; the stopped one left an alert.
  write(tree.root() / "BAT0" / "status", "Discharging\n");
  write(tree.root() / "BAT0" / "power_now", "9500000\n");
  EXPECT_EQ(kestrin("charge-full --until-unplug"), 1);
  EXPECT_EQ(said, "Plug in first to charge to 100%.\n");
  const std::string list = "alerts --list --state '" + state().string() + "'";
  EXPECT_EQ(kestrin(list), 0) << said;
  EXPECT_NE(said.find("Limit back on"), std::string::npos) << said;
  EXPECT_EQ(kestrin("alerts --clear"), 0) << said;
  EXPECT_EQ(stop(), 0) << log();
  EXPECT_EQ(kestrin(list), 0);
  EXPECT_EQ(said, "No alerts. All quiet.\n");
}

TEST_F(WatchCommandTest, RefusesToStartWithoutABattery) {
  SysfsTree tree("peripherals-only");
  start(tree.root(), "60");
  EXPECT_EQ(exited(), 1);
  EXPECT_NE(log().find("no laptop battery under"), std::string::npos) << log();
}

// A full charge until unplug, then the adapter goes offline: "Limit back on"
// reaches the desktop when its switch is on, and the alerts list always; a
// desktop without a notification server changes nothing else.
TEST_F(WatchCommandTest, TheLimitBackOnReachesTheDesktopWhenItsSwitchIsOn) {
  if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
  PrivateBus bus;
  ASSERT_TRUE(bus.started()) << bus.failure();
  ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
  const struct {
    const char* what;
    bool server, switchOn;
    std::size_t shown;
  } cases[] = {{"switch on", true, true, 1}, {"switch off", true, false, 0}, {"no server", false, true, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(state());
    fs::remove_all(group());
    if (c.switchOn) write(state() / "settings.json", R"({"alerts": {"fullChargeRestored": true}})");
    std::optional<NotificationServer> server;
    if (c.server) server.emplace(bus.address());
    ASSERT_TRUE(!server || server->ready()) << server->failure();
    // A handheld on its charger, its firmware holding the battery at 80%.
    SysfsTree tree("legion-go-s");
    const fs::path battery = tree.root() / "BAT0";
    write(tree.root() / "ACAD" / "online", "1\n");
    write(battery / "status", "Not charging\n");
    write(battery / "capacity", "80\n");
    write(battery / "power_now", "0\n");
    write(battery / "charge_control_end_threshold", "80\n");
    start(tree.root(), "1");
    ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << log();
    EXPECT_EQ(kestrin("charge-full --until-unplug"), 0) << said;
    EXPECT_EQ(contents(battery / "charge_control_end_threshold"), "100");

    write(tree.root() / "ACAD" / "online", "0\n");
    write(battery / "status", "Discharging\n");
    write(battery / "power_now", "9000000\n");
    EXPECT_TRUE(eventually([&] { return contents(battery / "charge_control_end_threshold") == "80"; }))
        << "the limit comes back when the adapter goes offline";
    // Saved in the tick that showed it, after the desktop had it.
    EXPECT_TRUE(eventually([&] {
      const auto alerts = StateStore::peek(state(), "alerts");
      return alerts && alerts->dump().find("fullChargeRestored") != std::string::npos;
    })) << log();
    EXPECT_EQ(::kill(pid_, 0), 0) << "still running";
    EXPECT_EQ(stop(), 0) << log();
    if (!server) continue;
    const auto received = server->received();
    ASSERT_EQ(received.size(), c.shown) << log();
    for (const auto& shown : received) {
      EXPECT_EQ(shown.appName, "Kestrin");
      EXPECT_EQ(shown.summary, "Limit back on");
      EXPECT_EQ(shown.replacesId, 0u);
    }
  }
}

}  // namespace
}  // namespace kestrin::app::live
