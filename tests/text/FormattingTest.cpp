#include "BatteryCore/text/Formatting.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace batterycore {
namespace {

using batterycore::testing::UsingLocale;

bool hasLocaleData(const char* name) {
  int32_t count = 0;
  const icu::Locale* available = icu::Locale::getAvailableLocales(count);
  return std::any_of(available, available + count,
                     [&](const icu::Locale& locale) { return std::string(locale.getName()) == name; });
}

// Each input formatted and compared with its text, naming the function and input on a mismatch.
template <class In>
void expectEach(const char* what, const std::function<std::string(In)>& format,
                std::initializer_list<std::pair<In, const char*>> cases) {
  for (const auto& [in, text] : cases) EXPECT_EQ(format(in), text) << what << "(" << in << ")";
}

Date local(const Calendar& calendar, int year, int month, int day, int hour = 0, int minute = 0) {
  return *calendar.date(year, month, day, hour, minute);
}

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");
const Calendar kNewYork = Calendar::gregorian("America/New_York");

TEST(Formatting, NumbersAndDurationsInEnglish) {
  const UsingLocale english("en_US");
  expectEach<int>("duration", Formatting::duration,
                  {{-5, "0 min"}, {59, "59 min"}, {60, "1 h"}, {61, "1 h 1 min"}, {119, "1 h 59 min"}, {1500, "25 h"}});
  expectEach<double>("hours", Formatting::hours,
                     {{0.004, "0 h"}, {0.01, "1 min"}, {0.99, "59 min"}, {0.995, "1 h"}, {1.4, "1 h"}, {1.5, "2 h"}});
  expectEach<double>("span", Formatting::span,
                     {{23.4, "about 23 months"}, {23.5, "about 2 years"}, {30, "about 2.5 years"},
                      {35, "about 2.9 years"}, {36, "about 3 years"}, {0.2, "about 1 months"}, {-7, "about 1 months"}});
  expectEach<double>("watts", Formatting::watts,
                     {{-4.26, "4.3 W"}, {9.94, "9.9 W"}, {9.96, "10 W"}, {4.02, "4 W"}, {12.4, "12 W"},
                      {10.5, "11 W"}, {0.04, "0 W"}, {-60, "60 W"}});
  expectEach<double>("percent", [](double v) { return Formatting::percent(v); },
                     {{79.5, "80%"}, {79.49, "79%"}, {-0.4, "0%"}, {100, "100%"}});
  EXPECT_EQ(Formatting::percent(std::int64_t{100}), "100%");
  expectEach<double>("usd", Formatting::usd, {{249, "$249"}, {249.5, "$249.50"}, {1249, "$1,249"}, {199.001, "$199"}});
  // Fixed digits, halves away from zero, no grouping, no negative zero; digits out of range are clamped.
  expectEach<double>("decimal 1", [](double v) { return Formatting::decimal(v, 1); },
                     {{2.25, "2.3"}, {-2.25, "-2.3"}, {1234.5, "1234.5"}, {-0.04, "0.0"}});
  EXPECT_EQ(Formatting::decimal(3, 2), "3.00");
  EXPECT_EQ(Formatting::decimal(7.5, -1), "8");
  const std::pair<int, int> rounded[] = {{89, 1}, {90, 2}, {29, 0}, {30, 1}, {-90, 0}};
  for (const auto& [minutes, hours] : rounded) EXPECT_EQ(Formatting::hoursRounded(minutes), hours) << minutes;
}

TEST(Formatting, ListsNamesAndClockInEnglish) {
  const UsingLocale english("en_US");
  const std::pair<std::vector<std::string>, const char*> lists[] = {
      {{}, ""}, {{"a"}, "a"}, {{"a", "b"}, "a or b"}, {{"a", "b", "c"}, "a, b or c"},
      {{"a", "b", "c", "d"}, "a, b, c or d"}};
  for (const auto& [items, text] : lists) EXPECT_EQ(Formatting::listOr(items), text);
  const std::pair<std::vector<int>, const char*> weekdays[] = {
      {{1}, "Sundays"}, {{2, 3, 6}, "Mondays, Tuesdays or Fridays"}, {{7, 0, 9}, "Saturdays"}, {{}, ""}};
  for (const auto& [days, text] : weekdays) EXPECT_EQ(Formatting::weekdays(days), text);
  EXPECT_EQ(Formatting::sentenceEnd(), ".");
  expectEach<int>("weekdayShort", Formatting::weekdayShort,
                  {{1, "Sun"}, {7, "Sat"}, {8, "Sun"}, {0, "Sat"}, {-6, "Sun"}});
  expectEach<std::string>("monthYear", Formatting::monthYear,
                          {{"2026-03-05", "March 2026"}, {"2026-03", "March 2026"}, {"2026-13", "2026-13"},
                           {"March", "March"}, {"", ""}});
  expectEach<int>("time", [](int m) { return Formatting::time(m); },
                  {{450, "7:30 AM"}, {0, "12:00 AM"}, {1439, "11:59 PM"}, {-30, "11:30 PM"}, {1890, "7:30 AM"}});
  // The clock is the same in every language.
  for (const char* locale : {"en_US", "de_DE", "ja_JP"}) {
    const UsingLocale scope(locale);
    expectEach<int>("clock", Formatting::clock, {{125, "2:05"}, {-5, "0:00"}, {1439, "23:59"}, {1500, "25:00"}});
  }
}

TEST(Formatting, MomentsAreToldInTheCalendarsZoneAcrossClockChanges) {
  const UsingLocale english("en_US");
  const Date noonUtc = *parseIso8601("2026-03-05T12:30:00Z");
  EXPECT_EQ(Formatting::time(noonUtc, kNewYork), "7:30 AM");
  EXPECT_EQ(Formatting::time(noonUtc, kBerlin), "1:30 PM");
  EXPECT_EQ(Formatting::time(local(kNewYork, 2026, 3, 8, 3, 15), kNewYork), "3:15 AM");  // just after spring forward
  EXPECT_EQ(Formatting::day(*parseIso8601("2026-03-04T23:30:00Z"), kBerlin), "2026-03-05");
  EXPECT_EQ(Formatting::day(*parseIso8601("2026-03-04T23:30:00Z"), kNewYork), "2026-03-04");

  const Date now = local(kNewYork, 2026, 3, 5, 10, 0);
  const struct { const Calendar& calendar; Date date, now; const char* text; } relative[] = {
      {kNewYork, local(kNewYork, 2026, 3, 5, 0, 5), now, "today"},
      {kNewYork, local(kNewYork, 2026, 3, 4, 23, 55), now, "yesterday"},
      {kNewYork, local(kNewYork, 2026, 3, 3, 12, 0), now, "2 days ago"},
      {kNewYork, local(kNewYork, 2026, 2, 27, 8, 0), now, "6 days ago"},
      {kNewYork, local(kNewYork, 2026, 2, 26, 8, 0), now, "Feb 26"},
      {kNewYork, local(kNewYork, 2025, 12, 25, 8, 0), now, "Dec 25, 2025"},
      {kNewYork, local(kNewYork, 2026, 3, 6, 8, 0), now, "Mar 6"},
      // 29 March 2026 has 23 hours in Berlin; 25 October 2026 has 25.
      {kBerlin, local(kBerlin, 2026, 3, 28, 12, 0), local(kBerlin, 2026, 3, 29, 11, 30), "yesterday"},
      {kBerlin, local(kBerlin, 2026, 3, 23, 0, 30), local(kBerlin, 2026, 3, 29, 23, 59), "6 days ago"},
      {kBerlin, local(kBerlin, 2026, 10, 24, 23, 30), local(kBerlin, 2026, 10, 25, 23, 45), "yesterday"},
      {kBerlin, local(kBerlin, 2026, 10, 25, 0, 10), local(kBerlin, 2026, 10, 25, 23, 50), "today"},
  };
  for (const auto& c : relative) {
    EXPECT_EQ(Formatting::relativeDate(c.date, c.now, c.calendar), c.text) << toIso8601(c.date);
  }

  const Date wednesday = local(kNewYork, 2026, 3, 4, 10, 0);
  const struct { Date date; const char *at, *when; } ahead[] = {
      {local(kNewYork, 2026, 3, 4, 18, 30), "at 6:30 PM", "6:30 PM"},
      {local(kNewYork, 2026, 3, 5, 7, 30), "tomorrow at 7:30 AM", "tomorrow at 7:30 AM"},
      {local(kNewYork, 2026, 3, 6, 7, 30), "Friday at 7:30 AM", "Friday at 7:30 AM"},
      {local(kNewYork, 2026, 3, 10, 7, 30), "Tuesday at 7:30 AM", "Tuesday at 7:30 AM"},  // across spring forward
      {local(kNewYork, 2026, 3, 11, 7, 30), "Mar 11 at 7:30 AM", "Mar 11, 7:30 AM"},
      {local(kNewYork, 2026, 3, 3, 7, 30), "Mar 3 at 7:30 AM", "Mar 3, 7:30 AM"},
      {local(kNewYork, 2027, 1, 8, 7, 30), "Jan 8, 2027 at 7:30 AM", "Jan 8, 2027, 7:30 AM"},
  };
  for (const auto& c : ahead) {
    EXPECT_EQ(Formatting::at(c.date, wednesday, kNewYork), c.at) << toIso8601(c.date);
    EXPECT_EQ(Formatting::when(c.date, wednesday, kNewYork), c.when) << toIso8601(c.date);
  }
  // Tomorrow starts at midnight, not in twenty-four hours.
  EXPECT_EQ(Formatting::at(local(kNewYork, 2026, 3, 5, 0, 10), local(kNewYork, 2026, 3, 4, 23, 50), kNewYork),
            "tomorrow at 12:10 AM");
  const Date march2 = local(kBerlin, 2026, 3, 2);
  EXPECT_EQ(Formatting::weekSpan(march2, local(kBerlin, 2026, 3, 8, 23), kBerlin), "Mar 2\u20138");
  EXPECT_EQ(Formatting::weekSpan(local(kBerlin, 2026, 2, 23), local(kBerlin, 2026, 3, 1), kBerlin),
            "Feb 23 \u2013 Mar 1");
}

// Formatters kept for one locale are not reused after the locale changes, and
// no output carries the narrow no-break space some locales put in numbers and times.
TEST(Formatting, OtherLanguagesTakeTheirOwnNumbersNamesAndOrder) {
  for (const char* name : {"de_DE", "ja_JP", "tr_TR"}) {
    if (!hasLocaleData(name)) GTEST_SKIP() << "ICU has no data for " << name;
  }
  if (Meaning::bundle().table("de") == nullptr || Meaning::bundle().table("ja") == nullptr) {
    GTEST_SKIP() << "the catalogue has no German or Japanese table";
  }
  const Date now = local(kBerlin, 2026, 3, 4, 10, 0);  // a Wednesday
  const Date friday = local(kBerlin, 2026, 3, 6, 7, 30);
  const Date march2 = local(kBerlin, 2026, 3, 2);
  const UsingLocale english("en_US");
  EXPECT_EQ(Formatting::decimal(2.5, 1), "2.5");
  {
    const UsingLocale german("de_DE");
    EXPECT_EQ(Formatting::localeName(), "de_DE");
    EXPECT_EQ(Formatting::decimal(2.5, 1), "2,5");
    EXPECT_EQ(Formatting::percent(79.5), "80\u00A0%");
    EXPECT_EQ(Formatting::time(450), "07:30");
    EXPECT_EQ(Formatting::monthYear("2026-03"), "März 2026");
    EXPECT_EQ(Formatting::at(friday, now, kBerlin), "am Freitag um 07:30");
    EXPECT_EQ(Formatting::weekSpan(march2, local(kBerlin, 2026, 3, 8), kBerlin), "2.\u20138. M\u00e4rz");
    EXPECT_EQ(Formatting::relativeDate(local(kBerlin, 2026, 3, 2, 9, 0), now, kBerlin), "vor 2 Tagen");
  }
  EXPECT_EQ(Formatting::decimal(2.5, 1), "2.5");
  {
    const UsingLocale japanese("ja_JP");
    EXPECT_EQ(Formatting::weekdayShort(7), "土");
    EXPECT_EQ(Formatting::monthYear("2026-03"), "2026年3月");
    EXPECT_EQ(Formatting::at(friday, now, kBerlin), "金曜日の7:30");
    EXPECT_EQ(Formatting::weekSpan(march2, local(kBerlin, 2026, 3, 8), kBerlin), "3月2日～8日");
  }
  for (const char* locale : {"en_US", "de_DE", "ja_JP", "fr_FR"}) {
    const UsingLocale scope(locale);
    for (const auto& text : {Formatting::time(450), Formatting::when(local(kNewYork, 2026, 3, 20, 19), now, kNewYork),
                             Formatting::usd(1249), Formatting::percent(80), Formatting::decimal(1234.5, 1)}) {
      EXPECT_EQ(text.find("\u202F"), std::string::npos) << locale << ": " << text;
    }
  }
  const std::pair<const char*, const char*> capitalized[] = {
      {"tomorrow at 7:30 AM", "Tomorrow at 7:30 AM"}, {"already Upper", "Already Upper"}, {"éclair", "Éclair"},
      {"ǆungla", "ǅungla"} /* title case, not upper case */, {"7 days ago", "7 days ago"}, {"", ""}};
  for (const auto& [text, expected] : capitalized) EXPECT_EQ(Formatting::capitalizedFirst(text), expected) << text;
  const UsingLocale turkish("tr_TR");
  EXPECT_EQ(Formatting::capitalizedFirst("istanbul"), "İstanbul");
}

}  // namespace
}  // namespace batterycore
