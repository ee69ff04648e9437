#include "app/views/ReadingTable.hpp"

#include "BatteryCore/readings/PowerFlow.hpp"

#include <algorithm>
#include <cstdio>

namespace kestrin::app {

using namespace batterycore;

std::vector<LabelledReading> decodeReadings(const Json& json) {
  const auto entries = required<std::vector<Json>>(json, "readings");
  std::vector<LabelledReading> readings;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    try {
      readings.push_back({required<std::string>(entries[i], "label"),
                          required<BatterySnapshot>(entries[i], "snapshot")});
    } catch (const DecodingError& error) {
      throw error.within("readings[" + std::to_string(i) + "]");
    }
  }
  return readings;
}

std::string describePhase(const ChargePhase& phase) {
  const std::string percent = phase.percent() ? std::to_string(*phase.percent()) + "%" : "";
  switch (phase.kind()) {
    case ChargePhase::Kind::charging: return "charging to " + percent;
    case ChargePhase::Kind::holding: return "holding at " + percent;
    case ChargePhase::Kind::lowering: return "lowering to " + percent;
    case ChargePhase::Kind::onBattery: return "on battery";
    case ChargePhase::Kind::full: return "full";
  }
  return "";
}

std::string describeLimit(const LimitState& limit) {
  if (const auto active = limit.active()) return "on at " + std::to_string(*active) + "%";
  if (const auto* off = std::get_if<LimitState::Off>(&limit.value())) {
    return off->stored ? "off (was " + std::to_string(*off->stored) + "%)" : "off";
  }
  return "unavailable";
}

namespace {

std::string watts(double w) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.1f W", w);
  return buffer;
}

std::string pad(const std::string& text, std::size_t width) {
  return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

}  // namespace

std::string renderReadingTable(const std::vector<LabelledReading>& readings) {
  const std::vector<std::string> header = {"reading", "battery", "limit", "phase", "mood",
                                           "charger", "Mac uses", "battery flow", "warning"};
  std::vector<std::vector<std::string>> rows;
  for (const auto& [label, s] : readings) {
    const ChargePhase phase = s.phase();
    const PowerFlow flow = PowerFlow::from(s);
    const auto mood = phase.ambient();
    std::string warning = "-";
    if (flow.warning.weak) {
      warning = "weak charger (" + std::to_string(flow.warning.weak->ratedW) + " W rated)";
    }
    rows.push_back({label, std::to_string(s.percent) + "%" + (s.pluggedIn ? " plugged in" : ""),
                    describeLimit(s.limit), describePhase(phase),
                    mood ? std::string(ambientMoodName(*mood)) : "-", watts(flow.fromChargerW),
                    watts(flow.macUsesW), watts(flow.batteryW), warning});
  }
  std::vector<std::size_t> widths(header.size());
  for (std::size_t c = 0; c < header.size(); ++c) {
    widths[c] = header[c].size();
    for (const auto& row : rows) widths[c] = std::max(widths[c], row[c].size());
  }
  auto line = [&](const std::vector<std::string>& cells) {
    std::string out;
    for (std::size_t c = 0; c < cells.size(); ++c) {
      out += c + 1 == cells.size() ? cells[c] : pad(cells[c], widths[c] + 2);
    }
    return out + "\n";
  };
  std::string out = line(header);
  std::vector<std::string> rule;
  for (const auto width : widths) rule.push_back(std::string(width, '-'));
  out += line(rule);
  for (const auto& row : rows) out += line(row);
  return out;
}

}  // namespace kestrin::app
