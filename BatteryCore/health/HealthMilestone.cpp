#include "BatteryCore/health/HealthMilestone.hpp"

#include "BatteryCore/text/MeaningHealth.hpp"

namespace batterycore {

HealthMilestone::Step HealthMilestone::step(const std::optional<HealthMilestone>& previous, int percent,
                                            Date now, const Calendar& calendar) {
  if (!previous) return {HealthMilestone{percent, now}, std::nullopt};
  if (percent >= previous->percent) return {*previous, std::nullopt};

  const int drop = previous->percent - percent;
  auto line = Meaning::healthMilestone(percent, drop, previous->since, now, calendar);
  return {HealthMilestone{percent, now},
          BatteryAlert{BatteryAlert::Kind::healthMilestone, now, std::move(line.title),
                       std::move(line.detail), std::nullopt}};
}

Json HealthMilestone::toJson() const {
  Json json = Json::object();
  put(json, "percent", percent);
  put(json, "since", since);
  return json;
}

HealthMilestone HealthMilestone::fromJson(const Json& json) {
  return HealthMilestone{required<int>(json, "percent"), required<Date>(json, "since")};
}

}  // namespace batterycore
