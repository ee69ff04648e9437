#include "app/Settings.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"

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
  return settings;
}

}  // namespace kestrin::app
