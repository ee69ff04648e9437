// ChargerReport: whether the plugged-in adapter is big enough for this Mac,
// derived on demand for the charger card and never stored.
//
//   // a 16-inch MacBook Pro (M3 Max, rated 140 W) on a 96 W adapter: 0.69 of its rating
//   ChargerReport::make(reading, memory.chargers, "Mac15,9")->verdict == ChargerVerdict::slow
//   ChargerReport::showsCaption(pluggedInAt, pluggedInAt + Seconds{599}) == true
//
// With the model's rating known the adapter is measured against it; without
// it, against the biggest other charger this Mac has used.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/health/ChargerMemory.hpp"
#include "BatteryCore/health/ChargerVerdict.hpp"
#include "BatteryCore/health/MacPower.hpp"
#include "BatteryCore/readings/Adapter.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <optional>
#include <string_view>
#include <vector>

namespace batterycore {

struct ChargerReport {
  Adapter adapter;
  ChargerVerdict verdict = ChargerVerdict::unknown;
  std::optional<MacPower> power;     // absent when the model is unknown
  std::optional<int> biggestSeenW;   // largest other remembered charger

  // The card's caption shows only this long after plugging in.
  static constexpr Seconds captionWindow{600};
  // Share of the rating from which an adapter counts as enough, and as slow.
  static constexpr double enoughShare = 0.75;
  static constexpr double slowShare = 0.5;

  // Absent on battery, without an adapter, or with an adapter under 1 W.
  static std::optional<ChargerReport> make(const BatterySnapshot& snapshot,
                                           const std::vector<ChargerMemory::Seen>& chargers,
                                           std::string_view model);

  static bool showsCaption(std::optional<Date> pluggedInAt, Date now);

  friend bool operator==(const ChargerReport&, const ChargerReport&) = default;
};

}  // namespace batterycore
