// Formatting: the short pieces that catalogue templates put in — numbers,
// durations, days and clock times — in the application's locale.
//
//   Formatting::duration(61)      == "1 h 1 min"
//   Formatting::watts(-4.26)      == "4.3 W"
//   Formatting::percent(80)       == "80%"         ("80\u00A0%" in de_DE)
//   Formatting::span(30)          == "about 2.5 years"
//   Formatting::day(t, calendar)  == "2026-03-05"
//   Formatting::time(450)         == "7:30 AM"     ("07:30" in de_DE)
//
// The application's locale is ICU's default locale (taken from LANG/LC_ALL at
// start, set by the tool's --locale and by tests); it is read on every call,
// so changing it takes effect at once. Dates are always written in the
// Gregorian calendar, whatever calendar the locale prefers, because every
// rule counts days in it.
//
// Words come from the catalogue (unit.*, span.*, date.*, weekday.plural.*,
// list.*, sentence.end); numbers, clock times, weekday and month names come
// from ICU. ICU's narrow no-break space (U+202F, as in "7:30\u202FAM") is
// written as a plain space everywhere, so texts compare and copy as people
// type them; the ordinary no-break space (U+00A0, as in the German "80\u00A0%")
// is kept, since it stops a line from breaking between number and sign.
//
// Stateless apart from per-thread caches of ICU formatters; safe to call from
// any thread.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace batterycore::Formatting {

// The locale every number and date style uses, as an ICU locale name ("de_DE").
std::string localeName();

// The day key "%04d-%02d-%02d" of a moment in the calendar.
std::string day(Date date, const Calendar& calendar);

// Minutes as "42 min", "1 h", "1 h 5 min"; a negative count shows "0 min".
std::string duration(int minutes);
// Minutes as "h:mm" ("2:05"), the same in every language; negatives are 0.
std::string clock(int minutes);
// Whole hours, halves away from zero: 90 → 2, 89 → 1, 29 → 0.
int hoursRounded(int minutes);
// Hours as "30 min" under an hour (from one minute), else "2 h".
std::string hours(double h);
// Months as "about 5 months" (never below 1), from two years as "about 2.5 years".
std::string span(double months);
// The locale's decimal style with exactly `digits` fraction digits (0 ... 15),
// no grouping, halves rounded away from zero, and no minus sign on a value
// that rounds to zero.
std::string decimal(double value, int digits);
// Watts without a sign (callers say "from" or "to" in words): one decimal
// under 10 W unless it is whole ("4.3 W", "10 W", "12 W").
std::string watts(double w);
// A whole percentage in the locale's percent style ("80%", "80\u00A0%",
// "%80"). The value is rounded first, halves away from zero; a value that is
// not a number shows as 0.
std::string percent(double value);
std::string percent(std::int64_t value);
inline std::string percent(int value) { return percent(static_cast<std::int64_t>(value)); }

// How long ago a moment was, by calendar days: "today", "yesterday",
// "3 days ago" up to six days; beyond that (and for a day still to come) the
// locale's medium date, without the year when it is the current year
// ("Mar 5", "Mar 5, 2025").
std::string relativeDate(Date date, Date now, const Calendar& calendar);
// The short weekday symbol for 1 = Sunday ... 7 = Saturday ("Sun", "So.");
// other numbers wrap around the week.
std::string weekdayShort(int weekday);
// Weekdays (1 = Sunday ... 7 = Saturday) as plural names joined as a choice,
// in the order given: "Mondays", "Mondays or Fridays", "Mondays, Tuesdays or
// Fridays". It fits "You usually unplug around 8:00 AM on %@." Numbers outside
// 1 ... 7 are left out.
std::string weekdays(std::span<const int> weekdays);
// A clock time in the locale's hour-and-minute pattern ("7:30 AM", "07:30").
// A minute of the day outside 0 ... 1439 wraps around the day.
std::string time(int minuteOfDay);
std::string time(Date date, const Calendar& calendar);
// When something will happen, to follow a verb: "at 7:30 AM" today,
// "tomorrow at 7:30 AM", "Friday at 7:30 AM" two to six days ahead, and
// "Mar 12 at 7:30 AM" for a day in the past or a week or more away.
std::string at(Date date, Date now, const Calendar& calendar);
// The same moment as a phrase that stands alone (a label, a list row):
// "7:30 AM" today, "tomorrow at 7:30 AM", "Friday at 7:30 AM", and
// "Mar 12, 7:30 AM" for a day in the past or a week or more away.
std::string when(Date date, Date now, const Calendar& calendar);
// A week's days as "Mar 2–8" within one month, else "Feb 23 – Mar 1".
std::string weekSpan(Date first, Date last, const Calendar& calendar);
// "March 2026" for a day key or month key ("2026-03-05", "2026-03"), in the
// locale's form for a month on its own ("März 2026", "2026年3月"). A text that
// is not a key comes back unchanged.
std::string monthYear(std::string_view dayKey);
// The text with its first character in title case for the locale
// ("tomorrow at 7:30 AM" → "Tomorrow at 7:30 AM", "istanbul" → "İstanbul"
// in Turkish); the rest is left as it is.
std::string capitalizedFirst(std::string_view text);
// A United States dollar amount in the locale's currency style, without
// cents when whole: "$249", "$249.50" ("249\u00A0$" in de_DE).
std::string usd(double amount);

// "a", "a or b", "a, b or c", "a, b, c or d" with the catalogue's separators;
// nothing gives the empty text.
std::string listOr(std::span<const std::string> items);
// The catalogue's full stop for the current language.
std::string sentenceEnd();

}  // namespace batterycore::Formatting
