// Readings for tests: a plain snapshot that each test changes where it matters.
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"

namespace batterycore::testing {

inline BatterySnapshot reading(std::int64_t percent, bool pluggedIn, bool charging, LimitState limit) {
  return BatterySnapshot(dateFromSecondsSince1970(1772877600.0), percent, pluggedIn, charging, false,
                         std::nullopt, std::nullopt, std::move(limit), 0, 0, 0, ThermalLevel::nominal,
                         4000, 4100, 4500, 3200, 120, 1000, 12500, 0);
}

}  // namespace batterycore::testing
