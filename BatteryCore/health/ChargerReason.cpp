#include "BatteryCore/health/ChargerReason.hpp"

#include "BatteryCore/readings/PowerFlow.hpp"

namespace batterycore {

std::string_view ChargerReason::Kind::name() const {
  switch (case_) {
    case Case::unknown: return "unknown";
    case Case::none: return "none";
    case Case::atLimit: return "atLimit";
    case Case::full: return "full";
    case Case::thermal: return "thermal";
    case Case::weakCharger: return "weakCharger";
  }
  return "unknown";
}

ChargerReason ChargerReason::notCharging(std::uint64_t code) {
  // The limit bit wins: a battery held at its limit may also report full.
  if (code == 0) return {Kind::none(), code};
  if ((code & atLimitBit) != 0) return {Kind::atLimit(), code};
  if ((code & fullBit) != 0) return {Kind::full(), code};
  return {Kind::unknown(code), code};
}

ChargerReason ChargerReason::slowCharging(const BatterySnapshot& snapshot) {
  const std::uint64_t code = snapshot.slowChargingReason;
  if (code == 0) return {Kind::none(), code};
  if (snapshot.thermallyLimitedSeconds > 0) return {Kind::thermal(), code};
  if (!PowerFlow::from(snapshot).warning.isNone()) return {Kind::weakCharger(), code};
  return {Kind::unknown(code), code};
}

}  // namespace batterycore
