// Time above 80%: the ledger of minutes per day, and the weekly note told from it.
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/health/WeeklyNote.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using std::chrono::minutes;
using testing::local;
using testing::reading;
using Day = HighChargeLedger::Day;

const Calendar kUtc = Calendar::utc();
const Calendar kBerlin = Calendar::gregorian("Europe/Berlin", "de_DE");  // weeks start on Monday
const Date kTen = local(kUtc, 2026, 3, 5, 10, 0);

// The interval from the last tick to now takes the state of the reading at
// now, split at local midnight; a first tick, a clock that did not move
// forward or a gap over 65 minutes books nothing.
TEST(HighChargeLedger, BooksEachIntervalOnItsLocalDays) {
  const struct { const char* what; const Calendar& calendar; std::optional<Date> from; Date to; int percent;
                 bool plugged; std::vector<Day> days; } cases[] = {
      {"first tick", kUtc, std::nullopt, kTen, 90, true, {}},
      {"same moment", kUtc, kTen, kTen, 90, true, {}},
      {"clock set back", kUtc, kTen + minutes{5}, kTen, 90, true, {}},
      {"65 minutes", kUtc, kTen, kTen + Seconds{3900}, 90, true, {{"2026-03-05", 65, 0, 65, 65}}},
      {"a second over 65 minutes", kUtc, kTen, kTen + Seconds{3901}, 90, true, {}},
      {"80% is not above", kUtc, kTen, kTen + minutes{10}, 80, true, {{"2026-03-05", 0, 0, 10, 10}}},
      {"81% is", kUtc, kTen, kTen + minutes{10}, 81, true, {{"2026-03-05", 10, 0, 10, 10}}},
      {"unplugged, fractional", kUtc, kTen, kTen + Seconds{90}, 90, false, {{"2026-03-05", 0, 1.5, 0, 1.5}}},
      {"unplugged at 80%", kUtc, kTen, kTen + minutes{10}, 80, false, {{"2026-03-05", 0, 0, 0, 10}}},
      {"across midnight", kUtc, local(kUtc, 2026, 3, 5, 23, 50), local(kUtc, 2026, 3, 6, 0, 10), 50, false,
       {{"2026-03-05", 0, 0, 0, 10}, {"2026-03-06", 0, 0, 0, 10}}},
      {"after the spring-forward day", kBerlin, local(kBerlin, 2026, 3, 29, 23, 45), local(kBerlin, 2026, 3, 30, 0, 15),
       50, true, {{"2026-03-29", 0, 0, 15, 15}, {"2026-03-30", 0, 0, 15, 15}}},
      {"over the skipped hour", kBerlin, local(kBerlin, 2026, 3, 29, 1, 30), local(kBerlin, 2026, 3, 29, 3, 30), 90,
       false, {{"2026-03-29", 0, 60, 0, 60}}},
      {"out of the fall-back day", kBerlin, local(kBerlin, 2026, 10, 25, 23, 50), local(kBerlin, 2026, 10, 26, 0, 10),
       50, true, {{"2026-10-25", 0, 0, 10, 10}, {"2026-10-26", 0, 0, 10, 10}}},
  };
  for (const auto& c : cases) {
    HighChargeLedger ledger;
    ledger.book(reading(c.to, c.percent, c.plugged), c.from, c.to, c.calendar);
    EXPECT_EQ(ledger.days, c.days) << c.what;
  }
}

TEST(HighChargeLedger, ClockChangeDaysHave23And25Hours) {
  const std::pair<Date, int> days[] = {{local(kBerlin, 2026, 3, 29), 23}, {local(kBerlin, 2026, 10, 25), 25}};
  for (const auto& [day, hours] : days) {
    HighChargeLedger ledger;
    const Date end = kBerlin.addingDays(day, 1);
    for (Date tick = day; tick < end; tick = std::min(tick + std::chrono::hours{1}, end)) {
      ledger.book(reading(tick, 90, true), tick, std::min(tick + std::chrono::hours{1}, end), kBerlin);
    }
    ASSERT_EQ(ledger.days.size(), 1u);
    EXPECT_EQ(ledger.days[0].minutesSampled, hours * 60.0) << ledger.days[0].day;
  }
}

TEST(HighChargeLedger, AddsToTheLastRecordOnlyAndKeepsTheNewest400Days) {
  HighChargeLedger ledger;
  const Date nextDay = local(kUtc, 2026, 3, 6, 10, 0);
  ledger.book(reading(kTen, 90, true), kTen, kTen + minutes{10}, kUtc);
  ledger.book(reading(kTen, 70, false), kTen + minutes{10}, kTen + minutes{30}, kUtc);
  ledger.book(reading(nextDay, 90, true), nextDay, nextDay + minutes{10}, kUtc);
  // The clock went back a day: the old day's key is not the last one, so it starts a new record.
  ledger.book(reading(kTen, 90, true), kTen + minutes{40}, kTen + minutes{50}, kUtc);
  EXPECT_EQ(ledger.days, (std::vector<Day>{{"2026-03-05", 10, 0, 10, 30}, {"2026-03-06", 10, 0, 10, 10},
                                           {"2026-03-05", 10, 0, 10, 10}}));

  ledger = {};
  const Date first = local(kUtc, 2025, 1, 1, 12, 0);
  for (int day = 0; day <= 400; ++day) {
    const Date t = kUtc.addingDays(first, day);
    ledger.book(reading(t, 90, true), t, t + minutes{1}, kUtc);
    if (day == 399) { EXPECT_EQ(ledger.days.front().day, "2025-01-01"); }
  }
  ASSERT_EQ(ledger.days.size(), 400u);
  EXPECT_EQ(ledger.days.front().day, "2025-01-02");
  EXPECT_EQ(ledger.days.back().day, kUtc.dayKey(kUtc.addingDays(first, 400)));
}

TEST(HighChargeLedger, SummarisesAMonthAgainstTheCalendarMonthBefore) {
  const auto day = [](const char* key, double above, double plugged, double sampled) {
    return Day{key, above, 0, plugged, sampled};
  };
  const HighChargeLedger ledger{{day("2026-02-28", 60, 60, 60), day("2026-03-01", 30, 30, 30),
                                 day("2026-03-31", 0, 0, 15), day("2026-04-01", 0, 0, 5)}};
  const auto march = ledger.daysInMonthOf(local(kUtc, 2026, 3, 15), kUtc);
  ASSERT_EQ(march.size(), 2u);
  EXPECT_EQ(march[0].day, "2026-03-01");
  EXPECT_EQ(march[1].day, "2026-03-31");
  EXPECT_TRUE(ledger.daysInMonthOf(local(kUtc, 2026, 5, 1), kUtc).empty());

  const struct { const char* what; HighChargeLedger ledger; Date date; HighChargeLedger::MonthSummary summary; }
      cases[] = {
      {"with the month before",
       {{{"2026-02-10", 60, 30, 120, 600}, {"2026-03-01", 90, 30, 240, 900}, {"2026-03-02", 30, 30, 60, 300}}},
       local(kUtc, 2026, 3, 20), {3.0, 5.0, 1.5, 2, 20.0}},
      {"without a month before", {{day("2026-03-01", 120, 240, 900)}}, local(kUtc, 2026, 3, 20),
       {2.0, 4.0, std::nullopt, 1, 15.0}},
      {"an empty month", {{day("2026-02-10", 60, 60, 60)}}, local(kUtc, 2026, 3, 1), {0, 0, 1.0, 0, 0}},
      {"before March 31 is February", {{day("2026-02-27", 60, 60, 60)}}, local(kUtc, 2026, 3, 31), {0, 0, 1.0, 0, 0}},
      {"January against December", {{day("2025-12-31", 120, 120, 120), day("2026-01-01", 60, 60, 60)}},
       local(kUtc, 2026, 1, 15), {1.0, 1.0, 2.0, 1, 1.0}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.ledger.summary(c.date, kUtc), c.summary) << c.what;
}

const Calendar kNewYork = Calendar::gregorian("America/New_York", "en_US");  // weeks start on Sunday

// Seven days from `first`, each with these minutes.
HighChargeLedger week(const Calendar& calendar, Date first, double above80, double sampled = 1440) {
  HighChargeLedger ledger;
  for (int i = 0; i < 7; ++i) {
    ledger.days.push_back({calendar.dayKey(calendar.addingDays(first, i)), above80, 0, 600, sampled});
  }
  return ledger;
}

WeeklyNote::Step step(const WeeklyNote& seen, const HighChargeLedger& ledger, Date now,
                      const Calendar& calendar = kBerlin) {
  return WeeklyNote::step(seen, ledger, 96, now, calendar);
}

TEST(WeeklyNote, ComesOnTheFirstTickOfTheLocalesWeek) {
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 16), 60);
  const WeeklyNote seen{"2026-11-16"};
  const auto sunday = step(seen, ledger, local(kBerlin, 2026, 11, 22, 23, 59));
  EXPECT_FALSE(sunday.alert);
  EXPECT_EQ(sunday.next, seen);
  const auto monday = step(seen, ledger, local(kBerlin, 2026, 11, 23, 0, 0));
  ASSERT_TRUE(monday.alert);
  EXPECT_EQ(monday.alert->kind, BatteryAlert::Kind::weeklyNote);
  EXPECT_EQ(monday.next.week, "2026-11-23");
  EXPECT_FALSE(step(monday.next, ledger, local(kBerlin, 2026, 11, 23, 0, 1)).alert);

  const auto american = week(kNewYork, local(kNewYork, 2026, 11, 15), 60);
  EXPECT_FALSE(step({"2026-11-15"}, american, local(kNewYork, 2026, 11, 21, 23, 59), kNewYork).alert);
  EXPECT_EQ(step({"2026-11-15"}, american, local(kNewYork, 2026, 11, 22), kNewYork).next.week, "2026-11-22");
  EXPECT_TRUE(step({"2026-11-15"}, american, local(kNewYork, 2026, 11, 22), kNewYork).alert);
  // The same Sunday in a Monday-first calendar is still the old week.
  EXPECT_EQ(WeeklyNote::weekStart(local(kBerlin, 2026, 11, 22, 12), kBerlin), local(kBerlin, 2026, 11, 16));
}

// The first look, a clock set back, a week away or a week with under a day of
// samples only moves the remembered week.
TEST(WeeklyNote, NoNoteWithoutADayOfSamplesInTheWeekJustEnded) {
  const Date monday = local(kBerlin, 2026, 11, 23, 9);
  const auto lastWeek = week(kBerlin, local(kBerlin, 2026, 11, 16), 60);
  auto thin = week(kBerlin, local(kBerlin, 2026, 11, 16), 10, 1439.0 / 7);
  const struct { const char* what; WeeklyNote seen; HighChargeLedger ledger; Date now; const char* week; } cases[] = {
      {"first look", {}, lastWeek, monday, "2026-11-23"},
      {"clock set back", {"2026-11-23"}, week(kBerlin, local(kBerlin, 2026, 11, 9), 60), local(kBerlin, 2026, 11, 18),
       "2026-11-16"},
      {"a week away", {"2026-11-02"}, week(kBerlin, local(kBerlin, 2026, 11, 2), 60), monday, "2026-11-23"},
      {"a minute short of a day", {"2026-11-16"}, thin, monday, "2026-11-23"},
  };
  for (const auto& c : cases) {
    const auto next = step(c.seen, c.ledger, c.now);
    EXPECT_FALSE(next.alert) << c.what;
    EXPECT_EQ(next.next.week, c.week) << c.what;
  }
  thin.days.back().minutesSampled += 1;
  EXPECT_TRUE(step({"2026-11-16"}, thin, monday).alert) << "exactly a day";
}

TEST(WeeklyNote, SaysHowTheWeekCompares) {
  const testing::UsingLocale english("en_US");
  // The note about the week of Nov 16 against the week of Nov 9, with these daily minutes above 80%.
  const auto note = [](double beforeMinutes, double afterMinutes) {
    auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 9), beforeMinutes);
    for (const auto& day : week(kBerlin, local(kBerlin, 2026, 11, 16), afterMinutes).days) ledger.days.push_back(day);
    return *step({"2026-11-16"}, ledger, local(kBerlin, 2026, 11, 23, 9)).alert;
  };
  const struct { double before, after; const char* body; } cases[] = {
      {60, 120, "14 h above 80% this week. Up from 7 h last week. Your battery would like a word."},
      {120, 60, "7 h above 80% this week. Down from 14 h last week. Your battery says thanks."},
      // 21 h against 22.4 h: more than an hour apart, but within a tenth of the larger.
      {180, 192, "22 h above 80% this week. About the same as last week."},
      // Under an hour apart even when that is more than a tenth.
      {0, 8, "Under an hour above 80% this week. About the same as last week."},
      // 7 h against 8.2 h: over an hour apart and more than a tenth.
      {60, 70, "8 h above 80% this week. Up from 7 h last week. Your battery would like a word."},
      {0, 0, "No time above 80% this week. About the same as last week."},
  };
  for (const auto& c : cases) EXPECT_EQ(note(c.before, c.after).body, c.body) << c.before << " → " << c.after;
  const auto up = note(60, 120);
  EXPECT_EQ(up.title, "Your week");
  EXPECT_EQ(up.technicalBody, "Nov 16–22: 14 h above 80%. Plugged in 70 h. Health 96%. Last week: 7 h.");

  const auto first = WeeklyNote::step({"2026-11-16"}, week(kBerlin, local(kBerlin, 2026, 11, 16), 0), std::nullopt,
                                      local(kBerlin, 2026, 11, 23, 9), kBerlin);
  ASSERT_TRUE(first.alert);
  EXPECT_EQ(first.alert->body, "No time above 80% this week. Your first week of history.");
  EXPECT_EQ(first.alert->technicalBody, "Nov 16–22: 0 h above 80%. Plugged in 70 h. No earlier week to compare.");

}

}  // namespace
}  // namespace batterycore
