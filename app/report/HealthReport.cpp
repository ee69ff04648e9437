#include "app/report/HealthReport.hpp"

#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningHealth.hpp"
#include "app/report/Chart.hpp"
#include "app/report/Svg.hpp"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace kestrin::app::report {

using batterycore::Calendar;
using batterycore::Date;
using batterycore::DetailLevel;
using batterycore::HealthTrend::Sample;
namespace Formatting = batterycore::Formatting;
namespace HealthTrend = batterycore::HealthTrend;
namespace Meaning = batterycore::Meaning;

namespace {

constexpr double kDay = 86400.0;

// Everything the page looks like. Light colours on white, no backgrounds to
// print, charts as wide as the page.
constexpr const char* kStyle = R"css(
:root { color-scheme: light; }
body { margin: 0; background: #fff; color: #1d1d1f;
  font: 15px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif; }
main { max-width: 52rem; margin: 0 auto; padding: 2rem 1.5rem; }
h1 { font-size: 1.75rem; margin: 0 0 .25rem; }
h2 { font-size: 1.2rem; margin: 0 0 .75rem; }
h3 { font-size: 1rem; margin: .5rem 0 .25rem; color: #444; }
.meta { color: #555; margin: 0 0 1.5rem; }
section { border-top: 1px solid #ddd; padding: 1rem 0 .5rem; break-inside: avoid; page-break-inside: avoid; }
figure { margin: 0 0 1rem; break-inside: avoid; page-break-inside: avoid; }
.headline { font-size: 1.35rem; font-weight: 600; margin: 0 0 .25rem; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .3rem 1.5rem; margin: .75rem 0; }
dt { color: #555; }
dd { margin: 0; font-weight: 600; }
.note, .empty { color: #555; }
.empty { font-style: italic; }
.habits { display: flex; gap: 1.5rem; align-items: flex-start; }
.habits figure { flex: 1 1 auto; min-width: 0; }
.habits dl { flex: 0 0 auto; grid-template-columns: max-content; }
.legend { margin: .25rem 0 0; padding: 0; list-style: none; display: flex; gap: 1.25rem; color: #444; font-size: .9rem; }
.swatch { display: inline-block; width: .8em; height: .8em; margin-right: .35em; vertical-align: -.05em; }
.swatch.above80 rect { fill: #d9822b; }
.swatch.plugged rect { fill: #9cc3e6; }
svg.chart { display: block; width: 100%; height: auto; }
.chart text { font-size: 11px; fill: #444; font-family: inherit; }
.chart .axis-title { fill: #666; }
.chart .grid { stroke: #e6e6e6; stroke-width: 1; }
.chart .baseline, .chart .tick { stroke: #999; stroke-width: 1; }
.chart .sample circle { fill: #9cc3e6; }
.chart .curve { fill: none; stroke: #1f6fb5; stroke-width: 2; }
.chart .projection { fill: none; stroke: #d9822b; stroke-width: 2; stroke-dasharray: 6 4; }
.chart .projection-label { fill: #b0651c; }
.chart .service line { stroke: #c0392b; stroke-width: 1.2; stroke-dasharray: 3 3; }
.chart .service text { fill: #c0392b; }
.chart .above80 rect { fill: #d9822b; }
.chart .plugged rect { fill: #9cc3e6; }
footer { border-top: 1px solid #ddd; padding-top: .75rem; color: #555; font-size: .85rem; }
@page { margin: 15mm; }
@media print {
  body { font-size: 10.5pt; }
  main { max-width: none; padding: 0; }
  h2, h3 { break-after: avoid; page-break-after: avoid; }
  .habits { display: block; }
}
)css";

std::string htmlLang() {
  std::string name = Formatting::localeName();
  const auto at = name.find('@');
  if (at != std::string::npos) name.erase(at);
  std::replace(name.begin(), name.end(), '_', '-');
  return name.empty() ? "en" : name;
}

std::string tag(std::string_view element, std::string_view text, std::string_view className = {}) {
  std::string out = "<" + std::string(element);
  if (!className.empty()) out += " class=\"" + escapeXml(className) + "\"";
  return out + ">" + escapeXml(text) + "</" + std::string(element) + ">\n";
}

// A small square in a series' colour, for a legend.
std::string swatch(std::string_view className) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 10 10\" class=\"swatch " + escapeXml(className) +
         "\" aria-hidden=\"true\"><rect width=\"10\" height=\"10\"/></svg>";
}

std::string capacity(int mAh) {
  return Meaning::format("report.capacity", "%@ mAh", {Formatting::decimal(mAh, 0)});
}

// Health in percent, unrounded; absent without a design capacity.
std::optional<double> healthOf(const Sample& sample) {
  if (sample.designCapacity < 1) return std::nullopt;
  return static_cast<double>(sample.fullChargeCapacity) / sample.designCapacity * 100.0;
}

// The first day of the history: the oldest health sample or day counted at
// high charge.
std::optional<Date> historyStart(const MonitorState& state, const Calendar& calendar) {
  std::optional<std::string> first;
  if (!state.health.empty()) first = state.health.front().day;
  if (!state.highCharge.days.empty() && (!first || state.highCharge.days.front().day < *first)) {
    first = state.highCharge.days.front().day;
  }
  if (!first) return std::nullopt;
  return calendar.startOfDay(std::string_view(*first));
}

std::string limitLine(const MonitorState& state) {
  if (state.last) {
    if (const auto percent = state.last->limit.active()) {
      return Meaning::format("report.limit.on", "Charge limit: on at %@", {Formatting::percent(*percent)});
    }
    if (state.last->limit.isOff()) return Meaning::text("report.limit.off", "Charge limit: off");
  }
  return Meaning::text("report.limit.unknown", "Charge limit: unknown");
}

std::string figuresSection(const MonitorState& state, const HealthReportOptions& options) {
  const std::string notRecorded = Meaning::text("report.notRecorded", "Not recorded");
  std::optional<Sample> latest;
  if (!state.health.empty()) latest = state.health.back();
  else if (state.last) latest = Sample(*state.last, options.calendar);
  const auto percent = latest ? HealthTrend::healthPercent(*latest) : std::nullopt;

  std::string out = "<section class=\"figures\">\n";
  out += tag("h2", Meaning::text("report.section.figures", "Figures"));
  if (percent) {
    const auto line = Meaning::health(percent, latest->cycleCount, options.level);
    out += tag("p", line.title, "headline");
    out += tag("p", line.detail);
  } else {
    out += tag("p", Meaning::text("report.healthTitleUnknown", "Battery health unknown"), "headline");
    if (latest) out += tag("p", Meaning::Health::unknown());
  }

  out += "<dl>\n";
  const auto row = [&out](const std::string& term, const std::string& value) {
    out += tag("dt", term) + tag("dd", value);
  };
  row(Meaning::text("report.healthLabel", "Health"),
      percent ? Formatting::percent(*percent) : Meaning::text("report.healthUnknown", "Unknown"));
  row(Meaning::Health::figureFull(), latest ? capacity(latest->fullChargeCapacity) : notRecorded);
  row(Meaning::Health::figureDesign(),
      !latest ? notRecorded
              : latest->designCapacity >= 1 ? capacity(latest->designCapacity) : Meaning::Health::notReported());
  std::string cycles = notRecorded;
  if (latest) {
    const int rated = state.last ? state.last->designCycleCount : 0;
    cycles = rated > 0 ? Meaning::format("report.cyclesOf", "%lld of %lld", {latest->cycleCount, rated})
                       : Formatting::decimal(latest->cycleCount, 0);
  }
  row(Meaning::text("report.cycleCount", "Cycle count"), cycles);
  if (options.includeSerial) {
    row(Meaning::text("report.serialNumber", "Serial number"),
        options.serialNumber && !options.serialNumber->empty() ? *options.serialNumber : notRecorded);
  }
  out += "</dl>\n";
  out += tag("p", limitLine(state));
  out += tag("p", Meaning::text("report.definition",
                                "Health is full charge capacity over design capacity, rounded, the same definition "
                                "as Apple's Maximum Capacity."),
             "note");
  out += "</section>\n";
  return out;
}

// Labels of a time axis from `from`, in days since `from`.
std::vector<Tick> timeAxis(Date from, Date to, const Calendar& calendar, int maxTicks) {
  const auto ticks = timeTicks(from, to, calendar, maxTicks);
  std::vector<Tick> out;
  for (const Date at : ticks.at) {
    out.push_back({batterycore::secondsBetween(from, at) / kDay,
                   localDate(at, calendar, ticks.months ? std::u16string_view(u"yMMM") : u"MMMd")});
  }
  return out;
}

std::string healthChart(const std::vector<Sample>& samples, const std::optional<HealthTrend::Projection>& projection,
                        Date from, const HealthReportOptions& options) {
  const Calendar& calendar = options.calendar;
  const Date now = options.now;
  const double span = std::max(batterycore::secondsBetween(from, now) / kDay, 1.0);
  const auto xOf = [&](Date at) { return batterycore::secondsBetween(from, at) / kDay; };

  std::vector<Svg::Point> dots;
  std::vector<Svg::Point> curve;
  const auto smoothed = HealthTrend::smoothed(samples);
  double low = 80;
  double high = 100;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto health = healthOf(samples[i]);
    const auto start = calendar.startOfDay(std::string_view(samples[i].day));
    if (!health || !start) continue;
    const double x = xOf(*start);
    if (x < 0 || x > span) continue;
    dots.push_back({x, *health});
    curve.push_back({x, smoothed[i].percent});
    low = std::min(low, *health);
    high = std::max(high, *health);
  }

  // The fitted line over the projection's window, as far as this chart shows it.
  std::vector<Svg::Point> fitted;
  if (projection) {
    const double slopePerDay = projection->slopePerMonth / HealthTrend::daysPerMonth;
    const double healthNow = 80.0 - projection->slopePerMonth * projection->monthsTo80;
    const double windowStart = std::max(xOf(calendar.addingDays(now, -HealthTrend::windowDays)), 0.0);
    for (const double x : {windowStart, span}) fitted.push_back({x, healthNow + slopePerDay * (x - span)});
    for (const auto& point : fitted) {
      low = std::min(low, point.y);
      high = std::max(high, point.y);
    }
  }

  const auto scale = roundScale(low - 1, high, 6, 1);
  Chart chart({}, 0, span, scale.low, scale.high, Meaning::Health::chartLabel());
  chart.yAxis(ticksOf(scale, [](double value) { return Formatting::percent(value); }));
  chart.yTitle(Meaning::Health::chartAxis());
  chart.xAxis(timeAxis(from, now, calendar, 8));
  chart.referenceLine(80, Meaning::Health::serviceLine(), "service");
  chart.points(dots, "sample", 2);
  chart.line(curve, "curve");
  if (projection) {
    chart.line(fitted, "projection");
    const std::string until = projection->monthsTo80 < 3 ? Meaning::text("projection.fewMonths", "a few months")
                                                          : Formatting::span(projection->monthsTo80);
    chart.note(span, fitted.back().y + (scale.high - scale.low) * 0.04, until, Svg::Anchor::end, "projection-label");
  }
  return chart.svg();
}

std::string healthSection(const MonitorState& state, const HealthReportOptions& options) {
  std::string out = "<section class=\"health\">\n";
  out += tag("h2", Meaning::text("report.section.chart", "Health over time"));
  const auto& samples = state.health;
  const bool any = std::any_of(samples.begin(), samples.end(), [](const Sample& s) { return healthOf(s).has_value(); });
  if (!any) {
    out += tag("p", Meaning::text("empty.health", "No health history yet. A reading is taken once a day."), "empty");
    return out + "</section>\n";
  }
  const Calendar& calendar = options.calendar;
  const Date now = options.now;
  const auto projection = HealthTrend::projection(samples, now, calendar);
  const Date first = calendar.startOfDay(std::string_view(samples.front().day)).value_or(now);

  struct Range {
    std::string label;
    Date from;
  };
  const std::vector<Range> ranges{
      {Meaning::Health::range90Days(), calendar.addingDays(now, -90)},
      {Meaning::Health::range1Year(), calendar.addingMonths(now, -12)},
      {Meaning::Health::rangeAll(), std::min(first, calendar.addingDays(now, -1))},
  };
  for (const auto& range : ranges) {
    out += "<figure class=\"range\">\n";
    out += tag("h3", range.label);
    out += healthChart(samples, projection, range.from, options) + "\n";
    out += "</figure>\n";
  }
  out += tag("p", Meaning::text("report.chartCaption", "Daily health, smoothed over a week."), "note");
  const auto percent = HealthTrend::healthPercent(samples.back());
  out += tag("p", Meaning::healthProjection(projection, percent.value_or(0),
                                            HealthTrend::daysInWindow(samples, now, calendar), options.level));
  if (projection) out += tag("p", Meaning::projectionCaveat(), "note");
  return out + "</section>\n";
}

std::string habitsSection(const MonitorState& state, const HealthReportOptions& options) {
  const Calendar& calendar = options.calendar;
  const Date now = options.now;
  std::string out = "<section class=\"high-charge\">\n";
  out += tag("h2", Meaning::text("report.section.highCharge", "Time at high charge"));
  const auto days = state.highCharge.daysInMonthOf(now, calendar);
  const auto summary = state.highCharge.summary(now, calendar);
  if (days.empty() && !summary.previousHoursAbove80) {
    out += tag("p", Meaning::text("empty.habits", "Nothing counted yet. Check back tomorrow."), "empty");
    return out + "</section>\n";
  }

  out += "<div class=\"habits\">\n";
  if (days.empty()) {
    out += tag("p", Meaning::text("empty.habits", "Nothing counted yet. Check back tomorrow."), "empty");
  } else {
    const auto parts = calendar.components(now);
    const Date monthStart = calendar.date(parts.year, parts.month, 1).value_or(calendar.startOfDay(now));
    const int length = calendar.daysBetween(monthStart, calendar.addingMonths(monthStart, 1));
    std::vector<Svg::Point> above;
    std::vector<Svg::Point> plugged;
    double most = 1;
    for (const auto& day : days) {
      const auto fields = batterycore::parseDayKey(day.day);
      if (!fields) continue;
      above.push_back({static_cast<double>(fields->day), day.minutesAbove80() / 60.0});
      plugged.push_back({static_cast<double>(fields->day), day.minutesPlugged / 60.0});
      most = std::max({most, day.minutesAbove80() / 60.0, day.minutesPlugged / 60.0});
    }
    const auto scale = roundScale(0, most, 6, 1);
    Chart::Frame frame;
    frame.height = 200;
    Chart chart(frame, 0.5, length + 0.5, 0, scale.high, Meaning::Habits::chartLabel());
    chart.yAxis(ticksOf(scale, [](double value) { return Formatting::hours(value); }));
    chart.yTitle(Meaning::Habits::chartAxis());
    std::vector<Tick> dayTicks;
    for (int day = 1; day <= length; ++day) dayTicks.push_back({static_cast<double>(day), Formatting::decimal(day, 0)});
    chart.xAxis(dayTicks);
    chart.bars(plugged, 0.4, 0.2, "plugged");
    chart.bars(above, 0.4, -0.2, "above80");

    out += "<figure>\n";
    out += tag("h3", Meaning::Habits::chartLabel());
    out += chart.svg() + "\n";
    out += "<ul class=\"legend\"><li>" + swatch("above80") + "" + escapeXml(Meaning::Habits::legendAbove80()) +
           "</li><li>" + swatch("plugged") + "" + escapeXml(Meaning::Habits::legendPlugged()) +
           "</li></ul>\n";
    out += "</figure>\n";
  }

  out += "<dl>\n";
  out += tag("dt", Meaning::Habits::thisMonth());
  out += tag("dd", Meaning::format("report.month.soFar", "%@ (so far)",
                                   {Meaning::format("report.month.above80", "%@ above 80%%",
                                                    {Formatting::hours(summary.hoursAbove80)})}));
  out += tag("dd", Meaning::format("report.month.plugged", "%@ plugged in", {Formatting::hours(summary.hoursPlugged)}));
  out += tag("dt", Meaning::Habits::lastMonth());
  out += tag("dd", summary.previousHoursAbove80
                       ? Meaning::format("report.month.above80", "%@ above 80%%",
                                         {Formatting::hours(*summary.previousHoursAbove80)})
                       : Meaning::text("report.notRecorded", "Not recorded"));
  out += "</dl>\n</div>\n";
  out += tag("p", Meaning::habitsFootnote(options.level), "note");
  return out + "</section>\n";
}

}  // namespace

std::string localDate(Date date, const Calendar& calendar, std::u16string_view skeleton) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale = icu::Locale::getDefault();
  std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(locale, status));
  if (U_FAILURE(status)) return calendar.dayKey(date);
  const auto pattern =
      generator->getBestPattern(icu::UnicodeString(skeleton.data(), static_cast<int32_t>(skeleton.size())), status);
  icu::SimpleDateFormat format(pattern, locale, status);
  if (U_FAILURE(status)) return calendar.dayKey(date);
  format.adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(calendar.timeZone())));
  icu::UnicodeString text;
  format.format(batterycore::secondsSince1970(date) * 1000.0, text);
  text.findAndReplace(icu::UnicodeString(static_cast<UChar>(0x202F)), icu::UnicodeString(u' '));
  std::string out;
  text.toUTF8String(out);
  return out;
}

std::string healthReportFileName(Date now, const Calendar& calendar) {
  return Meaning::format("report.fileName", "Battery Health Report %@", {calendar.dayKey(now)});
}

std::string healthReportHtml(const MonitorState& state, const HealthReportOptions& options) {
  const std::string title = Meaning::text("report.title", "Battery health report");
  std::string out = "<!DOCTYPE html>\n<html lang=\"" + escapeXml(htmlLang()) + "\">\n<head>\n<meta charset=\"utf-8\">\n";
  out += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
  out += tag("title", title);
  out += "<style>" + std::string(kStyle) + "</style>\n</head>\n<body>\n<main>\n<header>\n";
  out += tag("h1", title);
  if (const auto since = historyStart(state, options.calendar)) {
    out += tag("p", Meaning::format("report.watchedSince", "Watched since %@",
                                    {localDate(*since, options.calendar, u"yMMMd")}),
               "meta");
  }
  out += "</header>\n";
  out += figuresSection(state, options);
  out += healthSection(state, options);
  out += habitsSection(state, options);
  out += "<footer>\n";
  out += tag("p", Meaning::format("report.footer", "Made with Kestrin on %@. Figures as reported by macOS.",
                                  {localDate(options.now, options.calendar, u"yMMMd")}));
  out += "</footer>\n</main>\n</body>\n</html>\n";
  return out;
}

}  // namespace kestrin::app::report
