#include "BatteryCore/foundation/Calendar.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

Date at(const char* iso) {
  const auto date = parseIso8601(iso);
  EXPECT_TRUE(date) << iso;
  return date.value_or(Date{});
}

TEST(Calendar, ComponentsAndDayKeyInEachZone) {
  struct Case {
    const char* zone;
    const char* moment;
    const char* dayKey;
    DateComponents expected;
  };
  const Case cases[] = {
      {"UTC", "2026-03-05T12:34:56Z", "2026-03-05", {2026, 3, 5, 5, 12, 34, 56}},
      {"America/New_York", "2026-03-05T03:00:00Z", "2026-03-04", {2026, 3, 4, 4, 22, 0, 0}},
      {"Europe/Berlin", "2026-03-28T23:30:00Z", "2026-03-29", {2026, 3, 29, 1, 0, 30, 0}},  // a Sunday
      {"Europe/Berlin", "2026-12-31T23:30:00Z", "2027-01-01", {2027, 1, 1, 6, 0, 30, 0}},
      {"Asia/Tokyo", "2026-06-30T15:00:00Z", "2026-07-01", {2026, 7, 1, 4, 0, 0, 0}},
      {"Mars/Olympus_Mons", "2026-03-05T23:59:59Z", "2026-03-05", {2026, 3, 5, 5, 23, 59, 59}},  // unknown: UTC
  };
  for (const auto& c : cases) {
    const auto calendar = Calendar::gregorian(c.zone);
    EXPECT_EQ(calendar.components(at(c.moment)), c.expected) << c.zone << " " << c.moment;
    EXPECT_EQ(calendar.dayKey(at(c.moment)), c.dayKey) << c.zone << " " << c.moment;
  }
  EXPECT_EQ(Calendar::gregorian("Mars/Olympus_Mons").timeZone(), "UTC");
}

TEST(Calendar, FirstWeekdayComesFromLocaleUnlessGiven) {
  EXPECT_EQ(Calendar::gregorian("America/New_York", "en_US").firstWeekday(), 1);
  EXPECT_EQ(Calendar::gregorian("Europe/Berlin", "de_DE").firstWeekday(), 2);
  EXPECT_EQ(Calendar::gregorian("Europe/Berlin", "en_US", 2).firstWeekday(), 2);
}

// A clock time that a change skips is the next moment that exists; one that
// happens twice is its first occurrence.
TEST(Calendar, ClockTimesAroundDaylightSaving) {
  const auto newYork = Calendar::gregorian("America/New_York");
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  EXPECT_EQ(newYork.date(2011, 3, 13, 2, 15), at("2011-03-13T07:00:00Z"));  // 03:00 EDT
  EXPECT_EQ(newYork.onSameDay(at("2011-03-13T12:00:00Z"), 2, 15), at("2011-03-13T07:00:00Z"));
  EXPECT_EQ(berlin.date(2026, 3, 29, 2, 30), at("2026-03-29T01:00:00Z"));  // 03:00 CEST
  EXPECT_EQ(berlin.date(2026, 3, 29, 3, 0), at("2026-03-29T01:00:00Z"));
  EXPECT_EQ(berlin.date(2026, 10, 25, 2, 30), at("2026-10-25T00:30:00Z"));  // CEST, not CET
  EXPECT_EQ(newYork.date(2026, 11, 1, 1, 30), at("2026-11-01T05:30:00Z"));  // EDT
  EXPECT_EQ(newYork.onSameDay(at("2026-07-04T03:00:00Z"), 7, 30), at("2026-07-03T11:30:00Z"));
}

TEST(Calendar, DaysAcrossDaylightSavingAreCalendarDays) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Date saturdayNoon = at("2026-03-28T11:00:00Z");  // 12:00 CET
  const Date sundayNoon = berlin.addingDays(saturdayNoon, 1);
  EXPECT_EQ(sundayNoon, at("2026-03-29T10:00:00Z"));  // 12:00 CEST: only 23 hours later
  EXPECT_EQ(berlin.daysBetween(saturdayNoon, sundayNoon), 1);
  EXPECT_EQ(berlin.daysBetween(sundayNoon, saturdayNoon), -1);
  EXPECT_EQ(berlin.startOfDay(sundayNoon), at("2026-03-28T23:00:00Z"));
  EXPECT_EQ(berlin.startOfDay(at("2026-10-25T22:00:00Z")), at("2026-10-24T22:00:00Z"));  // a 25-hour day
  EXPECT_EQ(berlin.daysBetween(at("2026-10-24T22:00:00Z"), at("2026-10-25T22:59:00Z")), 0);
}

TEST(Calendar, AddingDaysKeepsTheTimeOfDayAroundAClockChange) {
  // Every hour of the week around Berlin's spring change, a few days either way.
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  for (Date moment = at("2026-03-25T00:00:00Z"); moment < at("2026-04-02T00:00:00Z"); moment += Seconds{3600}) {
    const auto from = berlin.components(moment);
    for (int days = -3; days <= 3; ++days) {
      const Date later = berlin.addingDays(moment, days);
      const auto to = berlin.components(later);
      SCOPED_TRACE(toIso8601(moment) + " plus " + std::to_string(days) + " days: " + toIso8601(later));
      EXPECT_EQ(berlin.daysBetween(moment, later), days);
      // 02:00 does not exist on the day of the change.
      if (!(to.day == 29 && to.month == 3 && from.hour == 2)) {
        EXPECT_EQ(to.hour, from.hour);
        EXPECT_EQ(to.minute, from.minute);
      }
    }
  }
}

TEST(Calendar, AddingMonthsKeepsTheDayWhereItExists) {
  const auto utc = Calendar::utc();
  EXPECT_EQ(utc.dayKey(utc.addingMonths(at("2026-01-31T10:00:00Z"), 1)), "2026-02-28");
  EXPECT_EQ(utc.dayKey(utc.addingMonths(at("2026-03-15T10:00:00Z"), -3)), "2025-12-15");
}

TEST(Calendar, DatesAndDayKeysRejectFieldsOutOfRange) {
  const auto newYork = Calendar::gregorian("America/New_York");
  EXPECT_FALSE(newYork.date(2026, 13, 1));
  EXPECT_FALSE(newYork.date(2026, 2, 29));
  EXPECT_TRUE(newYork.date(2028, 2, 29));
  EXPECT_FALSE(newYork.date(2026, 4, 31));
  EXPECT_FALSE(newYork.date(2026, 4, 1, 24, 0));
  EXPECT_EQ(newYork.startOfDay(std::string_view("2026-03-08")), at("2026-03-08T05:00:00Z"));
  EXPECT_FALSE(newYork.startOfDay(std::string_view("2026-3-8")));
  EXPECT_FALSE(newYork.startOfDay(std::string_view("2026-02-30")));
  EXPECT_FALSE(parseDayKey("20x6-01-01"));
}

TEST(Calendar, CopiesAreIndependent) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  Calendar copy = berlin;
  copy = Calendar::gregorian("Asia/Tokyo");
  EXPECT_EQ(berlin.dayKey(at("2026-06-30T20:00:00Z")), "2026-06-30");
  EXPECT_EQ(copy.dayKey(at("2026-06-30T20:00:00Z")), "2026-07-01");
}

}  // namespace
}  // namespace batterycore
