// The situation texts: in plain words, why the battery is charging, resting
// or slow — the headline and detail shown for the one attention of a tick,
// the banner for a limit that is out of control, and the title of the "why"
// explanation.
//
//   reading: plugged in, charging at 62%, limit on at 80, 35 min to full, cool
//   attention = Attention::of(situation)            // phase(charging(to: 80))
//   Meaning::headline(attention, reading, std::nullopt, DetailLevel::simple) == "Charging to 80%"
//   Meaning::detail(attention, reading, std::nullopt, DetailLevel::simple, now, calendar)
//       == "It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick."
//   Meaning::detail(attention, reading, std::nullopt, DetailLevel::technical, now, calendar)
//       == "Charging to the 80% limit, 18 W into the battery. macOS estimates 35 min to go."
//
// Every branch is decided from what the person can see in the reading: the
// percentage, whether it charges, the limit as macOS reports it, the time
// estimates and the charger's own reason codes. The light-hearted second
// sentences appear only in the simple wording, only while the Mac is cool and
// nothing else (a slow charger, heat) needs saying.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace batterycore::Meaning {

// A limit lets the battery drift this many points under it before charging
// again; a battery that rests further down is paused, not held.
inline constexpr std::int64_t kRestingBand = 5;
// On battery, an estimate of at least this many minutes reads "a couple of
// hours at least" in the simple wording.
inline constexpr int kCoupleOfHoursMinutes = 120;
// On battery, under this many minutes left says "plug in soon".
inline constexpr int kPlugInSoonMinutes = 30;
// Under this, the pace says "Under 20 minutes" and asks to plug in.
inline constexpr int kUnder20Minutes = 20;

// The short line: "Charging to 80%", "Resting at 80%", "Not charging",
// "Settling to 80%", "Fully charged", "On battery", "Charging to 100%",
// "Limit not holding", "Recalibrating the battery". The same at both levels.
std::string headline(const Attention& attention, const BatterySnapshot& snapshot,
                     const std::optional<FullChargeSession>& session, DetailLevel level);

// The sentences under the headline. `now` and the calendar place a full
// charge's deadline and a smart top-up's departure in the day.
std::string detail(const Attention& attention, const BatterySnapshot& snapshot,
                   const std::optional<FullChargeSession>& session, DetailLevel level, Date now,
                   const Calendar& calendar);

// The banner over the panel while macOS, not the limit, decides where
// charging stops: for notHolding and calibrating; absent otherwise.
std::optional<Line> banner(const Attention& attention, DetailLevel level);

// The title of the explanation row: "Why is it charging?", "Why isn't it
// charging?" or "Why is it using the battery?".
std::string whyTitle(const Attention& attention, const BatterySnapshot& snapshot);

}  // namespace batterycore::Meaning
