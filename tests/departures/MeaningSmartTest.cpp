#include "BatteryCore/text/MeaningSmart.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using Day = DepartureModel::Day;
using testing::at;
using testing::UsingLocale;
namespace Smart = Meaning::Smart;

#define REQUIRE_LOCALE(name) \
  if (!testing::hasLocaleData(name)) GTEST_SKIP() << "ICU has no data for " << (name)

constexpr int kSunday = 1;
constexpr int kMonday = 2;
constexpr int kTuesday = 3;
constexpr int kFriday = 6;
constexpr int kSaturday = 7;

int hm(int hour, int minute) { return hour * 60 + minute; }

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

// Eight days' samples whose lower quartile is `usual`, from usual - 2 to usual + 10.
std::vector<int> around(int usual) {
  return {usual - 2, usual, usual + 1, usual + 3, usual + 4, usual + 5, usual + 8, usual + 10};
}

// Monday to Friday usual at the given minutes; two Saturdays; five scattered Sundays.
std::vector<Day> mixedWeek(std::vector<int> weekdayUsual, int spanDays = 90) {
  std::vector<Day> learned;
  for (int i = 0; i < static_cast<int>(weekdayUsual.size()); ++i) {
    learned.push_back(day(kMonday + i, around(weekdayUsual[static_cast<std::size_t>(i)]), spanDays));
  }
  learned.push_back(day(kSaturday, {hm(11, 0), hm(11, 30)}, spanDays));
  learned.push_back(day(kSunday, {hm(9, 15), hm(10, 0), hm(11, 0), hm(14, 0), hm(16, 30)}, spanDays));
  return week(std::move(learned), spanDays);
}

const Calendar kSundayFirst = Calendar::gregorian("Europe/Berlin", "en_US");
const Calendar kMondayFirst = Calendar::gregorian("Europe/Berlin", "en_US", kMonday);

TEST(MeaningSmart, HeaderExampleHolds) {
  UsingLocale english("en_US");
  // Monday to Friday learned between 08:20 and 08:35, from eight days each.
  std::vector<Day> learned;
  const int usual[] = {hm(8, 20), hm(8, 25), hm(8, 30), hm(8, 35), hm(8, 35)};
  for (int i = 0; i < 5; ++i) learned.push_back(day(kMonday + i, around(usual[i]), 55));
  const auto days = week(learned, 55);

  EXPECT_EQ(Smart::learned(days, kSundayFirst, DetailLevel::simple), "Weekdays around 8:15 AM.");
  EXPECT_EQ(Smart::learned(days, kSundayFirst, DetailLevel::technical),
            "Mondays at 8:20 AM, from 8 days. Tuesdays at 8:25 AM, from 8 days. Wednesdays at 8:30 AM, from 8 days. "
            "Thursdays at 8:35 AM, from 8 days. Fridays at 8:35 AM, from 8 days. First unplug recorded 55 days ago.");
  EXPECT_EQ(Smart::quarterHour(488), 495);
  EXPECT_EQ(Smart::alert(at("2026-03-02T07:20:00Z"), kSundayFirst),
            (Meaning::Line{"Topping up before you leave",
                           "Your Mac usually leaves around 8:20 AM, so the battery is charging to 100%. The limit "
                           "comes back on when you unplug."}));
}

TEST(MeaningSmart, SimpleTimesAreRoundedToTheQuarterHour) {
  struct Case {
    int minuteOfDay;
    int rounded;
  };
  const Case cases[] = {
      {hm(8, 7), hm(8, 0)}, {hm(8, 8), hm(8, 15)},  // 7.5 minutes rounds up
      {hm(8, 20), hm(8, 15)}, {hm(8, 22), hm(8, 15)}, {hm(8, 23), hm(8, 30)},
      {0, 0},  {hm(23, 52), hm(23, 45)}, {hm(23, 53), 1440},
  };
  for (const auto& c : cases) EXPECT_EQ(Smart::quarterHour(c.minuteOfDay), c.rounded) << c.minuteOfDay;

  UsingLocale english("en_US");
  const auto days = week({day(kMonday, around(hm(8, 7))), day(kTuesday, around(hm(8, 8)))});
  EXPECT_EQ(Smart::learned(days, kSundayFirst, DetailLevel::simple), "Mondays around 8:00 AM, Tuesdays around 8:15 AM.");
}

TEST(MeaningSmart, WeekdaysGroupWhenTheirSpreadIsAtMostTwentyMinutes) {
  struct Case {
    std::string name;
    std::vector<int> usual;  // Monday onwards
    bool grouped;
  };
  const Case cases[] = {
      {"all alike", {500, 500, 500, 500, 500}, true},
      {"20 minutes from first to last", {500, 510, 520, 505, 515}, true},
      {"21 minutes from first to last", {500, 510, 521, 505, 515}, false},
      // Each neighbour within 20 minutes, but the five spread over 40.
      {"a drift through the week", {500, 510, 520, 530, 540}, false},
      {"Friday not learned", {500, 500, 500, 500}, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Smart::groupsWeekdays(mixedWeek(c.usual)), c.grouped) << c.name;
  }
}

TEST(MeaningSmart, SimpleLearnedFollowsTheCalendarsWeek) {
  UsingLocale english("en_US");
  const auto days = mixedWeek({500, 505, 510, 500, 500});
  EXPECT_EQ(Smart::learned(days, kSundayFirst, DetailLevel::simple),
            "Sundays: no usual time yet. Weekdays around 8:15 AM, Saturdays: not enough days yet.");
  EXPECT_EQ(Smart::learned(days, kMondayFirst, DetailLevel::simple),
            "Weekdays around 8:15 AM, Saturdays: not enough days yet. Sundays: no usual time yet.");
}

TEST(MeaningSmart, SimpleLearnedNamesEachWeekdayWhenTheyDiffer) {
  UsingLocale english("en_US");
  const auto days = mixedWeek({hm(8, 20), hm(9, 20), hm(8, 20), hm(8, 20), hm(7, 50)});
  EXPECT_EQ(Smart::learned(days, kMondayFirst, DetailLevel::simple),
            "Mondays around 8:15 AM, Tuesdays around 9:15 AM, Wednesdays around 8:15 AM, Thursdays around 8:15 AM, "
            "Fridays around 7:45 AM, Saturdays: not enough days yet. Sundays: no usual time yet.");
}

TEST(MeaningSmart, TechnicalLearnedGivesExactTimesAndDayCounts) {
  UsingLocale english("en_US");
  const auto days = mixedWeek({hm(8, 20), hm(8, 21), hm(8, 22), hm(8, 23), hm(8, 24)});
  EXPECT_EQ(Smart::learned(days, kSundayFirst, DetailLevel::technical),
            "Sundays: 5 days, more than 45 min apart. Mondays at 8:20 AM, from 8 days. Tuesdays at 8:21 AM, from 8 "
            "days. Wednesdays at 8:22 AM, from 8 days. Thursdays at 8:23 AM, from 8 days. Fridays at 8:24 AM, from 8 "
            "days. Saturdays: 2 of 4 days needed. First unplug recorded 90 days ago.");

  struct Case {
    int spanDays;
    const char* firstDay;
  };
  const Case cases[] = {
      {0, "First unplug recorded today."},
      {1, "First unplug recorded yesterday."},
      {2, "First unplug recorded 2 days ago."},
  };
  for (const auto& c : cases) {
    const auto text = Smart::learned(week({day(kFriday, {hm(7, 0)}, c.spanDays)}, c.spanDays), kSundayFirst,
                                     DetailLevel::technical);
    EXPECT_EQ(text, std::string("Fridays: 1 of 4 days needed. ") + c.firstDay);
  }
}

TEST(MeaningSmart, NothingLearnedAtEitherLevel) {
  UsingLocale english("en_US");
  const auto empty = week({});
  for (const auto level : kAllDetailLevels) {
    EXPECT_EQ(Smart::learned(empty, kSundayFirst, level),
              "Nothing learned yet. It takes about 4 weeks of unplugging at similar times.");
  }
}

TEST(MeaningSmart, OfferTellsTheUsualTime) {
  UsingLocale english("en_US");
  const auto grouped = mixedWeek({500, 505, 510, 500, 500});
  const auto apart = mixedWeek({hm(8, 20), hm(9, 20), hm(8, 20), hm(8, 20), hm(7, 50)});
  const std::string simpleCan = "Kestrin can top the battery up to 100% just before, then put the limit back.";
  const std::string technicalCan = "Kestrin can run a full charge timed to finish just before, then restore the limit.";
  struct Case {
    std::string name;
    const std::vector<Day>* days;
    int weekday;
    DetailLevel level;
    std::optional<std::string> detail;
  };
  const Case cases[] = {
      {"grouped, simple", &grouped, kTuesday, DetailLevel::simple,
       "You usually unplug around 8:15 AM on weekdays. " + simpleCan},
      {"grouped, technical", &grouped, kTuesday, DetailLevel::technical,
       "Unplug times on Mondays to Fridays fall between 8:18 AM and 8:40 AM. " + technicalCan},
      {"one day, simple", &apart, kTuesday, DetailLevel::simple,
       "You usually unplug around 9:15 AM on Tuesdays. " + simpleCan},
      {"one day, technical", &apart, kTuesday, DetailLevel::technical,
       "Unplug times on Tuesdays fall between 9:18 AM and 9:30 AM. " + technicalCan},
      {"no usual time on Sundays", &grouped, kSunday, DetailLevel::simple, std::nullopt},
      {"not enough Saturdays", &grouped, kSaturday, DetailLevel::technical, std::nullopt},
  };
  for (const auto& c : cases) {
    const auto line = Smart::offer(*c.days, c.weekday, c.level);
    ASSERT_EQ(line.has_value(), c.detail.has_value()) << c.name;
    if (!line) continue;
    EXPECT_EQ(line->title, "Charge to 100% before you leave?") << c.name;
    EXPECT_EQ(line->detail, *c.detail) << c.name;
  }
}

TEST(MeaningSmart, GermanWeekdaysStartingATextAreCapitalised) {
  REQUIRE_LOCALE("de_DE");
  UsingLocale german("de_DE");
  const auto berlin = Calendar::gregorian("Europe/Berlin", "de_DE");
  ASSERT_EQ(berlin.firstWeekday(), kMonday);
  const auto apart = mixedWeek({hm(8, 20), hm(9, 20), hm(8, 20), hm(8, 20), hm(7, 50)});
  EXPECT_EQ(Smart::learned(apart, berlin, DetailLevel::simple),
            "Montags gegen 08:15, Dienstags gegen 09:15, Mittwochs gegen 08:15, Donnerstags gegen 08:15, "
            "Freitags gegen 07:45, Samstags: noch nicht genug Tage. Sonntags: noch keine übliche Zeit.");
  EXPECT_EQ(Smart::learned(mixedWeek({500, 505, 510, 500, 500}), berlin, DetailLevel::simple),
            "Werktags gegen 08:15, Samstags: noch nicht genug Tage. Sonntags: noch keine übliche Zeit.");
  // Inside a sentence the adverb stays in lower case.
  const auto offer = Smart::offer(apart, kTuesday, DetailLevel::simple);
  ASSERT_TRUE(offer.has_value());
  EXPECT_EQ(offer->title, "Vor dem Aufbruch auf 100\u00A0% laden?");
  EXPECT_EQ(offer->detail,
            "Du trennst deinen Mac dienstags meist gegen 09:15 vom Strom. Kestrin kann die Batterie kurz davor auf "
            "100\u00A0% laden und danach das Limit wieder einschalten.");
}

TEST(MeaningSmart, EnglishFallbacksInsideAnotherLanguageKeepOneFullStop) {
  REQUIRE_LOCALE("ja_JP");
  UsingLocale japanese("ja_JP");  // its table has the list words but no texts of its own here
  const auto text = Smart::learned(mixedWeek({hm(8, 20), hm(9, 20), hm(8, 20), hm(8, 20), hm(7, 50)}), kSundayFirst,
                                   DetailLevel::simple);
  EXPECT_EQ(text.find(".\u3001"), std::string::npos) << text;  // "." then "、"
  EXPECT_EQ(text.find(".\u3002"), std::string::npos) << text;  // "." then "。"
}

TEST(MeaningSmart, PlansCardTexts) {
  UsingLocale english("en_US");
  const Date departure = at("2026-03-02T07:20:00Z");  // 08:20 in Berlin
  EXPECT_EQ(Smart::plansNext(departure, 90, kSundayFirst, DetailLevel::simple),
            "Tops up to 100% before you leave at 8:20 AM.");
  EXPECT_EQ(Smart::plansNext(departure, 90, kSundayFirst, DetailLevel::technical),
            "Top-up starts around 6:50 AM for the 8:20 AM departure.");
  EXPECT_EQ(Smart::plansWindow(departure, false, kSundayFirst, DetailLevel::simple),
            "Plug in and it tops up to 100% for your 8:20 AM departure.");
  EXPECT_EQ(Smart::plansWindow(departure, true, kSundayFirst, DetailLevel::simple),
            "The top-up for your 8:20 AM departure starts in a moment.");
  for (const bool plugged : {false, true}) {
    EXPECT_EQ(Smart::plansWindow(departure, plugged, kSundayFirst, DetailLevel::technical),
              "Top-up window open for the 8:20 AM departure. It starts on the next check while plugged in.");
  }
  for (const auto level : kAllDetailLevels) {
    EXPECT_EQ(Smart::plansSkipped(level), "Not today, as you asked. Back for your next usual departure.");
    EXPECT_EQ(Smart::plansRestored(80, level), "Topped up before you left. The limit is back at 80%.");
  }
  EXPECT_EQ(Smart::notToday(), "Not today");
}

// Plain texts read the same from the English table and from the defaults in
// the code (a language without a table falls back to them).
TEST(MeaningSmart, SettingsTextsMatchTheEnglishTable) {
  REQUIRE_LOCALE("fr_FR");
  struct Case {
    const char* english;
    std::function<std::string()> text;
  };
  const Case cases[] = {
      {"Before you usually leave", Smart::header},
      {"Charge to 100% before I usually unplug", Smart::toggle},
      {"Kestrin learns the times you unplug on each weekday and tops the battery up just before. The limit comes "
       "back on when you unplug. Nothing leaves your Mac.",
       Smart::toggleDetail},
      {"Charge to 100% before you leave?", Smart::offerTitle},
      {"Turn on", Smart::turnOn},
      {"Not now", Smart::notNow},
      {"Nothing learned yet. It takes about 4 weeks of unplugging at similar times.", Smart::nothingLearned},
      {"Forget what it learned", Smart::forget},
      {"Forget the unplug times", Smart::forgetQuestion},
      {"It starts over and needs about 4 weeks again.", Smart::forgetDetail},
      {"Forget", Smart::forgetConfirm},
      {"Not today", Smart::notToday},
      {"Not today, as you asked. Back for your next usual departure.",
       [] { return Smart::plansSkipped(DetailLevel::simple); }},
  };
  for (const auto& c : cases) {
    {
      UsingLocale english("en_US");
      EXPECT_EQ(c.text(), c.english);
    }
    UsingLocale noTable("fr_FR");
    EXPECT_EQ(c.text(), c.english) << "default in the code";
  }
}

}  // namespace
}  // namespace batterycore
