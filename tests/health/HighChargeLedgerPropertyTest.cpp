// The high-charge ledger over long random streams of readings and ticks.
#include "BatteryCore/health/HighChargeLedger.hpp"

#include "tests/common/RandomReadings.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace batterycore {
namespace {

constexpr int kSteps = 20000;
// Minutes are summed in doubles; this much is rounding, not a fault.
constexpr double kEpsilon = 1e-6;

std::string describe(const HighChargeLedger::Day& d) {
  return d.day + ": above 80% plugged " + std::to_string(d.minutesAbove80Plugged) + ", unplugged " +
         std::to_string(d.minutesAbove80Unplugged) + ", plugged " + std::to_string(d.minutesPlugged) + ", sampled " +
         std::to_string(d.minutesSampled);
}

// Books `kSteps` random ticks, with many jumps of days and weeks so that the
// ledger fills up and is trimmed, and checks after each one what any clock
// keeps true; `forward` adds what only a clock that never goes back keeps true.
void run(std::uint64_t seed, bool forward) {
  testing::ClockMix mix;
  mix.backwards = forward ? 0 : 0.03;
  mix.days = 0.03;
  mix.weeks = 0.01;
  testing::RandomReadings stream(seed, mix);
  // Zones with 23- and 25-hour days, and one whose clocks move by half an hour.
  static const std::array<const char*, 4> kZones{"UTC", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe"};
  const Calendar calendar = Calendar::gregorian(stream.pick(kZones));
  SCOPED_TRACE(calendar.timeZone());
  std::map<std::string, double> dayLengths;  // minutes from a day's start to the next day's
  HighChargeLedger ledger;
  std::optional<Date> lastTick;
  std::string lastTickDay;
  bool trimmed = false;

  for (int step = 0; step < kSteps && !::testing::Test::HasFailure(); ++step) {
    // Now and then the app starts again, and its first tick has no previous one.
    if (stream.chance(0.001)) lastTick.reset();
    const auto [now, reading] = stream.next();
    SCOPED_TRACE(::testing::Message() << "step " << step);
    const bool books = lastTick && now > *lastTick && now - *lastTick <= HighChargeLedger::maxGap;
    // A step can only touch the ends of the ledger: its last record (and one
    // or two new ones after it) and, when full, its first.
    const std::size_t sizeBefore = ledger.days.size();
    const auto firstBefore = sizeBefore == 0 ? HighChargeLedger::Day{} : ledger.days.front();
    const auto lastBefore = sizeBefore == 0 ? HighChargeLedger::Day{} : ledger.days.back();

    ledger.book(reading, lastTick, now, calendar);

    const std::size_t n = ledger.days.size();
    if (!books) {
      ASSERT_TRUE(n == sizeBefore &&
                  (n == 0 || (ledger.days.front() == firstBefore && ledger.days.back() == lastBefore)))
          << "a tick that is the first, not later or over the gap books nothing";
    } else if (n < HighChargeLedger::keepDays) {
      // Nothing was trimmed: every minute of the interval is booked once, from the old last record on.
      double added = -lastBefore.minutesSampled;
      for (std::size_t i = sizeBefore == 0 ? 0 : sizeBefore - 1; i < n; ++i) added += ledger.days[i].minutesSampled;
      ASSERT_NEAR(added, (now - *lastTick).count() / 60, kEpsilon);
    }
    ASSERT_LE(n, HighChargeLedger::keepDays);
    trimmed = trimmed || n == HighChargeLedger::keepDays;

    // Only the last two records can have changed; the rest is checked now and then.
    for (std::size_t i = step % 1000 == 0 || step == kSteps - 1 || n < 2 ? 0 : n - 2; i < n; ++i) {
      const auto& d = ledger.days[i];
      ASSERT_TRUE(parseDayKey(d.day) && std::isfinite(d.minutesSampled) && d.minutesAbove80Plugged >= 0 &&
                  d.minutesAbove80Unplugged >= 0 && d.minutesAbove80Plugged <= d.minutesPlugged + kEpsilon &&
                  d.minutesPlugged <= d.minutesSampled + kEpsilon &&
                  d.minutesAbove80Unplugged <= d.minutesSampled - d.minutesPlugged + kEpsilon)
          << describe(d);
      // Appended in booking order: two neighbours never share a day.
      if (i > 0) {
        ASSERT_TRUE(forward ? ledger.days[i - 1].day < d.day : ledger.days[i - 1].day != d.day) << describe(d);
      }
      // A clock set back books the same hours again, so only a clock that
      // never goes back bounds a day by its length (23 to 25 hours).
      if (forward && i + 2 >= n) {
        auto [length, added] = dayLengths.try_emplace(d.day, 0.0);
        const Date start = *calendar.startOfDay(d.day);
        if (added) length->second = (calendar.addingDays(start, 1) - start).count() / 60.0;
        ASSERT_LE(d.minutesSampled, length->second + kEpsilon) << describe(d);
      }
    }
    const std::string today = calendar.dayKey(now);
    if (books && n > 0) {
      const std::string& last = ledger.days.back().day;
      ASSERT_TRUE(last == lastTickDay || last == today) << last;
      // Across midnight the new day gets just the minutes since it began
      // (none when the tick falls on midnight itself).
      const Date midnight = calendar.startOfDay(now);
      if (forward && lastTickDay != today) {
        ASSERT_EQ(last, now == midnight ? lastTickDay : today);
        if (now > midnight) { ASSERT_NEAR(ledger.days.back().minutesSampled, (now - midnight).count() / 60, kEpsilon); }
      }
    }
    // The month summary against the records whose key names the month, and
    // the month before worked out from the key itself.
    if (step % 200 == 0) {
      const auto fields = *parseDayKey(today);
      const std::string before = fields.month == 1 ? std::to_string(fields.year - 1) + "-12"
                                                   : today.substr(0, 5) + (fields.month <= 10 ? "0" : "") +
                                                         std::to_string(fields.month - 1);
      HighChargeLedger::MonthSummary expected;
      for (const auto& d : ledger.days) {
        if (d.day.starts_with(today.substr(0, 7))) {
          expected.hoursAbove80 += d.minutesAbove80() / 60;
          expected.hoursPlugged += d.minutesPlugged / 60;
          expected.hoursSampled += d.minutesSampled / 60;
          ++expected.daysCovered;
        } else if (d.day.starts_with(before)) {
          expected.previousHoursAbove80 = expected.previousHoursAbove80.value_or(0) + d.minutesAbove80() / 60;
        }
      }
      const auto summary = ledger.summary(now, calendar);
      EXPECT_EQ(summary.daysCovered, expected.daysCovered);
      EXPECT_NEAR(summary.hoursAbove80, expected.hoursAbove80, kEpsilon);
      EXPECT_NEAR(summary.hoursPlugged, expected.hoursPlugged, kEpsilon);
      EXPECT_NEAR(summary.hoursSampled, expected.hoursSampled, kEpsilon);
      EXPECT_NEAR(summary.previousHoursAbove80.value_or(-1), expected.previousHoursAbove80.value_or(-1), kEpsilon);
    }
    lastTick = now;
    lastTickDay = today;
  }
  EXPECT_TRUE(trimmed) << "the stream never filled the ledger; make it visit more days";
  EXPECT_EQ(HighChargeLedger::fromJson(ledger.toJson()), ledger);
}

TEST(HighChargeLedgerProperty, EveryClockKeepsRecordsConsistentAndACountingOneKeepsThemInOrder) {
  for (const auto seed : testing::propertySeeds()) {
    for (const bool forward : {true, false}) {
      SCOPED_TRACE(testing::rerunNote(seed) + (forward ? "; a clock that only counts" : "; a clock that goes back"));
      run(seed, forward);
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace batterycore
