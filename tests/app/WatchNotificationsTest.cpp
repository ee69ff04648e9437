// `kestrin watch` telling the desktop: a real private D-Bus daemon with our
// small notification server on it, the service as a separate process over a
// captured power-supply tree, and a full charge that ends when the test
// unplugs the adapter.
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/StateStore.hpp"
#include "tests/app/NotificationServer.hpp"
#include "tests/app/PrivateBus.hpp"
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

class WatchNotificationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
    ASSERT_TRUE(bus_.started()) << bus_.failure();
    fs::remove_all(work_);
    fs::create_directories(work_);
    ::setenv("KESTRIN_GROUP_DIR", (work_ / "group").c_str(), 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str(), 1);
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

  // The alerts list as the service last saved it, as text.
  std::string savedAlerts() const {
    const auto alerts = StateStore::peek(work_ / "state", "alerts");
    return alerts ? alerts->dump() : std::string();
  }

  // A handheld on its charger, its firmware holding the battery at 80%.
  void plugIn(const SysfsTree& tree) {
    write(tree.root() / "ACAD" / "online", "1\n");
    write(tree.root() / "BAT0" / "status", "Not charging\n");
    write(tree.root() / "BAT0" / "capacity", "80\n");
    write(tree.root() / "BAT0" / "power_now", "0\n");
    write(tree.root() / "BAT0" / "charge_control_end_threshold", "80\n");
  }

  void start(const fs::path& sysfs) {
    pid_ = spawnTool({"watch", "--interval", "1", "--sysfs", sysfs.string(), "--state", (work_ / "state").string()},
                     work_ / "watch.log");
    ASSERT_GT(pid_, 0);
  }

  int kestrin(const std::string& arguments) {
    const std::string command = std::string("'") + KESTRIN_TOOL_PATH + "' " + arguments + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  bool running() const { return widget::readWholeFile(work_ / "group" / "snapshot.json").has_value(); }

  // A full charge until unplug, then the adapter goes offline; what the
  // notification server received meanwhile.
  std::vector<NotificationServer::Notification> fullChargeThenUnplug(NotificationServer& server) {
    SysfsTree tree("legion-go-s");
    plugIn(tree);
    start(tree.root());
    EXPECT_TRUE(eventually([&] { return running(); })) << contents(work_ / "watch.log");
    EXPECT_EQ(kestrin("charge-full --until-unplug"), 0);
    EXPECT_EQ(contents(tree.root() / "BAT0" / "charge_control_end_threshold"), "100");

    write(tree.root() / "ACAD" / "online", "0\n");
    write(tree.root() / "BAT0" / "status", "Discharging\n");
    write(tree.root() / "BAT0" / "power_now", "9000000\n");
    EXPECT_TRUE(eventually([&] { return contents(tree.root() / "BAT0" / "charge_control_end_threshold") == "80"; }))
        << "the limit comes back when the adapter goes offline";
    std::this_thread::sleep_for(1500ms);  // a tick or so for the notification to leave
    ::kill(pid_, SIGTERM);
    int status = 0;
    EXPECT_TRUE(eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 10s));
    pid_ = -1;
    return server.received();
  }

  PrivateBus bus_;
  fs::path work_ = fs::temp_directory_path() / ("kestrin-watch-notify-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
  pid_t pid_ = -1;
};

TEST_F(WatchNotificationsTest, LimitBackOnReachesTheDesktopWhenItsSwitchIsOn) {
  NotificationServer server(bus_.address());
  ASSERT_TRUE(server.ready()) << server.failure();
  write(work_ / "state" / "settings.json", R"({"alerts": {"fullChargeRestored": true}})");
  const auto received = fullChargeThenUnplug(server);
  ASSERT_EQ(received.size(), 1u) << contents(work_ / "watch.log");
  EXPECT_EQ(received[0].appName, "Kestrin");
  EXPECT_EQ(received[0].summary, "Limit back on");
  EXPECT_EQ(received[0].replacesId, 0u);
}

TEST_F(WatchNotificationsTest, NothingReachesTheDesktopWhenItsSwitchIsOff) {
  NotificationServer server(bus_.address());
  ASSERT_TRUE(server.ready()) << server.failure();
  EXPECT_TRUE(fullChargeThenUnplug(server).empty());
  // It is in the alerts list all the same.
  EXPECT_NE(savedAlerts().find("fullChargeRestored"), std::string::npos);
}

TEST_F(WatchNotificationsTest, WithoutANotificationServerTheServiceGoesOn) {
  write(work_ / "state" / "settings.json", R"({"alerts": {"fullChargeRestored": true}})");
  SysfsTree tree("legion-go-s");
  plugIn(tree);
  start(tree.root());
  ASSERT_TRUE(eventually([&] { return running(); }));
  EXPECT_EQ(kestrin("charge-full --until-unplug"), 0);
  write(tree.root() / "ACAD" / "online", "0\n");
  write(tree.root() / "BAT0" / "status", "Discharging\n");
  EXPECT_TRUE(eventually([&] { return contents(tree.root() / "BAT0" / "charge_control_end_threshold") == "80"; }));
  EXPECT_TRUE(eventually([&] { return savedAlerts().find("fullChargeRestored") !=
                                      std::string::npos; }))
      << "saved with the next tick's states";
  EXPECT_EQ(::kill(pid_, 0), 0) << "still running";
}

#endif  // KESTRIN_TOOL_PATH

}  // namespace
}  // namespace kestrin::app::live
