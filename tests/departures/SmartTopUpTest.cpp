#include "BatteryCore/departures/SmartTopUp.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::at;
using testing::local;
using testing::reading;
using namespace std::chrono_literals;

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin");
  return calendar;
}

// Monday 2026-03-02 in Berlin, the first weekday after eight learned weeks.
Date monday(int hour, int minute, int second = 0) {
  return *berlin().date(2026, 3, 2, hour, minute, second);
}

SmartTopUp withDurations(std::vector<int> minutes) { return SmartTopUp{std::nullopt, std::nullopt, std::move(minutes)}; }

TEST(SmartTopUp, HeaderExampleHolds) {
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  const SmartTopUp state;
  EXPECT_EQ(SmartTopUp::decision(state, ledger, reading(79, true, monday(6, 49)), 80, true, monday(6, 49), berlin()),
            std::nullopt);
  const auto start =
      SmartTopUp::decision(state, ledger, reading(79, true, monday(6, 50)), 80, true, monday(6, 50), berlin());
  ASSERT_TRUE(start.has_value());
  EXPECT_EQ(start->departure, monday(8, 20));
  EXPECT_EQ(start->session.origin, FullChargeSession::Origin::smart(monday(8, 20)));
  EXPECT_EQ(start->session.deadline, monday(9, 20));
  const auto after = SmartTopUp::started(state, "2026-03-02");
  EXPECT_EQ(after.lastStartedDay, "2026-03-02");
}

TEST(SmartTopUp, LeadIsTheClampedMedianOfRecentTopUps) {
  struct Case {
    std::vector<int> minutes;
    int lead;
  };
  const Case cases[] = {
      {{}, 90},
      {{200, 200}, 90},  // fewer than three: the default
      {{30, 40, 50}, 45},  // clamped up
      {{100, 120, 150, 400}, 135},  // even count: the middle two halved
      {{61, 70, 62, 90}, 66},  // (62 + 70) / 2
      {{60, 71, 62, 90}, 66},  // (62 + 71) / 2 = 66.5, truncated
      {{200, 300, 400}, 180},  // clamped down
      {{80, 50, 70}, 70},  // sorted first
  };
  for (const auto& c : cases) {
    EXPECT_EQ(withDurations(c.minutes).lead(), c.lead) << ::testing::PrintToString(c.minutes);
  }
}

TEST(SmartTopUp, KeepsTheLastTenDurations) {
  SmartTopUp state;
  for (int minutes = 1; minutes <= 11; ++minutes) state = SmartTopUp::reachedFull(state, minutes);
  EXPECT_EQ(state.topUpMinutes, (std::vector<int>{2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(SmartTopUp, StartedAndSkippedRememberTheirDay) {
  const auto started = SmartTopUp::started(SmartTopUp{}, "2026-03-02");
  EXPECT_EQ(started.lastStartedDay, "2026-03-02");
  EXPECT_EQ(started.skippedDay, std::nullopt);
  const auto skipped = SmartTopUp::skip(started, "2026-03-03");
  EXPECT_EQ(skipped.lastStartedDay, "2026-03-02");
  EXPECT_EQ(skipped.skippedDay, "2026-03-03");
}

TEST(SmartTopUp, StartsInTheWindowBeforeALearnedDeparture) {
  // Weekdays usually at 08:20, a lead of 90 minutes: 06:50 to 08:00.
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  struct Case {
    Date now;
    bool starts;
  };
  const Case cases[] = {
      {monday(6, 49, 59), false},
      {monday(6, 50), true},
      {monday(7, 3), true},  // the first tick after 06:50
      {monday(8, 0), true},  // exactly 20 minutes before
      {monday(8, 0, 1), false},
      {monday(8, 20), false},
      {monday(12, 0), false},  // the next departure is tomorrow
  };
  for (const auto& c : cases) {
    const auto start =
        SmartTopUp::decision(SmartTopUp{}, ledger, reading(80, true, c.now), 80, true, c.now, berlin());
    EXPECT_EQ(start.has_value(), c.starts) << toIso8601(c.now);
  }
}

TEST(SmartTopUp, StartBeginsASmartSessionThatEndsOnUnplug) {
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  const Date now = monday(7, 0);
  const auto start = SmartTopUp::decision(SmartTopUp{}, ledger, reading(75, false, now), 80, true, now, berlin());
  ASSERT_TRUE(start.has_value());  // unplugged: the session waits for the charger

  FullChargeSession expected;
  expected.startedAt = now;
  expected.deadline = at("2026-03-02T08:20:00Z");  // 09:20 local, an hour after the departure
  expected.origin = FullChargeSession::Origin::smart(at("2026-03-02T07:20:00Z"));
  expected.restoreOnUnplug = true;
  expected.restoreWhenFull = false;
  expected.limit = 80;
  expected.reachedFull = false;
  expected.restoreFailingSince = std::nullopt;
  expected.restoreAlertSent = false;
  EXPECT_EQ(*start, (SmartTopUp::Start{at("2026-03-02T07:20:00Z"), expected}));
}

TEST(SmartTopUp, EachTestOfTheDecisionCanRefuse) {
  // A departure at 08:20 today and 07:00 now: everything passes unless a case changes it.
  const Date departure = monday(8, 20);
  struct Case {
    std::string name;
    bool enabled = true;
    std::optional<int> canStart = 80;
    std::int64_t percent = 80;
    SmartTopUp state{};
    std::optional<Date> next = monday(8, 20);
    Date now = monday(7, 0);
    bool starts = false;
  };
  const Case cases[] = {
      {.name = "everything in place", .starts = true},
      {.name = "switched off", .enabled = false},
      {.name = "no limit in force", .canStart = std::nullopt},
      {.name = "already full", .percent = 100},
      {.name = "at 99%", .percent = 99, .starts = true},
      {.name = "started today", .state = SmartTopUp::started({}, "2026-03-02")},
      {.name = "skipped today", .state = SmartTopUp::skip({}, "2026-03-02")},
      {.name = "started and skipped yesterday",
       .state = SmartTopUp::skip(SmartTopUp::started({}, "2026-03-01"), "2026-03-01"),
       .starts = true},
      {.name = "no departure expected", .next = std::nullopt},
      {.name = "departure tomorrow at 00:30, now 23:30",
       .next = *berlin().date(2026, 3, 3, 0, 30),
       .now = *berlin().date(2026, 3, 2, 23, 30)},
      {.name = "departure today at 23:59, now 23:30", .next = *berlin().date(2026, 3, 2, 23, 59),
       .now = *berlin().date(2026, 3, 2, 23, 30), .starts = true},
      {.name = "before the lead", .now = departure - 91min},
      {.name = "at the lead", .now = departure - 90min, .starts = true},
      {.name = "a longer lead learned", .state = withDurations({120, 130, 140}), .now = departure - 130min,
       .starts = true},
      {.name = "less than 20 minutes left", .now = departure - 19min},
      {.name = "20 minutes left", .now = departure - 20min, .starts = true},
  };
  for (const auto& c : cases) {
    const auto start =
        SmartTopUp::decision(c.state, c.next, reading(c.percent, true, c.now), c.canStart, c.enabled, c.now, berlin());
    EXPECT_EQ(start.has_value(), c.starts) << c.name;
  }
}

TEST(SmartTopUp, OnlyOneTopUpADayEvenIfTheFirstEndedEarly) {
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  SmartTopUp state;
  const auto first = SmartTopUp::decision(state, ledger, reading(80, true, monday(6, 55)), 80, true, monday(6, 55),
                                          berlin());
  ASSERT_TRUE(first.has_value());
  state = SmartTopUp::started(state, berlin().dayKey(monday(6, 55)));
  // Unplugged at 07:05, back on the charger at 07:10.
  EXPECT_EQ(SmartTopUp::decision(state, ledger, reading(82, true, monday(7, 10)), 80, true, monday(7, 10), berlin()),
            std::nullopt);
  // Tuesday is a new day.
  const Date tuesday = *berlin().date(2026, 3, 3, 7, 0);
  EXPECT_TRUE(SmartTopUp::decision(state, ledger, reading(80, true, tuesday), 80, true, tuesday, berlin()));
}

TEST(SmartTopUp, AlertSaysWhenTheMacUsuallyLeaves) {
  testing::UsingLocale english("en_US");
  const auto ledger = testing::eightWeeksOfWeekdays(berlin());
  const auto start =
      SmartTopUp::decision(SmartTopUp{}, ledger, reading(80, true, monday(7, 0)), 80, true, monday(7, 0), berlin());
  ASSERT_TRUE(start.has_value());
  const auto alert = SmartTopUp::alert(*start, berlin());
  EXPECT_EQ(alert.kind, BatteryAlert::Kind::smartFullCharge);
  EXPECT_EQ(alert.at, monday(7, 0));
  EXPECT_EQ(alert.title, "Topping up before you leave");
  EXPECT_EQ(alert.body,
            "Your Mac usually leaves around 8:20 AM, so the battery is charging to 100%. "
            "The limit comes back on when you unplug.");
  EXPECT_EQ(alert.technicalBody, std::nullopt);
}

TEST(SmartTopUp, JsonLeavesOutAbsentDays) {
  struct Case {
    SmartTopUp state{};
    const char* json;
  };
  const Case cases[] = {
      {SmartTopUp{}, R"({"topUpMinutes":[]})"},
      {SmartTopUp{"2026-03-02", std::nullopt, {55, 61}}, R"({"lastStartedDay":"2026-03-02","topUpMinutes":[55,61]})"},
      {SmartTopUp{"2026-03-02", "2026-03-03", {}},
       R"({"lastStartedDay":"2026-03-02","skippedDay":"2026-03-03","topUpMinutes":[]})"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.state.toJson().dump(), c.json);
    EXPECT_EQ(SmartTopUp::fromJson(Json::parse(c.json)), c.state) << c.json;
  }
}

TEST(SmartTopUp, EveryKeyMayBeMissing) {
  EXPECT_EQ(SmartTopUp::fromJson(Json::object()), SmartTopUp{});
  EXPECT_EQ(SmartTopUp::fromJson(Json::parse(R"({"skippedDay":"2026-03-03"})")),
            (SmartTopUp{std::nullopt, "2026-03-03", {}}));
  EXPECT_THROW(SmartTopUp::fromJson(Json::parse(R"({"topUpMinutes":["long"]})")), DecodingError);
}

}  // namespace
}  // namespace batterycore
