#include "app/Export.hpp"

#include "BatteryCore/foundation/Json.hpp"
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"
#include "app/StoredState.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::HighChargeLedger;

fs::path scratch(const std::string& name) {
  const auto path = fs::temp_directory_path() / ("kestrin-export-" + std::to_string(::getpid()) + "-" + name);
  fs::remove_all(path);
  return path;
}

BatteryAlert alert(std::string title, std::optional<std::string> technical) {
  return BatteryAlert{.kind = BatteryAlert::Kind::hot,
                      .at = batterycore::dateFromSecondsSince1970(1772439600.0),
                      .title = std::move(title),
                      .body = "Body",
                      .technicalBody = std::move(technical)};
}

TEST(ExportCsv, QuotesCommasQuotesAndLineBreaksAndEndsRowsWithCrLf) {
  const auto csv = toCsv(alertsTable({alert("Hot, \"very\"\nhot", std::nullopt)}));
  EXPECT_EQ(csv,
            "at,kind,title,body,technicalBody\r\n"
            "2026-03-02T08:20:00Z,hot,\"Hot, \"\"very\"\"\nhot\",Body,\r\n");
  EXPECT_EQ(csvField("plain"), "plain");
  EXPECT_EQ(csvField("cr\rhere"), "\"cr\rhere\"");
}

TEST(ExportCsv, NumbersUseAPointWhateverTheLocale) {
  const batterycore::testing::UsingLocale german("de_DE");
  const char* previous = std::setlocale(LC_ALL, nullptr);
  const std::string saved = previous ? previous : "C";
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // may be missing; ICU's default is German either way
  HighChargeLedger ledger;
  ledger.days.push_back({.day = "2026-03-02",
                         .minutesAbove80Plugged = 125.5,
                         .minutesAbove80Unplugged = 0.1,
                         .minutesPlugged = 1000.25,
                         .minutesSampled = 1440});
  const auto csv = toCsv(habitsTable(ledger));
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_EQ(csv,
            "day,minutesAbove80Plugged,minutesAbove80Unplugged,minutesPlugged,minutesSampled\r\n"
            "2026-03-02,125.5,0.1,1000.25,1440\r\n");
  EXPECT_EQ(exportNumber(1.0 / 3.0), "0.3333333333333333");
}

TEST(ExportJson, ReadsBackToTheSameValues) {
  HighChargeLedger ledger;
  ledger.days.push_back({.day = "2026-03-02",
                         .minutesAbove80Plugged = 1.0 / 3.0,
                         .minutesAbove80Unplugged = 0,
                         .minutesPlugged = 2,
                         .minutesSampled = 1439.999});
  const auto json = batterycore::Json::parse(toJson(habitsTable(ledger)).dump());
  ASSERT_EQ(json.size(), 1u);
  const auto day = HighChargeLedger::Day::fromJson(json[0]);
  EXPECT_EQ(day, ledger.days[0]);

  const auto alerts = batterycore::Json::parse(toJson(alertsTable({alert("A", "Technical")})).dump());
  EXPECT_EQ(BatteryAlert::fromJson(alerts[0]), alert("A", "Technical"));
  EXPECT_TRUE(toJson(alertsTable({alert("A", std::nullopt)}))[0]["technicalBody"].is_null());
  EXPECT_EQ(toJson(healthTable({{"2026-03-02", 4600, 0, 12}}))[0]["healthPercent"], nullptr);
  EXPECT_EQ(toJson(healthTable({})), batterycore::Json::array());
}

TEST(ExportState, ReadingLeavesADamagedFileInPlace) {
  const auto folder = scratch("damaged");
  fs::create_directories(folder);
  std::ofstream(folder / "health.json") << "{not json";
  const auto stored = readStoredState(folder);
  EXPECT_TRUE(stored.isDamaged("health"));
  ASSERT_EQ(stored.damaged.size(), 1u);
  EXPECT_NE(stored.damaged[0].line.find((folder / "health.json").string()), std::string::npos);
  EXPECT_TRUE(fs::exists(folder / "health.json"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
  fs::remove_all(folder);
}

TEST(ExportCommand, EmptyBadAndDamaged) {
  using batterycore::testing::runKestrin;
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto folder = scratch("command");
  auto run = runKestrin("export --state '" + folder.string() + "' --what habits");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "day,minutesAbove80Plugged,minutesAbove80Unplugged,minutesPlugged,minutesSampled\r\n");
  EXPECT_FALSE(fs::exists(folder));
  run = runKestrin("export --state '" + folder.string() + "' --format json");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "[]\n");
  run = runKestrin("export --format xml");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.out, "kestrin: --format must be csv or json, not xml\n");
  fs::create_directories(folder);
  std::ofstream(folder / "alerts.json") << "[1, 2";
  run = runKestrin("export --state '" + folder.string() + "' --what alerts");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1) << run.out;
  EXPECT_NE(run.out.find((folder / "alerts.json").string()), std::string::npos) << run.out;
  fs::remove_all(folder);
}

// Python's csv module parses every line; the numbers it reads are printed with
// repr, which is the shortest round-trip form, as ours.
std::string throughPython(const fs::path& csv, int column) {
  const std::string command = "python3 -c 'import csv,sys\n"
                              "with open(sys.argv[1], newline=\"\") as f:\n"
                              "    rows = list(csv.reader(f))\n"
                              "print(len(rows))\n"
                              "for r in rows[1:]: print(r[0], repr(float(r[int(sys.argv[2])])) if r[int(sys.argv[2])] else \"-\")' '" +
                              csv.string() + "' " + std::to_string(column) + " 2>&1";
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  while (const auto n = std::fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  ::pclose(pipe);
  return out;
}

std::string pythonRepr(double value) {
  auto text = exportNumber(value);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

TEST(ExportCommand, AYearOfHistoryReadsBackInPython) {
  using batterycore::testing::runKestrin;
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  if (std::system("python3 -c pass >/dev/null 2>&1") != 0) GTEST_SKIP() << "python3 is not installed";
  const auto folder = scratch("year");
  auto run = runKestrin("simulate office-worker --days 365 --tick 3600 --state '" + folder.string() + "'");
  ASSERT_EQ(run.exitCode, 0) << run.out.substr(0, 400);
  run = runKestrin("export --state '" + folder.string() + "' --what habits --out '" + (folder / "habits.csv").string() + "'");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  run = runKestrin("export --state '" + folder.string() + "' --what health --out '" + (folder / "health.csv").string() + "'");
  ASSERT_EQ(run.exitCode, 0) << run.out;

  StateStore store(folder, [](const std::string& line) { FAIL() << line; });
  const auto state = Monitor::readState(store);
  ASSERT_GE(state.highCharge.days.size(), 360u);
  ASSERT_GE(state.health.size(), 360u);

  std::ostringstream plugged;  // day and minutesAbove80Plugged, as Python reads them
  plugged << state.highCharge.days.size() + 1 << "\n";
  for (const auto& day : state.highCharge.days) plugged << day.day << " " << pythonRepr(day.minutesAbove80Plugged) << "\n";
  EXPECT_EQ(throughPython(folder / "habits.csv", 1), plugged.str());

  std::ostringstream sampled;
  sampled << state.highCharge.days.size() + 1 << "\n";
  for (const auto& day : state.highCharge.days) sampled << day.day << " " << pythonRepr(day.minutesSampled) << "\n";
  EXPECT_EQ(throughPython(folder / "habits.csv", 4), sampled.str());

  std::ostringstream capacity;
  capacity << state.health.size() + 1 << "\n";
  for (const auto& sample : state.health) capacity << sample.day << " " << sample.fullChargeCapacity << ".0\n";
  EXPECT_EQ(throughPython(folder / "health.csv", 1), capacity.str());
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app
