// Date: a moment in time with sub-second precision, and Seconds, the one
// duration type of the rules.
//
//   Date t = dateFromSecondsSince1970(1767225600.0);   // 2026-01-01T00:00:00Z
//   Date later = t + Seconds{600};                      // ten minutes on
//   toIso8601(later) == "2026-01-01T00:10:00Z"
//
// Spans are typed: a threshold is `constexpr Seconds kDelay{600}` or
// `std::chrono::minutes{10}`, never a bare number. Moments are UTC; turning one
// into a day or a clock time needs a Calendar.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

using Seconds = std::chrono::duration<double>;
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

constexpr Date dateFromSecondsSince1970(double seconds) { return Date{Seconds{seconds}}; }
constexpr double secondsSince1970(Date date) { return date.time_since_epoch().count(); }

// Seconds from `from` to `to` (negative when `to` is earlier).
constexpr double secondsBetween(Date from, Date to) { return (to - from).count(); }

// ISO 8601 in UTC: whole seconds as "2026-03-07T10:00:00Z", a moment with a
// fraction as "2026-03-07T10:00:00.250Z" (milliseconds, rounded).
std::string toIso8601(Date date);

// Reads ISO 8601 date-times with any fraction length (kept to the millisecond)
// and any UTC offset ("Z", "+01:00", "-0500"), in the proleptic Gregorian
// calendar. Absent when the text is not one, or when the moment lies outside
// the years 1 to 9999 (UTC), which toIso8601 could not write back the same.
std::optional<Date> parseIso8601(std::string_view text);

}  // namespace batterycore
