#include "BatteryCore/text/DetailLevel.hpp"

#include "BatteryCore/text/Meaning.hpp"

namespace batterycore {

std::string_view detailLevelRaw(DetailLevel level) {
  return level == DetailLevel::technical ? "technical" : "simple";
}

std::optional<DetailLevel> detailLevelFromRaw(std::string_view raw) {
  for (const DetailLevel level : kAllDetailLevels) {
    if (detailLevelRaw(level) == raw) return level;
  }
  return std::nullopt;
}

std::string title(DetailLevel level) {
  return Meaning::leveled("detailLevel", level, "Simple", "Technical");
}

}  // namespace batterycore
