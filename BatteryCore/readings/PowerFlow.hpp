// PowerFlow: one reading split into watts from the charger, watts the computer
// uses and watts into (or out of) the battery, with a flag for a charger that
// cannot keep up. Derived on demand, never stored.
//
//   reading: plugged in, 12,000 mV, -500 mA, no power telemetry, 30 W adapter
//   PowerFlow::from(reading).batteryW == -6.0
//   PowerFlow::from(reading).warning == PowerFlow::Warning::weakCharger(30, 0.0)
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <optional>

namespace batterycore {

struct PowerFlow {
  struct Warning {
    // Absent: no warning. Present: the adapter's rated watts and what the
    // computer uses.
    struct WeakCharger {
      int ratedW;
      double usingW;
      friend bool operator==(const WeakCharger&, const WeakCharger&) = default;
    };
    std::optional<WeakCharger> weak;

    static Warning none() { return {}; }
    static Warning weakCharger(int ratedW, double usingW) { return {WeakCharger{ratedW, usingW}}; }
    bool isNone() const { return !weak; }
    friend bool operator==(const Warning&, const Warning&) = default;
  };

  double fromChargerW = 0;
  double macUsesW = 0;
  double batteryW = 0;
  std::optional<int> adapterRatedW;
  Warning warning;

  static PowerFlow from(const BatterySnapshot& snapshot);

  friend bool operator==(const PowerFlow&, const PowerFlow&) = default;
};

}  // namespace batterycore
