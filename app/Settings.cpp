#include "app/Settings.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"

#include <algorithm>

namespace kestrin::app {

using namespace batterycore;

Json FullChargeOptions::toJson() const {
  Json json = Json::object();
  put(json, "untilUnplug", untilUnplug);
  put(json, "whenFull", whenFull);
  putIfPresent(json, "hours", hours);
  return json;
}

FullChargeOptions FullChargeOptions::fromJson(const Json& json) {
  FullChargeOptions options;
  options.untilUnplug = valueOr<bool>(json, "untilUnplug", options.untilUnplug);
  options.whenFull = valueOr<bool>(json, "whenFull", options.whenFull);
  options.hours = optional<int>(json, "hours");
  return options;
}

std::vector<std::string> Settings::defaultCalendarKeywords() {
  return {"trip", "flight", "travel", "vacation", "Reise", "Flug", "Urlaub", "旅行", "出張"};
}

bool Settings::alertEnabled(BatteryAlert::Kind kind) const {
  const auto chosen = alerts.find(kind);
  return chosen != alerts.end() ? chosen->second : AlertPolicy::defaultSwitch(kind);
}

Json Settings::toJson() const {
  Json json = Json::object();
  put(json, "level", level);
  Json switches = Json::object();
  for (const auto& [kind, on] : alerts) switches[std::string(BatteryAlert::rawValue(kind))] = on;
  put(json, "alerts", switches);
  put(json, "smartTopUp", smartTopUp);
  put(json, "fullCharge", fullCharge);
  put(json, "interval", interval.count());
  putIfPresent(json, "locale", locale);
  put(json, "keepLimitOn", keepLimitOn);
  put(json, "calendarFullCharge", calendarFullCharge);
  put(json, "calendarAllDay", calendarAllDay);
  put(json, "calendarKeywords", calendarKeywords);
  putIfPresent(json, "calendarPath", calendarPath);
  return json;
}

Settings Settings::fromJson(const Json& json) {
  Settings settings;
  settings.level = valueOr<DetailLevel>(json, "level", settings.level);
  if (const auto switches = optional<Json>(json, "alerts")) {
    if (!switches->is_object()) throw DecodingError("expected an object", "alerts");
    for (const auto& [name, on] : switches->items()) {
      const auto kind = BatteryAlert::kindFromRawValue(name);
      if (kind && on.is_boolean()) settings.alerts[*kind] = on.get<bool>();
    }
  }
  settings.smartTopUp = valueOr<bool>(json, "smartTopUp", settings.smartTopUp);
  settings.fullCharge = valueOr<FullChargeOptions>(json, "fullCharge", settings.fullCharge);
  // A hand-edited interval of 0 must not make the service spin.
  const auto interval = valueOr<std::int64_t>(json, "interval", settings.interval.count());
  settings.interval = std::chrono::seconds{
      std::clamp<std::int64_t>(interval, kShortestInterval.count(), kLongestInterval.count())};
  settings.locale = optional<std::string>(json, "locale");
  if (settings.locale && settings.locale->empty()) settings.locale.reset();
  settings.keepLimitOn = valueOr<bool>(json, "keepLimitOn", settings.keepLimitOn);
  settings.calendarFullCharge = valueOr<bool>(json, "calendarFullCharge", settings.calendarFullCharge);
  settings.calendarAllDay = valueOr<bool>(json, "calendarAllDay", settings.calendarAllDay);
  settings.calendarKeywords =
      valueOr<std::vector<std::string>>(json, "calendarKeywords", std::move(settings.calendarKeywords));
  settings.calendarPath = optional<std::string>(json, "calendarPath");
  if (settings.calendarPath && settings.calendarPath->empty()) settings.calendarPath.reset();
  return settings;
}

}  // namespace kestrin::app
