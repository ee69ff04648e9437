// ThermalLevel: the machine's thermal pressure, backed by an integer 0 ... 3.
//
//   thermalLevelFromInt(2) == ThermalLevel::serious
//   thermalLevelFromInt(4) == std::nullopt
//   thermalLevelName(ThermalLevel::fair) == "fair"
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace batterycore {

enum class ThermalLevel : int { nominal = 0, fair = 1, serious = 2, critical = 3 };

std::optional<ThermalLevel> thermalLevelFromInt(std::int64_t raw);
constexpr int toInt(ThermalLevel level) { return static_cast<int>(level); }
// The raw case name: "nominal", "fair", "serious", "critical".
std::string_view thermalLevelName(ThermalLevel level);

template <>
struct JsonCoding<ThermalLevel> {
  static Json encode(ThermalLevel level) { return toInt(level); }
  static ThermalLevel decode(const Json& json) {
    const auto level = thermalLevelFromInt(JsonCoding<std::int64_t>::decode(json));
    if (!level) throw DecodingError("thermal level outside 0 to 3");
    return *level;
  }
};

}  // namespace batterycore
