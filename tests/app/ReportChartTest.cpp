// The chart layer under the health report: round ticks, labels that never
// overlap, escaping and numbers that ignore the locale.
#include "app/report/Chart.hpp"
#include "app/report/Svg.hpp"

#include "tests/common/UsingLocale.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>

namespace kestrin::app::report {
namespace {

using namespace ::testing;

TEST(ReportChart, RoundScalesStepByOneTwoOrFiveOverTheWholeRange) {
  const struct {
    double low, high;
    int maxTicks;
    double minStep;
    std::vector<double> lowHighStepTicksFirstLast;
  } cases[] = {
      {0, 24, 6, 0, {0, 25, 5, 6, 0, 25}},
      {78.4, 100, 6, 0, {75, 100, 5, 6, 75, 100}},
      {0, 0.7, 5, 0, {0, 0.8, 0.2, 5, 0, 0.8}},
      {0, 1000, 6, 0, {0, 1000, 200, 6, 0, 1000}},
      {89.6, 90.4, 6, 1, {89, 91, 1, 3, 89, 91}},  // a whole-percent axis: no step under one
      {90, 90, 6, 0, {85, 95, 5, 3, 85, 95}},      // a flat range still has ticks
  };
  for (const auto& c : cases) {
    const auto s = roundScale(c.low, c.high, c.maxTicks, c.minStep);
    const std::vector<double> got{s.low, s.high, s.step, static_cast<double>(s.ticks.size()),
                                  s.ticks.empty() ? -1 : s.ticks.front(), s.ticks.empty() ? -1 : s.ticks.back()};
    EXPECT_THAT(got, Pointwise(DoubleNear(1e-9), c.lowHighStepTicksFirstLast)) << c.low << " ... " << c.high;
  }
}

TEST(ReportChart, CrowdedLabelsAreThinnedSoNoneOverlapAndRoomyOnesAllKept) {
  Chart chart({.width = 260}, 0.5, 31.5, 0, 10);
  std::vector<Tick> ticks;
  for (int day = 1; day <= 31; ++day) ticks.push_back({static_cast<double>(day), "Day " + std::to_string(day)});
  chart.xAxis(ticks);
  const auto& labels = chart.xLabels();
  ASSERT_GE(labels.size(), 2U);
  EXPECT_LT(labels.size(), 31U);
  EXPECT_EQ(labels.front().text, "Day 1");
  for (std::size_t i = 0; i < labels.size(); ++i) {
    EXPECT_TRUE(labels[i].left >= 0 && labels[i].right <= 260 && (i == 0 || labels[i].left > labels[i - 1].right))
        << labels[i].text;
  }
  Chart roomy({}, 0, 4, 0, 1);
  roomy.xAxis({{0, "Jan"}, {1, "Feb"}, {2, "Mar"}, {3, "Apr"}, {4, "May"}});
  EXPECT_EQ(roomy.xLabels().size(), 5U);
}

TEST(ReportChart, SvgEscapesTextAndWritesPointsWhateverTheLocale) {
  const batterycore::testing::UsingLocale german("de_DE");
  const char* previous = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  Svg svg(100.5, 50, "Health & \"more\"", "chart");
  svg.beginGroup("series <a>");
  svg.line(0.125, 1.5, 2.25, -0.001);
  svg.text(10, 20, "5 < 6 & 7 > 3", Svg::Anchor::middle);
  const auto text = svg.str();
  if (previous) std::setlocale(LC_NUMERIC, "C");
  EXPECT_THAT(text, AllOf(HasSubstr("viewBox=\"0 0 100.5 50\""),
                          HasSubstr("aria-label=\"Health &amp; &quot;more&quot;\""),
                          HasSubstr("class=\"series &lt;a&gt;\""),
                          HasSubstr("x1=\"0.13\" y1=\"1.5\" x2=\"2.25\" y2=\"0\""),
                          HasSubstr(">5 &lt; 6 &amp; 7 &gt; 3</text>"), HasSubstr("text-anchor=\"middle\""),
                          Not(HasSubstr(",5")), EndsWith("</g></svg>")));  // the open group is closed
}

}  // namespace
}  // namespace kestrin::app::report
