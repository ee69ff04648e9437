#include "BatteryCore/health/HealthTrend.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using HealthTrend::Projection;
using HealthTrend::Sample;
using testing::local;
using testing::reading;

const Calendar kUtc = Calendar::utc();
const Date kNow = local(kUtc, 2026, 6, 30);  // midnight: today's sample sits at "now"

// `count` daily samples ending today; the full charge capacity of the sample
// `daysAgo` days before today is fcc(daysAgo).
std::vector<Sample> daily(int count, int design, const std::function<int(int)>& fcc) {
  std::vector<Sample> samples;
  for (int daysAgo = count - 1; daysAgo >= 0; --daysAgo) {
    samples.emplace_back(kUtc.dayKey(kUtc.addingDays(kNow, -daysAgo)), fcc(daysAgo), design, 100);
  }
  return samples;
}

TEST(HealthTrend, HeaderExampleHolds) {
  const Sample s{"2026-03-05", 4600, 5000, 120};
  EXPECT_EQ(HealthTrend::healthPercent(s), 92);
  EXPECT_FALSE(HealthTrend::shouldSample(s, local(kUtc, 2026, 3, 5, 10, 0), kUtc));

  // 95% is 2755 of 2900 mAh, 92% is 2668: three mAh a day over 29 days.
  const auto samples = daily(30, 2900, [](int daysAgo) { return 2668 + 3 * daysAgo; });
  const auto projection = HealthTrend::projection(samples, kNow, kUtc);
  ASSERT_TRUE(projection);
  EXPECT_NEAR(projection->slopePerMonth, -3.15, 0.005);
  EXPECT_NEAR(projection->monthsTo80, 3.8, 0.05);
  EXPECT_EQ(projection->basedOnDays, 30);
}

TEST(HealthTrend, HealthPercentRoundsHalvesAwayFromZero) {
  struct Case {
    int full;
    int design;
    std::optional<int> expected;
  };
  const Case cases[] = {
      {4600, 5000, 92}, {7000, 8000, 88},  // 87.5
      {4024, 5000, 80},                    // 80.48
      {5100, 5000, 102}, {0, 5000, 0},     {4600, 0, std::nullopt}, {4600, -1, std::nullopt},
      {1, 1, 100},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HealthTrend::healthPercent(Sample{"2026-03-05", c.full, c.design, 0}), c.expected)
        << c.full << " of " << c.design;
  }
}

TEST(HealthTrend, SampleTakesTheReadingsDayInTheCalendar) {
  const auto tokyo = Calendar::gregorian("Asia/Tokyo");
  auto snapshot = reading(local(kUtc, 2026, 3, 5, 20, 0), 50, false);  // 05:00 on the 6th in Tokyo
  snapshot.fullChargeCapacity = 4321;
  snapshot.designCapacity = 5000;
  snapshot.cycleCount = 77;
  EXPECT_EQ(Sample(snapshot, tokyo), (Sample{"2026-03-06", 4321, 5000, 77}));
  EXPECT_EQ(Sample(snapshot, kUtc).day, "2026-03-05");
}

TEST(HealthTrend, SamplesOncePerCalendarDay) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Sample last{"2026-03-29", 4600, 5000, 1};
  struct Case {
    const char* what;
    std::optional<Sample> last;
    Date now;
    bool expected;
  };
  const Case cases[] = {
      {"no sample yet", std::nullopt, local(berlin, 2026, 3, 29, 9, 0), true},
      {"same day", last, local(berlin, 2026, 3, 29, 23, 59), false},
      {"just after midnight", last, local(berlin, 2026, 3, 30, 0, 0), true},
      {"clock set back a day", last, local(berlin, 2026, 3, 28, 12, 0), true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HealthTrend::shouldSample(c.last, c.now, berlin), c.expected) << c.what;
  }
}

TEST(HealthTrend, DateParsesDayKeysOnly) {
  EXPECT_EQ(HealthTrend::date("2026-03-05", kUtc), local(kUtc, 2026, 3, 5));
  for (const char* bad : {"", "2026-3-5", "2026-02-30", "2026-13-01", "yesterday", "2026-03-05T10:00"}) {
    EXPECT_EQ(HealthTrend::date(bad, kUtc), std::nullopt) << bad;
  }
}

std::vector<double> percents(const std::vector<HealthTrend::Point>& points) {
  std::vector<double> values;
  for (const auto& point : points) values.push_back(point.percent);
  return values;
}

std::vector<Sample> withHealth(const std::vector<int>& fullOf1000) {
  std::vector<Sample> samples;
  Date day = local(kUtc, 2026, 3, 1);
  for (const int full : fullOf1000) {
    samples.emplace_back(kUtc.dayKey(day), full, full < 0 ? 0 : 1000, 0);
    day = kUtc.addingDays(day, 1);
  }
  return samples;
}

TEST(HealthTrend, SmoothsWithAMedianOfUpToSevenSamples) {
  struct Case {
    const char* what;
    std::vector<int> full;  // of 1000 mAh; a negative value means no design capacity
    std::vector<double> expected;
  };
  const Case cases[] = {
      {"nothing", {}, {}},
      {"one sample", {900}, {90.0}},
      {"two samples: their mean at both", {900, 910}, {90.5, 90.5}},
      {"three samples", {900, 950, 910}, {91.0, 91.0, 91.0}},
      {"a spike is ignored", {900, 900, 900, 990, 900, 900, 900}, {90.0, 90.0, 90.0, 90.0, 90.0, 90.0, 90.0}},
      // At the ends the window shortens: index 0 sees 0...3, index 2 sees 0...5.
      {"shortened at both ends",
       {1000, 990, 980, 970, 960, 950, 940, 930, 920},
       {98.5, 98.0, 97.5, 97.0, 96.0, 95.0, 94.5, 94.0, 93.5}},
      {"a missing design capacity counts as zero", {900, -1}, {45.0, 45.0}},
  };
  for (const auto& c : cases) {
    const auto samples = withHealth(c.full);
    const auto points = HealthTrend::smoothed(samples);
    ASSERT_EQ(points.size(), samples.size()) << c.what;
    const auto values = percents(points);
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_DOUBLE_EQ(values[i], c.expected[i]) << c.what << " at " << i;
      EXPECT_EQ(points[i].day, samples[i].day) << c.what;
    }
  }
}

TEST(HealthTrend, CountsOnlyUsableSamplesOfTheLast180Days) {
  std::vector<Sample> samples{
      {kUtc.dayKey(kUtc.addingDays(kNow, -200)), 4600, 5000, 1},  // too old
      {kUtc.dayKey(kUtc.addingDays(kNow, -180)), 4600, 5000, 1},  // on the window start: not later
      {kUtc.dayKey(kUtc.addingDays(kNow, -179)), 4600, 5000, 1},
      {"not a day", 4600, 5000, 1},
      {kUtc.dayKey(kUtc.addingDays(kNow, -10)), 4600, 0, 1},  // no design capacity
      {kUtc.dayKey(kNow), 4600, 5000, 1},
  };
  EXPECT_EQ(HealthTrend::daysInWindow(samples, kNow, kUtc), 2);
}

TEST(HealthTrend, NeedsThirtySamples) {
  const auto falling = [](int daysAgo) { return 9000 + 20 * daysAgo; };  // 0.2 points a day
  EXPECT_EQ(HealthTrend::projection(daily(29, 10000, falling), kNow, kUtc), std::nullopt);
  const auto projection = HealthTrend::projection(daily(30, 10000, falling), kNow, kUtc);
  ASSERT_TRUE(projection);
  EXPECT_EQ(projection->basedOnDays, 30);
}

TEST(HealthTrend, NeedsAFallOfOnePointAcrossTheSamples) {
  // 2900 mAh design: one mAh is 1/29 of a point, so 29 days of 1 mAh is a
  // fall of exactly 1.0 point, and of 0.9 mAh a day ... of 0.9.
  const auto oneMahADay = daily(30, 2900, [](int daysAgo) { return 2750 + daysAgo; });
  EXPECT_TRUE(HealthTrend::projection(oneMahADay, kNow, kUtc));

  const auto ninthsOfAPoint = daily(30, 29000, [](int daysAgo) { return 27500 + 9 * daysAgo; });
  EXPECT_EQ(HealthTrend::projection(ninthsOfAPoint, kNow, kUtc), std::nullopt);

  // 0.9 points across a whole half year is still too flat: 30 samples six
  // days apart spanning 174 days, 9 mAh of 174,000 a day.
  std::vector<Sample> halfYear;
  for (int daysAgo = 179; daysAgo >= 0; daysAgo -= 6) {
    halfYear.emplace_back(kUtc.dayKey(kUtc.addingDays(kNow, -daysAgo)), 160000 + 9 * daysAgo, 174000, 0);
  }
  EXPECT_EQ(HealthTrend::daysInWindow(halfYear, kNow, kUtc), 30);
  EXPECT_EQ(HealthTrend::projection(halfYear, kNow, kUtc), std::nullopt);
}

TEST(HealthTrend, RisingHealthHasNoProjection) {
  const auto rising = daily(60, 10000, [](int daysAgo) { return 9500 - 10 * daysAgo; });
  EXPECT_EQ(HealthTrend::projection(rising, kNow, kUtc), std::nullopt);
}

TEST(HealthTrend, AllOnOneDayHasNoProjection) {
  const std::vector<Sample> sameDay(40, Sample{kUtc.dayKey(kNow), 4600, 5000, 1});
  EXPECT_EQ(HealthTrend::projection(sameDay, kNow, kUtc), std::nullopt);
}

TEST(HealthTrend, NoProjectionOnceTheFittedLineIsAt80) {
  // From 81% down to exactly 80% today (2900 mAh design, 2320 mAh is 80%).
  const auto toEighty = daily(30, 2900, [](int daysAgo) { return 2320 + daysAgo; });
  EXPECT_EQ(HealthTrend::healthPercent(toEighty.back()), 80);
  EXPECT_EQ(HealthTrend::projection(toEighty, kNow, kUtc), std::nullopt);

  // One mAh (1/29 of a point) higher, the same line reaches 80% in a day.
  const auto aboveEighty = daily(30, 2900, [](int daysAgo) { return 2321 + daysAgo; });
  const auto stillAbove = HealthTrend::projection(aboveEighty, kNow, kUtc);
  ASSERT_TRUE(stillAbove);
  EXPECT_NEAR(stillAbove->monthsTo80, 1.0 / HealthTrend::daysPerMonth, 1e-9);
}

TEST(HealthTrend, FitStaysAccurateOver180Days) {
  // 180 daily samples on an exact line: 0.01 points a day down from 97%.
  std::vector<Sample> samples;
  for (int daysAgo = 179; daysAgo >= 0; --daysAgo) {
    samples.emplace_back(kUtc.dayKey(kUtc.addingDays(kNow, -daysAgo)), 9'600'000 + 1000 * daysAgo,
                         10'000'000, 0);
  }
  const auto projection = HealthTrend::projection(samples, kNow, kUtc);
  ASSERT_TRUE(projection);
  EXPECT_EQ(projection->basedOnDays, 180);
  EXPECT_NEAR(projection->slopePerMonth, -0.01 * HealthTrend::daysPerMonth, 1e-9);
  EXPECT_NEAR(projection->monthsTo80, 16.0 / (0.01 * HealthTrend::daysPerMonth), 1e-6);
}

TEST(HealthTrend, ProjectsFromNowNotFromTheLastSample) {
  // The same samples seen ten days later: the line has fallen further.
  const auto samples = daily(30, 10000, [](int daysAgo) { return 9000 + 10 * daysAgo; });  // 0.1 a day
  const auto today = HealthTrend::projection(samples, kNow, kUtc);
  const auto later = HealthTrend::projection(samples, kUtc.addingDays(kNow, 10), kUtc);
  ASSERT_TRUE(today);
  ASSERT_TRUE(later);
  EXPECT_NEAR(today->monthsTo80 - later->monthsTo80, 10.0 / HealthTrend::daysPerMonth, 1e-9);
}

TEST(HealthTrend, SampleRoundTripsThroughJson) {
  const Sample sample{"2026-03-05", 4600, 5000, 120};
  const Json json = encode(sample);
  EXPECT_EQ(json.dump(), R"({"day":"2026-03-05","fullChargeCapacity":4600,"designCapacity":5000,"cycleCount":120})");
  EXPECT_EQ(decode<Sample>(json), sample);
  Json broken = json;
  broken.erase("cycleCount");
  EXPECT_THROW(decode<Sample>(broken), DecodingError);
}

}  // namespace
}  // namespace batterycore
