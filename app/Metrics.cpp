#include "app/Metrics.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "KestrinWidget/SharedContainer.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <system_error>

namespace kestrin::app {

using batterycore::AlertPolicy;
using batterycore::Attention;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using Sample = MetricFamily::Sample;

namespace {

constexpr double kSecondsPerHour = 3600;
// 1 mAh is 3.6 C; multiplied first so that whole milliampere-hours stay exact.
constexpr double kMillicoulombsPerMilliampereHour = 3600;
constexpr double kMillicoulombsPerCoulomb = 1000;

MetricFamily gauge(std::string name, std::string help) {
  return MetricFamily{std::move(name), std::move(help), MetricFamily::Type::gauge, {}};
}

MetricFamily single(std::string name, std::string help, std::optional<double> value) {
  auto family = gauge(std::move(name), std::move(help));
  if (value) family.samples.push_back(Sample{{}, *value});
  return family;
}

std::optional<double> coulombs(int milliampereHours) {
  if (milliampereHours <= 0) return std::nullopt;
  return milliampereHours * kMillicoulombsPerMilliampereHour / kMillicoulombsPerCoulomb;
}

std::optional<double> healthRatio(const BatterySnapshot& reading) {
  if (reading.designCapacity <= 0 || reading.fullChargeCapacity <= 0) return std::nullopt;
  return static_cast<double>(reading.fullChargeCapacity) / reading.designCapacity;
}

double flag(bool on) { return on ? 1 : 0; }

void appendEscaped(std::string& out, std::string_view text, bool quotes) {
  for (const char c : text) {
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '"':
        out += quotes ? "\\\"" : "\"";
        break;
      default: out += c;
    }
  }
}

std::string_view typeName(MetricFamily::Type type) {
  return type == MetricFamily::Type::counter ? "counter" : "gauge";
}

}  // namespace

void countPosted(AlertCounts& counts, std::span<const BatteryAlert> posted) {
  for (const auto& alert : posted) ++counts[alert.kind];
}

std::vector<MetricFamily> metricFamilies(const MonitorState& state, const Calendar& calendar, Date now,
                                         std::optional<Attention::Tone> tone, const AlertCounts& posted) {
  const auto& reading = state.last;
  const auto fromReading = [&](auto read) -> std::optional<double> {
    if (!reading) return std::nullopt;
    return read(*reading);
  };

  std::vector<MetricFamily> families;
  families.push_back(single("kestrin_battery_reading_timestamp_seconds",
                            "When the last battery reading was taken, in seconds since 1970.",
                            fromReading([](const BatterySnapshot& r) { return batterycore::secondsSince1970(r.at); })));
  families.push_back(single("kestrin_battery_charge_ratio", "State of charge of the battery, from 0 to 1.",
                            fromReading([](const BatterySnapshot& r) { return r.percent / 100.0; })));
  families.push_back(single("kestrin_battery_health_ratio",
                            "Full-charge capacity over design capacity; 1 is as new.",
                            fromReading([](const BatterySnapshot& r) { return healthRatio(r); })));
  families.push_back(single("kestrin_battery_full_charge_capacity_coulombs",
                            "Charge the battery holds when full, in coulombs (1 mAh is 3.6 C).",
                            fromReading([](const BatterySnapshot& r) { return coulombs(r.fullChargeCapacity); })));
  families.push_back(single("kestrin_battery_design_capacity_coulombs",
                            "Charge the battery was designed to hold, in coulombs (1 mAh is 3.6 C).",
                            fromReading([](const BatterySnapshot& r) { return coulombs(r.designCapacity); })));
  families.push_back(single("kestrin_battery_cycles", "Charge cycles the battery reports.",
                            fromReading([](const BatterySnapshot& r) { return double(r.cycleCount); })));
  families.push_back(single("kestrin_battery_high_charge_seconds",
                            "Time spent above 80% charge in the current calendar month, in seconds.",
                            state.highCharge.summary(now, calendar).hoursAbove80 * kSecondsPerHour));
  families.push_back(single("kestrin_charge_limit_available",
                            "1 when the system offers a charge limit, 0 when it does not.",
                            fromReading([](const BatterySnapshot& r) { return flag(r.limit.isAvailable()); })));
  families.push_back(single("kestrin_charge_limit_enabled", "1 when the charge limit is on, 0 when it is not.",
                            fromReading([](const BatterySnapshot& r) { return flag(r.limit.isOn()); })));
  families.push_back(single("kestrin_charge_limit_ratio",
                            "The charge limit while it is on, from 0 to 1.",
                            fromReading([](const BatterySnapshot& r) -> std::optional<double> {
                              if (const auto limit = r.limit.active()) return *limit / 100.0;
                              return std::nullopt;
                            })));

  auto tones = gauge("kestrin_attention_tone",
                     "1 for the tone of what Kestrin shows first (its colour family), 0 for the others.");
  if (tone) {
    for (const auto each : Attention::allTones) {
      tones.samples.push_back(Sample{{{"tone", std::string(Attention::rawValue(each))}}, flag(each == *tone)});
    }
  }
  families.push_back(std::move(tones));

  MetricFamily alerts{"kestrin_alerts_posted_total", "Notifications posted since the service started, by kind.",
                      MetricFamily::Type::counter, {}};
  for (const auto kind : BatteryAlert::allCases) {
    const auto count = posted.find(kind);
    // Kinds that only go to the alerts list are never posted; one counted
    // anyway is still shown rather than lost.
    if (!AlertPolicy::notifies(kind) && count == posted.end()) continue;
    alerts.samples.push_back(Sample{{{"kind", std::string(BatteryAlert::rawValue(kind))}},
                                    count == posted.end() ? 0.0 : static_cast<double>(count->second)});
  }
  families.push_back(std::move(alerts));
  return families;
}

std::string metricValueText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
  std::array<char, 32> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  // 32 characters hold the shortest form of every finite double.
  if (error != std::errc{}) return "NaN";
  return std::string(buffer.data(), end);
}

std::string exposition(std::span<const MetricFamily> families) {
  std::string out;
  for (const auto& family : families) {
    if (family.samples.empty()) continue;
    out += "# HELP " + family.name + " ";
    appendEscaped(out, family.help, false);
    out += "\n# TYPE " + family.name + " ";
    out += typeName(family.type);
    out += '\n';
    for (const auto& sample : family.samples) {
      out += family.name;
      if (!sample.labels.empty()) {
        out += '{';
        bool first = true;
        for (const auto& [name, value] : sample.labels) {
          if (!first) out += ',';
          first = false;
          out += name + "=\"";
          appendEscaped(out, value, true);
          out += '"';
        }
        out += '}';
      }
      out += ' ';
      out += metricValueText(sample.value);
      out += '\n';
    }
  }
  return out;
}

std::string metricsText(const MonitorState& state, const Calendar& calendar, Date now,
                        std::optional<Attention::Tone> tone, const AlertCounts& posted) {
  return exposition(metricFamilies(state, calendar, now, tone, posted));
}

std::optional<std::string> writeMetricsFile(const std::filesystem::path& path, std::string_view text) {
  // The collector reads it as another user; its folder is the collector's.
  return widget::replaceFile(path, text, {.durable = false, .mode = 0644, .createFolders = false});
}

}  // namespace kestrin::app
