#include "BatteryCore/health/WeakChargerRule.hpp"

#include "BatteryCore/health/ChargerMemory.hpp"
#include "BatteryCore/readings/PowerFlow.hpp"
#include "BatteryCore/text/MeaningHealth.hpp"

#include <algorithm>

namespace batterycore {

namespace {

void forgetOld(std::vector<WeakChargerRule::Charger>& chargers, Date now) {
  std::erase_if(chargers, [&](const auto& charger) {
    return now - charger.seenAt >= ChargerMemory::forgetAfter;
  });
  while (chargers.size() > ChargerMemory::keepChargers) {
    chargers.erase(std::min_element(chargers.begin(), chargers.end(), [](const auto& a, const auto& b) {
      return a.seenAt < b.seenAt;
    }));
  }
}

BatteryAlert alertFor(const PowerFlow& flow, Date now) {
  const auto& weak = *flow.warning.weak;
  // A battery running down is the louder news; otherwise it is filling slowly.
  const auto line = flow.batteryW < 0 ? Meaning::weakChargerDrains(weak.ratedW, weak.usingW)
                                      : Meaning::weakChargerSlow(weak.ratedW);
  return BatteryAlert{BatteryAlert::Kind::weakCharger, now, line.title, line.detail, std::nullopt};
}

}  // namespace

WeakChargerRule::Step WeakChargerRule::step(const WeakChargerRule& previous, const BatterySnapshot& snapshot,
                                            Date now, const Calendar& calendar) {
  Step result{previous, std::nullopt};
  auto& chargers = result.next.chargers;
  const auto adapter = ChargerMemory::pluggedAdapter(snapshot);
  const std::string current = adapter ? ChargerMemory::identity(*adapter) : std::string();

  // Only one charger is plugged in: every other one's episode is over.
  for (auto& charger : chargers) {
    if (!adapter || charger.identity != current) charger.since.reset();
  }
  if (adapter) {
    auto found = std::find_if(chargers.begin(), chargers.end(),
                              [&](const Charger& charger) { return charger.identity == current; });
    if (found == chargers.end()) {
      chargers.push_back({current, std::nullopt, now, std::nullopt});
      found = chargers.end() - 1;
    }
    Charger& charger = *found;
    const PowerFlow flow = PowerFlow::from(snapshot);
    if (flow.warning.isNone()) {
      charger.since.reset();
    } else {
      if (!charger.since || now - charger.seenAt > maxGap || now < *charger.since) charger.since = now;
      const bool alertedToday =
          charger.lastAlert && calendar.dayKey(*charger.lastAlert) == calendar.dayKey(now);
      if (now - *charger.since >= lastsFor && !alertedToday) {
        charger.lastAlert = now;
        result.alert = alertFor(flow, now);
      }
    }
    charger.seenAt = now;
  }
  forgetOld(chargers, now);
  return result;
}

Json WeakChargerRule::Charger::toJson() const {
  Json json = Json::object();
  put(json, "identity", identity);
  putIfPresent(json, "since", since);
  put(json, "seenAt", seenAt);
  putIfPresent(json, "lastAlert", lastAlert);
  return json;
}

WeakChargerRule::Charger WeakChargerRule::Charger::fromJson(const Json& json) {
  return Charger{required<std::string>(json, "identity"), optional<Date>(json, "since"),
                 required<Date>(json, "seenAt"), optional<Date>(json, "lastAlert")};
}

Json WeakChargerRule::toJson() const {
  Json json = Json::object();
  put(json, "chargers", chargers);
  return json;
}

WeakChargerRule WeakChargerRule::fromJson(const Json& json) {
  return WeakChargerRule{valueOr<std::vector<Charger>>(json, "chargers", {})};
}

}  // namespace batterycore
