#include "BatteryCore/readings/ChargePhase.hpp"

#include <limits>

namespace batterycore {

namespace {
constexpr std::string_view kMoodNames[] = {"charging", "holding", "lowering", "battery", "alert", "full"};
}

std::string_view ambientMoodName(AmbientMood mood) { return kMoodNames[static_cast<int>(mood)]; }

std::optional<AmbientMood> ambientMoodFromName(std::string_view name) {
  for (const AmbientMood mood : kAllAmbientMoods) {
    if (ambientMoodName(mood) == name) return mood;
  }
  return std::nullopt;
}

ChargePhase ChargePhase::from(std::int64_t percent, bool pluggedIn, bool charging,
                              std::optional<int> limit) {
  if (!pluggedIn) return onBattery();
  if (charging) return ChargePhase::charging(limit.value_or(100));
  if (!limit) return full();
  // One point above the limit still counts as holding; compared in 64 bits so
  // that limit + 1 cannot overflow.
  const std::int64_t tolerance = static_cast<std::int64_t>(*limit) + 1;
  return percent > tolerance ? lowering(*limit) : holding(*limit);
}

std::optional<AmbientMood> ChargePhase::ambient() const {
  switch (kind_) {
    case Kind::charging: return AmbientMood::charging;
    case Kind::holding: return AmbientMood::holding;
    case Kind::lowering: return AmbientMood::lowering;
    case Kind::onBattery: return AmbientMood::battery;
    case Kind::full: return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace batterycore
