#include "BatteryCore/foundation/Date.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <type_traits>

namespace batterycore {
namespace {

// A span plus a span is a span; a moment plus a moment is not allowed.
static_assert(std::is_same_v<decltype(Seconds{1} + Seconds{2}), Seconds>);
static_assert(std::is_same_v<decltype(Date{} + std::chrono::minutes{10}), Date>);
static_assert(!std::is_invocable_v<std::plus<>, Date, Date>);

TEST(Date, WritesWholeSecondsWithoutFractionAndMillisecondsOtherwise) {
  struct Case {
    double seconds;
    const char* text;
  };
  const Case cases[] = {
      {1772877600.0, "2026-03-07T10:00:00Z"},
      {1772877600.25, "2026-03-07T10:00:00.250Z"},
      {1772877600.0004, "2026-03-07T10:00:00Z"},  // below half a millisecond
      {1772877600.9996, "2026-03-07T10:00:01Z"},  // rounds into the next second
      {0.5, "1970-01-01T00:00:00.500Z"},
      {-1.0, "1969-12-31T23:59:59Z"},
      {951782400.0, "2000-02-29T00:00:00Z"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(toIso8601(dateFromSecondsSince1970(c.seconds)), c.text) << c.seconds;
  }
}

TEST(Date, ReadsAnyFractionLengthAndOffset) {
  struct Case {
    const char* text;
    double seconds;
  };
  const Case cases[] = {
      {"2026-03-07T10:00:00Z", 1772877600.0},
      {"2026-03-07T10:00:00.25Z", 1772877600.25},
      {"2026-03-07T10:00:00.250000Z", 1772877600.25},
      {"2026-03-07T11:00:00+01:00", 1772877600.0},
      {"2026-03-07T05:00:00-0500", 1772877600.0},
      {"2026-03-07T10:00:00.5+00:00", 1772877600.5},
      // Digits past the millisecond are dropped, however many there are.
      {"2026-03-07T10:00:00.2507777777777777777777777777777777777777Z", 1772877600.25},
  };
  for (const auto& c : cases) {
    const auto date = parseIso8601(c.text);
    ASSERT_TRUE(date.has_value()) << c.text;
    EXPECT_NEAR(secondsSince1970(*date), c.seconds, 1e-6) << c.text;
  }
}

TEST(Date, RejectsTextThatIsNotADate) {
  // The last ones lie outside the years toIso8601 writes with four digits.
  for (const char* text : {"", "yesterday", "2026-03-07", "2026-03-07T10:00:00", "2026-13-07T10:00:00Z",
                           "2026-03-07T10:00:00Zjunk", "2026-02-30T10:00:00Z", "52026-03-07T10:00:00Z",
                           "9999-12-31T23:00:00-01:00", "0001-01-01T00:30:00+01:00",
                           // ICU read the exponent into the fraction and divided by zero.
                           "6-2-07T0:10:00.207e7777777777777777777777777777777777777777Z"}) {
    EXPECT_FALSE(parseIso8601(text).has_value()) << text;
  }
}

TEST(Date, RoundTripsThroughText) {
  // Before 1582 too: both directions count in the proleptic Gregorian calendar.
  for (const double seconds : {0.0, 1767225600.125, 1893456000.999, -30610224000.0, -62135596800.0,
                               253402300799.999}) {
    const Date date = dateFromSecondsSince1970(seconds);
    const auto back = parseIso8601(toIso8601(date));
    ASSERT_TRUE(back) << seconds;
    EXPECT_NEAR(secondsBetween(date, *back), 0.0, 0.0005) << seconds;
  }
}

}  // namespace
}  // namespace batterycore
