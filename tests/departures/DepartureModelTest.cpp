// Learning when the Mac leaves: the ledger of unplugs, the usual time of each
// weekday drawn from it, the next departure on the local clock, and the
// departure records as stored.
#include "BatteryCore/departures/CalendarTrigger.hpp"
#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/departures/SmartTopUp.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using Prediction = DepartureModel::Prediction;
using testing::at;
using testing::berlin;
using testing::ledgerOf;
using testing::local;
using testing::reading;
using namespace std::chrono_literals;

constexpr int kSunday = 1;
constexpr int kMonday = 2;
constexpr int kWednesday = 4;
constexpr int kSaturday = 7;

int hm(int hour, int minute) { return hour * 60 + minute; }

// Mondays of early 2026 in Berlin, at a local clock time.
Date monday(int week, int hour, int minute) {
  return berlin().addingDays(local(berlin(), 2026, 1, 5, hour, minute), week * 7);
}

TEST(DepartureLedger, RecordsEachUnplugAndWhetherItFollowedASleep) {
  const Date now = at("2026-03-02T08:01:00Z");
  struct Case {
    const char* name;
    std::optional<bool> previousPlugged;  // absent: the first tick after launch
    bool currentPlugged;
    std::optional<Seconds> gap;     // since the tick before; absent: none known
    std::optional<bool> afterWake;  // absent: nothing recorded
  };
  const Case cases[] = {
      {"first tick after launch", std::nullopt, false, 60s, std::nullopt},
      {"unplugged a minute after the tick before", true, false, 60s, false},
      {"stays unplugged", false, false, 60s, std::nullopt},
      {"plugged in", false, true, 60s, std::nullopt},
      {"stays plugged in", true, true, 60s, std::nullopt},
      {"90 s gap is still awake", true, false, 90s, false},
      {"91 s gap", true, false, 91s, true},
      {"no tick time", true, false, std::nullopt, true},
  };
  for (const auto& c : cases) {
    const auto previous = c.previousPlugged ? std::optional(reading(80, *c.previousPlugged, now - 60s)) : std::nullopt;
    const auto lastTick = c.gap ? std::optional<Date>(now - *c.gap) : std::nullopt;
    const auto ledger = DepartureLedger::step({}, previous, reading(80, c.currentPlugged, now), lastTick, now);
    using Unplugs = std::vector<DepartureLedger::Unplug>;
    EXPECT_EQ(ledger.unplugs, (c.afterWake ? Unplugs{{now, *c.afterWake}} : Unplugs{})) << c.name;
  }
}

TEST(DepartureLedger, KeepsEveryEdgeUpToTheLatestFourHundred) {
  // Two edges at each moment, both recorded: a run resumed after a restart
  // must not hand the same edge in again.
  DepartureLedger ledger;
  const Date start = at("2026-01-01T08:00:00Z");
  for (int i = 0; i < 401; ++i) {
    const Date now = start + std::chrono::hours{i / 2};
    ledger = DepartureLedger::step(ledger, reading(80, true, now - 30s), reading(80, false, now), now - 30s, now);
  }
  ASSERT_EQ(ledger.unplugs.size(), 400u);
  EXPECT_EQ(ledger.unplugs[0].at, start);
  EXPECT_EQ(ledger.unplugs[1].at, start + 1h);
  EXPECT_EQ(ledger.unplugs.back().at, start + 200h);
}

TEST(DepartureModel, PredictsTheLowerQuartileOfAtLeastFourDaysWithin45Minutes) {
  struct Case { std::vector<int> minutes; std::optional<int> usual; };
  const Case cases[] = {
      {{hm(8, 0), hm(8, 0), hm(8, 0)}, std::nullopt},  // three days are not enough
      {{hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 45)}, hm(8, 0)},
      {{hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 46)}, std::nullopt},
      {{hm(8, 46), hm(8, 0), hm(8, 10), hm(8, 20), hm(8, 12)}, std::nullopt},
      {{hm(8, 40), hm(8, 10), hm(8, 30), hm(8, 20), hm(8, 25)}, hm(8, 20)},  // n = 5: index 1 of the sorted
      {{1, 2, 3, 4, 5, 6, 7, 8}, 2}, {{1, 2, 3, 4, 5, 6, 7, 8, 9}, 3}, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}, 4},
  };
  for (const auto& c : cases) {
    const auto n = static_cast<int>(c.minutes.size());
    EXPECT_EQ(DepartureModel::prediction(kMonday, c.minutes),
              c.usual ? std::optional(Prediction{kMonday, *c.usual, n}) : std::nullopt)
        << ::testing::PrintToString(c.minutes);
  }
}

TEST(DepartureModel, SamplesAreEachDaysFirstUnplugFromFiveOnInTheLastFiftySixDays) {
  const Date now = at("2026-03-02T12:00:00Z");
  struct Case {
    const char* name;
    std::vector<Date> unplugs;  // in ledger order
    std::vector<int> samples;   // on the weekday of the last
  };
  const Case cases[] = {
      {"04:59 is not a departure, 05:00 is", {monday(6, 4, 59), monday(7, 5, 0)}, {hm(5, 0)}},
      {"a later one recorded after", {monday(7, 7, 50), monday(7, 12, 30)}, {hm(7, 50)}},
      {"the earlier one found later in the list", {monday(7, 12, 30), monday(7, 7, 50)}, {hm(7, 50)}},
      {"a night-time one before it", {monday(7, 3, 10), monday(7, 7, 50), monday(7, 9, 0)}, {hm(7, 50)}},
      {"exactly 56 days ago", {now - DepartureModel::window}, {hm(13, 0)}},
      {"a second more", {now - DepartureModel::window - 1s}, {}},
      {"not yet", {now + 1h}, {}},
  };
  for (const auto& c : cases) {
    DepartureLedger ledger;
    for (const Date moment : c.unplugs) ledger.unplugs.push_back({moment, true});
    EXPECT_EQ(DepartureModel::samples(ledger, berlin().weekday(c.unplugs.back()), now, berlin()), c.samples)
        << c.name;
  }
  EXPECT_EQ(DepartureModel::samples(ledgerOf({now - 1h}), 8, now, berlin()), std::vector<int>{});

  // Four Mondays at 08:20, two in winter time and two in summer time.
  const auto acrossTheChange = ledgerOf({local(berlin(), 2026, 3, 16, 8, 20), local(berlin(), 2026, 3, 23, 8, 20),
                                         local(berlin(), 2026, 3, 30, 8, 20), local(berlin(), 2026, 4, 6, 8, 20)});
  EXPECT_EQ(DepartureModel::predict(acrossTheChange, kMonday, at("2026-04-07T12:00:00Z"), berlin()),
            (Prediction{kMonday, hm(8, 20), 4}));
}

TEST(DepartureModel, EightWeeksOfWeekdaysTeachMondayToFriday) {
  const Date sundayEvening = at("2026-03-01T19:00:00Z");
  auto ledger = testing::eightWeeksOfWeekdays();
  // The oldest unplug counts for the span even though it is too old to be a sample.
  ledger.unplugs.insert(ledger.unplugs.begin(), {local(berlin(), 2025, 12, 1, 7, 0), true});
  const auto days = DepartureModel::learned(ledger, sundayEvening, berlin());
  ASSERT_EQ(days.size(), 7u);
  for (int weekday = kSunday; weekday <= kSaturday; ++weekday) {
    const auto& day = days[static_cast<std::size_t>(weekday - 1)];
    const bool workday = weekday != kSunday && weekday != kSaturday;
    EXPECT_EQ(day.weekday, weekday);
    EXPECT_EQ(day.spanDays, 90);  // 2025-12-01 to 2026-03-01
    EXPECT_EQ(day.minutes.size(), workday ? 8u : 0u) << weekday;
    EXPECT_EQ(day.prediction, workday ? std::optional(Prediction{weekday, hm(8, 20), 8}) : std::nullopt) << weekday;
  }
  EXPECT_EQ(days[1].minutes, (std::vector<int>{498, 500, 501, 503, 504, 505, 508, 510}));
  EXPECT_EQ(DepartureModel::nextDeparture(ledger, sundayEvening, berlin()), at("2026-03-02T07:20:00Z"));

  for (const auto& day : DepartureModel::learned(DepartureLedger{}, sundayEvening, berlin())) {
    EXPECT_EQ(day, (DepartureModel::Day{day.weekday, {}, 0, std::nullopt}));
  }
  EXPECT_EQ(DepartureModel::nextDeparture(DepartureLedger{}, sundayEvening, berlin()), std::nullopt);
}

TEST(DepartureModel, NextDepartureOnTheLocalClock) {
  const auto newYork = Calendar::gregorian("America/New_York");
  const std::vector<Prediction> mondayAndWednesday{{kMonday, hm(8, 20), 8}, {kWednesday, hm(9, 0), 8}};
  const std::vector<Prediction> mondayOnly{{kMonday, hm(8, 20), 8}};
  const auto sunday = [](int minute) { return std::vector<Prediction>{{kSunday, minute, 4}}; };
  const auto march = [](int day, int hour, int minute) { return testing::march(day, hour, minute); };
  struct Case {
    const char* name;
    std::vector<Prediction> predictions;
    Date now;
    std::optional<Date> expected;
    const Calendar* calendar = &berlin();
  };
  const Case cases[] = {
      {"Monday morning, before it", mondayAndWednesday, march(2, 7, 0), march(2, 8, 20)},
      {"Monday at the very minute", mondayAndWednesday, march(2, 8, 20), march(2, 8, 20)},
      {"Monday after it: Wednesday", mondayAndWednesday, march(2, 9, 0), march(4, 9, 0)},
      {"Monday after it, Mondays only: a week on", mondayOnly, march(2, 9, 0), march(9, 8, 20)},
      {"nothing learned", {}, march(1, 23, 59), std::nullopt},
      // Berlin springs forward at 02:00 on Sunday 2026-03-29: 02:30 does not exist that night.
      {"Berlin, 02:30 on the spring-forward night", sunday(hm(2, 30)), at("2026-03-28T11:00:00Z"),
       at("2026-03-29T01:00:00Z")},  // 03:00 summer time
      {"Berlin, Monday after the spring change", mondayOnly, at("2026-03-29T08:00:00Z"), at("2026-03-30T06:20:00Z")},
      // Berlin falls back at 03:00 on Sunday 2026-10-25: 02:30 happens twice.
      {"Berlin, 02:30 on the fall-back night", sunday(hm(2, 30)), at("2026-10-24T11:00:00Z"),
       at("2026-10-25T00:30:00Z")},  // the first 02:30, still summer time
      {"Berlin, Monday after the autumn change", mondayOnly, at("2026-10-25T08:00:00Z"), at("2026-10-26T07:20:00Z")},
      {"New York, 02:15 on 2011-03-13", sunday(hm(2, 15)), at("2011-03-12T17:00:00Z"), at("2011-03-13T07:00:00Z"),
       &newYork},  // 03:00 EDT
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DepartureModel::nextDeparture(c.predictions, c.now, *c.calendar), c.expected) << c.name;
  }
}

template <class Record>
void expectRoundTrip(const Record& record, const std::string& json) {
  EXPECT_EQ(record.toJson().dump(), json);
  EXPECT_EQ(Record::fromJson(Json::parse(json)), record) << json;
}

TEST(DepartureRecords, ReadBackWhatTheyWriteAndRefuseWhatIsBroken) {
  expectRoundTrip(ledgerOf({at("2026-03-02T07:20:00Z")}),
                  R"({"unplugs":[{"at":"2026-03-02T07:20:00Z","afterWake":false}]})");
  expectRoundTrip(SmartTopUp{"2026-03-02", "2026-03-03", {55, 61}},
                  R"({"lastStartedDay":"2026-03-02","skippedDay":"2026-03-03","topUpMinutes":[55,61]})");
  expectRoundTrip(SmartTopUp{}, R"({"topUpMinutes":[]})");
  expectRoundTrip(CalendarTrigger{}, R"({"handled":[],"skipped":[]})");
  CalendarTrigger trigger = CalendarTrigger::skip({}, "x@2026-03-02T10:00:00Z");
  trigger.handled = {"y@2026-03-02T11:00:00Z"};
  trigger.next = CalendarTrigger::Trip{"k@2026-03-03T07:00:00Z", "Flight", at("2026-03-03T07:00:00Z"), false, false};
  trigger.current = CalendarTrigger::Trip{"y@2026-03-02T11:00:00Z", "", at("2026-03-02T11:00:00Z"), true, true};
  trigger.lastRestored = CalendarTrigger::Restored{*trigger.current, 75, at("2026-03-02T12:00:00Z")};
  EXPECT_EQ(trigger.toJson()["next"].dump(),
            R"({"key":"k@2026-03-03T07:00:00Z","title":"Flight","start":"2026-03-03T07:00:00Z","allDay":false,)"
            R"("foundLate":false})");
  EXPECT_EQ(CalendarTrigger::fromJson(Json::parse(trigger.toJson().dump())), trigger);

  // Whatever is missing takes its default.
  EXPECT_EQ(DepartureLedger::fromJson(Json::object()), DepartureLedger{});
  EXPECT_EQ(SmartTopUp::fromJson(Json::object()), SmartTopUp{});
  EXPECT_EQ(CalendarTrigger::fromJson(Json::object()), CalendarTrigger{});
  EXPECT_EQ(CalendarTrigger::fromJson(Json::parse(R"({"next":{"key":"k","start":"2026-03-02T10:00:00Z"}})")).next,
            (CalendarTrigger::Trip{"k", "", at("2026-03-02T10:00:00Z"), false, false}));

  const std::function<void(const Json&)> ledger = DepartureLedger::fromJson, topUp = SmartTopUp::fromJson,
                                         calendar = CalendarTrigger::fromJson;
  const std::pair<const char*, std::function<void(const Json&)>> broken[] = {
      {R"({"unplugs":[{"at":"2026-03-02T07:20:00Z","afterWake":true},{"at":"2026-03-03T07:20:00Z"}]})", ledger},
      {R"({"unplugs":[{"at":"yesterday","afterWake":true}]})", ledger},
      {R"({"topUpMinutes":["long"]})", topUp},
      {R"([])", calendar},
      {R"({"handled":"k"})", calendar},
      {R"({"next":{"key":"k"}})", calendar},
      {R"({"lastRestored":{"limit":80,"at":"2026-03-02T10:00:00Z"}})", calendar},
  };
  for (const auto& [json, read] : broken) EXPECT_THROW(read(Json::parse(json)), DecodingError) << json;
}

}  // namespace
}  // namespace batterycore
