#include "app/Metrics.hpp"

#include "KestrinWidget/SharedContainer.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <sstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::Attention;
using batterycore::BatteryAlert;
using batterycore::HighChargeLedger;
using batterycore::LimitState;
using Kind = BatteryAlert::Kind;

const batterycore::Calendar kBerlin = batterycore::Calendar::gregorian("Europe/Berlin");
const batterycore::Date kNow = *batterycore::parseIso8601("2026-03-07T09:00:00Z");  // 10:00 in Berlin

HighChargeLedger::Day day(std::string key, double abovePlugged, double aboveUnplugged) {
  HighChargeLedger::Day d;
  d.day = std::move(key);
  d.minutesAbove80Plugged = abovePlugged;
  d.minutesAbove80Unplugged = aboveUnplugged;
  d.minutesSampled = 24 * 60;
  return d;
}

// At 81%, plugged in, held by a limit at 80%: 4000 of 4500 mAh, 120 cycles.
// February does not count; March has 60 + 30 + 0.5 minutes above 80%.
MonitorState heldState() {
  MonitorState state;
  state.last = batterycore::testing::reading(81, true, false, LimitState::on(80));
  state.last->at = kNow;
  state.highCharge.days = {day("2026-02-27", 500, 0), day("2026-03-01", 60, 30), day("2026-03-07", 0.5, 0)};
  return state;
}

// The samples of a text, "name{labels}" as written -> value; each family's
// type agrees with its name, and no series comes twice.
std::map<std::string, double> samples(const std::string& text) {
  std::map<std::string, double> out;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("# TYPE ")) {
      std::istringstream words(line.substr(7));
      std::string name, type;
      words >> name >> type;
      EXPECT_TRUE(name.starts_with("kestrin_")) << line;
      EXPECT_EQ(type, name.ends_with("_total") ? "counter" : "gauge") << line;
    } else if (!line.starts_with("# HELP ")) {
      const auto blank = line.rfind(' ');
      EXPECT_TRUE(out.emplace(line.substr(0, blank), std::stod(line.substr(blank + 1))).second) << "twice: " << line;
    }
  }
  return out;
}

std::size_t notifyingKinds() {
  return static_cast<std::size_t>(std::ranges::count_if(BatteryAlert::allCases, batterycore::AlertPolicy::notifies));
}

TEST(Metrics, AStateGivesItsValuesAndLeavesOutWhatIsUnknown) {
  const auto read = samples(metricsText(heldState(), kBerlin, kNow, Attention::Tone::holding,
                                        {{Kind::hot, 2}, {Kind::limitNotHolding, 1}, {Kind::limitUnavailable, 3}}));
  const std::pair<const char*, double> expected[] = {
      {"kestrin_battery_reading_timestamp_seconds", batterycore::secondsSince1970(kNow)},
      {"kestrin_battery_charge_ratio", 0.81},
      {"kestrin_battery_health_ratio", 4000.0 / 4500.0},
      {"kestrin_battery_full_charge_capacity_coulombs", 14400},
      {"kestrin_battery_design_capacity_coulombs", 16200},
      {"kestrin_battery_cycles", 120},
      {"kestrin_battery_high_charge_seconds", 90.5 * 60},
      {"kestrin_charge_limit_available", 1},
      {"kestrin_charge_limit_enabled", 1},
      {"kestrin_charge_limit_ratio", 0.8},
      {"kestrin_attention_tone{tone=\"holding\"}", 1},
      {"kestrin_attention_tone{tone=\"charging\"}", 0},
      {"kestrin_attention_tone{tone=\"alert\"}", 0},
      {"kestrin_alerts_posted_total{kind=\"hot\"}", 2},
      {"kestrin_alerts_posted_total{kind=\"limitNotHolding\"}", 1},
      {"kestrin_alerts_posted_total{kind=\"weakCharger\"}", 0},
      // A kind that only goes to the alerts list has no counter, unless counted anyway.
      {"kestrin_alerts_posted_total{kind=\"limitUnavailable\"}", 3},
  };
  for (const auto& [series, value] : expected) {
    ASSERT_TRUE(read.contains(series)) << series;
    EXPECT_DOUBLE_EQ(read.at(series), value) << series;
  }
  EXPECT_EQ(read.size(), 10 + Attention::allTones.size() + notifyingKinds() + 1);
  EXPECT_FALSE(read.contains("kestrin_alerts_posted_total{kind=\"limitTurnedOn\"}"));

  const struct {
    LimitState limit;
    int fullCharge, design;
    std::vector<std::pair<const char*, std::optional<double>>> expected;  // absent: no such series
  } cases[] = {
      {LimitState::off(80), 4000, 4500,
       {{"kestrin_charge_limit_available", 1}, {"kestrin_charge_limit_enabled", 0}, {"kestrin_charge_limit_ratio", {}}}},
      {LimitState::unavailable("not supported"), 4000, 4500,
       {{"kestrin_charge_limit_available", 0}, {"kestrin_charge_limit_enabled", 0}, {"kestrin_charge_limit_ratio", {}}}},
      {LimitState::on(75), 4000, 0,
       {{"kestrin_charge_limit_ratio", 0.75}, {"kestrin_battery_health_ratio", {}},
        {"kestrin_battery_design_capacity_coulombs", {}}, {"kestrin_battery_full_charge_capacity_coulombs", 14400}}},
      {LimitState::on(80), 0, 4123,
       {{"kestrin_battery_health_ratio", {}}, {"kestrin_battery_full_charge_capacity_coulombs", {}},
        {"kestrin_battery_design_capacity_coulombs", 14842.8}}},
  };
  for (const auto& c : cases) {
    auto state = heldState();
    state.last->limit = c.limit;
    state.last->fullChargeCapacity = c.fullCharge;
    state.last->designCapacity = c.design;
    const auto text = metricsText(state, kBerlin, kNow, Attention::Tone::charging, {});
    const auto variant = samples(text);
    for (const auto& [series, value] : c.expected) {
      EXPECT_EQ(variant.contains(series) ? std::optional(variant.at(series)) : std::nullopt, value) << series;
      EXPECT_TRUE(value || text.find(series) == std::string::npos) << series << ": no HELP or TYPE either";
    }
  }
}

TEST(Metrics, WithoutAReadingOnlyTheLedgerAndCountersAreWritten) {
  MonitorState state;
  state.highCharge.days = {day("2026-03-02", 30, 0)};
  AlertCounts counts;
  const BatteryAlert hot{Kind::hot, kNow, "Hot", "Body", std::nullopt};
  countPosted(counts, std::vector{hot});
  countPosted(counts, {});
  countPosted(counts, std::vector{hot, BatteryAlert{Kind::weakCharger, kNow, "Weak", "Body", std::nullopt}});
  EXPECT_EQ(counts, (AlertCounts{{Kind::hot, 2}, {Kind::weakCharger, 1}}));

  const auto read = samples(metricsText(state, kBerlin, kNow, std::nullopt, counts));
  EXPECT_EQ(read.at("kestrin_battery_high_charge_seconds"), 1800);
  EXPECT_EQ(read.size(), 1 + notifyingKinds());
  EXPECT_EQ(read.at("kestrin_alerts_posted_total{kind=\"hot\"}"), 2);
  EXPECT_EQ(read.at("kestrin_alerts_posted_total{kind=\"limitNotHolding\"}"), 0);
}

TEST(Metrics, WritesTheTextFormat) {
  const std::pair<double, const char*> values[] = {{0.81, "0.81"}, {4, "4"}, {-0.5, "-0.5"},
                                                   {0.1 + 0.2, "0.30000000000000004"}, {1e21, "1e+21"},
                                                   {std::nan(""), "NaN"}, {INFINITY, "+Inf"}, {-INFINITY, "-Inf"}};
  for (const auto& [value, text] : values) EXPECT_EQ(metricValueText(value), text) << text;

  const MetricFamily family{"odd",
                            "Back\\slash and\nnewline \"kept\"",
                            MetricFamily::Type::gauge,
                            {{{{"path", "C:\\dir \"x\"\nnext"}, {"empty", ""}}, 1}, {{{"path", "{},="}}, 2.5}}};
  const MetricFamily counter{"done_total", "Done.", MetricFamily::Type::counter, {{{}, 3}}};
  const MetricFamily none{"none", "Never written.", MetricFamily::Type::gauge, {}};
  EXPECT_EQ(exposition(std::vector{none, family, counter}),
            "# HELP odd Back\\\\slash and\\nnewline \"kept\"\n"
            "# TYPE odd gauge\n"
            "odd{path=\"C:\\\\dir \\\"x\\\"\\nnext\",empty=\"\"} 1\n"
            "odd{path=\"{},=\"} 2.5\n"
            "# HELP done_total Done.\n"
            "# TYPE done_total counter\n"
            "done_total 3\n");
}

TEST(Metrics, TheFileIsReplacedWholeReadableByEveryoneOrAReasonGiven) {
  const fs::path folder = fs::temp_directory_path() / ("kestrin-metrics-" + std::to_string(::getpid()));
  const fs::path file = folder / "kestrin.prom";
  fs::remove_all(folder);
  fs::create_directories(folder);
  ASSERT_EQ(writeMetricsFile(file, "first\n"), std::nullopt);
  ASSERT_EQ(writeMetricsFile(file, "second\n"), std::nullopt);
  EXPECT_EQ(widget::readWholeFile(file), "second\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << "no temporary left";
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0644u);

  fs::remove(file);
  fs::create_directories(file / "inside");  // a folder where the file should go
  const std::pair<fs::path, std::string> failures[] = {
      {folder / "absent" / "kestrin.prom", (folder / "absent").string()},  // folders are the collector's to make
      {file, "cannot replace"},
      {folder / "", "names no file"},
  };
  for (const auto& [path, reason] : failures) {
    const auto failure = writeMetricsFile(path, "x\n");
    ASSERT_TRUE(failure) << path;
    EXPECT_NE(failure->find(reason), std::string::npos) << *failure;
  }
  EXPECT_FALSE(fs::exists(folder / "absent"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1) << "no temporary left";
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app
