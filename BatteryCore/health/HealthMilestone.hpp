// HealthMilestone: tells the user when battery health has fallen by at least
// one whole point since the last reference.
//
//   auto first = HealthMilestone::step(std::nullopt, 92, march1, calendar);
//   first.next == HealthMilestone{92, march1} && !first.alert
//   auto later = HealthMilestone::step(first.next, 91, may10, calendar);
//   later.alert->title == "Battery health: 91%"
//   later.alert->body == "Down 1 points since Mar 1. Normal wear."
//
// The reference only moves down: a reading that rises again (the gauge
// re-learning) leaves it where it was, so a later fall is measured from the
// old, lower reference.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <optional>

namespace batterycore {

struct HealthMilestone {
  int percent = 0;  // the health percent last accepted as the reference
  Date since;       // when that reference was set

  struct Step;

  // `percent` is the current health (HealthTrend::healthPercent). The caller
  // stores the new state and hands any alert to the alert policy.
  static Step step(const std::optional<HealthMilestone>& previous, int percent, Date now,
                   const Calendar& calendar);

  friend bool operator==(const HealthMilestone&, const HealthMilestone&) = default;

  // {"percent": integer, "since": date}; both keys required.
  Json toJson() const;
  static HealthMilestone fromJson(const Json& json);
};

struct HealthMilestone::Step {
  HealthMilestone next;
  std::optional<BatteryAlert> alert;
};

}  // namespace batterycore
