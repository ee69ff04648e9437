#include "BatteryCore/readings/ThermalLevel.hpp"

namespace batterycore {

std::optional<ThermalLevel> thermalLevelFromInt(std::int64_t raw) {
  if (raw < 0 || raw > 3) return std::nullopt;
  return static_cast<ThermalLevel>(raw);
}

std::string_view thermalLevelName(ThermalLevel level) {
  switch (level) {
    case ThermalLevel::nominal: return "nominal";
    case ThermalLevel::fair: return "fair";
    case ThermalLevel::serious: return "serious";
    case ThermalLevel::critical: return "critical";
  }
  return "nominal";
}

}  // namespace batterycore
