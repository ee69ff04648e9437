// AlertPolicy: decides which alert becomes a notification, and when.
//
//   AlertPolicy policy;
//   const auto posted = policy.filter({hot, weakCharger}, now, std::nullopt, everyKind);
//   posted == {hot};                      // weakCharger waits its turn
//   policy.filter({}, now + 60s, ...)  == {weakCharger};
//
// Kinds switched off are dropped for good; each kind has at most one alert
// waiting (a newer one takes the older one's place in the queue); nothing
// leaves within two minutes after the Mac wakes, so the burst of readings
// after sleep settles first; notifications leave one per call, oldest first,
// a minute apart; "limit not holding" at most once in twelve hours, because
// a limit that keeps failing should not nag all day.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace batterycore {

struct AlertPolicy {
  using Kind = BatteryAlert::Kind;

  static constexpr Seconds spacing = std::chrono::minutes{1};
  static constexpr Seconds afterWake = std::chrono::minutes{2};

  // Least time between two notifications of the same kind.
  static Seconds cooldown(Kind kind);
  // False for the kinds that only ever go to the alerts list.
  static bool notifies(Kind kind);
  // Whether the user's switch for a kind starts on. Every notifying kind has a
  // switch; the list-only kinds have none and are always listed (true).
  static bool defaultSwitch(Kind kind);

  std::map<Kind, Date> lastPosted;
  std::optional<Date> lastPostAt;
  // Accepted but not yet posted, oldest first, at most one per kind.
  std::vector<BatteryAlert> waiting;

  // Takes the alerts raised this tick (in the order the rules raised them)
  // and returns what to post now: nothing or one alert. Call it on every
  // tick, with no new alerts too, so that waiting ones can leave.
  std::vector<BatteryAlert> filter(std::span<const BatteryAlert> alerts, Date now, std::optional<Date> wokeAt,
                                   const std::function<bool(Kind)>& enabled);

  friend bool operator==(const AlertPolicy&, const AlertPolicy&) = default;

  // Every key may be missing: an empty object is an empty policy.
  Json toJson() const;
  static AlertPolicy fromJson(const Json& json);
};

}  // namespace batterycore
