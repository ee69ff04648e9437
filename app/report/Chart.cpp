#include "app/report/Chart.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrin::app::report {

using batterycore::Calendar;
using batterycore::Date;

Scale roundScale(double low, double high, int maxTicks, double minStep) {
  if (!std::isfinite(low) || !std::isfinite(high)) low = high = 0;
  if (high < low) std::swap(low, high);
  if (high == low) {
    const double pad = low == 0 ? 1 : std::abs(low) * 0.05;
    low -= pad;
    high += pad;
  }
  maxTicks = std::max(maxTicks, 2);
  // The smallest 1-2-5 step that fits the range into maxTicks ticks.
  const double rough = (high - low) / (maxTicks - 1);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power;
  for (int i = 0; i < 12; ++i) {
    step = power * std::pow(10.0, i / 3) * std::array<double, 3>{1.0, 2.0, 5.0}[i % 3];
    if (std::ceil(high / step - 1e-9) - std::floor(low / step + 1e-9) + 1 <= maxTicks) break;
  }
  if (step < minStep) step = minStep;
  Scale scale;
  scale.step = step;
  scale.low = std::floor(low / step + 1e-9) * step;
  scale.high = std::ceil(high / step - 1e-9) * step;
  const auto count = static_cast<long>(std::llround((scale.high - scale.low) / step));
  for (long i = 0; i <= count; ++i) {
    double value = scale.low + static_cast<double>(i) * step;
    // 0.1 + 0.2 stays 0.3 on the page.
    value = std::round(value / step) * step;
    if (value == 0.0) value = 0.0;
    scale.ticks.push_back(value);
  }
  return scale;
}

std::vector<Tick> ticksOf(const Scale& scale, const std::function<std::string(double)>& label) {
  std::vector<Tick> ticks;
  for (const double value : scale.ticks) ticks.push_back({value, label(value)});
  return ticks;
}

TimeTicks timeTicks(Date from, Date to, const Calendar& calendar, int maxTicks) {
  TimeTicks result;
  if (!(to > from)) return result;
  maxTicks = std::max(maxTicks, 1);
  const double days = batterycore::secondsBetween(from, to) / 86400.0;
  for (const int step : {1, 2, 7, 14}) {
    if (days / step + 1 > maxTicks) continue;
    for (Date at = calendar.startOfDay(from); at <= to; at = calendar.addingDays(at, step)) {
      if (at >= from) result.at.push_back(at);
    }
    return result;
  }
  result.months = true;
  const auto first = calendar.components(from);
  for (const int step : {1, 2, 3, 6, 12}) {
    if (days / (30.4375 * step) + 1 > maxTicks && step != 12) continue;
    // Months aligned to the step: every quarter starts in January, April ...
    int month = first.month;
    int year = first.year;
    auto start = calendar.date(year, month, 1);
    while (start && (*start < from || (month - 1) % step != 0)) {
      if (++month > 12) {
        month = 1;
        ++year;
      }
      start = calendar.date(year, month, 1);
    }
    for (int i = 0; start; ++i) {
      const Date at = calendar.addingMonths(*start, i * step);
      if (at > to) break;
      result.at.push_back(at);
    }
    return result;
  }
  return result;
}

double textWidth(std::string_view text, double fontSize) {
  double width = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80) continue;  // inside a character
    width += (byte >= 0xE3) ? 1.0 : 0.62;  // wide scripts take a full em
  }
  return width * fontSize;
}

std::vector<std::size_t> nonOverlapping(std::span<const LabelBox> boxes, double gap, double width) {
  std::vector<std::size_t> kept;
  double lastRight = -1e300;
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    const auto& box = boxes[i];
    if (box.left < 0 || box.right > width) continue;
    if (box.left < lastRight + gap) continue;
    kept.push_back(i);
    lastRight = box.right;
  }
  return kept;
}

Chart::Chart(Frame frame, double xLow, double xHigh, double yLow, double yHigh, std::string_view label)
    : frame_(frame),
      xLow_(xLow),
      xHigh_(xHigh > xLow ? xHigh : xLow + 1),
      yLow_(yLow),
      yHigh_(yHigh > yLow ? yHigh : yLow + 1),
      svg_(frame.width, frame.height, label, "chart") {}

double Chart::x(double value) const {
  return plotLeft() + (value - xLow_) / (xHigh_ - xLow_) * (plotRight() - plotLeft());
}

double Chart::y(double value) const {
  return plotBottom() - (value - yLow_) / (yHigh_ - yLow_) * (plotBottom() - plotTop());
}

void Chart::xAxis(const std::vector<Tick>& ticks) {
  svg_.beginGroup("axis x");
  svg_.line(plotLeft(), plotBottom(), plotRight(), plotBottom(), "baseline");
  std::vector<LabelBox> boxes;
  std::vector<double> positions;
  for (const auto& tick : ticks) {
    if (!insideX(tick.value)) continue;
    const double at = x(tick.value);
    svg_.line(at, plotBottom(), at, plotBottom() + 4, "tick");
    const double half = textWidth(tick.label, frame_.fontSize) / 2;
    boxes.push_back({at - half, at + half, tick.label});
    positions.push_back(at);
  }
  const double labelY = plotBottom() + 6 + frame_.fontSize;
  for (const auto index : nonOverlapping(boxes, frame_.fontSize * 0.6, frame_.width)) {
    svg_.text(positions[index], labelY, boxes[index].text, Svg::Anchor::middle, "label");
    xLabels_.push_back(boxes[index]);
  }
  svg_.endGroup();
}

void Chart::yAxis(const std::vector<Tick>& ticks) {
  svg_.beginGroup("axis y");
  double lastY = 1e300;
  for (const auto& tick : ticks) {
    if (tick.value < yLow_ || tick.value > yHigh_) continue;
    const double at = y(tick.value);
    svg_.line(plotLeft(), at, plotRight(), at, "grid");
    // Labels go upwards; one closer than a line's height to the last is left out.
    if (lastY - at < frame_.fontSize * 1.2) continue;
    svg_.text(plotLeft() - 6, at + frame_.fontSize * 0.35, tick.label, Svg::Anchor::end, "label");
    lastY = at;
  }
  svg_.endGroup();
}

void Chart::yTitle(std::string_view title) {
  svg_.text(4, frame_.fontSize, title, Svg::Anchor::start, "axis-title");
}

void Chart::points(std::span<const Svg::Point> data, std::string_view className, double radius) {
  svg_.beginGroup(className);
  for (const auto& point : data) {
    if (insideX(point.x)) svg_.circle(x(point.x), y(point.y), radius);
  }
  svg_.endGroup();
}

void Chart::line(std::span<const Svg::Point> data, std::string_view className) {
  std::vector<Svg::Point> drawn;
  for (const auto& point : data) {
    if (insideX(point.x)) drawn.push_back({x(point.x), y(point.y)});
  }
  if (drawn.size() == 1) drawn.push_back(drawn.front());
  svg_.polyline(drawn, className);
}

void Chart::bars(std::span<const Svg::Point> data, double width, double offset, std::string_view className) {
  svg_.beginGroup(className);
  const double base = y(std::max(yLow_, 0.0));
  for (const auto& point : data) {
    if (!insideX(point.x)) continue;
    const double left = x(point.x + offset - width / 2);
    const double right = x(point.x + offset + width / 2);
    const double top = y(std::min(point.y, yHigh_));
    svg_.rect(left, top, right - left, base - top);
  }
  svg_.endGroup();
}

void Chart::referenceLine(double value, std::string_view label, std::string_view className) {
  if (value < yLow_ || value > yHigh_) return;
  svg_.beginGroup(className);
  const double at = y(value);
  svg_.line(plotLeft(), at, plotRight(), at);
  if (!label.empty()) svg_.text(plotRight() - 2, at - 4, label, Svg::Anchor::end, "label");
  svg_.endGroup();
}

void Chart::note(double xValue, double yValue, std::string_view text, Svg::Anchor anchor,
                 std::string_view className) {
  svg_.text(x(xValue), y(yValue), text, anchor, className);
}

}  // namespace kestrin::app::report
