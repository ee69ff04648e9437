#include "BatteryCore/supervision/HeatRule.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using T = ThermalLevel;

const Date kTen = fixtures::at("2026-03-02T10:00:00Z");

// Heat on the charger alerts when it rises into serious or critical, then not
// again for two hours unless it gets worse.
TEST(HeatRule, AlertsWhenAPluggedInMacRisesIntoHeat) {
  struct Case {
    T previous;
    T current;
    bool pluggedIn;
    std::optional<HeatRule::Last> last;
    Seconds after;
    bool alert;
  };
  const HeatRule::Last seriousAtTen{kTen, T::serious};
  const HeatRule::Last criticalAtTen{kTen, T::critical};
  const Case cases[] = {
      {T::fair, T::serious, true, std::nullopt, 0s, true},
      {T::serious, T::critical, true, std::nullopt, 0s, true},
      {T::nominal, T::fair, true, std::nullopt, 0s, false},     // warm is fine
      {T::serious, T::serious, true, std::nullopt, 0s, false},  // no rise
      {T::critical, T::serious, true, std::nullopt, 0s, false},
      {T::nominal, T::critical, false, std::nullopt, 0s, false},  // on battery
      {T::fair, T::serious, true, seriousAtTen, 1h + 59min + 59s, false},
      {T::fair, T::serious, true, seriousAtTen, 2h, true},
      {T::serious, T::critical, true, seriousAtTen, 30min, true},  // worse than last time
      {T::fair, T::critical, true, criticalAtTen, 1h, false},
      {T::fair, T::serious, true, criticalAtTen, 2h, true},
  };
  for (const auto& c : cases) {
    const auto alert = HeatRule::step(c.previous, c.current, c.pluggedIn, c.last, kTen + c.after);
    EXPECT_EQ(alert.has_value(), c.alert)
        << thermalLevelName(c.previous) << " to " << thermalLevelName(c.current) << (c.pluggedIn ? " plugged" : "")
        << (c.last ? " after an alert for " + std::string(thermalLevelName(c.last->level)) : "") << " +"
        << c.after.count() << " s";
  }
}

TEST(HeatRule, AlertTexts) {
  EXPECT_EQ(HeatRule::step(T::fair, T::serious, true, std::nullopt, kTen),
            (BatteryAlert{BatteryAlert::Kind::hot, kTen, "Running hot while charging",
                          "Heat ages a battery. Give your Mac some air or pause the heavy work.", std::nullopt}));
}

}  // namespace
}  // namespace batterycore
