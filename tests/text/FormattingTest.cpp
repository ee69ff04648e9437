#include "BatteryCore/text/Formatting.hpp"

#include "BatteryCore/text/Meaning.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include <unicode/locid.h>
#include "tests/common/UsingLocale.hpp"

namespace batterycore {
namespace {

using batterycore::testing::UsingLocale;

bool hasLocaleData(const char* name) {
  int32_t count = 0;
  const icu::Locale* available = icu::Locale::getAvailableLocales(count);
  for (int32_t i = 0; i < count; ++i) {
    if (std::string(available[i].getName()) == name) return true;
  }
  return false;
}

#define REQUIRE_LOCALE(name) \
  if (!hasLocaleData(name)) GTEST_SKIP() << "ICU has no data for " << (name)

Date local(const Calendar& calendar, int year, int month, int day, int hour, int minute) {
  return *calendar.date(year, month, day, hour, minute);
}

TEST(Formatting, HeaderExampleHolds) {
  UsingLocale english("en_US");
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  EXPECT_EQ(Formatting::duration(61), "1 h 1 min");
  EXPECT_EQ(Formatting::watts(-4.26), "4.3 W");
  EXPECT_EQ(Formatting::percent(80), "80%");
  EXPECT_EQ(Formatting::span(30), "about 2.5 years");
  EXPECT_EQ(Formatting::day(local(berlin, 2026, 3, 5, 9, 0), berlin), "2026-03-05");
  EXPECT_EQ(Formatting::time(450), "7:30 AM");
  EXPECT_EQ(Formatting::localeName(), "en_US");
}

TEST(Formatting, DurationInHoursAndMinutes) {
  UsingLocale english("en_US");
  const struct {
    int minutes;
    const char* text;
  } cases[] = {
      {-5, "0 min"}, {0, "0 min"},       {59, "59 min"}, {60, "1 h"},
      {61, "1 h 1 min"}, {119, "1 h 59 min"}, {120, "2 h"}, {1500, "25 h"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::duration(c.minutes), c.text) << c.minutes;
}

TEST(Formatting, ClockIsTheSameInEveryLanguage) {
  const struct {
    int minutes;
    const char* text;
  } cases[] = {{0, "0:00"}, {125, "2:05"}, {-5, "0:00"}, {1439, "23:59"}, {1500, "25:00"}};
  for (const char* locale : {"en_US", "de_DE", "ja_JP"}) {
    UsingLocale scope(locale);
    for (const auto& c : cases) EXPECT_EQ(Formatting::clock(c.minutes), c.text) << locale;
  }
}

TEST(Formatting, HoursRoundHalvesAwayFromZero) {
  const struct {
    int minutes;
    int hours;
  } cases[] = {{90, 2}, {89, 1}, {29, 0}, {30, 1}, {0, 0}, {-90, 0}, {150, 3}};
  for (const auto& c : cases) EXPECT_EQ(Formatting::hoursRounded(c.minutes), c.hours) << c.minutes;
}

TEST(Formatting, HoursUnderAnHourShowMinutes) {
  UsingLocale english("en_US");
  const struct {
    double hours;
    const char* text;
  } cases[] = {
      {0.004, "0 h"}, {0.01, "1 min"}, {0.5, "30 min"}, {0.99, "59 min"},
      {0.995, "1 h"}, {1.4, "1 h"},    {1.5, "2 h"},    {26.2, "26 h"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::hours(c.hours), c.text) << c.hours;
}

TEST(Formatting, SpanInMonthsThenYears) {
  UsingLocale english("en_US");
  const struct {
    double months;
    const char* text;
  } cases[] = {
      {23.4, "about 23 months"}, {23.5, "about 2 years"},  {24, "about 2 years"},
      {30, "about 2.5 years"},   {35, "about 2.9 years"},  {36, "about 3 years"},
      {5, "about 5 months"},     {0.2, "about 1 months"},  {0, "about 1 months"},
      {-7, "about 1 months"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::span(c.months), c.text) << c.months;
}

TEST(Formatting, DecimalHasFixedDigitsAndNoGrouping) {
  UsingLocale english("en_US");
  const struct {
    double value;
    int digits;
    const char* text;
  } cases[] = {
      {2.25, 1, "2.3"},     {2.24, 1, "2.2"}, {-2.25, 1, "-2.3"}, {3, 2, "3.00"},
      {1234.5, 1, "1234.5"}, {2.5, 0, "3"},   {-0.04, 1, "0.0"},  {7.5, -1, "8"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Formatting::decimal(c.value, c.digits), c.text) << c.value << " " << c.digits;
  }
}

TEST(Formatting, WattsDropTheSignAndTheDecimalFromTen) {
  UsingLocale english("en_US");
  const struct {
    double watts;
    const char* text;
  } cases[] = {
      {-4.26, "4.3 W"}, {9.96, "10 W"}, {12.4, "12 W"}, {0.04, "0 W"}, {9.94, "9.9 W"},
      {4.0, "4 W"},     {4.02, "4 W"},  {10.5, "11 W"}, {-60, "60 W"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::watts(c.watts), c.text) << c.watts;
}

TEST(Formatting, PercentRoundsToWholeNumbers) {
  UsingLocale english("en_US");
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {79.5, "80%"}, {79.49, "79%"}, {80, "80%"}, {0.5, "1%"}, {-0.4, "0%"}, {100, "100%"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::percent(c.value), c.text) << c.value;
  EXPECT_EQ(Formatting::percent(80), "80%");
  EXPECT_EQ(Formatting::percent(std::int64_t{100}), "100%");
}

TEST(Formatting, NumbersFollowTheLocale) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("ja_JP");
  {
    UsingLocale german("de_DE");
    EXPECT_EQ(Formatting::percent(80), "80\u00A0%");
    EXPECT_EQ(Formatting::percent(79.5), "80\u00A0%");
    EXPECT_EQ(Formatting::decimal(1234.5, 1), "1234,5");
    EXPECT_EQ(Formatting::watts(-4.26), "4,3 W");
    EXPECT_EQ(Formatting::watts(12.4), "12 W");
    EXPECT_EQ(Formatting::usd(249), "249\u00A0$");
  }
  {
    UsingLocale japanese("ja_JP");
    EXPECT_EQ(Formatting::percent(80), "80%");
    EXPECT_EQ(Formatting::decimal(2.25, 1), "2.3");
    EXPECT_EQ(Formatting::usd(249), "$249");
  }
}

TEST(Formatting, DayIsTheCalendarDayOfTheMoment) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const auto newYork = Calendar::gregorian("America/New_York");
  const Date lateOnTheFourthInUtc = *parseIso8601("2026-03-04T23:30:00Z");
  EXPECT_EQ(Formatting::day(lateOnTheFourthInUtc, berlin), "2026-03-05");
  EXPECT_EQ(Formatting::day(lateOnTheFourthInUtc, newYork), "2026-03-04");
  EXPECT_EQ(Formatting::day(lateOnTheFourthInUtc, Calendar::utc()), "2026-03-04");
}

TEST(Formatting, WeekdayShortStartsOnSunday) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("ja_JP");
  const struct {
    const char* locale;
    int weekday;
    const char* text;
  } cases[] = {
      {"en_US", 1, "Sun"}, {"en_US", 2, "Mon"}, {"en_US", 7, "Sat"}, {"en_US", 8, "Sun"},
      {"en_US", 0, "Sat"}, {"en_US", -6, "Sun"}, {"de_DE", 1, "So."}, {"de_DE", 2, "Mo."},
      {"ja_JP", 1, "日"},  {"ja_JP", 7, "土"},
  };
  for (const auto& c : cases) {
    UsingLocale scope(c.locale);
    EXPECT_EQ(Formatting::weekdayShort(c.weekday), c.text) << c.locale << " " << c.weekday;
  }
}

TEST(Formatting, RelativeDateCountsCalendarDays) {
  UsingLocale english("en_US");
  const auto newYork = Calendar::gregorian("America/New_York");
  const Date now = local(newYork, 2026, 3, 5, 10, 0);
  const struct {
    Date date;
    const char* text;
  } cases[] = {
      {local(newYork, 2026, 3, 5, 0, 5), "today"},
      {local(newYork, 2026, 3, 4, 23, 55), "yesterday"},
      {local(newYork, 2026, 3, 3, 12, 0), "2 days ago"},
      {local(newYork, 2026, 2, 27, 8, 0), "6 days ago"},
      {local(newYork, 2026, 2, 26, 8, 0), "Feb 26"},
      {local(newYork, 2025, 12, 25, 8, 0), "Dec 25, 2025"},
      {local(newYork, 2026, 3, 6, 8, 0), "Mar 6"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::relativeDate(c.date, now, newYork), c.text);
}

TEST(Formatting, RelativeDateAcrossDaylightSavingInBerlin) {
  UsingLocale english("en_US");
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const struct {
    Date date;
    Date now;
    const char* text;
  } cases[] = {
      // 29 March 2026 has 23 hours; 25 October 2026 has 25.
      {local(berlin, 2026, 3, 28, 12, 0), local(berlin, 2026, 3, 29, 11, 30), "yesterday"},
      {local(berlin, 2026, 3, 29, 0, 30), local(berlin, 2026, 3, 29, 23, 30), "today"},
      {local(berlin, 2026, 3, 23, 0, 30), local(berlin, 2026, 3, 29, 23, 59), "6 days ago"},
      {local(berlin, 2026, 10, 24, 23, 30), local(berlin, 2026, 10, 25, 23, 45), "yesterday"},
      {local(berlin, 2026, 10, 25, 0, 10), local(berlin, 2026, 10, 25, 23, 50), "today"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Formatting::relativeDate(c.date, c.now, berlin), c.text) << toIso8601(c.date);
  }
}

TEST(Formatting, TimeOfDayUsesTheLocalesClock) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("ja_JP");
  const struct {
    const char* locale;
    int minuteOfDay;
    const char* text;
  } cases[] = {
      {"en_US", 450, "7:30 AM"},  {"en_US", 0, "12:00 AM"},   {"en_US", 1439, "11:59 PM"},
      {"en_US", -30, "11:30 PM"}, {"en_US", 1890, "7:30 AM"}, {"de_DE", 450, "07:30"},
      {"de_DE", 1110, "18:30"},   {"ja_JP", 450, "7:30"},
  };
  for (const auto& c : cases) {
    UsingLocale scope(c.locale);
    EXPECT_EQ(Formatting::time(c.minuteOfDay), c.text) << c.locale << " " << c.minuteOfDay;
  }
}

TEST(Formatting, TimeOfAMomentIsInTheCalendarsZone) {
  UsingLocale english("en_US");
  const Date moment = *parseIso8601("2026-03-05T12:30:00Z");
  EXPECT_EQ(Formatting::time(moment, Calendar::gregorian("America/New_York")), "7:30 AM");
  EXPECT_EQ(Formatting::time(moment, Calendar::gregorian("Europe/Berlin")), "1:30 PM");
  // Just after New York's clocks sprang forward.
  const auto newYork = Calendar::gregorian("America/New_York");
  EXPECT_EQ(Formatting::time(local(newYork, 2026, 3, 8, 3, 15), newYork), "3:15 AM");
}

TEST(Formatting, AtAndWhenNameTheDay) {
  UsingLocale english("en_US");
  const auto newYork = Calendar::gregorian("America/New_York");
  const Date now = local(newYork, 2026, 3, 4, 10, 0);  // a Wednesday
  const struct {
    Date date;
    const char* at;
    const char* when;
  } cases[] = {
      {local(newYork, 2026, 3, 4, 18, 30), "at 6:30 PM", "6:30 PM"},
      {local(newYork, 2026, 3, 5, 7, 30), "tomorrow at 7:30 AM", "tomorrow at 7:30 AM"},
      {local(newYork, 2026, 3, 6, 7, 30), "Friday at 7:30 AM", "Friday at 7:30 AM"},
      // Across the change to daylight saving on the 8th.
      {local(newYork, 2026, 3, 10, 7, 30), "Tuesday at 7:30 AM", "Tuesday at 7:30 AM"},
      {local(newYork, 2026, 3, 11, 7, 30), "Mar 11 at 7:30 AM", "Mar 11, 7:30 AM"},
      {local(newYork, 2026, 3, 3, 7, 30), "Mar 3 at 7:30 AM", "Mar 3, 7:30 AM"},
      {local(newYork, 2027, 1, 8, 7, 30), "Jan 8, 2027 at 7:30 AM", "Jan 8, 2027, 7:30 AM"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Formatting::at(c.date, now, newYork), c.at) << toIso8601(c.date);
    EXPECT_EQ(Formatting::when(c.date, now, newYork), c.when) << toIso8601(c.date);
  }
}

TEST(Formatting, TomorrowStartsAtMidnightNotInTwentyFourHours) {
  UsingLocale english("en_US");
  const auto newYork = Calendar::gregorian("America/New_York");
  const Date now = local(newYork, 2026, 3, 4, 23, 50);
  EXPECT_EQ(Formatting::at(local(newYork, 2026, 3, 5, 0, 10), now, newYork), "tomorrow at 12:10 AM");
}

TEST(Formatting, WeekSpanShortensWithinAMonth) {
  UsingLocale english("en_US");
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  EXPECT_EQ(Formatting::weekSpan(local(berlin, 2026, 3, 2, 0, 0), local(berlin, 2026, 3, 8, 23, 0), berlin),
            "Mar 2\u20138");
  EXPECT_EQ(Formatting::weekSpan(local(berlin, 2026, 2, 23, 0, 0), local(berlin, 2026, 3, 1, 0, 0), berlin),
            "Feb 23 \u2013 Mar 1");
}

TEST(Formatting, TranslatedPhrasesTakeTheLocalesNames) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("ja_JP");
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Date now = local(berlin, 2026, 3, 4, 10, 0);  // a Wednesday
  const Date friday = local(berlin, 2026, 3, 6, 7, 30);
  const Date monday = local(berlin, 2026, 3, 2, 0, 0);
  const Date sunday = local(berlin, 2026, 3, 8, 0, 0);
  {
    UsingLocale german("de_DE");
    if (Meaning::text("date.today", "today") == "today") GTEST_SKIP() << "no German table";
    EXPECT_EQ(Formatting::at(friday, now, berlin), "am Freitag um 07:30");
    EXPECT_EQ(Formatting::weekSpan(monday, sunday, berlin), "2.\u2013" "8. M\u00e4rz");
    EXPECT_EQ(Formatting::relativeDate(local(berlin, 2026, 3, 2, 9, 0), now, berlin), "vor 2 Tagen");
  }
  {
    UsingLocale japanese("ja_JP");
    if (Meaning::text("date.today", "today") == "today") GTEST_SKIP() << "no Japanese table";
    EXPECT_EQ(Formatting::at(friday, now, berlin), "金曜日の7:30");
    EXPECT_EQ(Formatting::weekSpan(monday, sunday, berlin), "3月2日～8日");
  }
}

TEST(Formatting, MonthYearOfADayOrMonthKey) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("ja_JP");
  const struct {
    const char* locale;
    const char* key;
    const char* text;
  } cases[] = {
      {"en_US", "2026-03-05", "March 2026"}, {"en_US", "2026-03", "March 2026"},
      {"en_US", "2026-12-31", "December 2026"}, {"de_DE", "2026-03", "März 2026"},
      {"ja_JP", "2026-03", "2026年3月"},     {"en_US", "2026-13", "2026-13"},
      {"en_US", "March", "March"},           {"en_US", "", ""},
  };
  for (const auto& c : cases) {
    UsingLocale scope(c.locale);
    EXPECT_EQ(Formatting::monthYear(c.key), c.text) << c.locale << " " << c.key;
  }
}

TEST(Formatting, CapitalizedFirstTouchesOnlyTheFirstCharacter) {
  REQUIRE_LOCALE("tr_TR");
  const struct {
    const char* locale;
    const char* text;
    const char* capitalized;
  } cases[] = {
      {"en_US", "tomorrow at 7:30 AM", "Tomorrow at 7:30 AM"},
      {"en_US", "already Upper", "Already Upper"},
      {"en_US", "éclair", "Éclair"},
      {"en_US", "ǆungla", "ǅungla"},  // title case, not upper case
      {"en_US", "7 days ago", "7 days ago"},
      {"en_US", "", ""},
      {"tr_TR", "istanbul", "İstanbul"},
  };
  for (const auto& c : cases) {
    UsingLocale scope(c.locale);
    EXPECT_EQ(Formatting::capitalizedFirst(c.text), c.capitalized) << c.text;
  }
}

TEST(Formatting, UsdDropsCentsWhenWhole) {
  UsingLocale english("en_US");
  EXPECT_EQ(Formatting::usd(249), "$249");
  EXPECT_EQ(Formatting::usd(249.5), "$249.50");
  EXPECT_EQ(Formatting::usd(1249), "$1,249");
  EXPECT_EQ(Formatting::usd(199.001), "$199");
}

TEST(Formatting, ListOrJoinsAsAChoice) {
  UsingLocale english("en_US");
  const struct {
    std::vector<std::string> items;
    const char* text;
  } cases[] = {
      {{}, ""},
      {{"a"}, "a"},
      {{"a", "b"}, "a or b"},
      {{"a", "b", "c"}, "a, b or c"},
      {{"a", "b", "c", "d"}, "a, b, c or d"},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::listOr(c.items), c.text);
  EXPECT_EQ(Formatting::sentenceEnd(), ".");
}

TEST(Formatting, WeekdaysAsPluralNames) {
  UsingLocale english("en_US");
  const struct {
    std::vector<int> weekdays;
    const char* text;
  } cases[] = {
      {{1}, "Sundays"},
      {{2, 6}, "Mondays or Fridays"},
      {{2, 3, 6}, "Mondays, Tuesdays or Fridays"},
      {{7, 0, 9}, "Saturdays"},
      {{}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(Formatting::weekdays(c.weekdays), c.text);
}

TEST(Formatting, NoNarrowNoBreakSpaceInAnyOutput) {
  const auto newYork = Calendar::gregorian("America/New_York");
  const Date now = local(newYork, 2026, 3, 4, 10, 0);
  for (const char* locale : {"en_US", "de_DE", "ja_JP", "fr_FR"}) {
    UsingLocale scope(locale);
    const std::string outputs[] = {
        Formatting::time(450),
        Formatting::when(local(newYork, 2026, 3, 20, 19, 0), now, newYork),
        Formatting::usd(1249),
        Formatting::percent(80),
        Formatting::decimal(1234.5, 1),
    };
    for (const auto& text : outputs) {
      EXPECT_EQ(text.find("\u202F"), std::string::npos) << locale << ": " << text;
    }
  }
}

TEST(Formatting, ChangingTheLocaleTakesEffectAtOnce) {
  REQUIRE_LOCALE("de_DE");
  UsingLocale english("en_US");
  EXPECT_EQ(Formatting::decimal(2.5, 1), "2.5");
  {
    UsingLocale german("de_DE");
    EXPECT_EQ(Formatting::localeName(), "de_DE");
    EXPECT_EQ(Formatting::decimal(2.5, 1), "2,5");
  }
  EXPECT_EQ(Formatting::decimal(2.5, 1), "2.5");
}

}  // namespace
}  // namespace batterycore
