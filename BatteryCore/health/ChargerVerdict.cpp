#include "BatteryCore/health/ChargerVerdict.hpp"

namespace batterycore {

std::string_view chargerVerdictName(ChargerVerdict verdict) {
  switch (verdict) {
    case ChargerVerdict::plenty: return "plenty";
    case ChargerVerdict::enough: return "enough";
    case ChargerVerdict::slow: return "slow";
    case ChargerVerdict::tooSmall: return "tooSmall";
    case ChargerVerdict::fallbackSeen: return "fallbackSeen";
    case ChargerVerdict::unknown: return "unknown";
  }
  return "unknown";
}

std::optional<ChargerVerdict> chargerVerdictFromName(std::string_view name) {
  for (const ChargerVerdict verdict : kAllChargerVerdicts) {
    if (chargerVerdictName(verdict) == name) return verdict;
  }
  return std::nullopt;
}

}  // namespace batterycore
