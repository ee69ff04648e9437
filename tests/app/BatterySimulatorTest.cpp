#include "app/simulation/BatterySimulator.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace kestrin::app::simulation {
namespace {

using batterycore::ChargePhase;
using batterycore::Json;
using batterycore::Seconds;

Scenario deskScenario(Json events = Json::array()) {
  return Scenario::fromJson(Json{
      {"name", "desk"},
      {"start", "2026-03-27"},
      {"timeZone", "Europe/Berlin"},
      {"days", 5},
      {"seed", 3},
      {"startPercent", 50},
      {"week", {{"weekday", Json::array({{{"from", "08:20"}, {"to", "09:00"}, {"spread", 10}}})},
                {"weekend", Json::array()}}},
      {"events", events}});
}

// Runs the battery minute by minute until `minutes` have passed.
void run(BatterySimulator& battery, int minutes) {
  for (int i = 0; i < minutes; ++i) battery.advance(Seconds{60});
}

TEST(BatterySimulator, ChargesToTheLimitAndHoldsThere) {
  BatterySimulator battery(deskScenario());
  run(battery, 6 * 60);  // midnight to six, plugged in
  const auto reading = battery.read().value();
  EXPECT_TRUE(reading.pluggedIn);
  EXPECT_EQ(reading.percent, 80);
  EXPECT_EQ(reading.phase(), ChargePhase::holding(80));
  EXPECT_EQ(reading.limit, batterycore::LimitState::on(80));
}

TEST(BatterySimulator, SwitchingTheLimitOffChargesToFull) {
  BatterySimulator battery(deskScenario());
  run(battery, 60);
  EXPECT_FALSE(battery.switchOff());
  run(battery, 4 * 60);
  const auto reading = battery.read().value();
  EXPECT_EQ(reading.percent, 100);
  EXPECT_TRUE(reading.fullyCharged);
  EXPECT_EQ(reading.limit, batterycore::LimitState::off(80));
}

TEST(BatterySimulator, WeekdayOutingsFollowLocalTimeAcrossDaylightSaving) {
  BatterySimulator battery(deskScenario());
  // Berlin moves its clocks on Sunday 29 March; Monday's outing is still
  // around 08:20 local, which is 06:20 UTC after the change.
  const auto& calendar = battery.calendar();
  const auto monday0820 = calendar.date(2026, 3, 30, 8, 20).value();
  EXPECT_EQ(batterycore::toIso8601(monday0820), "2026-03-30T06:20:00Z");
  EXPECT_TRUE(battery.isAway(monday0820 + Seconds{20 * 60}) || battery.isAway(monday0820));
  EXPECT_FALSE(battery.isAway(calendar.date(2026, 3, 29, 8, 30).value()));  // Sunday: at home
  EXPECT_FALSE(battery.isAway(calendar.date(2026, 3, 30, 12, 0).value()));
}

TEST(BatterySimulator, OnBatteryTheChargeFallsAndAnEstimateIsGiven) {
  BatterySimulator battery(deskScenario());
  const auto& calendar = battery.calendar();
  while (!battery.isAway(battery.now())) battery.advance(Seconds{60});
  run(battery, 5);
  const auto reading = battery.read().value();
  EXPECT_FALSE(reading.pluggedIn);
  EXPECT_LT(reading.percent, 80);
  EXPECT_TRUE(reading.minutesToEmpty.has_value());
  EXPECT_LT(*reading.batteryPowerMilliW, 0);
  EXPECT_EQ(calendar.components(battery.now()).hour, 8);
}

TEST(BatterySimulator, AFailingLimitLetsItChargePast) {
  BatterySimulator battery(deskScenario(Json::parse(R"([{"kind": "limitFails", "day": 0}])")));
  run(battery, 6 * 60);
  const auto reading = battery.read().value();
  EXPECT_GT(reading.percent, 82);
  EXPECT_EQ(reading.limit, batterycore::LimitState::on(80));
}

TEST(BatterySimulator, CalibrationChargesPastAndWritesThePowerLog) {
  BatterySimulator battery(deskScenario(
      Json::parse(R"([{"kind": "calibration", "day": 0, "from": "01:00", "to": "06:00"}])")));
  run(battery, 30);
  EXPECT_EQ(battery.takePowerLog(), "");
  run(battery, 60);
  const auto log = battery.takePowerLog();
  EXPECT_NE(log.find("ChargingUpForGauging"), std::string::npos);
  EXPECT_EQ(battery.takePowerLog(), "");  // each line is handed over once
  run(battery, 4 * 60);
  EXPECT_GT(battery.read()->percent, 90);
}

TEST(BatterySimulator, RefusedSwitchLeavesTheLimitAlone) {
  BatterySimulator battery(deskScenario(Json::parse(R"([{"kind": "controlFails", "day": 0}])")));
  EXPECT_TRUE(battery.switchOff().has_value());
  EXPECT_EQ(battery.read()->limit, batterycore::LimitState::on(80));
}

TEST(BatterySimulator, SameSeedSameWeeks) {
  BatterySimulator a(deskScenario());
  BatterySimulator b(deskScenario());
  for (int i = 0; i < 3 * 24 * 12; ++i) {
    a.advance(Seconds{300});
    b.advance(Seconds{300});
    ASSERT_EQ(a.read(), b.read()) << i;
  }
}

TEST(Scenario, RejectsWhatCannotBeSimulated) {
  const char* bad[] = {
      R"({"days": 3})",
      R"({"name": "x", "days": 0})",
      R"({"name": "x", "limit": 120})",
      R"({"name": "x", "start": "March"})",
      R"({"name": "x", "events": [{"kind": "meteor", "day": 1}]})",
      R"({"name": "x", "week": {"weekday": [{"from": "25:00", "to": "26:00"}]}})",
  };
  for (const char* text : bad) {
    EXPECT_THROW(Scenario::fromJson(Json::parse(text)), batterycore::DecodingError) << text;
  }
}

TEST(Scenario, BundledScenariosLoad) {
  for (const char* name : {"office-worker", "calibration", "travel-week", "weak-charger"}) {
    const auto path = std::string(KESTRIN_SOURCE_DIR) + "/tools/kestrin/scenarios/" + name + ".json";
    std::ifstream file(path);
    ASSERT_TRUE(file) << path;
    const auto scenario = Scenario::fromJson(Json::parse(file));
    EXPECT_EQ(scenario.name, name);
    EXPECT_EQ(Scenario::fromJson(scenario.toJson()).toJson(), scenario.toJson());
  }
}

}  // namespace
}  // namespace kestrin::app::simulation
