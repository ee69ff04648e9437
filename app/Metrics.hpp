// Metrics: what the service knows about the battery, in the Prometheus text
// exposition format, as a file for node_exporter's textfile collector.
//
//   AlertCounts posted;                                  // since the service started
//   countPosted(posted, report.posted);                  // after every tick
//   if (report.attention) tone = report.attention->tone;
//   const auto text = metricsText(monitor.state(), monitor.calendar(), now, tone, posted);
//   writeMetricsFile("/var/lib/prometheus/node-exporter/kestrin.prom", text);  // absent: written
//
//   // a reading at 81%, 4000 of 4500 mAh, the limit on at 80%, holding:
//   // kestrin_battery_charge_ratio 0.81
//   // kestrin_battery_full_charge_capacity_coulombs 14400
//   // kestrin_charge_limit_ratio 0.8
//   // kestrin_attention_tone{tone="holding"} 1
//
// The metrics, in the order they are written:
//   kestrin_battery_reading_timestamp_seconds  when the last reading was taken (Unix time)
//   kestrin_battery_charge_ratio               state of charge, 0 to 1
//   kestrin_battery_health_ratio               full-charge over design capacity
//   kestrin_battery_full_charge_capacity_coulombs
//   kestrin_battery_design_capacity_coulombs
//   kestrin_battery_cycles                     charge cycles the battery reports
//   kestrin_battery_high_charge_seconds        time above 80% this calendar month
//   kestrin_charge_limit_available             1 when the system offers a limit
//   kestrin_charge_limit_enabled               1 when the limit is on
//   kestrin_charge_limit_ratio                 the limit, 0 to 1, only while it is on
//   kestrin_attention_tone{tone="..."}         1 for the current tone, 0 for the others
//   kestrin_alerts_posted_total{kind="..."}    notifications posted, per notifying kind
//
// Units are Prometheus base units: ratios instead of percentages, seconds
// instead of hours, and charge in coulombs (1 mAh is 3.6 C). Not ampere-hours:
// promtool's lint takes "_hours" for a time unit and rejects the name. Label
// values are the stored raw values.
//
// What is not known is left out, not written as 0: everything read from the
// battery needs a reading (the last one persists across restarts, so its
// timestamp tells how fresh it is), a capacity of 0 is no capacity, health
// needs a design capacity, the tone needs a tick. A family without samples is
// not written at all. The counters start from 0 when the service starts,
// which Prometheus takes as a counter reset.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "app/Monitor.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrin::app {

// Notifications posted per kind.
using AlertCounts = std::map<batterycore::BatteryAlert::Kind, std::uint64_t>;

// Adds the alerts a tick posted (TickReport::posted) to `counts`.
void countPosted(AlertCounts& counts, std::span<const batterycore::BatteryAlert> posted);

// One metric family: its name, help text, type and samples.
struct MetricFamily {
  enum class Type { gauge, counter };
  struct Sample {
    std::vector<std::pair<std::string, std::string>> labels;  // name, value; written in this order
    double value = 0;
    friend bool operator==(const Sample&, const Sample&) = default;
  };

  std::string name;
  std::string help;
  Type type = Type::gauge;
  std::vector<Sample> samples;

  friend bool operator==(const MetricFamily&, const MetricFamily&) = default;
};

// The families listed above for this state at `now` (the month of the time
// above 80% is the month of `now` in `calendar`). `tone`: the current
// attention's tone, absent before the first tick.
std::vector<MetricFamily> metricFamilies(const MonitorState& state, const batterycore::Calendar& calendar,
                                         batterycore::Date now, std::optional<batterycore::Attention::Tone> tone,
                                         const AlertCounts& posted);

// The text format: for each family with samples a "# HELP" line, a "# TYPE"
// line and one line per sample, every line ending in a newline. Help texts
// escape backslash and newline; label values escape backslash, double quote
// and newline. Names must already be valid metric and label names.
std::string exposition(std::span<const MetricFamily> families);

// exposition(metricFamilies(...)).
std::string metricsText(const MonitorState& state, const batterycore::Calendar& calendar, batterycore::Date now,
                        std::optional<batterycore::Attention::Tone> tone, const AlertCounts& posted);

// A sample value as the format writes it: the shortest decimal that reads back
// to the same double, whatever the locale; "NaN", "+Inf" and "-Inf".
std::string metricValueText(double value);

// Replaces `path` with `text` so that a reader sees the old file or the new
// one, never a part: the text goes to a hidden temporary in the same folder
// (".kestrin.prom.ab12Cd", which the collector, reading only "*.prom", passes
// over) that is then renamed over `path`. The file is readable by everyone
// (0644), because the collector runs as another user. The folder must exist.
// Absent on success; otherwise why it failed, the old file left as it was.
std::optional<std::string> writeMetricsFile(const std::filesystem::path& path, std::string_view text);

}  // namespace kestrin::app
