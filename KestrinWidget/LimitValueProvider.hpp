// LimitValueProvider: whether the Control Center toggle shows the limit as
// on, judged from the widget snapshot alone.
//
//   LimitValueProvider::currentValue(snapshotWithLimit80, snapshot.at + 1h) == true
//   LimitValueProvider::currentValue(snapshotWithLimit80, snapshot.at + 3h + 1s) == false   // stale
//   LimitValueProvider::currentValue(std::nullopt, now) == false
//
// Off is the safe guess: without a fresh word from the application the
// control does not claim a limit is protecting the battery.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <optional>

namespace kestrin::widget {

struct LimitValueProvider {
  // What the control gallery shows: the limit on, the state it is there for.
  static constexpr bool previewValue = true;

  // On exactly when there is a snapshot, it is not stale and it has a limit.
  static bool currentValue(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now);
  static bool currentValue(const AppGroup& group, batterycore::Date now);
  // The platform's own group at the system's time.
  static bool currentValue();
};

}  // namespace kestrin::widget
