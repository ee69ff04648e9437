// Battery health: the daily samples, the projection to 80% and the alert on
// each new low.
#include "BatteryCore/health/HealthMilestone.hpp"
#include "BatteryCore/health/HealthTrend.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using HealthTrend::Sample;
using testing::local;

const Calendar kUtc = Calendar::utc();
const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");
const Date kNow = local(kUtc, 2026, 6, 30);  // midnight: today's sample sits at "now"

// `count` samples `every` days apart ending today; the full charge capacity of
// the sample `daysAgo` days before today is fcc(daysAgo).
template <class Fcc>
std::vector<Sample> samples(int count, int design, Fcc fcc, int every = 1) {
  std::vector<Sample> result;
  for (int daysAgo = (count - 1) * every; daysAgo >= 0; daysAgo -= every) {
    result.emplace_back(kUtc.dayKey(kUtc.addingDays(kNow, -daysAgo)), fcc(daysAgo), design, 100);
  }
  return result;
}

TEST(HealthTrend, SamplesOncePerCalendarDayAndRoundsHealth) {
  const std::pair<Sample, std::optional<int>> health[] = {
      {{"d", 4600, 5000, 0}, 92}, {{"d", 7000, 8000, 0}, 88}, {{"d", 4024, 5000, 0}, 80}, {{"d", 5100, 5000, 0}, 102},
      {{"d", 0, 5000, 0}, 0}, {{"d", 1, 1, 0}, 100}, {{"d", 4600, 0, 0}, std::nullopt}};  // halves away from zero
  for (const auto& [sample, percent] : health) {
    EXPECT_EQ(HealthTrend::healthPercent(sample), percent) << sample.fullChargeCapacity;
  }

  auto snapshot = testing::reading(local(kUtc, 2026, 3, 5, 20, 0), 50, false);  // 05:00 on the 6th in Tokyo
  snapshot.fullChargeCapacity = 4321;
  snapshot.cycleCount = 77;
  EXPECT_EQ(Sample(snapshot, Calendar::gregorian("Asia/Tokyo")), (Sample{"2026-03-06", 4321, 5000, 77}));
  EXPECT_EQ(Sample(snapshot, kUtc).day, "2026-03-05");

  const Sample last{"2026-03-29", 4600, 5000, 1};
  EXPECT_TRUE(HealthTrend::shouldSample(std::nullopt, local(kBerlin, 2026, 3, 29, 9), kBerlin));
  EXPECT_FALSE(HealthTrend::shouldSample(last, local(kBerlin, 2026, 3, 29, 23, 59), kBerlin));
  EXPECT_TRUE(HealthTrend::shouldSample(last, local(kBerlin, 2026, 3, 30), kBerlin));
  EXPECT_TRUE(HealthTrend::shouldSample(last, local(kBerlin, 2026, 3, 28, 12), kBerlin)) << "clock set back a day";

  EXPECT_EQ(HealthTrend::date("2026-03-05", kUtc), local(kUtc, 2026, 3, 5));
  for (const char* bad : {"", "2026-3-5", "2026-02-30", "2026-13-01", "yesterday", "2026-03-05T10:00"}) {
    EXPECT_EQ(HealthTrend::date(bad, kUtc), std::nullopt) << bad;
  }
}

TEST(HealthTrend, SmoothsWithAMedianOfUpToSevenSamples) {
  // Full charge capacity of 1000 mAh design; a negative value means no design capacity, counted as zero.
  // At the ends the window shortens: index 0 sees 0...3, index 2 sees 0...5.
  const std::pair<std::vector<int>, std::vector<double>> cases[] = {
      {{}, {}}, {{900}, {90.0}}, {{900, 910}, {90.5, 90.5}}, {{900, -1}, {45.0, 45.0}},
      {{900, 900, 900, 990, 900, 900, 900}, {90, 90, 90, 90, 90, 90, 90}},
      {{1000, 990, 980, 970, 960, 950, 940, 930, 920}, {98.5, 98.0, 97.5, 97.0, 96.0, 95.0, 94.5, 94.0, 93.5}}};
  for (const auto& [full, expected] : cases) {
    std::vector<Sample> samples;
    for (const int f : full) samples.emplace_back(std::to_string(samples.size()), f, f < 0 ? 0 : 1000, 0);
    const auto points = HealthTrend::smoothed(samples);
    ASSERT_EQ(points.size(), samples.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
      EXPECT_EQ(points[i].day, samples[i].day);
      EXPECT_DOUBLE_EQ(points[i].percent, expected[i]) << full.size() << " samples, at " << i;
    }
  }
}

TEST(HealthTrend, CountsOnlyUsableSamplesOfTheLast180Days) {
  const auto day = [](int daysAgo) { return kUtc.dayKey(kUtc.addingDays(kNow, -daysAgo)); };
  const std::vector<Sample> window{{day(200), 4600, 5000, 1}, {day(180), 4600, 5000, 1},  // too old; on the start
                                   {day(179), 4600, 5000, 1}, {"not a day", 4600, 5000, 1},
                                   {day(10), 4600, 0, 1},  // no design capacity
                                   {day(0), 4600, 5000, 1}};
  EXPECT_EQ(HealthTrend::daysInWindow(window, kNow, kUtc), 2);
}

// A projection needs 30 usable samples, a fall of at least one point across
// them, and a fitted line still above 80% now.
TEST(HealthTrend, ProjectsOnlyAClearFallThatHasNotReached80) {
  const auto falling = [](int daysAgo) { return 9000 + 20 * daysAgo; };  // 0.2 points a day
  const struct { const char* what; std::vector<Sample> samples; bool projected; } cases[] = {
      {"29 samples", samples(29, 10000, falling), false},
      {"30 samples", samples(30, 10000, falling), true},
      // One mAh of 2900 is 1/29 of a point: 29 days of it is a fall of exactly one point.
      {"a fall of one point", samples(30, 2900, [](int d) { return 2750 + d; }), true},
      {"a fall of 0.9 points", samples(30, 29000, [](int d) { return 27500 + 9 * d; }), false},
      {"0.9 points over half a year", samples(30, 174000, [](int d) { return 160000 + 9 * d; }, 6), false},
      {"rising", samples(60, 10000, [](int d) { return 9500 - 10 * d; }), false},
      {"all on one day", std::vector<Sample>(40, Sample{kUtc.dayKey(kNow), 4600, 5000, 1}), false},
      // 2320 of 2900 mAh is exactly 80%.
      {"down to 80% today", samples(30, 2900, [](int d) { return 2320 + d; }), false},
      {"one mAh above 80% today", samples(30, 2900, [](int d) { return 2321 + d; }), true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HealthTrend::projection(c.samples, kNow, kUtc).has_value(), c.projected) << c.what;
  }

  const auto aboveEighty = HealthTrend::projection(samples(30, 2900, [](int d) { return 2321 + d; }), kNow, kUtc);
  EXPECT_NEAR(aboveEighty->monthsTo80, 1.0 / HealthTrend::daysPerMonth, 1e-9) << "reaches 80% in a day";
}

TEST(HealthTrend, FitIsExactOver180DaysAndProjectsFromNow) {
  // 180 daily samples on an exact line: 0.01 points a day down from 97%.
  const auto line = samples(180, 10'000'000, [](int daysAgo) { return 9'600'000 + 1000 * daysAgo; });
  const auto today = HealthTrend::projection(line, kNow, kUtc);
  ASSERT_TRUE(today);
  EXPECT_EQ(today->basedOnDays, 180);
  EXPECT_NEAR(today->slopePerMonth, -0.01 * HealthTrend::daysPerMonth, 1e-9);
  EXPECT_NEAR(today->monthsTo80, 16.0 / (0.01 * HealthTrend::daysPerMonth), 1e-6);
  // The same samples seen ten days later (the oldest ten have left the window): the line has fallen further.
  const auto later = HealthTrend::projection(line, kUtc.addingDays(kNow, 10), kUtc);
  ASSERT_TRUE(later);
  EXPECT_NEAR(today->monthsTo80 - later->monthsTo80, 10.0 / HealthTrend::daysPerMonth, 1e-9);
}

TEST(HealthMilestone, AlertsOnEachNewLowWithItsStatus) {
  const testing::UsingLocale english("en_US");
  const Date march1 = local(kBerlin, 2026, 3, 1, 9, 0);
  const Date may10 = local(kBerlin, 2026, 5, 10, 9, 0);
  auto state = HealthMilestone::step(std::nullopt, 92, march1, kBerlin);
  EXPECT_EQ(state.next, (HealthMilestone{92, march1}));
  EXPECT_FALSE(state.alert) << "the first look only remembers";
  for (const int percent : {92, 93, 95}) {
    const auto step = HealthMilestone::step(state.next, percent, may10, kBerlin);
    EXPECT_FALSE(step.alert) << percent;
    EXPECT_EQ(step.next, state.next) << "the reference only moves down";
  }
  const struct { int from, to; Date since; const char* body; } cases[] = {
      {92, 91, march1, "Down 1 points since Mar 1. Normal wear."},
      {92, 89, march1, "Down 3 points since Mar 1. Showing its age, still fine."},
      {96, 95, march1, "Down 1 points since Mar 1. Like new."},
      {95, 94, march1, "Down 1 points since Mar 1. Normal wear."},
      {90, 89, march1, "Down 1 points since Mar 1. Showing its age, still fine."},
      {81, 80, march1, "Down 1 points since Mar 1. Showing its age, still fine."},
      {80, 79, march1, "Down 1 points since Mar 1. Below 80%. Apple recommends a battery service at this point."},
      {93, 91, local(kBerlin, 2026, 1, 1, 0, 30), "Down 2 points since Jan 1. Normal wear."},
      {93, 91, local(kBerlin, 2025, 12, 31, 23, 30), "Down 2 points since Dec 31, 2025. Normal wear."},
  };
  for (const auto& c : cases) {
    const auto step = HealthMilestone::step(HealthMilestone{c.from, c.since}, c.to, may10, kBerlin);
    ASSERT_TRUE(step.alert) << c.from << " to " << c.to;
    EXPECT_EQ(*step.alert, (BatteryAlert{BatteryAlert::Kind::healthMilestone, may10,
                                         "Battery health: " + std::to_string(c.to) + "%", c.body, std::nullopt}));
    EXPECT_EQ(step.next, (HealthMilestone{c.to, may10}));
  }
  // 23:30 on December 31 in Berlin is already 2026 in Tokyo: the day is the user's.
  const auto tokyo = HealthMilestone::step(HealthMilestone{93, local(kBerlin, 2025, 12, 31, 23, 30)}, 92, may10,
                                           Calendar::gregorian("Asia/Tokyo"));
  EXPECT_EQ(tokyo.alert->body, "Down 1 points since Jan 1. Normal wear.");
}

}  // namespace
}  // namespace batterycore
