// The texts of the smart top-up: what was learned about the person's usual
// departures, the offer to charge to 100% before them, the alert when a
// top-up begins, the plans card and the settings.
//
//   // Monday to Friday learned at 08:20 ... 08:35, nothing at the weekend:
//   Meaning::Smart::learned(days, calendar, DetailLevel::simple) == "Weekdays around 8:15 AM."
//   Meaning::Smart::learned(days, calendar, DetailLevel::technical)
//       == "Mondays at 8:20 AM, from 8 days. ... First unplug recorded 55 days ago."
//   Meaning::Smart::quarterHour(488) == 495                 // 08:08 is told as 08:15
//   Meaning::Smart::alert(departureAt0820, calendar)
//       == Line{"Topping up before you leave", "Your Mac usually leaves around 8:20 AM, so ..."}
//
// The simple wording rounds times to the quarter hour ("around"); the
// technical wording gives exact times and day counts. Monday to Friday are
// told as one ("Weekdays around ...") when all five have a usual time and the
// earliest and latest of the five lie at most `groupWithin` apart; the group
// is told by its earliest time, so the time said is never later than any
// weekday's own.
//
// Weekday names are plural forms that some languages write in lower case
// (German "montags"), so a piece that starts with one is capitalised for the
// locale. Every text comes from the catalogue in the current language, with
// the English default given here.
#pragma once

#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <chrono>
#include <optional>
#include <span>
#include <string>

namespace batterycore::Meaning::Smart {

// Monday to Friday are told as one when their usual times spread no wider.
inline constexpr std::chrono::minutes groupWithin{20};

// A minute of the day rounded to the nearest quarter hour, halves up
// (487 → 480, 488 → 495).
int quarterHour(int minuteOfDay);

// True when Monday to Friday all have a usual time within `groupWithin` of
// one another.
bool groupsWeekdays(std::span<const DepartureModel::Day> days);

// What was learned, one paragraph for the settings and plans panels: each
// weekday with samples in the calendar's week order (its first weekday
// first), or "Nothing learned yet ..." when no weekday has any.
std::string learned(std::span<const DepartureModel::Day> days, const Calendar& calendar, DetailLevel level);

// The offer to turn the feature on, built on one weekday's usual time
// (grouped with Monday to Friday where those are told as one). Absent when
// that weekday has no usual time.
std::optional<Line> offer(std::span<const DepartureModel::Day> days, int weekday, DetailLevel level);

// The `smartFullCharge` alert: title, and the body with the departure's clock time.
Line alert(Date departure, const Calendar& calendar);
// The alert's and the plans card's action, which skips today's top-up.
std::string notToday();

// The plans card.
// Before the top-up window: when it will start (`leadMinutes` before) and for what.
std::string plansNext(Date departure, int leadMinutes, const Calendar& calendar, DetailLevel level);
// Inside the window, before the top-up has begun.
std::string plansWindow(Date departure, bool pluggedIn, const Calendar& calendar, DetailLevel level);
// The person chose "Not today".
std::string plansSkipped(DetailLevel level);
// Today's top-up ended and the limit is back.
std::string plansRestored(int limit, DetailLevel level);

// The settings.
std::string header();
std::string toggle();
std::string toggleDetail();
std::string offerTitle();
std::string turnOn();
std::string notNow();
std::string nothingLearned();
std::string forget();
std::string forgetQuestion();
std::string forgetDetail();
std::string forgetConfirm();

}  // namespace batterycore::Meaning::Smart
