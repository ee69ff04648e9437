// `kestrin watch` as a person runs it: a separate process over a captured
// power-supply tree that the test changes underneath it, asked to switch the
// limit by `kestrin limit` from yet another process, and stopped with SIGTERM.
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/StateStore.hpp"
#include "tests/app/SysfsTree.hpp"
#include "tests/app/ToolProcess.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

namespace kestrin::app::live {
namespace {

using namespace std::chrono_literals;

#ifdef KESTRIN_TOOL_PATH

class WatchCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
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
    fs::remove_all(work_);
  }

  fs::path group() const { return work_ / "group"; }
  fs::path state() const { return work_ / "state"; }

  void start(const fs::path& sysfs, const std::string& interval, const std::vector<std::string>& more = {}) {
    std::vector<std::string> args{"watch", "--interval", interval, "--sysfs", sysfs.string(), "--state",
                                  state().string()};
    args.insert(args.end(), more.begin(), more.end());
    pid_ = spawnTool(args, work_ / "watch.log");
    ASSERT_GT(pid_, 0);
  }

  // Sends SIGTERM and returns the exit status (-1 when it did not exit in time).
  int stop() {
    ::kill(pid_, SIGTERM);
    int status = 0;
    const bool exited = eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 10s);
    if (!exited) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  // `kestrin ARGS` from another process; its exit status, its output in `said`.
  int kestrin(const std::string& arguments) {
    const std::string command = std::string("'") + KESTRIN_TOOL_PATH + "' " + arguments + " >'" +
                                (work_ / "limit.out").string() + "' 2>&1 </dev/null";
    const int status = std::system(command.c_str());
    said = contents(work_ / "limit.out");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  int limit(const std::string& state) { return kestrin("limit " + state); }
  std::string said;

  std::optional<widget::WidgetSnapshot> widget() const {
    const auto bytes = widget::readWholeFile(group() / "snapshot.json");
    return bytes ? widget::WidgetSnapshot::decoded(*bytes) : std::nullopt;
  }

  fs::path work_ = fs::temp_directory_path() / ("kestrin-watch-cmd-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
  pid_t pid_ = -1;
};

TEST_F(WatchCommandTest, TicksOnTheLiveTreeAndStopsWithEveryStateOnDisk) {
  SysfsTree tree("thinkpad-two-batteries");  // held at 80% by a threshold of 80
  const fs::path metrics = work_ / "kestrin.prom";
  start(tree.root(), "1", {"--metrics", metrics.string()});
  ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << contents(work_ / "watch.log");
  EXPECT_EQ(widget()->percent, 80);
  EXPECT_EQ(widget()->limit, 80);

  // Unplugged: the battery discharges. The widget follows once the mood changes.
  write(tree.root() / "BAT0" / "status", "Discharging\n");
  write(tree.root() / "BAT0" / "capacity", "78\n");
  write(tree.root() / "BAT0" / "power_now", "9500000\n");
  ASSERT_TRUE(eventually([&] { return widget() && widget()->percent == 78; })) << contents(work_ / "watch.log");

  EXPECT_TRUE(eventually([&] { return contents(metrics).find("kestrin_battery_charge_ratio 0.78\n") != std::string::npos; }))
      << contents(metrics);
  EXPECT_NE(contents(metrics).find("kestrin_charge_limit_ratio 0.8\n"), std::string::npos);

  EXPECT_EQ(stop(), 0) << contents(work_ / "watch.log");
  for (const char* name : {"monitor", "watchdog", "calibration", "session", "departures", "smartTopUp",
                           "highCharge", "health", "milestone", "alertPolicy", "alerts", "chargers", "weakCharger",
                           "threshold"}) {
    EXPECT_TRUE(StateStore::peek(state(), name)) << name;
  }
  // The last reading is on disk, not only the one from ten minutes ago.
  const auto monitor = StateStore::peek(state(), "monitor");
  ASSERT_TRUE(monitor);
  EXPECT_EQ(monitor->at("last").at("percent"), 78);
  EXPECT_EQ(StateStore::peek(state(), "threshold"), batterycore::Json({{"restore", 80}}));
}

TEST_F(WatchCommandTest, AnswersTheLimitControlBetweenTicksAndRestoresAfterARestart) {
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  // An hour between ticks: only the control's notification can wake it in time.
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << contents(work_ / "watch.log");

  EXPECT_EQ(limit("off"), 0) << contents(work_ / "limit.out");
  EXPECT_EQ(contents(threshold), "100");
  EXPECT_EQ(widget()->limit, std::nullopt) << "the widget shows the change at once";

  // A restart in between: the threshold to put back is remembered on disk.
  EXPECT_EQ(stop(), 0) << "a signal ends the hour-long wait";
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return fs::exists(group() / "Preferences"); }));
  std::this_thread::sleep_for(300ms);  // let it listen before asking
  EXPECT_EQ(limit("toggle"), 0) << contents(work_ / "limit.out");  // the widget shows it off
  EXPECT_EQ(contents(threshold), "80");
  EXPECT_EQ(stop(), 0);
}

TEST_F(WatchCommandTest, CarriesOutWhatThePersonAsksFor) {
  SysfsTree tree("thinkpad-two-batteries");  // plugged in, held at 80%
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return widget().has_value(); })) << contents(work_ / "watch.log");

  EXPECT_EQ(kestrin("charge-full --stop"), 1);
  EXPECT_EQ(said, "No full charge is running.\n");

  EXPECT_EQ(kestrin("charge-full --until-unplug --hours 3"), 0) << said;
  EXPECT_EQ(said.rfind("Charging to 100%. The limit comes back on when you unplug or ", 0), 0u) << said;
  EXPECT_EQ(contents(threshold), "100");
  EXPECT_EQ(kestrin("charge-full --when-full"), 1);
  EXPECT_EQ(said, "A full charge is already running.\n");
  EXPECT_EQ(kestrin("charge-full --stop"), 0) << said;
  EXPECT_EQ(said, "Charge limit on. The battery will rest at 80%.\n");
  EXPECT_EQ(contents(threshold), "80");

  EXPECT_EQ(kestrin("skip-today"), 0) << said;
  EXPECT_EQ(kestrin("forget-departures"), 1) << "not on a terminal and no --yes";
  EXPECT_EQ(kestrin("forget-departures --yes"), 0) << said;
  EXPECT_EQ(said, "Forgot the unplug times. Kestrin starts learning them again.\n");

  // Unplugged, a full charge is refused; the stopped one left an alert.
  write(tree.root() / "BAT0" / "status", "Discharging\n");
  write(tree.root() / "BAT0" / "power_now", "9500000\n");
  EXPECT_EQ(kestrin("charge-full --until-unplug"), 1);
  EXPECT_EQ(said, "Plug in first to charge to 100%.\n");
  EXPECT_EQ(stop(), 0);

  EXPECT_EQ(kestrin("alerts --list --state '" + state().string() + "'"), 0) << said;
  EXPECT_NE(said.find("Limit back on"), std::string::npos) << said;
  start(tree.root(), "3600");
  ASSERT_TRUE(eventually([&] { return fs::exists(group() / "Preferences"); }));
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(kestrin("alerts --clear"), 0) << said;
  EXPECT_EQ(stop(), 0);
  EXPECT_EQ(kestrin("alerts --list --state '" + state().string() + "'"), 0);
  EXPECT_EQ(said, "No alerts. All quiet.\n");
}

TEST_F(WatchCommandTest, NothingAnswersWhenNoServiceRuns) {
  EXPECT_EQ(kestrin("skip-today"), 1);
  EXPECT_EQ(said, "Kestrin isn't running yet. Open it once, then try again.\n");
}

TEST_F(WatchCommandTest, RefusesToStartWithoutABattery) {
  SysfsTree tree("peripherals-only");
  start(tree.root(), "60");
  int status = 0;
  ASSERT_TRUE(eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 10s));
  pid_ = -1;
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_NE(contents(work_ / "watch.log").find("no laptop battery under"), std::string::npos);
}

#endif  // KESTRIN_TOOL_PATH

}  // namespace
}  // namespace kestrin::app::live
