// HeatRule: raises a `hot` alert when a plugged-in Mac rises into a serious
// or critical thermal state, at most every two hours unless it gets worse.
//
//   HeatRule::step(ThermalLevel::fair, ThermalLevel::serious, true, std::nullopt, t)   -> alert
//   HeatRule::step(ThermalLevel::fair, ThermalLevel::serious, true,
//                  HeatRule::Last{t, ThermalLevel::serious}, t + 1h)                    -> none
//   HeatRule::step(ThermalLevel::serious, ThermalLevel::critical, true,
//                  HeatRule::Last{t, ThermalLevel::serious}, t + 30min)                 -> alert (worse)
//
// Heat while charging is what ages a battery, so heat on battery says nothing.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <optional>

namespace batterycore {

struct HeatRule {
  // The last `hot` alert the rule returned, kept by the caller.
  struct Last {
    Date at;
    ThermalLevel level;

    friend bool operator==(const Last&, const Last&) = default;

    // {"at": date, "level": integer}
    Json toJson() const;
    static Last fromJson(const Json& json);
  };

  static constexpr Seconds cooldown = std::chrono::hours{2};

  // `previous` and `current` are the thermal levels of the previous and the
  // new reading; `pluggedIn` is from the new one.
  static std::optional<BatteryAlert> step(ThermalLevel previous, ThermalLevel current, bool pluggedIn,
                                          const std::optional<Last>& lastAlert, Date now);
};

}  // namespace batterycore
