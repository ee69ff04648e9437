#include "app/live/AppleAccessories.hpp"

#include <cstdint>
#include <limits>

namespace kestrin::app::live {

using batterycore::AccessoryBattery;
using batterycore::Json;

namespace {

std::optional<std::string> nonEmptyText(const Json& properties, const char* key) {
  const auto found = properties.find(key);
  if (found == properties.end() || !found->is_string()) return std::nullopt;
  auto text = found->get<std::string>();
  if (text.empty()) return std::nullopt;
  return text;
}

}  // namespace

std::optional<AccessoryBattery> accessoryFromAppleProperties(const Json& properties, const std::string& registryId) {
  if (!properties.is_object()) return std::nullopt;
  const auto percent = properties.find("BatteryPercent");
  if (percent == properties.end() || !percent->is_number_integer()) return std::nullopt;
  // A huge unsigned number (a wrapped negative) is out of range either way.
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const std::int64_t value = percent->is_number_unsigned() && percent->get<std::uint64_t>() > kLargest
                                 ? -1
                                 : percent->get<std::int64_t>();
  auto id = nonEmptyText(properties, "DeviceAddress");
  if (!id) id = nonEmptyText(properties, "SerialNumber");
  return AccessoryBattery::fromReading(id.value_or(registryId), nonEmptyText(properties, "Product").value_or(""),
                                       value, std::nullopt, AccessoryBattery::Status::unknown);
}

}  // namespace kestrin::app::live
