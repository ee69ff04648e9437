// Replay: the monitor over readings recorded on a real machine, one
// BatterySnapshot JSON object per line, each tick at the reading's own time.
//
//   std::istringstream trace(R"({"at": "2026-03-07T10:00:00Z", "percent": 81, ...})");
//   auto readings = readTrace(trace, problems);   // damaged lines are listed, not fatal
//   replay(readings, calendar, settings, [](const SimulationEvent& e) { ... });
//
// A replay cannot change the limit of the machine that recorded it: switching
// is refused, so a smart top-up or a full charge never starts.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "app/Settings.hpp"
#include "app/simulation/Simulation.hpp"

#include <istream>
#include <string>
#include <vector>

namespace kestrin::app::simulation {

// The readings of a trace in file order; a line that is not a reading is
// reported as "line N: why" and skipped. Blank lines are ignored.
std::vector<batterycore::BatterySnapshot> readTrace(std::istream& trace, std::vector<std::string>& problems);

// Runs the monitor over the readings and hands each event to `sink`.
// Returns the monitor's final state for a summary.
MonitorState replay(const std::vector<batterycore::BatterySnapshot>& readings, const batterycore::Calendar& calendar,
                    const Settings& settings, const Simulation::Sink& sink);

}  // namespace kestrin::app::simulation
