#include "app/live/ICalendarFiles.hpp"

#include "BatteryCore/departures/CalendarTrigger.hpp"
#include "app/Settings.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace kestrin::app::live {
namespace {

using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::CalendarEvent;
using batterycore::CalendarTrigger;
using batterycore::Date;
using batterycore::LimitState;
using batterycore::ThermalLevel;
namespace fs = std::filesystem;
using namespace std::chrono_literals;

const fs::path kData = fs::path(KESTRIN_TEST_DATA_DIR) / "ical";

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin", "de_DE");
  return calendar;
}

Date at(std::string_view iso8601) {
  const auto date = batterycore::parseIso8601(iso8601);
  EXPECT_TRUE(date.has_value()) << iso8601;
  return date.value_or(Date{});
}

Date inBerlin(int month, int day, int hour = 0, int minute = 0) {
  return *berlin().date(2026, month, day, hour, minute);
}

std::string text(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// uid and start of each occurrence, in the order read.
std::vector<std::pair<std::string, std::string>> starts(const CalendarReading& reading) {
  std::vector<std::pair<std::string, std::string>> out;
  for (const auto& event : reading.events) out.emplace_back(event.uid, batterycore::toIso8601(event.start));
  return out;
}

const CalendarEvent* find(const CalendarReading& reading, std::string_view uid) {
  for (const auto& event : reading.events) {
    if (event.uid == uid) return &event;
  }
  ADD_FAILURE() << "no event " << uid;
  return nullptr;
}

BatterySnapshot plugged(std::int64_t percent, Date when) {
  return BatterySnapshot(when, percent, true, true, false, std::nullopt, std::nullopt, LimitState::on(80), 0, 0, 0,
                         ThermalLevel::nominal, 4000, 4100, 4500, 3200, 120, 1000, 12500, 0);
}

// ---- Folders and files ----

TEST(ICalendarFiles, ReadsEveryCalendarInAFolderAndItsSubfolders) {
  // Monday 2 March to Thursday 5 March 2026, in Berlin.
  const auto read = readCalendarEvents(kData / "calendars", inBerlin(3, 2), inBerlin(3, 6), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  // Not read: the cancelled trip, the file that is not .ics, the hidden
  // folder, and the flight home starting exactly at the end of the span.
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{
                              {"dentist-1", "2026-03-02T14:00:00Z"},
                              {"hamburg-weekly", "2026-03-03T06:30:00Z"},
                              {"flight-lisbon-1", "2026-03-03T07:00:00Z"},
                              {"vienna-conference", "2026-03-03T23:00:00Z"},
                              {"tokyo-call", "2026-03-04T00:00:00Z"},
                              {"standup", "2026-03-04T08:00:00Z"},
                              {"lunch", "2026-03-04T11:00:00Z"},
                              {"lisbon-workshop", "2026-03-04T14:00:00Z"},
                              {"birthday", "2026-03-04T23:00:00Z"},
                          }));
  const auto* flight = find(read, "flight-lisbon-1");
  ASSERT_NE(flight, nullptr);
  EXPECT_EQ(*flight, (CalendarEvent{"flight-lisbon-1", "Flug nach Lissabon", at("2026-03-03T07:00:00Z"),
                                    at("2026-03-03T09:45:00Z"), false}));
}

TEST(ICalendarFiles, ReadsOneFileByItsPathWhateverItsName) {
  const auto read =
      readCalendarEvents(kData / "calendars" / "personal" / "flight.ics", inBerlin(3, 3), inBerlin(3, 4), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  EXPECT_EQ(starts(read),
            (std::vector<std::pair<std::string, std::string>>{{"flight-lisbon-1", "2026-03-03T07:00:00Z"}}));

  const auto notes = readCalendarEvents(kData / "calendars" / "notes.txt", inBerlin(3, 3), inBerlin(3, 4), berlin());
  EXPECT_TRUE(notes.events.empty());
  EXPECT_EQ(notes.errors,
            std::vector<std::string>{(kData / "calendars" / "notes.txt").string() + ": not an iCalendar file"});
}

TEST(ICalendarFiles, AMissingPathIsAProblemNotAFailure) {
  const auto path = kData / "no-such-folder";
  const auto read = readCalendarEvents(path, inBerlin(3, 3), inBerlin(3, 4), berlin());
  EXPECT_TRUE(read.events.empty());
  EXPECT_EQ(read.errors, std::vector<std::string>{path.string() + ": no such file or folder"});
}

TEST(ICalendarFiles, BadFilesAreNamedAndSkippedAndTheRestIsRead) {
  const auto folder = kData / "broken";
  const auto read = readCalendarEvents(folder, inBerlin(3, 1), inBerlin(3, 8), berlin());
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{{"rome", "2026-03-03T09:00:00Z"}}));
  const std::string badStart = (folder / "bad-start.ics").string();
  EXPECT_EQ(read.errors, (std::vector<std::string>{
                             badStart + ": damaged: 1 line could not be read and was left out",
                             badStart + ": event \"Trip without a date\" has no start that can be read; left out",
                             (folder / "cut-short.ics").string() + ": damaged: the calendar is cut short or malformed",
                             (folder / "not-a-calendar.ics").string() + ": not an iCalendar file",
                         }));
}

// Whatever is cut off a calendar file, reading it never fails.
TEST(ICalendarFiles, EveryTruncationOfAFileReadsWithoutFailing) {
  const std::string whole = text(kData / "calendars" / "work" / "weekly.ics");
  ASSERT_GT(whole.size(), 500u);
  std::size_t withErrors = 0;
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const auto read = readCalendarText(std::string_view(whole).substr(0, length), "weekly.ics", inBerlin(2, 1),
                                       inBerlin(5, 1), berlin());
    if (!read.errors.empty()) ++withErrors;
    if (length < whole.size() - 20) {
      EXPECT_FALSE(read.errors.empty()) << length;
    }
  }
  EXPECT_GT(withErrors, 0u);
  EXPECT_TRUE(readCalendarText(whole, "weekly.ics", inBerlin(2, 1), inBerlin(5, 1), berlin()).errors.empty());
  const std::string binary("\x00\xff\xfe BEGIN:VCALENDAR\x00\r\n\x80", 22);
  EXPECT_FALSE(readCalendarText(binary, "binary.ics", inBerlin(2, 1), inBerlin(5, 1), berlin()).errors.empty());
}

// ---- Repeating events ----

TEST(ICalendarFiles, AWeeklyEventGivesEachOccurrenceButTheExcludedOne) {
  const auto read =
      readCalendarEvents(kData / "calendars" / "work" / "weekly.ics", inBerlin(2, 16), inBerlin(4, 1), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{
                              {"hamburg-weekly", "2026-02-17T06:30:00Z"},
                              {"hamburg-weekly", "2026-02-24T06:30:00Z"},
                              {"hamburg-weekly", "2026-03-03T06:30:00Z"},
                              // 10 March is excluded
                              {"hamburg-weekly", "2026-03-17T06:30:00Z"},
                              {"hamburg-weekly", "2026-03-24T09:00:00Z"},  // moved to 10:00 that week
                              {"hamburg-weekly", "2026-03-31T05:30:00Z"},  // 07:30 in summer time
                          }));
  EXPECT_EQ(read.events[4].title, "Dienstreise Hamburg (später)");
  EXPECT_EQ(read.events[4].end, at("2026-03-24T18:00:00Z"));
  EXPECT_EQ(read.events[5].end - read.events[5].start, 10.5h);
}

TEST(ICalendarFiles, ATripRepeatingWeeklyIsFoundOnItsThirdWeek) {
  const auto file = kData / "calendars" / "work" / "weekly.ics";
  const std::vector<std::string> keywords = app::Settings::defaultCalendarKeywords();
  const auto decide = [&](Date now) {
    const auto read = readCalendarEvents(file, now, now + 48h, berlin());
    return CalendarTrigger::decision({}, read.events, plugged(78, now), 80, true, false, keywords, now, berlin());
  };
  const auto third = decide(inBerlin(3, 2, 18, 0));
  ASSERT_TRUE(third.has_value());
  EXPECT_EQ(third->event.start, inBerlin(3, 3, 7, 30));
  EXPECT_EQ(third->session.origin, batterycore::FullChargeSession::Origin::calendar("Dienstreise Hamburg"));
  EXPECT_EQ(decide(inBerlin(3, 2, 17, 59)), std::nullopt);
  // The week it was taken out of the calendar nothing starts.
  EXPECT_EQ(decide(inBerlin(3, 9, 18, 0)), std::nullopt);
  EXPECT_TRUE(decide(inBerlin(3, 16, 18, 0)).has_value());
}

TEST(ICalendarFiles, AnEventRepeatingEveryMinuteIsReadOnce) {
  const auto read = readCalendarText(
      "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:busy\nDTSTART:19700101T000000Z\nRRULE:FREQ=MINUTELY\n"
      "SUMMARY:Busy\nEND:VEVENT\nEND:VCALENDAR\n",
      "busy.ics", at("1969-12-31T00:00:00Z"), at("2026-03-04T00:00:00Z"), berlin());
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{{"busy", "1970-01-01T00:00:00Z"}}));
  EXPECT_EQ(read.errors, std::vector<std::string>{
                             "busy.ics: event \"Busy\" repeats every minute or second; only its first time is read"});
}

// ---- Time zones and days ----

TEST(ICalendarFiles, EachTimeIsReadInItsOwnZone) {
  const auto read =
      readCalendarEvents(kData / "calendars" / "work" / "zones.ics", inBerlin(3, 1), inBerlin(3, 8), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  struct Case {
    const char* uid;
    const char* start;
    const char* end;
  };
  const Case cases[] = {
      {"flight-home-ny", "2026-03-05T23:00:00Z", "2026-03-06T07:00:00Z"},   // New York, landing in Berlin
      {"tokyo-call", "2026-03-04T00:00:00Z", "2026-03-04T00:30:00Z"},       // a Windows zone name
      {"standup", "2026-03-04T08:00:00Z", "2026-03-04T08:15:00Z"},          // UTC, with a duration
      {"lunch", "2026-03-04T11:00:00Z", "2026-03-04T12:00:00Z"},            // floating: the person's zone
      {"lisbon-workshop", "2026-03-04T14:00:00Z", "2026-03-04T17:00:00Z"},  // behind a vendor prefix
  };
  for (const auto& c : cases) {
    const auto* event = find(read, c.uid);
    if (event == nullptr) continue;
    EXPECT_EQ(batterycore::toIso8601(event->start), c.start) << c.uid;
    EXPECT_EQ(batterycore::toIso8601(event->end), c.end) << c.uid;
    EXPECT_FALSE(event->allDay) << c.uid;
  }
  // Someone in Tokyo has lunch at noon in Tokyo.
  const auto tokyo = Calendar::gregorian("Asia/Tokyo");
  const auto there =
      readCalendarEvents(kData / "calendars" / "work" / "zones.ics", inBerlin(3, 1), inBerlin(3, 8), tokyo);
  const auto* lunch = find(there, "lunch");
  ASSERT_NE(lunch, nullptr);
  EXPECT_EQ(lunch->start, at("2026-03-04T03:00:00Z"));
}

TEST(ICalendarFiles, AllDayEventsAreDaysInThePersonsCalendar) {
  const auto file = kData / "calendars" / "work" / "allday.ics";
  const auto read = readCalendarEvents(file, inBerlin(3, 1), inBerlin(3, 8), berlin());
  const auto* vienna = find(read, "vienna-conference");
  ASSERT_NE(vienna, nullptr);
  EXPECT_EQ(*vienna, (CalendarEvent{"vienna-conference", "Konferenz in Wien", inBerlin(3, 4), inBerlin(3, 6), true}));
  const auto* birthday = find(read, "birthday");
  ASSERT_NE(birthday, nullptr);
  EXPECT_EQ(birthday->end, inBerlin(3, 6));  // one day when the file gives no end

  const auto newYork = Calendar::gregorian("America/New_York");
  const auto there = readCalendarEvents(file, inBerlin(3, 1), inBerlin(3, 8), newYork);
  ASSERT_FALSE(there.events.empty());
  EXPECT_EQ(there.events.front().start, *newYork.date(2026, 3, 4));
}

TEST(ICalendarFiles, AnAllDayTripStartsTheEveningBeforeOnlyWithTheOption) {
  const auto file = kData / "calendars" / "work" / "allday.ics";
  const std::vector<std::string> keywords = app::Settings::defaultCalendarKeywords();
  const Date now = inBerlin(3, 3, 18, 0);
  const auto read = readCalendarEvents(file, now, now + 48h, berlin());
  const auto with =
      CalendarTrigger::decision({}, read.events, plugged(70, now), 80, true, true, keywords, now, berlin());
  ASSERT_TRUE(with.has_value());
  EXPECT_EQ(with->event.uid, "vienna-conference");
  EXPECT_EQ(CalendarTrigger::decision({}, read.events, plugged(70, now), 80, true, false, keywords, now, berlin()),
            std::nullopt);
}

// ---- The span ----

TEST(ICalendarFiles, OnlyOccurrencesOverlappingTheSpan) {
  const std::string calendar =
      "BEGIN:VCALENDAR\n"
      "BEGIN:VEVENT\nUID:ends-at-from\nDTSTART:20260303T080000Z\nDTEND:20260303T100000Z\nEND:VEVENT\n"
      "BEGIN:VEVENT\nUID:ends-after-from\nDTSTART:20260303T080000Z\nDTEND:20260303T100001Z\nEND:VEVENT\n"
      "BEGIN:VEVENT\nUID:instant-at-from\nDTSTART:20260303T100000Z\nEND:VEVENT\n"
      "BEGIN:VEVENT\nUID:starts-before-to\nDTSTART:20260303T115959Z\nDTEND:20260303T130000Z\nEND:VEVENT\n"
      "BEGIN:VEVENT\nUID:starts-at-to\nDTSTART:20260303T120000Z\nDTEND:20260303T130000Z\nEND:VEVENT\n"
      "BEGIN:VEVENT\nDTSTART:20260303T110000Z\nSUMMARY:No uid\nEND:VEVENT\n"
      "END:VCALENDAR\n";
  const auto read =
      readCalendarText(calendar, "span.ics", at("2026-03-03T10:00:00Z"), at("2026-03-03T12:00:00Z"), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{
                              {"ends-after-from", "2026-03-03T08:00:00Z"},
                              {"instant-at-from", "2026-03-03T10:00:00Z"},
                              {"span.ics#No uid", "2026-03-03T11:00:00Z"},
                              {"starts-before-to", "2026-03-03T11:59:59Z"},
                          }));
}

TEST(ICalendarFiles, SeveralCalendarsInOneFile) {
  const auto read = readCalendarText(
      "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:a\nDTSTART:20260303T080000Z\nSUMMARY:One\nEND:VEVENT\nEND:VCALENDAR\n"
      "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:b\nDTSTART:20260303T090000Z\nSUMMARY:Two\nEND:VEVENT\nEND:VCALENDAR\n",
      "two.ics", at("2026-03-03T00:00:00Z"), at("2026-03-04T00:00:00Z"), berlin());
  EXPECT_EQ(read.errors, std::vector<std::string>{});
  EXPECT_EQ(starts(read), (std::vector<std::pair<std::string, std::string>>{{"a", "2026-03-03T08:00:00Z"},
                                                                            {"b", "2026-03-03T09:00:00Z"}}));
}

}  // namespace
}  // namespace kestrin::app::live
