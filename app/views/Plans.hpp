// Plans: what is coming, as `kestrin plans` tells it: the running full
// charge, the next smart top-up or why there is none, a trip found in the
// calendar, today's skip, the last top-up restored, and how long the battery
// lasts at the present pace.
//
//   planLines(state, settings, now, calendar)
//       == {"Tops up to 100% before you leave at 8:15 AM.", "Watching your calendar for trips."}
//
// Each line is one sentence or two; an empty list means nothing is planned
// (the command then says "Nothing planned right now.").
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "app/Monitor.hpp"
#include "app/Settings.hpp"

#include <string>
#include <vector>

namespace kestrin::app {

std::vector<std::string> planLines(const MonitorState& state, const Settings& settings, batterycore::Date now,
                                   const batterycore::Calendar& calendar);

}  // namespace kestrin::app
