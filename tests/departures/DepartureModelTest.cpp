#include "BatteryCore/departures/DepartureModel.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using Prediction = DepartureModel::Prediction;
using testing::at;
using testing::ledgerOf;
using testing::local;
using namespace std::chrono_literals;

constexpr int kSunday = 1;
constexpr int kMonday = 2;
constexpr int kWednesday = 4;
constexpr int kSaturday = 7;

int hm(int hour, int minute) { return hour * 60 + minute; }

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin");
  return calendar;
}

// Mondays of early 2026 in Berlin, at a local clock time.
Date monday(int week, int hour, int minute) {
  return berlin().addingDays(local(berlin(), 2026, 1, 5, hour, minute), week * 7);
}

// A Sunday evening after those Mondays.
const Date kSundayEvening = at("2026-03-01T19:00:00Z");

TEST(DepartureModel, HeaderExampleHolds) {
  const auto ledger = ledgerOf({monday(0, 8, 10), monday(1, 8, 20), monday(2, 8, 25), monday(3, 8, 30),
                                monday(4, 8, 40)});
  EXPECT_EQ(DepartureModel::predict(ledger, kMonday, kSundayEvening, berlin()), (Prediction{kMonday, 500, 5}));
  EXPECT_EQ(DepartureModel::nextDeparture(ledger, kSundayEvening, berlin()), at("2026-03-02T07:20:00Z"));
}

TEST(DepartureModel, AFourthMondayMakesAPrediction) {
  auto ledger = ledgerOf({monday(3, 8, 0), monday(4, 8, 0), monday(5, 8, 0)});
  EXPECT_EQ(DepartureModel::predict(ledger, kMonday, kSundayEvening, berlin()), std::nullopt);
  ledger.unplugs.push_back({monday(6, 8, 0), false});
  EXPECT_EQ(DepartureModel::predict(ledger, kMonday, kSundayEvening, berlin()), (Prediction{kMonday, 480, 4}));
}

TEST(DepartureModel, SamplesMoreThanFortyFiveMinutesApartAreNotUsual) {
  struct Case {
    std::vector<int> minutes;
    bool predicted;
  };
  const Case cases[] = {
      {{hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 45)}, true},
      {{hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 46)}, false},
      {{hm(8, 46), hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 12)}, false},
      {{hm(7, 30), hm(7, 30), hm(7, 30), hm(7, 30)}, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DepartureModel::prediction(kMonday, c.minutes).has_value(), c.predicted)
        << "first sample " << c.minutes.front();
  }
}

TEST(DepartureModel, PredictionIsTheLowerQuartileByTruncation) {
  struct Case {
    std::vector<int> minutes;  // in any order
    int expected;
  };
  const Case cases[] = {
      {{hm(8, 40), hm(8, 10), hm(8, 30), hm(8, 20), hm(8, 25)}, hm(8, 20)},  // n = 5: index 1
      {{hm(8, 3), hm(8, 1), hm(8, 2), hm(8, 4)}, hm(8, 1)},                   // n = 4: index 0
      {{1, 2, 3, 4, 5, 6, 7, 8}, 2},                                           // n = 8: index 1
      {{1, 2, 3, 4, 5, 6, 7, 8, 9}, 3},                                        // n = 9: index 2
      {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, 4},                       // n = 13: index 3
  };
  for (const auto& c : cases) {
    const auto p = DepartureModel::prediction(kMonday, c.minutes);
    ASSERT_TRUE(p.has_value());
    EXPECT_EQ(p->minuteOfDay, c.expected) << c.minutes.size() << " samples";
    EXPECT_EQ(p->basedOn, static_cast<int>(c.minutes.size()));
    EXPECT_EQ(p->weekday, kMonday);
  }
}

TEST(DepartureModel, UnplugsBeforeFiveInTheMorningAreNotDepartures) {
  const auto ledger = ledgerOf({monday(6, 4, 59), monday(7, 5, 0)});
  EXPECT_EQ(DepartureModel::samples(ledger, kMonday, kSundayEvening, berlin()), (std::vector<int>{hm(5, 0)}));
}

TEST(DepartureModel, OnlyTheEarliestUnplugOfADayIsASample) {
  struct Case {
    std::string name;
    std::vector<Date> unplugs;  // in ledger order
  };
  const Case cases[] = {
      {"later one recorded after", {monday(7, 7, 50), monday(7, 12, 30)}},
      {"earlier one found later in the list", {monday(7, 12, 30), monday(7, 7, 50)}},
      {"a night-time one before it", {monday(7, 3, 10), monday(7, 7, 50), monday(7, 9, 0)}},
  };
  for (const auto& c : cases) {
    DepartureLedger ledger;
    for (const Date moment : c.unplugs) ledger.unplugs.push_back({moment, true});
    EXPECT_EQ(DepartureModel::samples(ledger, kMonday, kSundayEvening, berlin()), (std::vector<int>{hm(7, 50)}))
        << c.name;
  }
}

TEST(DepartureModel, OnlyTheLastFiftySixDaysCount) {
  const Date now = at("2026-03-02T12:00:00Z");
  struct Case {
    Date unplug;
    bool counted;
  };
  const Case cases[] = {
      {now - DepartureModel::window, true},  // exactly 56 days
      {now - DepartureModel::window - 1s, false},
      {now - std::chrono::hours{24 * 57}, false},
      {now - 1h, true},
      {now + 1h, false},  // not yet
  };
  for (const auto& c : cases) {
    const int weekday = berlin().weekday(c.unplug);
    const auto samples = DepartureModel::samples(ledgerOf({c.unplug}), weekday, now, berlin());
    EXPECT_EQ(samples.size(), c.counted ? 1u : 0u) << toIso8601(c.unplug);
  }
}

TEST(DepartureModel, SamplesAreLocalClockTimesAcrossDaylightSavingChanges) {
  // Four Mondays at 08:20 in Berlin, two in winter time and two in summer time.
  const auto ledger = ledgerOf({local(berlin(), 2026, 3, 16, 8, 20), local(berlin(), 2026, 3, 23, 8, 20),
                                local(berlin(), 2026, 3, 30, 8, 20), local(berlin(), 2026, 4, 6, 8, 20)});
  const Date now = at("2026-04-07T12:00:00Z");
  EXPECT_EQ(DepartureModel::samples(ledger, kMonday, now, berlin()), (std::vector<int>(4, hm(8, 20))));
  EXPECT_EQ(DepartureModel::predict(ledger, kMonday, now, berlin()), (Prediction{kMonday, hm(8, 20), 4}));
}

TEST(DepartureModel, EightWeeksOfWeekdaysPredictMondayToFridayOnly) {
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  const auto predictions = DepartureModel::predictions(ledger, kSundayEvening, berlin());
  std::vector<Prediction> expected;
  for (int weekday = kMonday; weekday < kSaturday; ++weekday) expected.push_back({weekday, hm(8, 20), 8});
  EXPECT_EQ(predictions, expected);
}

TEST(DepartureModel, LearnedListsEveryWeekdayWithTheLedgersSpan) {
  auto ledger = testing::eightWeeksOfWeekdays(berlin());
  // The oldest unplug counts for the span even though it is too old to be a sample.
  ledger.unplugs.insert(ledger.unplugs.begin(), {local(berlin(), 2025, 12, 1, 7, 0), true});
  const auto days = DepartureModel::learned(ledger, kSundayEvening, berlin());
  ASSERT_EQ(days.size(), 7u);
  for (int weekday = kSunday; weekday <= kSaturday; ++weekday) {
    const auto& day = days[static_cast<std::size_t>(weekday - 1)];
    EXPECT_EQ(day.weekday, weekday);
    EXPECT_EQ(day.spanDays, 90);  // 2025-12-01 to 2026-03-01
    const bool workday = weekday != kSunday && weekday != kSaturday;
    EXPECT_EQ(day.minutes.size(), workday ? 8u : 0u) << weekday;
    EXPECT_EQ(day.prediction.has_value(), workday) << weekday;
    EXPECT_TRUE(std::is_sorted(day.minutes.begin(), day.minutes.end()));
  }
  EXPECT_EQ(days[1].minutes, (std::vector<int>{498, 500, 501, 503, 504, 505, 508, 510}));
}

TEST(DepartureModel, EmptyLedgerLearnsNothing) {
  const auto days = DepartureModel::learned(DepartureLedger{}, kSundayEvening, berlin());
  ASSERT_EQ(days.size(), 7u);
  for (const auto& day : days) {
    EXPECT_TRUE(day.minutes.empty());
    EXPECT_EQ(day.spanDays, 0);
    EXPECT_FALSE(day.prediction.has_value());
  }
  EXPECT_EQ(DepartureModel::nextDeparture(DepartureLedger{}, kSundayEvening, berlin()), std::nullopt);
}

TEST(DepartureModel, NextDepartureAcrossTheWeek) {
  const std::vector<Prediction> mondayAndWednesday{{kMonday, hm(8, 20), 8}, {kWednesday, hm(9, 0), 8}};
  const std::vector<Prediction> mondayOnly{{kMonday, hm(8, 20), 8}};
  struct Case {
    std::string name;
    const std::vector<Prediction>* predictions;
    Date now;
    std::optional<Date> expected;
  };
  const Case cases[] = {
      {"Monday morning, before it", &mondayAndWednesday, local(berlin(), 2026, 3, 2, 7, 0),
       local(berlin(), 2026, 3, 2, 8, 20)},
      {"Monday at the very minute", &mondayAndWednesday, local(berlin(), 2026, 3, 2, 8, 20),
       local(berlin(), 2026, 3, 2, 8, 20)},
      {"Monday after it: Wednesday", &mondayAndWednesday, local(berlin(), 2026, 3, 2, 9, 0),
       local(berlin(), 2026, 3, 4, 9, 0)},
      {"Thursday: next Monday", &mondayAndWednesday, local(berlin(), 2026, 3, 5, 12, 0),
       local(berlin(), 2026, 3, 9, 8, 20)},
      {"Monday after it, Mondays only: a week on", &mondayOnly, local(berlin(), 2026, 3, 2, 9, 0),
       local(berlin(), 2026, 3, 9, 8, 20)},
      {"Sunday late evening", &mondayOnly, local(berlin(), 2026, 3, 1, 23, 59), local(berlin(), 2026, 3, 2, 8, 20)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DepartureModel::nextDeparture(*c.predictions, c.now, berlin()), c.expected) << c.name;
  }
  EXPECT_EQ(DepartureModel::nextDeparture(std::vector<Prediction>{}, kSundayEvening, berlin()), std::nullopt);
}

TEST(DepartureModel, NextDepartureAcrossDaylightSavingChanges) {
  const auto newYork = Calendar::gregorian("America/New_York");
  struct Case {
    std::string name;
    const Calendar* calendar;
    Prediction prediction;
    Date now;
    Date expected;
  };
  const Case cases[] = {
      // Berlin springs forward at 02:00 on Sunday 2026-03-29: 02:30 does not exist that night.
      {"Berlin, 02:30 on the spring-forward night", &berlin(), {kSunday, hm(2, 30), 4},
       at("2026-03-28T11:00:00Z"), at("2026-03-29T01:00:00Z")},  // 03:00 summer time
      {"Berlin, Monday after the spring change", &berlin(), {kMonday, hm(8, 20), 4}, at("2026-03-29T08:00:00Z"),
       at("2026-03-30T06:20:00Z")},
      // Berlin falls back at 03:00 on Sunday 2026-10-25: 02:30 happens twice.
      {"Berlin, 02:30 on the fall-back night", &berlin(), {kSunday, hm(2, 30), 4}, at("2026-10-24T11:00:00Z"),
       at("2026-10-25T00:30:00Z")},  // the first 02:30, still summer time
      {"Berlin, Monday after the autumn change", &berlin(), {kMonday, hm(8, 20), 4}, at("2026-10-25T08:00:00Z"),
       at("2026-10-26T07:20:00Z")},
      {"New York, 02:15 on 2011-03-13", &newYork, {kSunday, hm(2, 15), 4}, at("2011-03-12T17:00:00Z"),
       at("2011-03-13T07:00:00Z")},  // 03:00 EDT
  };
  for (const auto& c : cases) {
    const std::vector<Prediction> predictions{c.prediction};
    EXPECT_EQ(DepartureModel::nextDeparture(predictions, c.now, *c.calendar), c.expected) << c.name;
  }
}

TEST(DepartureModel, NextDepartureFromTheLedgerAfterTheSpringChange) {
  // Eight weeks of Monday 08:20 unplugs in winter time; the first Monday in
  // summer time still expects 08:20 on the clock.
  DepartureLedger ledger;
  for (int week = 0; week < 8; ++week) {
    ledger.unplugs.push_back({berlin().addingDays(local(berlin(), 2026, 2, 2, 8, 20), week * 7), false});
  }
  const Date sundayAfterChange = at("2026-03-29T18:00:00Z");
  EXPECT_EQ(DepartureModel::nextDeparture(ledger, sundayAfterChange, berlin()), at("2026-03-30T06:20:00Z"));
}

}  // namespace
}  // namespace batterycore
