#include "KestrinWidget/LimitValueProvider.hpp"

#include "KestrinWidget/Clock.hpp"

namespace kestrin::widget {

bool LimitValueProvider::currentValue(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now) {
  return snapshot && !snapshot->isStale(now) && snapshot->limit.has_value();
}

bool LimitValueProvider::currentValue(const AppGroup& group, batterycore::Date now) {
  return currentValue(WidgetSnapshot::load(group), now);
}

bool LimitValueProvider::currentValue() { return currentValue(AppGroup::open(), SystemClock().now()); }

}  // namespace kestrin::widget
