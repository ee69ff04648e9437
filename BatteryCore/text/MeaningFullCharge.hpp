// The texts of a full charge: when the limit comes back, and the alerts a
// session raises.
//
//   session: until unplug, when full, deadline today at 12:05 PM; now 10:03 AM
//   Meaning::limitComesBack(session, true, now, calendar)
//       == "The limit comes back on when it's full, when you unplug or at 12:05 PM."
//   Meaning::limitComesBack(session, false, now, calendar)
//       == "The limit comes back on when you unplug or at 12:05 PM."
//   Meaning::limitBackOnAlert(80) == Line{"Limit back on", "Your battery will rest at 80% again."}
//
// Every text comes from the catalogue in the current language; clock times are
// in the calendar's time zone and the application's locale.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <string>

namespace batterycore::Meaning {

// The ways the limit comes back, as one phrase: "when it's full" (only when
// asked to include it and the session restores when full), "when you unplug",
// and the deadline ("at 12:05 PM", "tomorrow at 9:00 AM"), joined as a
// choice. No way at all reads "when you stop it".
std::string comesBackConditions(const FullChargeSession& session, bool includeWhenFull, Date now,
                                const Calendar& calendar);
// "The limit comes back on " + the conditions + ".".
std::string limitComesBack(const FullChargeSession& session, bool includeWhenFull, Date now,
                           const Calendar& calendar);

// A smart top-up's departure as a clock time ("7:30 AM", "07:30").
std::string departureTime(Date departure, const Calendar& calendar);

// "Charged to 100%": when the same reading puts the limit back, "Ready to go.
// Your limit is back on."; while the session goes on, a smart top-up names its
// departure and says the limit returns on unplugging, any other session says
// it is ready and how the limit comes back.
Line fullChargeDoneAlert(const FullChargeSession& session, bool restoring, Date now, const Calendar& calendar);
// "Limit back on": "Your battery will rest at 80% again."
Line limitBackOnAlert(int limit);
// "Couldn't turn the limit back on".
Line restoreFailedAlert();

}  // namespace batterycore::Meaning
