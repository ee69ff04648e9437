// The history exported as CSV and JSON: quoting, numbers that ignore the
// locale, and a year of it read back by Python's csv module.
#include "app/Export.hpp"

#include "BatteryCore/foundation/Json.hpp"
#include "app/StoredState.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <fstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::HighChargeLedger;
using batterycore::Json;
using batterycore::testing::runKestrin;

BatteryAlert alert(std::string title, std::optional<std::string> technical) {
  return BatteryAlert{.kind = BatteryAlert::Kind::hot, .at = batterycore::dateFromSecondsSince1970(1772439600.0),
                      .title = std::move(title), .body = "Body", .technicalBody = std::move(technical)};
}

TEST(Export, CsvQuotesWhatMustBeQuotedAndWritesNumbersWithAPoint) {
  EXPECT_EQ(toCsv(alertsTable({alert("Hot, \"very\"\nhot", std::nullopt)})),
            "at,kind,title,body,technicalBody\r\n2026-03-02T08:20:00Z,hot,\"Hot, \"\"very\"\"\nhot\",Body,\r\n");
  EXPECT_EQ(csvField("cr\rhere"), "\"cr\rhere\"");

  const batterycore::testing::UsingLocale german("de_DE");
  const std::string saved = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // may be missing; ICU's default is German either way
  HighChargeLedger ledger;
  ledger.days.push_back({.day = "2026-03-02", .minutesAbove80Plugged = 125.5, .minutesAbove80Unplugged = 0.1,
                         .minutesPlugged = 1000.25, .minutesSampled = 1440});
  const auto csv = toCsv(habitsTable(ledger));
  std::setlocale(LC_ALL, saved.c_str());
  EXPECT_EQ(csv, "day,minutesAbove80Plugged,minutesAbove80Unplugged,minutesPlugged,minutesSampled\r\n"
                 "2026-03-02,125.5,0.1,1000.25,1440\r\n");
  EXPECT_EQ(exportNumber(1.0 / 3.0), "0.3333333333333333");
}

TEST(Export, JsonReadsBackToTheSameValues) {
  HighChargeLedger ledger;
  ledger.days.push_back({.day = "2026-03-02", .minutesAbove80Plugged = 1.0 / 3.0, .minutesAbove80Unplugged = 0,
                         .minutesPlugged = 2, .minutesSampled = 1439.999});
  EXPECT_EQ(HighChargeLedger::Day::fromJson(Json::parse(toJson(habitsTable(ledger)).dump()).at(0)), ledger.days[0]);
  EXPECT_EQ(BatteryAlert::fromJson(Json::parse(toJson(alertsTable({alert("A", "Technical")})).dump()).at(0)),
            alert("A", "Technical"));
  EXPECT_TRUE(toJson(alertsTable({alert("A", std::nullopt)}))[0]["technicalBody"].is_null());
  EXPECT_EQ(toJson(healthTable({{"2026-03-02", 4600, 5000, 12}, {"2026-03-03", 4600, 0, 12}})),
            Json::parse(R"([{"day": "2026-03-02", "fullChargeCapacity": 4600, "designCapacity": 5000,
                "cycleCount": 12, "healthPercent": 92}, {"day": "2026-03-03", "fullChargeCapacity": 4600,
                "designCapacity": 0, "cycleCount": 12, "healthPercent": null}])"));
}

class ExportCommand : public batterycore::testing::ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    fs::remove_all(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }
  const fs::path folder_ = fs::temp_directory_path() / ("kestrin-export-" + std::to_string(::getpid()));
  const std::string state_ = " --state '" + folder_.string() + "'";
};

TEST_F(ExportCommand, AnEmptyHistoryAndADamagedFile) {
  batterycore::testing::expectRuns({
      {"export --what habits" + state_, 0,
       "day,minutesAbove80Plugged,minutesAbove80Unplugged,minutesPlugged,minutesSampled\r\n"},
      {"export --format json" + state_, 0, "[]\n"},
  });
  EXPECT_FALSE(fs::exists(folder_)) << "exporting makes no folder";
  fs::create_directories(folder_);
  std::ofstream(folder_ / "alerts.json") << "[1, 2";
  const auto run = runKestrin("export --what alerts" + state_);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(batterycore::testing::lineCount(run.out), 1) << run.out;
  EXPECT_NE(run.out.find((folder_ / "alerts.json").string()), std::string::npos) << run.out;
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()), 1) << "left where it is";
  EXPECT_TRUE(readStoredState(folder_).isDamaged("alerts"));
}

// Python's csv module reads every row of the CSV; its numbers are the same
// doubles as the JSON export's.
TEST_F(ExportCommand, AYearOfHistoryReadsBackInPython) {
  if (batterycore::testing::runShell("python3 -c pass 2>&1").exitCode != 0) GTEST_SKIP() << "python3 is not installed";
  auto run = runKestrin("simulate office-worker --days 365 --tick 3600" + state_);
  ASSERT_EQ(run.exitCode, 0) << run.out.substr(0, 400);
  for (const std::string what : {"habits", "health"}) {
    run = runKestrin("export --what " + what + " --out '" + (folder_ / what).string() + ".csv'" + state_);
    ASSERT_EQ(run.exitCode, 0) << run.out;
    const auto python = batterycore::testing::runShell(
        "python3 -c 'import csv,json,sys\nrows = list(csv.DictReader(open(sys.argv[1], newline=\"\")))\n"
        "print(json.dumps([{k: v if k == \"day\" else float(v) if v else None for k, v in r.items()} for r in rows]))"
        "' '" + (folder_ / what).string() + ".csv' 2>&1");
    const auto json = runKestrin("export --format json --what " + what + state_);
    ASSERT_EQ(json.exitCode, 0) << json.out;
    EXPECT_GE(Json::parse(json.out).size(), 360u) << what;
    EXPECT_EQ(Json::parse(python.out), Json::parse(json.out)) << what << "\n" << python.out.substr(0, 400);
  }
}

}  // namespace
}  // namespace kestrin::app
