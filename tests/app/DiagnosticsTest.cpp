// The diagnostic report a person pastes into a support request: one line per
// rule, the last alerts, and nothing that names the person or the machine.
#include "app/Diagnostics.hpp"

#include "tests/common/SysfsTree.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace kestrin::app {
namespace {

using batterycore::BatteryAlert;
namespace fs = std::filesystem;

TEST(Diagnostics, OneLinePerRuleTheLastTwentyAlertsAndNoNames) {
  const batterycore::testing::UsingLocale english("en_US");
  DiagnosticsInput input;
  input.machine = MachineFacts{.apple = false, .version = "Kestrin 0.1.0", .system = "Linux 6.8.0-45-generic",
                               .arch = "x86_64", .osVersion = {6, 8, 0}, .limitSupported = true, .limitSwitch = "end threshold 80%",
                               .model = "LENOVO 21CB on Alice-Laptop", .hostName = "alice-laptop",
                               .userName = "alice", .homeFolder = "/home/alice", .privateWords = {"SN-0042"}};
  input.settings.calendarPath = "/home/alice/.calendars/alice.ics";
  for (int i = 0; i < 25; ++i) {
    input.state.alerts.push_back({.kind = BatteryAlert::Kind::accessoryLow,
                                  .at = batterycore::dateFromSecondsSince1970(1772439600.0 + 3600.0 * i),
                                  .title = "Alert " + std::to_string(i) + " from alice's mouse SN-0042",
                                  .body = "Body", .technicalBody = std::nullopt});
  }
  const auto report = diagnosticReport(input);
  for (const char* secret : {"alice", "Alice", "SN-0042", "/home/"}) {
    EXPECT_EQ(report.find(secret), std::string::npos) << secret << " in\n" << report;
  }
  EXPECT_NE(report.find("calendar.path = ~/.calendars/***.ics"), std::string::npos) << report;
  EXPECT_NE(report.find("Model: LENOVO 21CB on ***"), std::string::npos) << report;
  std::vector<std::string> lines;
  std::istringstream in(report);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  const auto starting = [&](const std::string& prefix) {
    return std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.starts_with(prefix); });
  };
  for (const char* label : {"Limit watchdog: ", "Calibration: ", "Full charge: ", "Smart top-up: ", "Calendar trips: ",
                            "Weekly note: ", "Background drain: ", "Accessories: ", "Days at high charge: ",
                            "Health samples: ", "Health milestone: ", "Weak charger: ", "Alert pacing: "}) {
    EXPECT_EQ(starting(label), 1) << label;
  }
  // 25 alerts an hour apart from 08:20: the newest is number 24, the oldest shown number 5.
  EXPECT_EQ(starting("2026-03-"), 20);
  const auto first = std::find_if(lines.begin(), lines.end(), [](const auto& l) { return l.starts_with("2026-03-"); });
  ASSERT_LE(first + 20, lines.end());
  EXPECT_EQ(*first, "2026-03-03T08:20:00Z accessoryLow: Alert 24 from ***'s mouse ***");
  EXPECT_EQ(*(first + 19), "2026-03-02T13:20:00Z accessoryLow: Alert 5 from ***'s mouse ***");
  EXPECT_EQ(lines.back(), "No serial number, names or files are included.");

  // Off a Mac it speaks of the laptop; on an Intel Mac, of what it needs.
  EXPECT_EQ(lines[1].find("Mac"), std::string::npos);
  input.machine.apple = true;
  EXPECT_THAT(diagnosticReport(input), ::testing::AllOf(::testing::HasSubstr("macOS version"),
                                                        ::testing::HasSubstr("needs a Mac with Apple silicon")));
}

TEST(DiagnosticsCommand, ThisMachineWithASerialInTheBatteryFolder) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const live::SysfsTree tree("thinkpad-two-batteries");
  const auto state = tree.root().parent_path() / (tree.root().filename().string() + "-state");
  fs::create_directories(state);
  const char* home = std::getenv("HOME");
  live::write(state / "settings.json",
              "{\"calendarPath\": \"" + std::string(home ? home : "/root") + "/.calendars\"}\n");
  const auto run = batterycore::testing::runKestrin("diagnostics --locale en_US --state '" + state.string() +
                                                    "' --sysfs '" + tree.root().string() + "'");
  fs::remove_all(state);
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("Reading taken now: {"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("calendar.path = ~/.calendars"), std::string::npos) << run.out;

  // The sample's serial numbers, this machine's name, this user's name and home.
  char host[256] = {};
  ::gethostname(host, sizeof host - 1);
  const passwd* user = ::getpwuid(::getuid());
  for (const std::string& secret :
       std::initializer_list<std::string>{"30831", "1321", host, user ? user->pw_name : "", home ? home : ""}) {
    EXPECT_TRUE(secret.size() < 2 || run.out.find(secret) == std::string::npos) << secret << " in\n" << run.out;
  }
}

}  // namespace
}  // namespace kestrin::app
