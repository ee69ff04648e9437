// Formatting: the short pieces that catalogue templates put in — numbers,
// durations, days and clock times — in the application's locale.
//
//   Formatting::duration(61)      == "1 h 1 min"
//   Formatting::watts(-4.26)      == "4.3 W"
//   Formatting::percent(80)       == "80%"         ("80 %" in de_DE)
//   Formatting::span(30)          == "about 2.5 years"
//   Formatting::day(t, calendar)  == "2026-03-05"
//
// The application's locale is ICU's default locale (taken from LANG/LC_ALL at
// start, set by the tool's --locale and by tests).
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

std::string duration(int minutes);
std::string clock(int minutes);
int hoursRounded(int minutes);
std::string hours(double h);
std::string span(double months);
std::string decimal(double value, int digits);
std::string watts(double w);
std::string percent(double value);
std::string percent(std::int64_t value);
inline std::string percent(int value) { return percent(static_cast<std::int64_t>(value)); }

// "today", "yesterday", "3 days ago", then a dated form.
std::string relativeDate(Date date, Date now, const Calendar& calendar);
// The short weekday symbol for 1 = Sunday ... 7 = Saturday.
std::string weekdayShort(int weekday);
// Weekdays (1 = Sunday ... 7 = Saturday) as a list of plural names.
std::string weekdays(std::span<const int> weekdays);
// A clock time in the locale's hour-and-minute pattern ("7:30 AM", "07:30").
std::string time(int minuteOfDay);
std::string time(Date date, const Calendar& calendar);
// "at 7:30 AM" today, "tomorrow at 7:30 AM", "on Friday at 7:30 AM".
std::string at(Date date, Date now, const Calendar& calendar);
// The same moment as a phrase without "at" for today: "7:30 AM",
// "tomorrow at 7:30 AM", "Friday at 7:30 AM".
std::string when(Date date, Date now, const Calendar& calendar);
// "March 2026" for a day key or month key ("2026-03").
std::string monthYear(std::string_view dayKey);
std::string capitalizedFirst(std::string_view text);
// A United States dollar amount: "$249".
std::string usd(double amount);

// "a", "a or b", "a, b or c" with the catalogue's separators.
std::string listOr(std::span<const std::string> items);
// The catalogue's full stop for the current language.
std::string sentenceEnd();

}  // namespace batterycore::Formatting
