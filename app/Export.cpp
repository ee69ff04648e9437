#include "app/Export.hpp"

#include "BatteryCore/foundation/Date.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace kestrin::app {

using batterycore::Json;

std::optional<ExportSubject> exportSubjectFromRaw(std::string_view raw) {
  if (raw == "health") return ExportSubject::health;
  if (raw == "habits") return ExportSubject::habits;
  if (raw == "alerts") return ExportSubject::alerts;
  return std::nullopt;
}

std::optional<ExportFormat> exportFormatFromRaw(std::string_view raw) {
  if (raw == "csv") return ExportFormat::csv;
  if (raw == "json") return ExportFormat::json;
  return std::nullopt;
}

ExportTable healthTable(const std::vector<batterycore::HealthTrend::Sample>& samples) {
  ExportTable table{.columns = {"day", "fullChargeCapacity", "designCapacity", "cycleCount", "healthPercent"},
                    .rows = {}};
  for (const auto& sample : samples) {
    const auto percent = batterycore::HealthTrend::healthPercent(sample);
    table.rows.push_back({sample.day, static_cast<long long>(sample.fullChargeCapacity),
                          static_cast<long long>(sample.designCapacity), static_cast<long long>(sample.cycleCount),
                          percent ? ExportTable::Value(static_cast<long long>(*percent)) : ExportTable::Value()});
  }
  return table;
}

ExportTable habitsTable(const batterycore::HighChargeLedger& ledger) {
  ExportTable table{.columns = {"day", "minutesAbove80Plugged", "minutesAbove80Unplugged", "minutesPlugged",
                                "minutesSampled"},
                    .rows = {}};
  for (const auto& day : ledger.days) {
    table.rows.push_back(
        {day.day, day.minutesAbove80Plugged, day.minutesAbove80Unplugged, day.minutesPlugged, day.minutesSampled});
  }
  return table;
}

ExportTable alertsTable(const std::vector<batterycore::BatteryAlert>& alerts) {
  ExportTable table{.columns = {"at", "kind", "title", "body", "technicalBody"}, .rows = {}};
  for (const auto& alert : alerts) {
    table.rows.push_back({batterycore::toIso8601(alert.at), std::string(batterycore::BatteryAlert::rawValue(alert.kind)),
                          alert.title, alert.body,
                          alert.technicalBody ? ExportTable::Value(*alert.technicalBody) : ExportTable::Value()});
  }
  return table;
}

std::string exportNumber(double value) {
  if (!std::isfinite(value)) return {};
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

std::string csvField(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

namespace {

std::string csvValue(const ExportTable::Value& value) {
  struct Visitor {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(const std::string& text) const { return csvField(text); }
    std::string operator()(long long number) const { return std::to_string(number); }
    std::string operator()(double number) const { return exportNumber(number); }
  };
  return std::visit(Visitor{}, value);
}

Json jsonValue(const ExportTable::Value& value) {
  struct Visitor {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(const std::string& text) const { return text; }
    Json operator()(long long number) const { return number; }
    Json operator()(double number) const { return std::isfinite(number) ? Json(number) : Json(nullptr); }
  };
  return std::visit(Visitor{}, value);
}

void appendRow(std::string& out, const std::vector<std::string>& fields) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) out += ',';
    out += fields[i];
  }
  out += "\r\n";
}

}  // namespace

std::string toCsv(const ExportTable& table) {
  std::string out;
  std::vector<std::string> fields;
  for (const auto& column : table.columns) fields.push_back(csvField(column));
  appendRow(out, fields);
  for (const auto& row : table.rows) {
    fields.clear();
    for (const auto& value : row) fields.push_back(csvValue(value));
    appendRow(out, fields);
  }
  return out;
}

Json toJson(const ExportTable& table) {
  Json array = Json::array();
  for (const auto& row : table.rows) {
    Json object = Json::object();
    for (std::size_t i = 0; i < table.columns.size() && i < row.size(); ++i) object[table.columns[i]] = jsonValue(row[i]);
    array.push_back(std::move(object));
  }
  return array;
}

}  // namespace kestrin::app
