#include "BatteryCore/supervision/HeatRule.hpp"

#include "BatteryCore/text/MeaningAlerts.hpp"

namespace batterycore {

Json HeatRule::Last::toJson() const {
  Json object = Json::object();
  put(object, "at", at);
  put(object, "level", level);
  return object;
}

HeatRule::Last HeatRule::Last::fromJson(const Json& json) {
  return Last{required<Date>(json, "at"), required<ThermalLevel>(json, "level")};
}

std::optional<BatteryAlert> HeatRule::step(ThermalLevel previous, ThermalLevel current, bool pluggedIn,
                                           const std::optional<Last>& lastAlert, Date now) {
  const bool risenIntoHeat =
      pluggedIn && toInt(current) >= toInt(ThermalLevel::serious) && toInt(current) > toInt(previous);
  if (!risenIntoHeat) return std::nullopt;
  const bool due = !lastAlert || now - lastAlert->at >= cooldown || toInt(lastAlert->level) < toInt(current);
  if (!due) return std::nullopt;
  auto words = Meaning::hotAlert();
  return BatteryAlert{BatteryAlert::Kind::hot, now, std::move(words.title), std::move(words.detail),
                      std::nullopt};
}

}  // namespace batterycore
