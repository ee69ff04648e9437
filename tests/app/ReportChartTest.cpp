// The SVG writer and the chart layer under the health report: round ticks,
// labels that never overlap, escaping and numbers that ignore the locale.
#include "app/report/Chart.hpp"
#include "app/report/Svg.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace kestrin::app::report {
namespace {

using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pointwise;

TEST(RoundScale, StepsOfOneTwoOrFive) {
  auto scale = roundScale(0, 24, 6);
  EXPECT_EQ(scale.step, 5);
  EXPECT_THAT(scale.ticks, ElementsAre(0, 5, 10, 15, 20, 25));

  scale = roundScale(78.4, 100, 6);
  EXPECT_EQ(scale.step, 5);
  EXPECT_EQ(scale.low, 75);
  EXPECT_EQ(scale.high, 100);

  scale = roundScale(0, 0.7, 5);
  EXPECT_DOUBLE_EQ(scale.step, 0.2);
  EXPECT_THAT(scale.ticks, Pointwise(DoubleNear(1e-9), std::vector<double>{0, 0.2, 0.4, 0.6, 0.8}));

  scale = roundScale(0, 1000, 6);
  EXPECT_EQ(scale.step, 200);
  EXPECT_EQ(scale.ticks.size(), 6U);

  // A whole-percent axis never gets steps under one point.
  scale = roundScale(89.6, 90.4, 6, 1);
  EXPECT_EQ(scale.step, 1);
  EXPECT_EQ(scale.low, 89);
  EXPECT_EQ(scale.high, 91);
}

TEST(RoundScale, AFlatRangeStillHasTicks) {
  const auto scale = roundScale(90, 90, 6);
  EXPECT_LT(scale.low, 90);
  EXPECT_GT(scale.high, 90);
  EXPECT_GE(scale.ticks.size(), 2U);
}

TEST(TimeTicks, DaysForAFewWeeksAndMonthStartsForAYear) {
  const auto calendar = batterycore::Calendar::gregorian("Europe/Berlin");
  const auto from = *calendar.date(2026, 3, 2);
  auto ticks = timeTicks(from, *calendar.date(2026, 3, 30), calendar, 8);
  EXPECT_FALSE(ticks.months);
  ASSERT_EQ(ticks.at.size(), 5U);  // weekly
  EXPECT_EQ(calendar.dayKey(ticks.at[1]), "2026-03-09");

  ticks = timeTicks(from, *calendar.date(2027, 3, 1), calendar, 8);
  EXPECT_TRUE(ticks.months);
  ASSERT_FALSE(ticks.at.empty());
  EXPECT_LE(ticks.at.size(), 8U);
  for (const auto at : ticks.at) EXPECT_EQ(calendar.components(at).day, 1);
}

TEST(ChartLabels, CrowdedLabelsAreThinnedSoNoneOverlap) {
  Chart::Frame frame;
  frame.width = 260;
  Chart chart(frame, 0.5, 31.5, 0, 10);
  std::vector<Tick> ticks;
  for (int day = 1; day <= 31; ++day) ticks.push_back({static_cast<double>(day), "Day " + std::to_string(day)});
  chart.xAxis(ticks);

  const auto& labels = chart.xLabels();
  ASSERT_GE(labels.size(), 2U);
  EXPECT_LT(labels.size(), 31U);
  for (std::size_t i = 0; i < labels.size(); ++i) {
    EXPECT_GE(labels[i].left, 0);
    EXPECT_LE(labels[i].right, frame.width);
    if (i > 0) {
      EXPECT_GT(labels[i].left, labels[i - 1].right) << labels[i - 1].text << " / " << labels[i].text;
    }
  }
  EXPECT_EQ(labels.front().text, "Day 1");
}

TEST(ChartLabels, RoomyLabelsAreAllKept) {
  Chart chart({}, 0, 4, 0, 1);
  chart.xAxis({{0, "Jan"}, {1, "Feb"}, {2, "Mar"}, {3, "Apr"}, {4, "May"}});
  EXPECT_EQ(chart.xLabels().size(), 5U);
}

TEST(Svg, EscapesTextAndWritesPointsWhateverTheLocale) {
  const batterycore::testing::UsingLocale german("de_DE");
  const char* previous = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  Svg svg(100.5, 50, "Health & \"more\"", "chart");
  svg.beginGroup("series <a>");
  svg.line(0.125, 1.5, 2.25, -0.001);
  svg.text(10, 20, "5 < 6 & 7 > 3", Svg::Anchor::middle);
  const auto text = svg.str();
  if (previous) std::setlocale(LC_NUMERIC, "C");

  EXPECT_THAT(text, HasSubstr("viewBox=\"0 0 100.5 50\""));
  EXPECT_THAT(text, HasSubstr("aria-label=\"Health &amp; &quot;more&quot;\""));
  EXPECT_THAT(text, HasSubstr("class=\"series &lt;a&gt;\""));
  EXPECT_THAT(text, HasSubstr("x1=\"0.13\" y1=\"1.5\" x2=\"2.25\" y2=\"0\""));
  EXPECT_THAT(text, HasSubstr(">5 &lt; 6 &amp; 7 &gt; 3</text>"));
  EXPECT_THAT(text, HasSubstr("text-anchor=\"middle\""));
  EXPECT_THAT(text, Not(HasSubstr(",5")));
  EXPECT_TRUE(text.ends_with("</g></svg>"));  // the open group is closed
}

}  // namespace
}  // namespace kestrin::app::report
