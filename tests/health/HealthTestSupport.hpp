// Shared helpers of the health tests: readings, local times and a pinned
// locale.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include "tests/common/UsingLocale.hpp"

namespace batterycore::testing {

// A reading with only the fields the health rules look at set.
inline BatterySnapshot reading(Date at, std::int64_t percent, bool pluggedIn,
                               std::optional<Adapter> adapter = std::nullopt) {
  return BatterySnapshot(at, percent, pluggedIn, false, false, std::nullopt, std::nullopt,
                         LimitState::on(80), 0, 0, 0, ThermalLevel::nominal, 4600, 4600, 5000, 4000, 120,
                         1000, 12500, 0, std::nullopt, std::nullopt, std::nullopt, std::move(adapter));
}

// A plugged-in reading on `adapter` whose battery power is `batteryW` (negative:
// draining) while the Mac uses `usingW`.
inline BatterySnapshot onCharger(Date at, Adapter adapter, double batteryW, double usingW,
                                 std::int64_t percent = 60) {
  auto snapshot = reading(at, percent, true, std::move(adapter));
  snapshot.charging = batteryW > 0;
  snapshot.batteryPowerMilliW = static_cast<int>(batteryW * 1000);
  snapshot.systemLoadMilliW = static_cast<int>(usingW * 1000);
  snapshot.systemPowerInMilliW = static_cast<int>((usingW + batteryW) * 1000);
  return snapshot;
}

inline Date local(const Calendar& calendar, int year, int month, int day, int hour = 0, int minute = 0) {
  return *calendar.date(year, month, day, hour, minute);
}

}  // namespace batterycore::testing
