// EnergyView: which programs use the most power right now, from two looks at
// the process table a few seconds apart, as `kestrin energy` prints it.
//
//   auto uses = energyUses(before, after, 6.0);        // 6 W of processor power in between
//   uses[0] == EnergyUse{"indexer", false, 2.4, 4.8}   // 80% of the CPU time: 4.8 W
//   std::cout << renderEnergy(uses, 6.0, DetailLevel::simple, 8);
//
// A program's power is its share of the CPU time used between the two looks
// times the power in between: the processor package's where its energy
// counter is readable, else the battery's discharge on battery. Without
// either, programs are ranked by CPU time alone and the view says why. The
// kernel's threads are counted together as "System"; programs below the top
// `top` together as "Everything else".
#pragma once

#include "BatteryCore/health/ProcessSample.hpp"
#include "BatteryCore/text/DetailLevel.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kestrin::app {

struct EnergyUse {
  std::string name;  // empty for the kernel's threads
  bool system = false;
  double cpuSeconds = 0;
  std::optional<double> watts;
  friend bool operator==(const EnergyUse&, const EnergyUse&) = default;
};

// Programs by CPU time used from `before` to `after`, most first.
std::vector<EnergyUse> energyUses(const std::vector<batterycore::ProcessSample>& before,
                                  const std::vector<batterycore::ProcessSample>& after,
                                  std::optional<double> totalWatts);

std::string renderEnergy(const std::vector<EnergyUse>& uses, std::optional<double> totalWatts,
                         batterycore::DetailLevel level, std::size_t top);

}  // namespace kestrin::app
