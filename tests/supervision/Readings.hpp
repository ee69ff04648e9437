// Readings for the supervision tests: a snapshot is described by the few
// fields the rules look at, everything else is a plausible constant.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace batterycore::fixtures {

// A moment written the way a person reads it: "2026-03-02T10:00:00Z".
Date at(std::string_view iso8601);

struct Reading {
  std::int64_t percent = 80;
  bool pluggedIn = true;
  bool charging = false;
  LimitState limit = LimitState::on(80);
  ThermalLevel thermal = ThermalLevel::nominal;
};

BatterySnapshot snapshot(const Reading& reading, Date when);

inline BatterySnapshot charging(std::int64_t percent, LimitState limit, Date when) {
  return snapshot({percent, true, true, std::move(limit)}, when);
}
inline BatterySnapshot resting(std::int64_t percent, LimitState limit, Date when) {
  return snapshot({percent, true, false, std::move(limit)}, when);
}
inline BatterySnapshot unplugged(std::int64_t percent, LimitState limit, Date when) {
  return snapshot({percent, false, false, std::move(limit)}, when);
}

}  // namespace batterycore::fixtures
