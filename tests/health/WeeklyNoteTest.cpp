#include "BatteryCore/health/WeeklyNote.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"
#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using testing::local;

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin", "de_DE");     // weeks start on Monday
const Calendar kNewYork = Calendar::gregorian("America/New_York", "en_US");  // weeks start on Sunday

// Seven days from `first` (a day key's date), each with these minutes.
HighChargeLedger week(const Calendar& calendar, Date first, double above80, double plugged = 600,
                      double sampled = 1440) {
  HighChargeLedger ledger;
  for (int i = 0; i < 7; ++i) {
    ledger.days.push_back({calendar.dayKey(calendar.addingDays(first, i)), above80, 0, plugged, sampled});
  }
  return ledger;
}

HighChargeLedger twoWeeks(const Calendar& calendar, Date first, double before, double after) {
  auto ledger = week(calendar, first, before);
  const auto later = week(calendar, calendar.addingDays(first, 7), after);
  ledger.days.insert(ledger.days.end(), later.days.begin(), later.days.end());
  return ledger;
}

class WeeklyNoteTest : public ::testing::Test {
 protected:
  const batterycore::testing::UsingLocale english_{"en_US"};
};

TEST_F(WeeklyNoteTest, ComesOnTheFirstTickOfAMondayFirstWeek) {
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 16), 60);
  const WeeklyNote seen{"2026-11-16"};

  const auto sunday = WeeklyNote::step(seen, ledger, 96, local(kBerlin, 2026, 11, 22, 23, 59), kBerlin);
  EXPECT_FALSE(sunday.alert);
  EXPECT_EQ(sunday.next, seen);

  const auto monday = WeeklyNote::step(seen, ledger, 96, local(kBerlin, 2026, 11, 23, 0, 0), kBerlin);
  ASSERT_TRUE(monday.alert);
  EXPECT_EQ(monday.alert->kind, BatteryAlert::Kind::weeklyNote);
  EXPECT_EQ(monday.next.week, "2026-11-23");

  const auto again = WeeklyNote::step(monday.next, ledger, 96, local(kBerlin, 2026, 11, 23, 0, 1), kBerlin);
  EXPECT_FALSE(again.alert);
}

TEST_F(WeeklyNoteTest, ComesOnTheFirstTickOfASundayFirstWeek) {
  const auto ledger = week(kNewYork, local(kNewYork, 2026, 11, 15), 60);
  const WeeklyNote seen{"2026-11-15"};
  EXPECT_FALSE(WeeklyNote::step(seen, ledger, 96, local(kNewYork, 2026, 11, 21, 23, 59), kNewYork).alert);
  const auto sunday = WeeklyNote::step(seen, ledger, 96, local(kNewYork, 2026, 11, 22, 0, 0), kNewYork);
  ASSERT_TRUE(sunday.alert);
  EXPECT_EQ(sunday.next.week, "2026-11-22");
  // The same Sunday in a Monday-first calendar is still the old week.
  EXPECT_EQ(WeeklyNote::weekStart(local(kBerlin, 2026, 11, 22, 12), kBerlin), local(kBerlin, 2026, 11, 16));
}

TEST_F(WeeklyNoteTest, TheFirstLookOnlyRemembersTheWeek) {
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 16), 60);
  const auto first = WeeklyNote::step(WeeklyNote{}, ledger, 96, local(kBerlin, 2026, 11, 23, 9), kBerlin);
  EXPECT_FALSE(first.alert);
  EXPECT_EQ(first.next.week, "2026-11-23");
}

TEST_F(WeeklyNoteTest, NeedsADayOfSamplesInTheWeek) {
  const Date monday = local(kBerlin, 2026, 11, 23, 9);
  auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 16), 10, 0, 1439.0 / 7);
  const auto thin = WeeklyNote::step(WeeklyNote{"2026-11-16"}, ledger, 96, monday, kBerlin);
  EXPECT_FALSE(thin.alert);
  EXPECT_EQ(thin.next.week, "2026-11-23");  // and no note later that week either

  ledger.days.back().minutesSampled += 1;  // exactly a day
  EXPECT_TRUE(WeeklyNote::step(WeeklyNote{"2026-11-16"}, ledger, 96, monday, kBerlin).alert);
}

TEST_F(WeeklyNoteTest, AWeekAwayGivesNoNoteOnReturn) {
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 2), 60);  // sampled three weeks ago only
  EXPECT_FALSE(WeeklyNote::step(WeeklyNote{"2026-11-02"}, ledger, 96, local(kBerlin, 2026, 11, 23, 9), kBerlin).alert);
}

TEST_F(WeeklyNoteTest, AClockSetBackGivesNoNote) {
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 9), 60);
  const auto back = WeeklyNote::step(WeeklyNote{"2026-11-23"}, ledger, 96, local(kBerlin, 2026, 11, 18), kBerlin);
  EXPECT_FALSE(back.alert);
  EXPECT_EQ(back.next.week, "2026-11-16");
}

// The note about the week of Nov 16 against the week of Nov 9, with these
// daily minutes above 80%.
BatteryAlert noteFor(double beforeMinutes, double afterMinutes) {
  const auto ledger = twoWeeks(kBerlin, local(kBerlin, 2026, 11, 9), beforeMinutes, afterMinutes);
  return *WeeklyNote::step(WeeklyNote{"2026-11-16"}, ledger, 96, local(kBerlin, 2026, 11, 23, 9), kBerlin).alert;
}

TEST_F(WeeklyNoteTest, SaysUpOrDownWithTheLightHeartedSentenceInTheSimpleWordingOnly) {
  const auto up = noteFor(60, 120);  // 7 h → 14 h
  EXPECT_EQ(up.title, "Your week");
  EXPECT_EQ(up.body, "14 h above 80% this week. Up from 7 h last week. Your battery would like a word.");
  EXPECT_EQ(up.technicalBody, "Nov 16–22: 14 h above 80%. Plugged in 70 h. Health 96%. Last week: 7 h.");

  const auto down = noteFor(120, 60);
  EXPECT_EQ(down.body, "7 h above 80% this week. Down from 14 h last week. Your battery says thanks.");
}

TEST_F(WeeklyNoteTest, CallsCloseWeeksTheSame) {
  // 21 h against 22.4 h: more than an hour apart, but within a tenth of the larger.
  EXPECT_EQ(noteFor(180, 192).body, "22 h above 80% this week. About the same as last week.");
  // Under an hour apart even when that is more than a tenth.
  EXPECT_EQ(noteFor(0, 8).body, "Under an hour above 80% this week. About the same as last week.");
  // 7 h against 8.2 h: over an hour apart and more than a tenth.
  EXPECT_EQ(noteFor(60, 70).body,
            "8 h above 80% this week. Up from 7 h last week. Your battery would like a word.");
}

TEST_F(WeeklyNoteTest, TellsANoneWeekAndAFirstWeek) {
  EXPECT_EQ(noteFor(0, 0).body, "No time above 80% this week. About the same as last week.");
  const auto ledger = week(kBerlin, local(kBerlin, 2026, 11, 16), 0);
  const auto first = WeeklyNote::step(WeeklyNote{"2026-11-16"}, ledger, std::nullopt, local(kBerlin, 2026, 11, 23, 9),
                                      kBerlin);
  ASSERT_TRUE(first.alert);
  EXPECT_EQ(first.alert->body, "No time above 80% this week. Your first week of history.");
  EXPECT_EQ(first.alert->technicalBody, "Nov 16–22: 0 h above 80%. Plugged in 70 h. No earlier week to compare.");
}

TEST_F(WeeklyNoteTest, SpeaksGerman) {
  const batterycore::testing::UsingLocale german("de_DE");
  const auto up = noteFor(60, 120);
  EXPECT_EQ(up.title, "Deine Woche");
  EXPECT_NE(up.body.find("14 h"), std::string::npos);
  EXPECT_EQ(up.body.find("above"), std::string::npos);
}

TEST_F(WeeklyNoteTest, ReadsBackWhatItWrites) {
  const WeeklyNote note{"2026-11-16"};
  EXPECT_EQ(WeeklyNote::fromJson(note.toJson()), note);
  EXPECT_EQ(WeeklyNote::fromJson(Json::object()), WeeklyNote{});
  EXPECT_THROW(WeeklyNote::fromJson(Json{{"week", "last monday"}}), DecodingError);
  EXPECT_THROW(WeeklyNote::fromJson(Json{{"week", 7}}), DecodingError);
}

}  // namespace
}  // namespace batterycore
