// Readings for the supervision tests: a snapshot is described by the few
// fields the rules look at, everything else is a plausible constant.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <cstdint>
#include <string_view>

namespace batterycore::fixtures {

// A moment written the way a person reads it: "2026-03-02T10:00:00Z".
inline Date at(std::string_view iso8601) { return parseIso8601(iso8601).value(); }

struct Reading {
  std::int64_t percent = 80;
  bool pluggedIn = true;
  bool charging = false;
  LimitState limit = LimitState::on(80);
};

inline BatterySnapshot snapshot(const Reading& r, Date when) {
  return BatterySnapshot(when, r.percent, r.pluggedIn, r.charging, /*fullyCharged=*/false, std::nullopt,
                         std::nullopt, r.limit, 0, 0, 0, ThermalLevel::nominal, 4000, 4100, 4500, 3200, 120, 1000,
                         12500, r.charging ? 1500 : 0);
}
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
