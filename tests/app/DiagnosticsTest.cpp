#include "app/Diagnostics.hpp"

#include "tests/app/SysfsTree.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace kestrin::app {
namespace {

using batterycore::BatteryAlert;
namespace fs = std::filesystem;

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::size_t countStarting(const std::vector<std::string>& lines, const std::string& prefix) {
  return static_cast<std::size_t>(
      std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(prefix); }));
}

DiagnosticsInput someone() {
  DiagnosticsInput input;
  input.machine = MachineFacts{.apple = false,
                               .version = "Kestrin 0.1.0",
                               .system = "Linux 6.8.0-45-generic",
                               .arch = "x86_64",
                               .osVersion = {6, 8, 0},
                               .limitSupported = true,
                               .model = "LENOVO 21CB on Alice-Laptop",
                               .hostName = "alice-laptop",
                               .userName = "alice",
                               .homeFolder = "/home/alice",
                               .privateWords = {"SN-0042"}};
  input.settings.calendarPath = "/home/alice/.calendars/alice.ics";
  for (int i = 0; i < 25; ++i) {
    input.state.alerts.push_back(BatteryAlert{.kind = BatteryAlert::Kind::accessoryLow,
                                              .at = batterycore::dateFromSecondsSince1970(1772439600.0 + 3600.0 * i),
                                              .title = "Alert " + std::to_string(i) + " from alice's mouse SN-0042",
                                              .body = "Body",
                                              .technicalBody = std::nullopt});
  }
  return input;
}

TEST(Diagnostics, LeavesOutNamesHomeAndSerials) {
  const batterycore::testing::UsingLocale english("en_US");
  const auto report = diagnosticReport(someone());
  for (const char* secret : {"alice", "Alice", "SN-0042", "/home/"}) {
    EXPECT_EQ(report.find(secret), std::string::npos) << secret << " in\n" << report;
  }
  EXPECT_NE(report.find("calendar.path = ~/.calendars/***.ics"), std::string::npos) << report;
  EXPECT_NE(report.find("Model: LENOVO 21CB on ***"), std::string::npos) << report;
}

TEST(Diagnostics, OneLinePerRuleAndTheLastTwentyAlertsNewestFirst) {
  const batterycore::testing::UsingLocale english("en_US");
  const auto lines = linesOf(diagnosticReport(someone()));
  for (const char* label : {"Limit watchdog: ", "Calibration: ", "Full charge: ", "Smart top-up: ", "Calendar trips: ",
                            "Weekly note: ", "Background drain: ", "Accessories: ", "Days at high charge: ",
                            "Health samples: ", "Health milestone: ", "Weak charger: ", "Alert pacing: "}) {
    EXPECT_EQ(countStarting(lines, label), 1u) << label;
  }
  EXPECT_EQ(countStarting(lines, "2026-03-"), 20u);
  // 25 alerts an hour apart from 08:20: the newest is number 24, the oldest shown number 5.
  const auto first = std::find_if(lines.begin(), lines.end(), [](const auto& l) { return l.starts_with("2026-03-"); });
  ASSERT_NE(first, lines.end());
  EXPECT_EQ(*first, "2026-03-03T08:20:00Z accessoryLow: Alert 24 from ***'s mouse ***");
  EXPECT_EQ(*(first + 19), "2026-03-02T13:20:00Z accessoryLow: Alert 5 from ***'s mouse ***");
  EXPECT_EQ(lines.back(), "No serial number, names or files are included.");
}

TEST(Diagnostics, SpeaksOfTheLaptopOffAMacAndOfTheMacOnOne) {
  const batterycore::testing::UsingLocale english("en_US");
  auto input = someone();
  EXPECT_EQ(linesOf(diagnosticReport(input))[1].find("Mac"), std::string::npos);
  input.machine.apple = true;
  input.machine.arch = "x86_64";
  const auto report = diagnosticReport(input);
  EXPECT_NE(report.find("macOS version"), std::string::npos);
  EXPECT_NE(report.find("needs a Mac with Apple silicon"), std::string::npos);
}

TEST(DiagnosticsCommand, ThisMachineWithASerialInTheBatteryFolder) {
  using batterycore::testing::runKestrin;
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const live::SysfsTree tree("thinkpad-two-batteries");
  const auto state = tree.root().parent_path() / (tree.root().filename().string() + "-state");
  fs::remove_all(state);
  fs::create_directories(state);
  const char* home = std::getenv("HOME");
  const std::string calendar = std::string(home ? home : "/root") + "/.calendars";
  live::write(state / "settings.json", "{\"calendarPath\": \"" + calendar + "\"}\n");

  const auto run = runKestrin("diagnostics --locale en_US --state '" + state.string() + "' --sysfs '" +
                              tree.root().string() + "'");
  fs::remove_all(state);
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("Reading taken now: {"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("calendar.path = ~/.calendars"), std::string::npos) << run.out;

  std::vector<std::string> secrets;
  for (const auto& supply : fs::directory_iterator(tree.root())) {
    if (fs::exists(supply.path() / "serial_number")) {
      auto serial = live::contents(supply.path() / "serial_number");
      while (!serial.empty() && std::isspace(static_cast<unsigned char>(serial.back()))) serial.pop_back();
      while (!serial.empty() && std::isspace(static_cast<unsigned char>(serial.front()))) serial.erase(0, 1);
      if (!serial.empty()) secrets.push_back(serial);
    }
  }
  ASSERT_FALSE(secrets.empty()) << "the sample carries serial numbers";
  char host[256] = {};
  if (::gethostname(host, sizeof host - 1) == 0 && std::string(host).size() >= 2) secrets.emplace_back(host);
  if (const passwd* entry = ::getpwuid(::getuid()); entry && std::string(entry->pw_name).size() >= 2) {
    secrets.emplace_back(entry->pw_name);
  }
  if (home && std::string(home).size() > 1) secrets.emplace_back(home);
  for (const auto& secret : secrets) EXPECT_EQ(run.out.find(secret), std::string::npos) << secret << " in\n" << run.out;
}

}  // namespace
}  // namespace kestrin::app
