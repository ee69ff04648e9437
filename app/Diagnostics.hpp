// Diagnostics: the plain-text report a person pastes into a support request —
// version, what the machine offers, the latest reading, one line per rule,
// the settings and the last alerts. Nothing is gathered here: the states, the
// settings and the facts about the machine come in, the text goes out.
//
//   MachineFacts facts = gatherMachineFacts(...);   // app/live/MachineFacts.hpp
//   const auto text = diagnosticReport({.machine = facts, .state = stored.state,
//                                       .settings = stored.settings, ...});
//
// Serial numbers, the host name, the user name and the home folder never
// appear: every line is scrubbed (the home folder becomes "~", names and
// serials "***"), and keys holding a serial are dropped from the reading.
// Labels and headings are in the person's language; the values of the rule
// lines are the states' own field and case names, for whoever reads the report.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/Compatibility.hpp"
#include "app/Monitor.hpp"
#include "app/Settings.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kestrin::app {

struct MachineFacts {
  bool apple = false;                 // a Mac: the compatibility message applies
  std::string version;                // "Kestrin 0.1.0"
  std::string system;                 // "Linux 6.8.0-45-generic", "macOS 26.4"
  std::string arch;                   // "x86_64", "arm64"
  batterycore::OSVersion osVersion;   // the kernel's or macOS's version
  std::optional<bool> limitSupported; // a charge threshold to switch; absent: no battery found
  std::string limitSwitch;            // what switches it ("start and end thresholds 75% and 80% (...)")
  std::optional<std::string> model;   // "LENOVO 21CBCTO1WW", "Mac15,3"
  // What must not appear anywhere in the report.
  std::string hostName;
  std::string userName;
  std::string homeFolder;
  std::vector<std::string> privateWords;  // serial numbers, other names: left out as "***"
};

struct DiagnosticsInput {
  MachineFacts machine;
  MonitorState state;
  Settings settings;
  // The latest reading and whether the service took it (else it was read now).
  std::optional<batterycore::BatterySnapshot> reading;
  bool readingFromService = false;
  // Lines about state files that could not be read.
  std::vector<std::string> unreadable;
};

inline constexpr std::size_t kDiagnosticAlerts = 20;

// The report, one line per fact, ending in a newline.
std::string diagnosticReport(const DiagnosticsInput& input);

// `line` without the home folder (as "~"), the host and user names and the
// serials ("***"); names shorter than two characters are left alone.
std::string scrubLine(std::string line, const MachineFacts& facts);

// The reading as one line of JSON, without any key naming a serial number.
std::string readingLine(const batterycore::BatterySnapshot& reading);

}  // namespace kestrin::app
