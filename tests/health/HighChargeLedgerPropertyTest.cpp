// The high-charge ledger over long random streams of readings and ticks.
#include "BatteryCore/health/HighChargeLedger.hpp"

#include "tests/common/RandomReadings.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::ClockMix;
using testing::RandomReadings;

constexpr int kSteps = 20000;
// Minutes are summed in doubles; this much is rounding, not a fault.
constexpr double kEpsilon = 1e-6;

// Zones with 23- and 25-hour days, and one whose clocks move by half an hour.
Calendar calendarFor(RandomReadings& stream) {
  static const std::array<const char*, 4> kZones{"UTC", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe"};
  return Calendar::gregorian(stream.pick(kZones));
}

std::string describe(const HighChargeLedger::Day& d) {
  char text[200];
  std::snprintf(text, sizeof text, "%s: above80 plugged %.9g, unplugged %.9g, plugged %.9g, sampled %.9g",
                d.day.c_str(), d.minutesAbove80Plugged, d.minutesAbove80Unplugged, d.minutesPlugged,
                d.minutesSampled);
  return text;
}

// What holds for every record whatever the clock did.
void expectConsistent(const HighChargeLedger::Day& d) {
  for (const double value : {d.minutesAbove80Plugged, d.minutesAbove80Unplugged, d.minutesPlugged, d.minutesSampled}) {
    ASSERT_TRUE(std::isfinite(value) && value >= 0) << describe(d);
  }
  ASSERT_TRUE(parseDayKey(d.day).has_value()) << describe(d);
  ASSERT_LE(d.minutesAbove80Plugged, d.minutesPlugged + kEpsilon) << describe(d);
  ASSERT_LE(d.minutesPlugged, d.minutesSampled + kEpsilon) << describe(d);
  ASSERT_LE(d.minutesAbove80Unplugged, d.minutesSampled - d.minutesPlugged + kEpsilon) << describe(d);
  ASSERT_LE(d.minutesAbove80(), d.minutesSampled + kEpsilon) << describe(d);
}

// Minutes from a day's start to the next day's, remembered per day.
class DayLengths {
 public:
  explicit DayLengths(const Calendar& calendar) : calendar_(calendar) {}
  double operator()(const std::string& key) {
    auto [at, added] = minutes_.try_emplace(key, 0.0);
    if (added) {
      const Date start = *calendar_.startOfDay(key);
      at->second = (calendar_.addingDays(start, 1) - start).count() / 60.0;
    }
    return at->second;
  }

 private:
  const Calendar& calendar_;
  std::map<std::string, double> minutes_;
};

// The month summary against the records whose key names the month, with the
// month before worked out from the key itself.
void expectSummaryMatchesDays(const HighChargeLedger& ledger, Date now, const Calendar& calendar) {
  const std::string key = calendar.dayKey(now);
  const auto fields = *parseDayKey(key);
  char before[32];
  std::snprintf(before, sizeof before, "%04d-%02d", fields.month == 1 ? fields.year - 1 : fields.year,
                fields.month == 1 ? 12 : fields.month - 1);
  const std::string month = key.substr(0, 7);

  double above = 0, plugged = 0, sampled = 0, previous = 0;
  int covered = 0;
  bool anyBefore = false;
  for (const auto& d : ledger.days) {
    if (d.day.starts_with(month)) {
      above += d.minutesAbove80();
      plugged += d.minutesPlugged;
      sampled += d.minutesSampled;
      ++covered;
    } else if (d.day.starts_with(before)) {
      previous += d.minutesAbove80();
      anyBefore = true;
    }
  }
  const auto summary = ledger.summary(now, calendar);
  EXPECT_EQ(summary.daysCovered, covered) << key;
  EXPECT_NEAR(summary.hoursAbove80, above / 60, kEpsilon) << key;
  EXPECT_NEAR(summary.hoursPlugged, plugged / 60, kEpsilon) << key;
  EXPECT_NEAR(summary.hoursSampled, sampled / 60, kEpsilon) << key;
  ASSERT_EQ(summary.previousHoursAbove80.has_value(), anyBefore) << key;
  if (anyBefore) { EXPECT_NEAR(*summary.previousHoursAbove80, previous / 60, kEpsilon) << key; }
}

// Books `kSteps` random ticks and checks after each one what any clock keeps
// true; `forward` adds what only a clock that never goes back keeps true.
void run(std::uint64_t seed, ClockMix mix, bool forward) {
  RandomReadings stream(seed, mix);
  const Calendar calendar = calendarFor(stream);
  SCOPED_TRACE(calendar.timeZone());
  DayLengths minutesInDay(calendar);
  HighChargeLedger ledger;
  std::optional<Date> lastTick;
  std::string lastTickDay;
  bool trimmed = false;

  for (int step = 0; step < kSteps; ++step) {
    // Now and then the app starts again, and its first tick has no previous one.
    if (stream.chance(0.001)) lastTick.reset();
    const auto [now, reading] = stream.next();
    const auto where = [&, now = now] { return "step " + std::to_string(step) + " at " + toIso8601(now); };

    const bool books = lastTick && now > *lastTick && now - *lastTick <= HighChargeLedger::maxGap;
    // A step can only touch the ends of the ledger: its last record (and one
    // or two new ones after it) and, when full, its first.
    const std::size_t sizeBefore = ledger.days.size();
    const std::optional<HighChargeLedger::Day> firstBefore =
        ledger.days.empty() ? std::nullopt : std::optional(ledger.days.front());
    const std::optional<HighChargeLedger::Day> lastBefore =
        ledger.days.empty() ? std::nullopt : std::optional(ledger.days.back());

    ledger.book(reading, lastTick, now, calendar);

    if (!books) {
      ASSERT_TRUE(ledger.days.size() == sizeBefore && (!firstBefore || ledger.days.front() == *firstBefore) &&
                  (!lastBefore || ledger.days.back() == *lastBefore))
          << "a tick that is the first, not later or over the gap books nothing; " << where();
    } else if (ledger.days.size() < HighChargeLedger::keepDays) {
      // Nothing was trimmed: what the step added is in the records from the old last one on.
      double added = lastBefore ? -lastBefore->minutesSampled : 0.0;
      for (std::size_t i = sizeBefore == 0 ? 0 : sizeBefore - 1; i < ledger.days.size(); ++i) {
        added += ledger.days[i].minutesSampled;
      }
      ASSERT_NEAR(added, (now - *lastTick).count() / 60, kEpsilon)
          << "every minute of the interval is booked once; " << where();
    }
    ASSERT_LE(ledger.days.size(), HighChargeLedger::keepDays) << where();
    trimmed = trimmed || ledger.days.size() == HighChargeLedger::keepDays;

    // Only the last two records can have changed; the rest is checked now and then.
    const std::size_t n = ledger.days.size();
    const std::size_t from = step % 1000 == 0 || step == kSteps - 1 ? 0 : (n > 2 ? n - 2 : 0);
    for (std::size_t i = from; i < n; ++i) {
      const auto& d = ledger.days[i];
      expectConsistent(d);
      if (::testing::Test::HasFatalFailure()) {
        ADD_FAILURE() << "record " << i << " of " << n << "; " << where();
        return;
      }
      if (i > 0) {
        // Appended in booking order: two neighbours never share a day.
        ASSERT_NE(ledger.days[i - 1].day, d.day) << where();
        if (forward) { ASSERT_LT(ledger.days[i - 1].day, d.day) << "days out of order; " << where(); }
      }
      // A clock set back books the same hours again, so only a clock that
      // never goes back bounds a day by its length (23 to 25 hours).
      if (forward && i + 2 >= n) {
        ASSERT_LE(d.minutesSampled, minutesInDay(d.day) + kEpsilon) << describe(d) << "; " << where();
      }
    }
    const std::string today = calendar.dayKey(now);
    if (books && n > 0) {
      const std::string& last = ledger.days.back().day;
      ASSERT_TRUE(last == lastTickDay || last == today) << last << "; " << where();
      // Across midnight the new day gets just the minutes since it began
      // (none when the tick falls on midnight itself).
      if (forward && lastTickDay != today) {
        const Date midnight = calendar.startOfDay(now);
        ASSERT_EQ(last, now == midnight ? lastTickDay : today) << where();
        if (now > midnight) {
          ASSERT_NEAR(ledger.days.back().minutesSampled, (now - midnight).count() / 60, kEpsilon) << where();
        }
      }
    }
    if (step % 200 == 0 || step == kSteps - 1) {
      expectSummaryMatchesDays(ledger, now, calendar);
      if (::testing::Test::HasFailure()) {
        ADD_FAILURE() << where();
        return;
      }
    }
    lastTick = now;
    lastTickDay = today;
  }
  EXPECT_TRUE(trimmed) << "the stream never filled the ledger; make it visit more days";
  EXPECT_EQ(HighChargeLedger::fromJson(ledger.toJson()), ledger);
}

// Many jumps of days and weeks, so that the ledger fills up and is trimmed.
ClockMix manyDays(double backwards) {
  ClockMix mix;
  mix.backwards = backwards;
  mix.days = 0.03;
  mix.weeks = 0.01;
  return mix;
}

TEST(HighChargeLedgerProperty, ACountingClockKeepsDaysInOrderAndNoLongerThanADay) {
  for (const auto seed : testing::propertySeeds()) {
    SCOPED_TRACE(testing::rerunNote(seed));
    run(seed, manyDays(0), true);
    if (HasFailure()) return;
  }
}

TEST(HighChargeLedgerProperty, AClockThatGoesBackKeepsEveryRecordConsistent) {
  for (const auto seed : testing::propertySeeds()) {
    SCOPED_TRACE(testing::rerunNote(seed));
    run(seed, manyDays(0.03), false);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace batterycore
