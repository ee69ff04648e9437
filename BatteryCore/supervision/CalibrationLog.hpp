// CalibrationLog: picks the power-management log lines that say macOS is
// recalibrating the battery gauge.
//
//   CalibrationLog::hits("boot\nBattery: ChargingUpForGauging started\n\nidle")
//       == {"Battery: ChargingUpForGauging started"}
//
// Case does not matter, compared as the current locale compares: Unicode
// case folding, with the Turkish dotted and dotless i in Turkish and Azeri.
// The log is read as UTF-8.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace batterycore {

struct CalibrationLog {
  static constexpr std::array<std::string_view, 2> needles{"mitigations are in place",
                                                           "ChargingUpForGauging"};

  // The non-empty lines of `text` (split at "\n") that contain a needle, in
  // their order, each once.
  static std::vector<std::string> hits(std::string_view text);
};

}  // namespace batterycore
