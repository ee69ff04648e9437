// HealthReport: the battery's health on one page to keep or to show a repair
// shop — a self-contained HTML file with inline SVG charts.
//
//   HealthReportOptions options{.now = now, .calendar = calendar, .level = DetailLevel::simple,
//                               .includeSerial = false, .serialNumber = std::nullopt};
//   std::ofstream(healthReportFileName(now, calendar) + ".html") << healthReportHtml(state, options);
//
// Sections: the figures (health, full-charge and design capacity, cycles, the
// charge limit of the last reading, the serial number when asked for), the
// health over the last 90 days, the last year and all of the history (daily
// samples, the smoothed curve, the fitted line with its time to 80% and the
// service line), and this month's days above 80% beside last month's total.
// An empty history says so instead of drawing empty charts.
//
// Every text comes from the catalogue in the current language, dates and
// numbers in the current locale (ICU's default) and the calendar's zone. The
// page loads nothing: no script, font or image; its print style keeps each
// section on one page and prints no backgrounds.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "app/Monitor.hpp"

#include <optional>
#include <string>

namespace kestrin::app::report {

struct HealthReportOptions {
  batterycore::Date now;
  batterycore::Calendar calendar;
  batterycore::DetailLevel level = batterycore::DetailLevel::simple;
  bool includeSerial = false;
  std::optional<std::string> serialNumber;  // shown only with includeSerial
};

std::string healthReportHtml(const MonitorState& state, const HealthReportOptions& options);

// "Battery Health Report 2026-03-05" in the current language (no extension).
std::string healthReportFileName(batterycore::Date now, const batterycore::Calendar& calendar);

// A date in the current locale from an ICU skeleton ("yMMMd" gives
// "Mar 5, 2026", "5. März 2026"), in the calendar's time zone.
std::string localDate(batterycore::Date date, const batterycore::Calendar& calendar, std::u16string_view skeleton);

}  // namespace kestrin::app::report
