// ICalendarFiles: the events of the person's calendars as iCalendar (.ics)
// files keep them on disk — one file, or a folder of them searched with its
// subfolders, the way vdirsyncer, Evolution or Thunderbird keep calendars.
//
//   const auto read = readCalendarEvents("/home/ana/.calendars", now, now + 48h, calendar);
//   for (const auto& event : read.events) ...     // every occurrence overlapping the span, by start
//   for (const auto& problem : read.errors) log(problem);
//   // "/home/ana/.calendars/work/broken.ics: damaged: the calendar is cut short or malformed"
//
// Repeating events are expanded by libical (RRULE, RDATE, EXDATE), one
// CalendarEvent per occurrence; an occurrence that was moved or changed on
// its own (a RECURRENCE-ID override) replaces the one it stands for. Times
// are read in their own zone: a VTIMEZONE in the file, a TZID that names a
// zone (IANA, with or without a vendor prefix, or a Windows name), UTC; a
// floating time is a wall-clock time in the person's calendar, and an
// all-day date is that day in the person's calendar. Cancelled events
// (STATUS:CANCELLED) are left out, and so are events repeating every minute
// or second after their first time (no calendar means that).
//
// Nothing here throws for a bad file: a file that cannot be read, is not
// iCalendar or is damaged is skipped and named in `errors` with the problem,
// and so is an event without a start that can be read; the rest is read.
// Files in a folder are those ending in ".ics" (any case) that are not
// hidden; hidden folders are not entered.
#pragma once

#include "BatteryCore/departures/CalendarEvent.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app::live {

// Larger files are not read: no person's calendar comes near it.
inline constexpr std::uintmax_t kLargestCalendarFile = 64u * 1024u * 1024u;

struct CalendarReading {
  // Occurrences overlapping the span, by start (then uid).
  std::vector<batterycore::CalendarEvent> events;
  // One line per problem: "<file>: <what is wrong>".
  std::vector<std::string> errors;
};

// The occurrences overlapping [from, to) in `path`, a file or a folder. An
// event without duration overlaps when it starts within the span.
CalendarReading readCalendarEvents(const std::filesystem::path& path, batterycore::Date from, batterycore::Date to,
                                   const batterycore::Calendar& calendar);

// The same for the text of one file; `name` stands for the file in `errors`
// and in the uid of an event that has none.
CalendarReading readCalendarText(std::string_view text, std::string_view name, batterycore::Date from,
                                 batterycore::Date to, const batterycore::Calendar& calendar);

}  // namespace kestrin::app::live
