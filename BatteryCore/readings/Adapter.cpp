#include "BatteryCore/readings/Adapter.hpp"

namespace batterycore {

Json Adapter::toJson() const {
  Json json = Json::object();
  put(json, "watts", watts);
  putIfPresent(json, "description", description);
  put(json, "isWireless", isWireless);
  return json;
}

Adapter Adapter::fromJson(const Json& json) {
  return Adapter{required<int>(json, "watts"), optional<std::string>(json, "description"),
                 required<bool>(json, "isWireless")};
}

}  // namespace batterycore
