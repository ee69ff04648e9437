// The texts of the energy view (which programs use the most power) and of
// the background-drain alert.
//
//   Meaning::Energy::level(6.2) == "Working hard"      // 5 W and up
//   Meaning::Energy::level(2.0) == "Busy"              // 1 to 5 W
//   Meaning::Energy::level(0.4) == "Idle"              // under 1 W
//   Meaning::Energy::watts(0.04) == "under 0.1 W"
//   Meaning::Energy::summary("indexer", 6.2, DetailLevel::simple) == "indexer is working the hardest right now."
//   Meaning::drainAlert(share).title == "indexer is draining the battery"
//
// Every text comes from the catalogue in the current language, with the
// English default given here.
#pragma once

#include "BatteryCore/health/BackgroundDrain.hpp"
#include "BatteryCore/text/DetailLevel.hpp"

#include <optional>
#include <string>

namespace batterycore::Meaning {

struct DrainWords {
  std::string title;
  std::string simple;
  std::optional<std::string> technical;  // absent when the program's power is not known
};
DrainWords drainAlert(const BackgroundDrain::Share& share);

namespace Energy {
inline constexpr double workingHardFromW = 5.0;
inline constexpr double busyFromW = 1.0;

std::string title();
// The kernel's own threads, and what is left below the ranking.
std::string system();
std::string everythingElse();
std::string level(double watts);
std::string watts(double watts);
std::string total(double watts, DetailLevel level);
// The line under the ranking from its top program: who works hardest, or
// that nothing does (under 5 W), or that nothing uses much power at all
// (under 0.1 W in total).
std::string summary(const std::string& topName, double topWatts, double totalWatts, DetailLevel level);
std::string footer(DetailLevel level);
std::string measuring();
std::string watching();
}  // namespace Energy

}  // namespace batterycore::Meaning
