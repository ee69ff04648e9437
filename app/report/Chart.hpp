// Chart: axes with round ticks and labels that never overlap, and series of
// points, lines and bars drawn on them, written as SVG.
//
//   const auto scale = roundScale(78.4, 100, 6);          // 80, 85 ... 100 over 75 ... 100
//   Chart chart({}, 0, 90, scale.low, scale.high, "Battery health over time");
//   chart.yAxis(ticksOf(scale, [](double v) { return Formatting::percent(v); }));
//   chart.xAxis({{0, "Mar 2"}, {30, "Apr 1"}, {61, "May 2"}});
//   chart.points(samples, "sample");
//   chart.line(curve, "curve");
//   chart.referenceLine(80, "Apple recommends service at 80%", "service");
//   page += chart.svg();
//
// Values are in data units (x often days); the chart maps them to the plot
// area inside the frame's margins. Drawing happens in call order, so axes go
// first and notes last. Labels are measured by an estimate of their width;
// a label that would touch the one kept before it, or leave the drawing, is
// dropped, so the labels kept never overlap.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "app/report/Svg.hpp"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app::report {

// Evenly spaced round values (steps of 1, 2 or 5 times a power of ten) that
// cover low ... high with at most `maxTicks` ticks; `low`/`high` widened to
// the outer ticks. `minStep` keeps steps from getting finer than that.
struct Scale {
  double low = 0;
  double high = 1;
  double step = 1;
  std::vector<double> ticks;
};
Scale roundScale(double low, double high, int maxTicks, double minStep = 0);

struct Tick {
  double value = 0;
  std::string label;
};
std::vector<Tick> ticksOf(const Scale& scale, const std::function<std::string(double)>& label);

// Ticks on a time axis: whole days (1, 2, 7 or 14 apart) or first days of
// months (1, 2, 3, 6 or 12 apart), the finest that gives at most `maxTicks`
// within from ... to. `months` tells which kind, so labels can say "Mar 2026"
// or "Mar 5".
struct TimeTicks {
  std::vector<batterycore::Date> at;
  bool months = false;
};
TimeTicks timeTicks(batterycore::Date from, batterycore::Date to, const batterycore::Calendar& calendar,
                    int maxTicks);

// The horizontal extent a label takes, for the overlap check.
struct LabelBox {
  double left = 0;
  double right = 0;
  std::string text;
};
// An estimate of a text's width at a font size, generous for digits and
// capitals (counted in characters, not bytes).
double textWidth(std::string_view text, double fontSize);
// Which boxes stay when each must keep `gap` from the one kept before it and
// lie within 0 ... width: the indexes kept, in order.
std::vector<std::size_t> nonOverlapping(std::span<const LabelBox> boxes, double gap, double width);

class Chart {
 public:
  struct Frame {
    double width = 720;
    double height = 240;
    double left = 56;
    double right = 20;
    double top = 26;
    double bottom = 30;
    double fontSize = 11;
  };

  Chart(Frame frame, double xLow, double xHigh, double yLow, double yHigh, std::string_view label = {});

  // Data to drawing coordinates.
  double x(double value) const;
  double y(double value) const;
  double plotLeft() const { return frame_.left; }
  double plotRight() const { return frame_.width - frame_.right; }
  double plotTop() const { return frame_.top; }
  double plotBottom() const { return frame_.height - frame_.bottom; }

  // Tick marks and labels under the plot (labels centred on their ticks).
  void xAxis(const std::vector<Tick>& ticks);
  // Grid lines across the plot with labels to its left.
  void yAxis(const std::vector<Tick>& ticks);
  // A title for the values, over the labels of the value axis.
  void yTitle(std::string_view title);

  // Dots at the points inside the x range.
  void points(std::span<const Svg::Point> data, std::string_view className, double radius = 2);
  // A line through the points inside the x range.
  void line(std::span<const Svg::Point> data, std::string_view className);
  // Bars from 0 up to each value, `width` in x units, shifted by `offset`.
  void bars(std::span<const Svg::Point> data, double width, double offset, std::string_view className);
  // A horizontal line across the plot at a value, its label above its right end.
  void referenceLine(double value, std::string_view label, std::string_view className);
  // A text at a point in data units.
  void note(double xValue, double yValue, std::string_view text, Svg::Anchor anchor, std::string_view className);

  // The boxes of the x labels drawn, left to right (for checks).
  const std::vector<LabelBox>& xLabels() const { return xLabels_; }

  std::string svg() const { return svg_.str(); }

 private:
  bool insideX(double value) const { return value >= xLow_ && value <= xHigh_; }
  Frame frame_;
  double xLow_;
  double xHigh_;
  double yLow_;
  double yHigh_;
  Svg svg_;
  std::vector<LabelBox> xLabels_;
};

}  // namespace kestrin::app::report
