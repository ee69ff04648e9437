// The texts of trips found in the calendar: the alert when a full charge
// begins for one, its "Not tonight" action, and the trip part of the plans
// panel.
//
//   Meaning::Trips::alert("Flight to Lisbon", true)
//       == Line{"Charging to 100% for tomorrow",
//               "For Flight to Lisbon tomorrow, the battery is charging to 100% tonight. The limit comes ..."}
//   // A trip tomorrow at 08:00, seen at 15:00:
//   Meaning::Trips::plans(state, plugged79, std::nullopt, today1500, calendar, DetailLevel::simple)
//       == {"Flight to Lisbon tomorrow", "It charges to 100% this evening, ready for it."}
//
// The plans lines: the trip's name with its day ("Flight to Lisbon tomorrow",
// "Your trip today" for an untitled one) and one line on what happens for it,
// or the single line "Watching your calendar for trips." when no trip lies
// ahead. Shown only while the person has the calendar trigger on.
#pragma once

#include "BatteryCore/departures/CalendarTrigger.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace batterycore::Meaning::Trips {

// The `calendarFullCharge` alert: "for tomorrow" (charging tonight) or "for
// today" (charging now); an untitled event is "a trip".
Line alert(std::string_view eventTitle, bool tomorrow);
// The alert's and the plans panel's action, which skips this trip's charge.
std::string notTonight();
// The full-charge control's line while the limit is off for a charge: "For
// your trip. Then it rests at 80%." for a calendar trip, "Then it rests at
// 80%." for any other.
std::string pausedDetail(const FullChargeSession& session);

// A trip as the plans panel names it: its title, or "your trip", with
// "today" or "tomorrow" when it is on one of those days.
std::string name(const CalendarTrigger::Trip& trip, Date now, const Calendar& calendar);

// The trip part of the plans panel, first match:
// - a full charge for a trip is running: charging, or ready at 100%;
// - a trip lies ahead today or tomorrow (`state.next`): skipped; the limit is
//   off anyway; already at 100%; before the evening; in the evening
//   (plugged in or not); on its day (plugged in or not), and found late;
// - the last trip's charge ended and its day is not over: restored;
// - otherwise: watching.
std::vector<std::string> plans(const CalendarTrigger& state, const BatterySnapshot& snapshot,
                               const std::optional<FullChargeSession>& session, Date now, const Calendar& calendar,
                               DetailLevel level);

}  // namespace batterycore::Meaning::Trips
