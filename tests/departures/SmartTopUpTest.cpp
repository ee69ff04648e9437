// The top-up before a learned departure: when it starts, how long a lead it
// takes, and how the settings, the plans card and the alert tell of it. The
// texts for a whole learned week come from the sample ledger in the
// departures command's test.
#include "BatteryCore/departures/SmartTopUp.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using Day = DepartureModel::Day;
using testing::berlin;
using testing::march;
using testing::reading;
using testing::UsingLocale;
using namespace std::chrono_literals;
namespace Smart = Meaning::Smart;

constexpr int kSunday = 1;
constexpr int kMonday = 2;
constexpr int kTuesday = 3;
constexpr int kFriday = 6;
constexpr int kSaturday = 7;

int hm(int hour, int minute) { return hour * 60 + minute; }

SmartTopUp withDurations(std::vector<int> minutes) { return {std::nullopt, std::nullopt, std::move(minutes)}; }

TEST(SmartTopUp, LeadIsTheClampedMedianOfTheLastTenTopUps) {
  struct Case { std::vector<int> minutes; int lead; };
  const Case cases[] = {
      {{}, 90}, {{200, 200}, 90},  // fewer than three: the default
      {{30, 40, 50}, 45}, {{200, 300, 400}, 180},  // clamped
      {{80, 50, 70}, 70}, {{100, 120, 150, 400}, 135},
      {{60, 71, 62, 90}, 66},  // (62 + 71) / 2 = 66.5, truncated
  };
  for (const auto& c : cases) EXPECT_EQ(withDurations(c.minutes).lead(), c.lead) << ::testing::PrintToString(c.minutes);
  SmartTopUp state;
  for (int minutes = 1; minutes <= 11; ++minutes) state = SmartTopUp::reachedFull(state, minutes);
  EXPECT_EQ(state.topUpMinutes, (std::vector<int>{2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(SmartTopUp, StartsOnceADayBetweenTheLeadAndTwentyMinutesBeforeTheDeparture) {
  const Date departure = march(2, 8, 20);
  struct Case {
    const char* name;
    Date now;
    bool starts;
    SmartTopUp state{};
    std::optional<Date> next = march(2, 8, 20);
    std::int64_t percent = 80;
    bool enabled = true;
    std::optional<int> canStart = 80;
  };
  const Case cases[] = {
      {"a second before the lead", departure - 90min - 1s, false},
      {"at the lead", departure - 90min, true},
      {"20 minutes left", departure - 20min, true},
      {"a second less", departure - 20min + 1s, false},
      {"a longer lead learned", departure - 130min, true, withDurations({120, 130, 140})},
      {"switched off", march(2, 7, 0), false, {}, departure, 80, false},
      {"no limit in force", march(2, 7, 0), false, {}, departure, 80, true, std::nullopt},
      {"already full", march(2, 7, 0), false, {}, departure, 100},
      {"at 99%", march(2, 7, 0), true, {}, departure, 99},
      {"started today", march(2, 7, 0), false, SmartTopUp::started({}, "2026-03-02")},
      {"skipped today", march(2, 7, 0), false, SmartTopUp::skip({}, "2026-03-02")},
      {"started and skipped yesterday", march(2, 7, 0), true,
       SmartTopUp::skip(SmartTopUp::started({}, "2026-03-01"), "2026-03-01")},
      {"no departure expected", march(2, 7, 0), false, {}, std::nullopt},
      {"departure tomorrow at 00:30, now 23:30", march(2, 23, 30), false, {}, march(3, 0, 30)},
      {"departure today at 23:59, now 23:30", march(2, 23, 30), true, {}, march(2, 23, 59)},
  };
  for (const auto& c : cases) {
    const auto start =
        SmartTopUp::decision(c.state, c.next, reading(c.percent, true, c.now), c.canStart, c.enabled, c.now, berlin());
    EXPECT_EQ(start.has_value(), c.starts) << c.name;
  }
}

TEST(SmartTopUp, StartsFromTheLearnedDepartureAndSaysWhenTheMacUsuallyLeaves) {
  UsingLocale english("en_US");
  const auto ledger = testing::eightWeeksOfWeekdays();
  const auto decide = [&](const SmartTopUp& state, Date now, bool pluggedIn = true) {
    return SmartTopUp::decision(state, ledger, reading(75, pluggedIn, now), 75, true, now, berlin());
  };
  const auto start = decide({}, march(2, 7, 0), /*pluggedIn=*/false);  // the session waits for the charger
  ASSERT_TRUE(start.has_value());
  FullChargeSession expected;
  expected.startedAt = march(2, 7, 0);
  expected.deadline = march(2, 9, 20);  // an hour after the departure
  expected.origin = FullChargeSession::Origin::smart(march(2, 8, 20));
  expected.restoreOnUnplug = true;
  expected.limit = 75;
  EXPECT_EQ(*start, (SmartTopUp::Start{march(2, 8, 20), expected}));
  EXPECT_EQ(SmartTopUp::alert(*start, berlin()),
            (BatteryAlert{BatteryAlert::Kind::smartFullCharge, march(2, 7, 0), "Topping up before you leave",
                          "Your Mac usually leaves around 8:20 AM, so the battery is charging to 100%. The limit "
                          "comes back on when you unplug.",
                          std::nullopt}));

  // Unplugged at 07:05 and back at 07:10: no second top-up that day.
  const SmartTopUp state = SmartTopUp::started({}, berlin().dayKey(march(2, 7, 0)));
  EXPECT_EQ(decide(state, march(2, 7, 10)), std::nullopt);
  EXPECT_TRUE(decide(state, march(3, 7, 0)).has_value());
}

// ---- How the settings tell what was learned ----

Day day(int weekday, std::vector<int> minutes, int spanDays = 90) {
  auto prediction = DepartureModel::prediction(weekday, minutes);
  return Day{weekday, std::move(minutes), spanDays, prediction};
}

// Seven days, Sunday first, with nothing learned unless given.
std::vector<Day> week(std::vector<Day> learned, int spanDays = 90) {
  std::vector<Day> days;
  for (int weekday = kSunday; weekday <= kSaturday; ++weekday) days.push_back(Day{weekday, {}, spanDays, {}});
  for (auto& d : learned) days[static_cast<std::size_t>(d.weekday - 1)] = std::move(d);
  return days;
}

// Eight days' samples whose lower quartile is `u`, from u - 2 to u + 10.
std::vector<int> around(int u) { return {u - 2, u, u + 1, u + 3, u + 4, u + 5, u + 8, u + 10}; }

// Monday to Friday usual at the given minutes; two Saturdays; five scattered Sundays.
std::vector<Day> mixedWeek(std::vector<int> weekdayUsual) {
  std::vector<Day> learned;
  for (std::size_t i = 0; i < weekdayUsual.size(); ++i) {
    learned.push_back(day(kMonday + static_cast<int>(i), around(weekdayUsual[i])));
  }
  learned.push_back(day(kSaturday, {hm(11, 0), hm(11, 30)}));
  learned.push_back(day(kSunday, {hm(9, 15), hm(10, 0), hm(11, 0), hm(14, 0), hm(16, 30)}));
  return week(std::move(learned));
}

const std::vector<int> kAlike{500, 505, 510, 500, 500};
const std::vector<int> kApart{hm(8, 20), hm(9, 20), hm(8, 20), hm(8, 20), hm(7, 50)};

TEST(SmartTexts, UsualTimesAreRoundedToTheQuarterHourAndWeekdaysGroupWithinTwentyMinutes) {
  struct Rounding { int minuteOfDay, rounded; };
  const Rounding roundings[] = {{hm(8, 7), hm(8, 0)},   {hm(8, 8), hm(8, 15)},  // 7.5 minutes rounds up
                                {hm(8, 22), hm(8, 15)}, {hm(8, 23), hm(8, 30)}, {0, 0},
                                {hm(23, 52), hm(23, 45)}, {hm(23, 53), 1440}};
  for (const auto& c : roundings) EXPECT_EQ(Smart::quarterHour(c.minuteOfDay), c.rounded) << c.minuteOfDay;

  struct Grouping { const char* name; std::vector<int> usual; bool grouped; };
  const Grouping groupings[] = {
      {"20 minutes from first to last", {500, 510, 520, 505, 515}, true},
      {"21 minutes from first to last", {500, 510, 521, 505, 515}, false},
      {"each neighbour within 20 minutes, all five over 40", {500, 510, 520, 530, 540}, false},
      {"Friday not learned", {500, 500, 500, 500}, false},
  };
  for (const auto& c : groupings) EXPECT_EQ(Smart::groupsWeekdays(mixedWeek(c.usual)), c.grouped) << c.name;
}

TEST(SmartTexts, LearnedTellsEachDayInTheCalendarsWeekOrder) {
  UsingLocale english("en_US");
  const Calendar mondayFirst = Calendar::gregorian("Europe/Berlin", "en_US", kMonday);
  struct Case { std::vector<Day> days; const Calendar* calendar; DetailLevel level; std::string text; };
  const Case cases[] = {
      {week({day(kMonday, around(hm(8, 7))), day(kTuesday, around(hm(8, 8)))}), &berlin(), DetailLevel::simple,
       "Mondays around 8:00 AM, Tuesdays around 8:15 AM."},
      {mixedWeek(kAlike), &mondayFirst, DetailLevel::simple,
       "Weekdays around 8:15 AM, Saturdays: not enough days yet. Sundays: no usual time yet."},
      {mixedWeek(kApart), &mondayFirst, DetailLevel::simple,
       "Mondays around 8:15 AM, Tuesdays around 9:15 AM, Wednesdays around 8:15 AM, Thursdays around 8:15 AM, "
       "Fridays around 7:45 AM, Saturdays: not enough days yet. Sundays: no usual time yet."},
      {week({day(kFriday, {hm(7, 0)}, 0)}, 0), &berlin(), DetailLevel::technical,
       "Fridays: 1 of 4 days needed. First unplug recorded today."},
      {week({day(kFriday, {hm(7, 0)}, 1)}, 1), &berlin(), DetailLevel::technical,
       "Fridays: 1 of 4 days needed. First unplug recorded yesterday."},
      {week({}), &berlin(), DetailLevel::technical,
       "Nothing learned yet. It takes about 4 weeks of unplugging at similar times."},
  };
  for (const auto& c : cases) EXPECT_EQ(Smart::learned(c.days, *c.calendar, c.level), c.text);
}

TEST(SmartTexts, OfferTellsTheUsualTime) {
  UsingLocale english("en_US");
  const auto alike = mixedWeek(kAlike);
  const auto apart = mixedWeek(kApart);
  const std::string simpleCan = " Kestrin can top the battery up to 100% just before, then put the limit back.";
  const std::string technicalCan =
      " Kestrin can run a full charge timed to finish just before, then restore the limit.";
  struct Case { const std::vector<Day>* days; int weekday; DetailLevel level; std::optional<std::string> detail; };
  const Case cases[] = {
      {&alike, kTuesday, DetailLevel::simple, "You usually unplug around 8:15 AM on weekdays." + simpleCan},
      {&alike, kTuesday, DetailLevel::technical,
       "Unplug times on Mondays to Fridays fall between 8:18 AM and 8:40 AM." + technicalCan},
      {&apart, kTuesday, DetailLevel::simple, "You usually unplug around 9:15 AM on Tuesdays." + simpleCan},
      {&apart, kTuesday, DetailLevel::technical,
       "Unplug times on Tuesdays fall between 9:18 AM and 9:30 AM." + technicalCan},
      {&alike, kSunday, DetailLevel::simple, std::nullopt},       // no usual time
      {&alike, kSaturday, DetailLevel::technical, std::nullopt},  // not enough days
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Smart::offer(*c.days, c.weekday, c.level),
              c.detail ? std::optional(Meaning::Line{"Charge to 100% before you leave?", *c.detail}) : std::nullopt);
  }
}

TEST(SmartTexts, GermanWeekdaysAreCapitalisedOnlyWhereTheyStartASentence) {
  REQUIRE_LOCALE("de_DE");
  UsingLocale german("de_DE");
  const auto apart = mixedWeek(kApart);
  EXPECT_EQ(Smart::learned(apart, Calendar::gregorian("Europe/Berlin", "de_DE"), DetailLevel::simple),
            "Montags gegen 08:15, Dienstags gegen 09:15, Mittwochs gegen 08:15, Donnerstags gegen 08:15, "
            "Freitags gegen 07:45, Samstags: noch nicht genug Tage. Sonntags: noch keine übliche Zeit.");
  EXPECT_EQ(Smart::offer(apart, kTuesday, DetailLevel::simple).value().detail,
            "Du trennst deinen Mac dienstags meist gegen 09:15 vom Strom. Kestrin kann die Batterie kurz davor auf "
            "100\u00A0% laden und danach das Limit wieder einschalten.");
}

TEST(SmartTexts, EnglishFallbacksInsideAnotherLanguageKeepOneFullStop) {
  REQUIRE_LOCALE("ja_JP");
  UsingLocale japanese("ja_JP");  // its table has the list words but no texts of its own here
  const auto text = Smart::learned(mixedWeek(kApart), berlin(), DetailLevel::simple);
  EXPECT_EQ(text.find(".\u3001"), std::string::npos) << text;  // "." then "、"
  EXPECT_EQ(text.find(".\u3002"), std::string::npos) << text;  // "." then "。"
}

TEST(SmartTexts, SettingsAndPlansCardTexts) {
  UsingLocale english("en_US");
  const Date departure = testing::at("2026-03-02T07:20:00Z");  // 08:20 in Berlin
  const auto window = [&](bool pluggedIn, DetailLevel level) {
    return [=] { return Smart::plansWindow(departure, pluggedIn, berlin(), level); };
  };
  const std::pair<std::function<std::string()>, const char*> cases[] = {
      {window(false, DetailLevel::simple), "Plug in and it tops up to 100% for your 8:20 AM departure."},
      {window(true, DetailLevel::simple), "The top-up for your 8:20 AM departure starts in a moment."},
      {window(true, DetailLevel::technical),
       "Top-up window open for the 8:20 AM departure. It starts on the next check while plugged in."},
      {[] { return Smart::plansSkipped(DetailLevel::simple); },
       "Not today, as you asked. Back for your next usual departure."},
      {[] { return Smart::plansRestored(75, DetailLevel::simple); },
       "Topped up before you left. The limit is back at 75%."},
      {Smart::toggle, "Charge to 100% before I usually unplug"},
      {Smart::toggleDetail,
       "Kestrin learns the times you unplug on each weekday and tops the battery up just before. The limit comes "
       "back on when you unplug. Nothing leaves your Mac."},
      {Smart::notToday, "Not today"}, {Smart::turnOn, "Turn on"}, {Smart::notNow, "Not now"},
      {Smart::forget, "Forget what it learned"}, {Smart::forgetQuestion, "Forget the unplug times"},
      {Smart::forgetDetail, "It starts over and needs about 4 weeks again."}, {Smart::forgetConfirm, "Forget"},
  };
  for (const auto& [text, english] : cases) EXPECT_EQ(text(), english);
}

}  // namespace
}  // namespace batterycore
