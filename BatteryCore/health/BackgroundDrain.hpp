// BackgroundDrain: on battery, finds a program the person is not using that
// takes a noticeable share of the battery.
//
//   auto step = BackgroundDrain::step(state, onBattery, processes, packageJoules, now, calendar);
//   step.alerts   // "indexer is draining the battery", at most once per program per day
//
// The rule looks at the battery in 15-minute windows. A window opens on the
// first tick on battery with the process table and the battery level of that
// moment; on the first tick at least 15 minutes later it closes: the
// battery's discharge over the window is shared out to programs by the CPU
// time each used in it (processes with the same name count as one program).
// Where the processor's package energy counter is readable, a program gets
// its share of the package energy instead, which leaves the screen and the
// rest of the machine out. A program outside the person's foreground that
// took more than 2.5% of the battery, scaled to exactly 15 minutes, raises
// one `backgroundDrain` alert, and no second one for the same program that
// day. Then the next window opens.
//
// Plugging in closes the window without a verdict. A window that runs longer
// than 20 minutes (the machine slept, the service stopped) or a clock that
// went back starts over. The battery level is the remaining capacity over
// the full-charge capacity where both are reported, else the percent.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/ProcessSample.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace batterycore {

struct BackgroundDrain {
  static constexpr Seconds window{15 * 60};
  static constexpr Seconds longestWindow{20 * 60};
  // More than this share of the battery (percent) in one window alerts.
  static constexpr double alertAbovePercent = 2.5;

  struct Process {
    std::string name;
    double cpuSeconds = 0;
    friend bool operator==(const Process&, const Process&) = default;
  };
  // The open window: when it opened, and what the battery and the processes
  // showed then.
  struct Window {
    Date openedAt;
    double batteryLevel = 0;  // percent, fractional
    std::optional<double> packageJoules;
    std::map<int, Process> processes;  // by pid
    friend bool operator==(const Window&, const Window&) = default;
  };
  // One program's part of a closed window.
  struct Share {
    std::string name;
    double batteryPercent = 0;     // of the whole battery, scaled to 15 minutes
    std::optional<double> watts;   // its average power, when the battery's energy is known
    bool foreground = false;
    friend bool operator==(const Share&, const Share&) = default;
  };
  struct Step;

  std::optional<Window> open;
  // Program name → the day key of its last alert.
  std::map<std::string, std::string> alerted;

  // The battery level the rule works with (see above).
  static double batteryLevel(const BatterySnapshot& snapshot);
  // The programs' shares of a window that closes now, largest first.
  static std::vector<Share> shares(const Window& window, const BatterySnapshot& snapshot,
                                   std::span<const ProcessSample> processes, std::optional<double> packageJoules,
                                   Date now);
  static Step step(const BackgroundDrain& previous, const BatterySnapshot& snapshot,
                   std::span<const ProcessSample> processes, std::optional<double> packageJoules, Date now,
                   const Calendar& calendar);

  friend bool operator==(const BackgroundDrain&, const BackgroundDrain&) = default;
  Json toJson() const;
  static BackgroundDrain fromJson(const Json& json);
};

struct BackgroundDrain::Step {
  BackgroundDrain next;
  std::vector<BatteryAlert> alerts;
  std::vector<Share> shares;  // of the window that closed in this step, if one did
};

}  // namespace batterycore
