// LimitChangeRule: tells the user when the charge limit was switched off by
// somebody else, and when it is on again.
//
//   LimitChangeRule::step(LimitState::on(80), LimitState::off(80), false, std::nullopt, now)
//       -> a `limitTurnedOff` alert
//   LimitChangeRule::step(LimitState::off(), LimitState::on(80), true, now, now)
//       -> a `limitTurnedOn` alert ("Your battery will rest at 80% again."), whoever did it
//
// An "off" that follows this application's own change of the limit within a
// few seconds is the application's doing (the system reports the change a
// moment later), so it raises nothing.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <optional>

namespace batterycore {

struct LimitChangeRule {
  // An "off" seen sooner than this after our own last change of the limit is ours.
  static constexpr Seconds ownChangeWindow = std::chrono::seconds{5};

  // `previous` and `current` are the limit states of two consecutive
  // readings; `ours` is true when this application made the change;
  // `lastOwnChangeAt` is when it last wrote the limit.
  static std::optional<BatteryAlert> step(const LimitState& previous, const LimitState& current, bool ours,
                                          std::optional<Date> lastOwnChangeAt, Date now);
};

}  // namespace batterycore
