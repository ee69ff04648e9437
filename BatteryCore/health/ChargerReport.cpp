#include "BatteryCore/health/ChargerReport.hpp"

#include <algorithm>

namespace batterycore {

namespace {

ChargerVerdict againstRating(int adapterW, const MacPower& power) {
  const double ratio = static_cast<double>(adapterW) / static_cast<double>(power.wants);
  if (ratio >= 1.0) return ChargerVerdict::plenty;
  if (ratio >= ChargerReport::enoughShare) return ChargerVerdict::enough;
  if (ratio >= ChargerReport::slowShare) return ChargerVerdict::slow;
  return ChargerVerdict::tooSmall;
}

ChargerVerdict againstSeen(int adapterW, std::optional<int> biggestSeenW) {
  if (!biggestSeenW) return ChargerVerdict::unknown;
  const double ratio = static_cast<double>(adapterW) / static_cast<double>(*biggestSeenW);
  return ratio >= ChargerReport::enoughShare ? ChargerVerdict::unknown : ChargerVerdict::fallbackSeen;
}

}  // namespace

std::optional<ChargerReport> ChargerReport::make(const BatterySnapshot& snapshot,
                                                 const std::vector<ChargerMemory::Seen>& chargers,
                                                 std::string_view model) {
  const auto adapter = ChargerMemory::pluggedAdapter(snapshot);
  if (!adapter) return std::nullopt;

  const std::string current = ChargerMemory::identity(*adapter);
  std::optional<int> biggestSeenW;
  for (const auto& seen : chargers) {
    if (seen.identity == current) continue;
    biggestSeenW = std::max(biggestSeenW.value_or(seen.watts), seen.watts);
  }

  const auto power = MacPower::forModel(model);
  // A remembered charger reporting 0 W cannot be measured against.
  const bool seenUsable = biggestSeenW && *biggestSeenW > 0;
  const ChargerVerdict verdict =
      power && power->wants > 0 ? againstRating(adapter->watts, *power)
                                : againstSeen(adapter->watts, seenUsable ? biggestSeenW : std::nullopt);
  return ChargerReport{*adapter, verdict, power, biggestSeenW};
}

bool ChargerReport::showsCaption(std::optional<Date> pluggedInAt, Date now) {
  return pluggedInAt && now - *pluggedInAt < captionWindow;
}

}  // namespace batterycore
