// The simulated laptop: a battery that charges to its limit, days away from
// the charger in local time, and the events a scenario lays on top.
#include "app/simulation/BatterySimulator.hpp"

#include <gtest/gtest.h>

namespace kestrin::app::simulation {
namespace {

using batterycore::Json;
using batterycore::LimitState;
using batterycore::Seconds;

Scenario deskScenario(const std::string& events = "[]") {
  return Scenario::fromJson(Json::parse(
      R"({"name": "desk", "start": "2026-03-27", "timeZone": "Europe/Berlin", "days": 5, "seed": 3,
          "startPercent": 50, "week": {"weekday": [{"from": "08:20", "to": "09:00", "spread": 10}], "weekend": []},
          "events": )" + events + "}"));
}

void run(BatterySimulator& battery, int minutes) {
  for (int i = 0; i < minutes; ++i) battery.advance(Seconds{60});
}

TEST(BatterySimulator, ChargesToTheLimitAndToFullWithTheLimitOff) {
  BatterySimulator battery(deskScenario());
  run(battery, 6 * 60);  // midnight to six, plugged in
  auto reading = battery.read().value();
  EXPECT_TRUE(reading.pluggedIn);
  EXPECT_EQ(reading.phase(), batterycore::ChargePhase::holding(80));
  EXPECT_EQ(reading.limit, LimitState::on(80));
  EXPECT_EQ(reading.percent, 80);
  EXPECT_FALSE(battery.switchOff());
  run(battery, 4 * 60);
  reading = battery.read().value();
  EXPECT_TRUE(reading.fullyCharged);
  EXPECT_EQ(reading.limit, LimitState::off(80));
  EXPECT_EQ(reading.percent, 100);
}

TEST(BatterySimulator, GoesOutOnWeekdaysInLocalTimeAndRunsDown) {
  BatterySimulator battery(deskScenario());
  // Berlin moves its clocks on Sunday 29 March; Monday's outing is still
  // around 08:20 local, which is 06:20 UTC after the change.
  const auto& calendar = battery.calendar();
  const auto monday0820 = calendar.date(2026, 3, 30, 8, 20).value();
  EXPECT_EQ(batterycore::toIso8601(monday0820), "2026-03-30T06:20:00Z");
  EXPECT_TRUE(battery.isAway(monday0820 + Seconds{20 * 60}) || battery.isAway(monday0820));
  EXPECT_FALSE(battery.isAway(calendar.date(2026, 3, 29, 8, 30).value()));  // Sunday: at home
  EXPECT_FALSE(battery.isAway(calendar.date(2026, 3, 30, 12, 0).value()));

  while (!battery.isAway(battery.now())) battery.advance(Seconds{60});
  run(battery, 5);
  const auto reading = battery.read().value();
  EXPECT_FALSE(reading.pluggedIn);
  EXPECT_LT(reading.percent, 80);
  EXPECT_TRUE(reading.minutesToEmpty.has_value());
  EXPECT_LT(*reading.batteryPowerMilliW, 0);
  EXPECT_EQ(calendar.components(battery.now()).hour, 8);
}

TEST(BatterySimulator, CalibrationWritesThePowerLogOnceAndARefusedSwitchChangesNothing) {
  BatterySimulator battery(deskScenario(R"([{"kind": "calibration", "day": 0, "from": "01:00", "to": "06:00"}])"));
  run(battery, 30);
  EXPECT_EQ(battery.takePowerLog(), "");
  run(battery, 60);
  EXPECT_NE(battery.takePowerLog().find("ChargingUpForGauging"), std::string::npos);
  EXPECT_EQ(battery.takePowerLog(), "");
  run(battery, 4 * 60);
  EXPECT_GT(battery.read()->percent, 90);

  BatterySimulator refusing(deskScenario(R"([{"kind": "controlFails", "day": 0}])"));
  EXPECT_TRUE(refusing.switchOff().has_value());
  EXPECT_EQ(refusing.read()->limit, LimitState::on(80));
}

TEST(BatterySimulator, ScenariosItCannotSimulateAreRefused) {
  for (const char* text : {R"({"days": 3})", R"({"name": "x", "days": 0})", R"({"name": "x", "limit": 120})",
                           R"({"name": "x", "start": "March"})",
                           R"({"name": "x", "events": [{"kind": "meteor", "day": 1}]})",
                           R"({"name": "x", "week": {"weekday": [{"from": "25:00", "to": "26:00"}]}})"}) {
    EXPECT_THROW(Scenario::fromJson(Json::parse(text)), batterycore::DecodingError) << text;
  }
}

}  // namespace
}  // namespace kestrin::app::simulation
