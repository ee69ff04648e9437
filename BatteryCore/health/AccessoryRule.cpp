#include "BatteryCore/health/AccessoryRule.hpp"

#include "BatteryCore/text/MeaningAccessories.hpp"

#include <algorithm>

namespace batterycore {

namespace {

using Level = AccessoryBattery::Level;

void forgetOld(std::vector<AccessoryRule::Memory>& memories, Date now) {
  std::erase_if(memories, [&](const auto& memory) { return now - memory.seenAt >= AccessoryRule::forgetAfter; });
  while (memories.size() > AccessoryRule::keepAccessories) {
    memories.erase(std::min_element(memories.begin(), memories.end(),
                                    [](const auto& a, const auto& b) { return a.seenAt < b.seenAt; }));
  }
}

}  // namespace

bool AccessoryRule::isLow(const AccessoryBattery& accessory) {
  if (accessory.percent) return *accessory.percent <= lowAtOrBelow;
  return accessory.level == Level::low || accessory.level == Level::critical;
}

bool AccessoryRule::isRecharged(const AccessoryBattery& accessory) {
  if (accessory.percent) return *accessory.percent > rearmAbove;
  return accessory.level == Level::normal || accessory.level == Level::high || accessory.level == Level::full;
}

AccessoryRule::Step AccessoryRule::step(const AccessoryRule& previous, const std::vector<AccessoryBattery>& accessories,
                                        Date now) {
  Step result{previous, {}};
  auto& memories = result.next.accessories;
  for (const auto& accessory : accessories) {
    auto found = std::find_if(memories.begin(), memories.end(),
                              [&](const Memory& memory) { return memory.id == accessory.id; });
    if (found == memories.end()) {
      memories.push_back(Memory{accessory.id, true, now});
      found = memories.end() - 1;
    }
    Memory& memory = *found;
    memory.seenAt = now;
    if (isRecharged(accessory)) {
      memory.armed = true;
    } else if (isLow(accessory) && memory.armed && accessory.status != AccessoryBattery::Status::charging) {
      memory.armed = false;
      auto line = Meaning::accessoryLowAlert(accessory);
      result.alerts.push_back(BatteryAlert{BatteryAlert::Kind::accessoryLow, now, std::move(line.title),
                                           std::move(line.detail), std::nullopt});
    }
  }
  forgetOld(memories, now);
  return result;
}

Json AccessoryRule::Memory::toJson() const {
  Json json = Json::object();
  put(json, "id", id);
  put(json, "armed", armed);
  put(json, "seenAt", seenAt);
  return json;
}

AccessoryRule::Memory AccessoryRule::Memory::fromJson(const Json& json) {
  return Memory{required<std::string>(json, "id"), valueOr<bool>(json, "armed", true),
                required<Date>(json, "seenAt")};
}

Json AccessoryRule::toJson() const {
  Json json = Json::object();
  put(json, "accessories", accessories);
  return json;
}

AccessoryRule AccessoryRule::fromJson(const Json& json) {
  return AccessoryRule{valueOr<std::vector<Memory>>(json, "accessories", {})};
}

}  // namespace batterycore
