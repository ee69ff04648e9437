#include "BatteryCore/health/HighChargeLedger.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace batterycore {
namespace {

using testing::local;
using testing::reading;
using std::chrono::minutes;

const Calendar kUtc = Calendar::utc();
const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");

TEST(HighChargeLedger, HeaderExampleHolds) {
  HighChargeLedger ledger;
  const Date ten = local(kUtc, 2026, 3, 5, 10, 0);
  const Date halfPastTen = local(kUtc, 2026, 3, 5, 10, 30);
  ledger.book(reading(halfPastTen, 90, true), ten, halfPastTen, kUtc);
  EXPECT_EQ(ledger.days[0].minutesAbove80Plugged, 30.0);
  EXPECT_EQ(ledger.summary(halfPastTen, kUtc).hoursAbove80, 0.5);
}

TEST(HighChargeLedger, BooksNothingWithoutAPositiveInterval) {
  const Date t = local(kUtc, 2026, 3, 5, 10, 0);
  HighChargeLedger ledger;
  ledger.book(reading(t, 90, true), std::nullopt, t, kUtc);
  ledger.book(reading(t, 90, true), t, t, kUtc);
  ledger.book(reading(t, 90, true), t + minutes{5}, t, kUtc);
  EXPECT_TRUE(ledger.days.empty());
}

TEST(HighChargeLedger, BooksUpToTheGapAndDropsLongerIntervalsWhole) {
  const Date t = local(kUtc, 2026, 3, 5, 10, 0);
  HighChargeLedger booked;
  booked.book(reading(t, 90, true), t, t + Seconds{3900}, kUtc);
  ASSERT_EQ(booked.days.size(), 1u);
  EXPECT_EQ(booked.days[0].minutesSampled, 65.0);

  HighChargeLedger dropped;
  dropped.book(reading(t, 90, true), t, t + Seconds{3901}, kUtc);
  EXPECT_TRUE(dropped.days.empty());
}

TEST(HighChargeLedger, SplitsAnIntervalAtMidnight) {
  HighChargeLedger ledger;
  const Date before = local(kUtc, 2026, 3, 5, 23, 50);
  const Date after = local(kUtc, 2026, 3, 6, 0, 10);
  ledger.book(reading(after, 50, false), before, after, kUtc);
  ASSERT_EQ(ledger.days.size(), 2u);
  EXPECT_EQ(ledger.days[0], (HighChargeLedger::Day{"2026-03-05", 0, 0, 0, 10}));
  EXPECT_EQ(ledger.days[1], (HighChargeLedger::Day{"2026-03-06", 0, 0, 0, 10}));
}

TEST(HighChargeLedger, KeepsMinutesFractional) {
  HighChargeLedger ledger;
  const Date t = local(kUtc, 2026, 3, 5, 10, 0);
  ledger.book(reading(t, 90, false), t, t + Seconds{90}, kUtc);
  EXPECT_EQ(ledger.days[0].minutesAbove80Unplugged, 1.5);
}

TEST(HighChargeLedger, CountsByPercentAndPlug) {
  struct Case {
    std::int64_t percent;
    bool plugged;
    HighChargeLedger::Day expected;
  };
  const Case cases[] = {
      {80, true, {"2026-03-05", 0, 0, 10, 10}},
      {81, true, {"2026-03-05", 10, 0, 10, 10}},
      {90, true, {"2026-03-05", 10, 0, 10, 10}},
      {90, false, {"2026-03-05", 0, 10, 0, 10}},
      {80, false, {"2026-03-05", 0, 0, 0, 10}},
      {100, false, {"2026-03-05", 0, 10, 0, 10}},
  };
  const Date t = local(kUtc, 2026, 3, 5, 10, 0);
  for (const auto& c : cases) {
    HighChargeLedger ledger;
    ledger.book(reading(t, c.percent, c.plugged), t, t + minutes{10}, kUtc);
    ASSERT_EQ(ledger.days.size(), 1u);
    EXPECT_EQ(ledger.days[0], c.expected) << c.percent << "% plugged " << c.plugged;
  }
}

TEST(HighChargeLedger, AddsToTheLastRecordOfTheSameDay) {
  HighChargeLedger ledger;
  const Date t = local(kUtc, 2026, 3, 5, 10, 0);
  ledger.book(reading(t, 90, true), t, t + minutes{10}, kUtc);
  ledger.book(reading(t, 70, false), t + minutes{10}, t + minutes{30}, kUtc);
  ASSERT_EQ(ledger.days.size(), 1u);
  EXPECT_EQ(ledger.days[0], (HighChargeLedger::Day{"2026-03-05", 10, 0, 10, 30}));
}

TEST(HighChargeLedger, TreatsAKeyThatIsNotLastAsNew) {
  HighChargeLedger ledger;
  const Date day1 = local(kUtc, 2026, 3, 5, 10, 0);
  const Date day2 = local(kUtc, 2026, 3, 6, 10, 0);
  ledger.book(reading(day1, 90, true), day1, day1 + minutes{10}, kUtc);
  ledger.book(reading(day2, 90, true), day2, day2 + minutes{10}, kUtc);
  // The clock went back a day.
  ledger.book(reading(day1, 90, true), day1 + minutes{20}, day1 + minutes{30}, kUtc);
  ASSERT_EQ(ledger.days.size(), 3u);
  EXPECT_EQ(ledger.days[2].day, "2026-03-05");
  EXPECT_EQ(ledger.days[2].minutesSampled, 10.0);
}

// Books a whole local day in hourly ticks.
HighChargeLedger bookedDay(const Calendar& calendar, Date from, Date to) {
  HighChargeLedger ledger;
  Date tick = from;
  while (tick < to) {
    const Date next = std::min(tick + std::chrono::hours{1}, to);
    ledger.book(reading(next, 90, true), tick, next, calendar);
    tick = next;
  }
  return ledger;
}

TEST(HighChargeLedger, ASpringForwardDayHas23Hours) {
  const Date start = local(kBerlin, 2026, 3, 29);
  const Date end = local(kBerlin, 2026, 3, 30);
  const auto ledger = bookedDay(kBerlin, start, end);
  ASSERT_EQ(ledger.days.size(), 1u);
  EXPECT_EQ(ledger.days[0].day, "2026-03-29");
  EXPECT_EQ(ledger.days[0].minutesSampled, 23 * 60.0);
}

TEST(HighChargeLedger, AFallBackDayHas25Hours) {
  const Date start = local(kBerlin, 2026, 10, 25);
  const Date end = local(kBerlin, 2026, 10, 26);
  const auto ledger = bookedDay(kBerlin, start, end);
  ASSERT_EQ(ledger.days.size(), 1u);
  EXPECT_EQ(ledger.days[0].day, "2026-10-25");
  EXPECT_EQ(ledger.days[0].minutesSampled, 25 * 60.0);
}

TEST(HighChargeLedger, SplitsAtLocalMidnightAroundClockChanges) {
  struct Case {
    const char* what;
    Date from;
    Date to;
    const char* firstDay;
    double firstMinutes;
    const char* secondDay;
    double secondMinutes;
  };
  const Case cases[] = {
      {"into the spring-forward day", local(kBerlin, 2026, 3, 28, 23, 40), local(kBerlin, 2026, 3, 29, 0, 20),
       "2026-03-28", 20, "2026-03-29", 20},
      {"out of the spring-forward day", local(kBerlin, 2026, 3, 29, 23, 45), local(kBerlin, 2026, 3, 30, 0, 15),
       "2026-03-29", 15, "2026-03-30", 15},
      {"into the fall-back day", local(kBerlin, 2026, 10, 24, 23, 30), local(kBerlin, 2026, 10, 25, 0, 30),
       "2026-10-24", 30, "2026-10-25", 30},
      {"out of the fall-back day", local(kBerlin, 2026, 10, 25, 23, 50), local(kBerlin, 2026, 10, 26, 0, 10),
       "2026-10-25", 10, "2026-10-26", 10},
  };
  for (const auto& c : cases) {
    HighChargeLedger ledger;
    ledger.book(reading(c.to, 50, true), c.from, c.to, kBerlin);
    ASSERT_EQ(ledger.days.size(), 2u) << c.what;
    EXPECT_EQ(ledger.days[0].day, c.firstDay) << c.what;
    EXPECT_DOUBLE_EQ(ledger.days[0].minutesSampled, c.firstMinutes) << c.what;
    EXPECT_EQ(ledger.days[1].day, c.secondDay) << c.what;
    EXPECT_DOUBLE_EQ(ledger.days[1].minutesSampled, c.secondMinutes) << c.what;
  }
}

TEST(HighChargeLedger, TheSkippedHourIsNotBooked) {
  // 01:30 to 03:30 on the spring-forward night is one real hour.
  HighChargeLedger ledger;
  const Date from = local(kBerlin, 2026, 3, 29, 1, 30);
  const Date to = local(kBerlin, 2026, 3, 29, 3, 30);
  ledger.book(reading(to, 90, false), from, to, kBerlin);
  ASSERT_EQ(ledger.days.size(), 1u);
  EXPECT_EQ(ledger.days[0].minutesAbove80Unplugged, 60.0);
}

TEST(HighChargeLedger, KeepsTheNewest400Days) {
  HighChargeLedger ledger;
  const Date first = local(kUtc, 2025, 1, 1, 12, 0);
  for (int day = 0; day < 400; ++day) {
    const Date t = kUtc.addingDays(first, day);
    ledger.book(reading(t, 90, true), t, t + minutes{1}, kUtc);
  }
  ASSERT_EQ(ledger.days.size(), 400u);
  EXPECT_EQ(ledger.days.front().day, "2025-01-01");

  const Date t = kUtc.addingDays(first, 400);
  ledger.book(reading(t, 90, true), t, t + minutes{1}, kUtc);
  ASSERT_EQ(ledger.days.size(), 400u);
  EXPECT_EQ(ledger.days.front().day, "2025-01-02");
  EXPECT_EQ(ledger.days.back().day, kUtc.dayKey(t));
}

HighChargeLedger::Day day(const char* key, double plugged, double unplugged, double pluggedIn, double sampled) {
  return {key, plugged, unplugged, pluggedIn, sampled};
}

TEST(HighChargeLedger, SelectsTheRecordsOfAMonth) {
  const HighChargeLedger ledger{{day("2026-02-28", 60, 0, 60, 60), day("2026-03-01", 30, 0, 30, 30),
                                 day("2026-03-31", 0, 0, 0, 15), day("2026-04-01", 0, 0, 0, 5)}};
  const auto march = ledger.daysInMonthOf(local(kUtc, 2026, 3, 15), kUtc);
  ASSERT_EQ(march.size(), 2u);
  EXPECT_EQ(march[0].day, "2026-03-01");
  EXPECT_EQ(march[1].day, "2026-03-31");
  EXPECT_TRUE(ledger.daysInMonthOf(local(kUtc, 2026, 5, 1), kUtc).empty());
}

TEST(HighChargeLedger, SummarisesAMonthAgainstTheOneBefore) {
  const HighChargeLedger ledger{{day("2026-02-10", 60, 30, 120, 600), day("2026-03-01", 90, 30, 240, 900),
                                 day("2026-03-02", 30, 30, 60, 300)}};
  const auto summary = ledger.summary(local(kUtc, 2026, 3, 20), kUtc);
  EXPECT_EQ(summary, (HighChargeLedger::MonthSummary{3.0, 5.0, 1.5, 2, 20.0}));
}

TEST(HighChargeLedger, SummaryWithoutAPreviousMonth) {
  const HighChargeLedger ledger{{day("2026-03-01", 90, 30, 240, 900)}};
  const auto summary = ledger.summary(local(kUtc, 2026, 3, 20), kUtc);
  EXPECT_EQ(summary.previousHoursAbove80, std::nullopt);
  EXPECT_EQ(summary.daysCovered, 1);
  EXPECT_EQ(summary.hoursAbove80, 2.0);
}

TEST(HighChargeLedger, SummaryOfAnEmptyMonthStillComparesWithTheOneBefore) {
  const HighChargeLedger ledger{{day("2026-02-10", 60, 0, 60, 60)}};
  const auto summary = ledger.summary(local(kUtc, 2026, 3, 1), kUtc);
  EXPECT_EQ(summary, (HighChargeLedger::MonthSummary{0.0, 0.0, 1.0, 0, 0.0}));
}

TEST(HighChargeLedger, MonthBeforeMarch31IsFebruary) {
  // One month before March 31 is the last day of February, not March 3.
  const HighChargeLedger ledger{{day("2026-02-27", 60, 0, 60, 60)}};
  EXPECT_EQ(ledger.summary(local(kUtc, 2026, 3, 31), kUtc).previousHoursAbove80, 1.0);
}

TEST(HighChargeLedger, JanuaryComparesWithDecember) {
  const HighChargeLedger ledger{{day("2025-12-31", 120, 0, 120, 120), day("2026-01-01", 60, 0, 60, 60)}};
  const auto summary = ledger.summary(local(kUtc, 2026, 1, 15), kUtc);
  EXPECT_EQ(summary.hoursAbove80, 1.0);
  EXPECT_EQ(summary.previousHoursAbove80, 2.0);
}

TEST(HighChargeLedger, RoundTripsThroughJson) {
  const HighChargeLedger ledger{{day("2026-03-01", 1.5, 0.25, 2, 3.75)}};
  const Json json = encode(ledger);
  EXPECT_EQ(json.dump(),
            R"({"days":[{"day":"2026-03-01","minutesAbove80Plugged":1.5,"minutesAbove80Unplugged":0.25,)"
            R"("minutesPlugged":2.0,"minutesSampled":3.75}]})");
  EXPECT_EQ(decode<HighChargeLedger>(json), ledger);
}

TEST(HighChargeLedger, EveryKeyIsRequired) {
  const Json complete = encode(HighChargeLedger{{day("2026-03-01", 1, 0, 1, 1)}});
  for (const char* key : {"day", "minutesAbove80Plugged", "minutesAbove80Unplugged", "minutesPlugged",
                          "minutesSampled"}) {
    Json broken = complete;
    broken["days"][0].erase(key);
    EXPECT_THROW(decode<HighChargeLedger>(broken), DecodingError) << key;
  }
  EXPECT_THROW(decode<HighChargeLedger>(Json::object()), DecodingError);
}

}  // namespace
}  // namespace batterycore
