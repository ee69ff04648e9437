#include "app/live/ICalendarFiles.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace kestrin::app::live {
namespace {

using batterycore::Calendar;
using batterycore::Date;
using batterycore::toIso8601;
namespace fs = std::filesystem;

const fs::path kData = fs::path(KESTRIN_TEST_DATA_DIR) / "ical";

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin", "de_DE");
  return calendar;
}

Date at(std::string_view iso8601) { return batterycore::parseIso8601(iso8601).value(); }

Date inBerlin(int month, int day) { return *berlin().date(2026, month, day, 0, 0); }

// "uid start end" for each occurrence in the order read (no end for an
// instant; "all day" for a day), then "! problem" for each problem.
std::vector<std::string> described(const CalendarReading& reading) {
  std::vector<std::string> lines;
  for (const auto& event : reading.events) {
    lines.push_back(event.uid + " " + toIso8601(event.start) +
                    (event.end == event.start ? "" : " " + toIso8601(event.end)) + (event.allDay ? " all day" : ""));
  }
  for (const auto& error : reading.errors) lines.push_back("! " + error);
  return lines;
}

TEST(ICalendarFiles, ReadsFoldersFilesAndTextsAndNamesWhatItCannotRead) {
  const auto broken = kData / "broken";
  const auto event = [](const char* uid, const char* start, const char* more = "") {
    return std::string("BEGIN:VEVENT\nUID:") + uid + "\nDTSTART:" + start + "\n" + more + "END:VEVENT\n";
  };
  const struct {
    const char* what;
    fs::path path;
    std::string text;  // read instead of the path when not empty
    Date from, to;
    std::vector<std::string> expected;
    Calendar calendar = berlin();
  } cases[] = {
      // Left out: the cancelled trip, the file that is not .ics, the hidden
      // folder, and the flight home starting exactly at the end of the span.
      {"a folder and its subfolders, Monday 2 to Thursday 5 March", kData / "calendars", "", inBerlin(3, 2),
       inBerlin(3, 6),
       {"dentist-1 2026-03-02T14:00:00Z 2026-03-02T15:00:00Z", "hamburg-weekly 2026-03-03T06:30:00Z 2026-03-03T17:00:00Z",
        "flight-lisbon-1 2026-03-03T07:00:00Z 2026-03-03T09:45:00Z",
        "vienna-conference 2026-03-03T23:00:00Z 2026-03-05T23:00:00Z all day",
        "tokyo-call 2026-03-04T00:00:00Z 2026-03-04T00:30:00Z", "standup 2026-03-04T08:00:00Z 2026-03-04T08:15:00Z",
        "lunch 2026-03-04T11:00:00Z 2026-03-04T12:00:00Z", "lisbon-workshop 2026-03-04T14:00:00Z 2026-03-04T17:00:00Z",
        "birthday 2026-03-04T23:00:00Z 2026-03-05T23:00:00Z all day"}},
      {"one file by its path", kData / "calendars" / "personal" / "flight.ics", "", inBerlin(3, 3), inBerlin(3, 4),
       {"flight-lisbon-1 2026-03-03T07:00:00Z 2026-03-03T09:45:00Z"}},
      {"a file by its path whatever its name", kData / "calendars" / "notes.txt", "", inBerlin(3, 3), inBerlin(3, 4),
       {"! " + (kData / "calendars" / "notes.txt").string() + ": not an iCalendar file"}},
      {"a missing path", kData / "no-such-folder", "", inBerlin(3, 3), inBerlin(3, 4),
       {"! " + (kData / "no-such-folder").string() + ": no such file or folder"}},
      {"bad files are named and skipped", broken, "", inBerlin(3, 1), inBerlin(3, 8),
       {"rome 2026-03-03T09:00:00Z 2026-03-03T11:00:00Z",
        "! " + (broken / "bad-start.ics").string() + ": damaged: 1 line could not be read and was left out",
        "! " + (broken / "bad-start.ics").string() +
            ": event \"Trip without a date\" has no start that can be read; left out",
        "! " + (broken / "cut-short.ics").string() + ": damaged: the calendar is cut short or malformed",
        "! " + (broken / "not-a-calendar.ics").string() + ": not an iCalendar file"}},
      {"each occurrence of a weekly event but the excluded one", kData / "calendars" / "work" / "weekly.ics", "",
       inBerlin(2, 16), inBerlin(4, 1),
       {"hamburg-weekly 2026-02-17T06:30:00Z 2026-02-17T17:00:00Z",
        "hamburg-weekly 2026-02-24T06:30:00Z 2026-02-24T17:00:00Z",
        "hamburg-weekly 2026-03-03T06:30:00Z 2026-03-03T17:00:00Z",  // 10 March is excluded
        "hamburg-weekly 2026-03-17T06:30:00Z 2026-03-17T17:00:00Z",
        "hamburg-weekly 2026-03-24T09:00:00Z 2026-03-24T18:00:00Z",  // moved to 10:00 that week
        "hamburg-weekly 2026-03-31T05:30:00Z 2026-03-31T16:00:00Z"}},  // 07:30 in summer time
      {"an event repeating every minute is read once", "",
       "BEGIN:VCALENDAR\n" + event("busy", "19700101T000000Z", "RRULE:FREQ=MINUTELY\nSUMMARY:Busy\n") + "END:VCALENDAR\n",
       at("1969-12-31T00:00:00Z"), at("2026-03-04T00:00:00Z"),
       {"busy 1970-01-01T00:00:00Z",
        "! text.ics: event \"Busy\" repeats every minute or second; only its first time is read"}},
      {"only occurrences overlapping the span", "",
       "BEGIN:VCALENDAR\n" + event("ends-at-from", "20260303T080000Z", "DTEND:20260303T100000Z\n") +
           event("ends-after-from", "20260303T080000Z", "DTEND:20260303T100001Z\n") +
           event("instant-at-from", "20260303T100000Z") +
           event("starts-before-to", "20260303T115959Z", "DTEND:20260303T130000Z\n") +
           event("starts-at-to", "20260303T120000Z", "DTEND:20260303T130000Z\n") +
           "BEGIN:VEVENT\nDTSTART:20260303T110000Z\nSUMMARY:No uid\nEND:VEVENT\nEND:VCALENDAR\n",
       at("2026-03-03T10:00:00Z"), at("2026-03-03T12:00:00Z"),
       {"ends-after-from 2026-03-03T08:00:00Z 2026-03-03T10:00:01Z", "instant-at-from 2026-03-03T10:00:00Z",
        "text.ics#No uid 2026-03-03T11:00:00Z", "starts-before-to 2026-03-03T11:59:59Z 2026-03-03T13:00:00Z"}},
      {"several calendars in one file", "",
       "BEGIN:VCALENDAR\n" + event("a", "20260303T080000Z") + "END:VCALENDAR\nBEGIN:VCALENDAR\n" +
           event("b", "20260303T090000Z") + "END:VCALENDAR\n",
       at("2026-03-03T00:00:00Z"), at("2026-03-04T00:00:00Z"),
       {"a 2026-03-03T08:00:00Z", "b 2026-03-03T09:00:00Z"}},
      // A zone of the file's own, a Windows name, UTC with a duration, a vendor prefix; a floating time is the
      // person's: someone in Tokyo has lunch at noon in Tokyo.
      {"each time in its own zone", kData / "calendars" / "work" / "zones.ics", "", inBerlin(3, 1), inBerlin(3, 8),
       {"tokyo-call 2026-03-04T00:00:00Z 2026-03-04T00:30:00Z", "lunch 2026-03-04T03:00:00Z 2026-03-04T04:00:00Z",
        "standup 2026-03-04T08:00:00Z 2026-03-04T08:15:00Z", "lisbon-workshop 2026-03-04T14:00:00Z 2026-03-04T17:00:00Z",
        "flight-home-ny 2026-03-05T23:00:00Z 2026-03-06T07:00:00Z"},
       Calendar::gregorian("Asia/Tokyo")},
      // All-day dates are days in the person's calendar; one day when the file gives no end.
      {"all-day events", kData / "calendars" / "work" / "allday.ics", "", inBerlin(3, 1), inBerlin(3, 8),
       {"vienna-conference 2026-03-04T05:00:00Z 2026-03-06T05:00:00Z all day",
        "birthday 2026-03-05T05:00:00Z 2026-03-06T05:00:00Z all day"},
       Calendar::gregorian("America/New_York")},
  };
  for (const auto& c : cases) {
    const auto read = c.text.empty() ? readCalendarEvents(c.path, c.from, c.to, c.calendar)
                                     : readCalendarText(c.text, "text.ics", c.from, c.to, c.calendar);
    EXPECT_EQ(described(read), c.expected) << c.what;
  }

  const auto weekly =
      readCalendarEvents(kData / "calendars" / "work" / "weekly.ics", inBerlin(2, 16), inBerlin(4, 1), berlin());
  ASSERT_EQ(weekly.events.size(), 6u);
  EXPECT_EQ(weekly.events[4].title, "Dienstreise Hamburg (später)");
}

// Whatever is cut off a calendar file, reading it never fails.
TEST(ICalendarFiles, EveryTruncationOfAFileReadsWithoutFailing) {
  std::ifstream in(kData / "calendars" / "work" / "weekly.ics", std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  ASSERT_GT(whole.size(), 500u);
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const auto read =
        readCalendarText(std::string_view(whole).substr(0, length), "weekly.ics", inBerlin(2, 1), inBerlin(5, 1), berlin());
    EXPECT_TRUE(length >= whole.size() - 20 || !read.errors.empty()) << length;
  }
  EXPECT_TRUE(readCalendarText(whole, "weekly.ics", inBerlin(2, 1), inBerlin(5, 1), berlin()).errors.empty());
  const std::string binary("\x00\xff\xfe BEGIN:VCALENDAR\x00\r\n\x80", 22);
  EXPECT_FALSE(readCalendarText(binary, "binary.ics", inBerlin(2, 1), inBerlin(5, 1), berlin()).errors.empty());
}

}  // namespace
}  // namespace kestrin::app::live
