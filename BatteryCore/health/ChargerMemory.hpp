// ChargerMemory: the chargers this Mac has been plugged into, so that a small
// one can be told apart from a bigger one used before.
//
//   ChargerMemory memory;
//   memory.remember(readingOn96WAdapter, monday);
//   memory.remember(readingOn96WAdapter, tuesday);
//   memory.chargers.size() == 1 && memory.chargers[0].lastSeen == tuesday
//   ChargerMemory::identity(Adapter{96, "96W USB-C Power Adapter"}) == "96W USB-C Power Adapter/96"
//
// A charger is recognised by its reported name and watts: a third-party
// charger that reports no name is known by its watts alone.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/Adapter.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {

struct ChargerMemory {
  struct Seen {
    std::string identity;
    int watts = 0;
    Date firstSeen;
    Date lastSeen;

    friend bool operator==(const Seen&, const Seen&) = default;
    Json toJson() const;
    static Seen fromJson(const Json& json);
  };

  // A charger not seen for this long is forgotten.
  static constexpr Seconds forgetAfter = std::chrono::days{400};
  static constexpr std::size_t keepChargers = 20;

  std::vector<Seen> chargers;  // in the order first seen

  // The name (when reported) and watts by which a charger is recognised.
  static std::string identity(const Adapter& adapter);

  // The adapter of a plugged-in reading, if it reports at least 1 W.
  static std::optional<Adapter> pluggedAdapter(const BatterySnapshot& snapshot);

  // Notes the reading's charger (new, or seen again) and forgets chargers not
  // seen for 400 days; beyond 20 the least recently seen go.
  void remember(const BatterySnapshot& snapshot, Date now);

  friend bool operator==(const ChargerMemory&, const ChargerMemory&) = default;
  Json toJson() const;
  static ChargerMemory fromJson(const Json& json);
};

}  // namespace batterycore
