// DepartureLedger: the raw memory of when the Mac leaves its charger — every
// moment it went from plugged in to unplugged, and whether that unplug came
// straight after a wake.
//
//   DepartureLedger ledger;                                    // empty at first
//   ledger = DepartureLedger::step(ledger, pluggedAt0800, unpluggedAt0801, t0800, t0801);
//   ledger.unplugs == {Unplug{t0801, false}}                   // previous tick 60 s before
//
// The ledger keeps no statistics and makes no decisions: DepartureModel learns
// usual times from it. Only the plugged-in to unplugged edge counts; after a
// gap of more than `maxGap` between ticks the Mac was asleep (or the app was
// not running), so the unplug is marked `afterWake`.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <cstddef>
#include <optional>
#include <vector>

namespace batterycore {

struct DepartureLedger {
  struct Unplug {
    // The tick that first saw the Mac unplugged.
    Date at;
    // The tick before lay more than `maxGap` earlier, or there was none.
    bool afterWake = false;

    friend bool operator==(const Unplug&, const Unplug&) = default;

    // {"at": date, "afterWake": bool}; both keys are required.
    Json toJson() const;
    static Unplug fromJson(const Json& json);
  };

  // The most unplugs kept; older ones are dropped first.
  static constexpr std::size_t keep = 400;
  // Ticks further apart than this mean the Mac slept in between.
  static constexpr Seconds maxGap{90.0};

  // Oldest first.
  std::vector<Unplug> unplugs;

  // The ledger after one tick. `previous` is the snapshot of the tick before
  // (absent on the first tick after launch), `lastTick` when that tick ran.
  static DepartureLedger step(const DepartureLedger& ledger, const std::optional<BatterySnapshot>& previous,
                              const BatterySnapshot& current, std::optional<Date> lastTick, Date now);

  friend bool operator==(const DepartureLedger&, const DepartureLedger&) = default;

  // {"unplugs": [...]}; a missing "unplugs" reads as the empty ledger, but a
  // broken unplug fails the whole ledger.
  Json toJson() const;
  static DepartureLedger fromJson(const Json& json);
};

}  // namespace batterycore
