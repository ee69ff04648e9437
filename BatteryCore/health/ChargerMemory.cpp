#include "BatteryCore/health/ChargerMemory.hpp"

#include <algorithm>

namespace batterycore {

std::string ChargerMemory::identity(const Adapter& adapter) {
  const std::string watts = std::to_string(adapter.watts);
  if (!adapter.description || adapter.description->empty()) return watts;
  return *adapter.description + "/" + watts;
}

std::optional<Adapter> ChargerMemory::pluggedAdapter(const BatterySnapshot& snapshot) {
  if (!snapshot.pluggedIn || !snapshot.adapter || snapshot.adapter->watts < 1) return std::nullopt;
  return snapshot.adapter;
}

void ChargerMemory::remember(const BatterySnapshot& snapshot, Date now) {
  if (const auto adapter = pluggedAdapter(snapshot)) {
    const std::string key = identity(*adapter);
    const auto found = std::find_if(chargers.begin(), chargers.end(),
                                    [&](const Seen& seen) { return seen.identity == key; });
    if (found != chargers.end()) {
      found->lastSeen = std::max(found->lastSeen, now);
    } else {
      chargers.push_back({key, adapter->watts, now, now});
    }
  }

  std::erase_if(chargers, [&](const Seen& seen) { return now - seen.lastSeen >= forgetAfter; });
  while (chargers.size() > keepChargers) {
    chargers.erase(std::min_element(chargers.begin(), chargers.end(), [](const Seen& a, const Seen& b) {
      return a.lastSeen < b.lastSeen;
    }));
  }
}

Json ChargerMemory::Seen::toJson() const {
  Json json = Json::object();
  put(json, "identity", identity);
  put(json, "watts", watts);
  put(json, "firstSeen", firstSeen);
  put(json, "lastSeen", lastSeen);
  return json;
}

ChargerMemory::Seen ChargerMemory::Seen::fromJson(const Json& json) {
  return Seen{required<std::string>(json, "identity"), required<int>(json, "watts"),
              required<Date>(json, "firstSeen"), required<Date>(json, "lastSeen")};
}

Json ChargerMemory::toJson() const {
  Json json = Json::object();
  put(json, "chargers", chargers);
  return json;
}

ChargerMemory ChargerMemory::fromJson(const Json& json) {
  return ChargerMemory{valueOr<std::vector<Seen>>(json, "chargers", {})};
}

}  // namespace batterycore
