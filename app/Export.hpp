// Export: the history as tables for other tools — spreadsheets, pandas, jq.
//
//   const auto table = habitsTable(state.highCharge);
//   toCsv(table)    // "day,minutesAbove80Plugged,...\r\n2026-03-02,125.5,0,480,600\r\n"
//   toJson(table)   // [{"day":"2026-03-02","minutesAbove80Plugged":125.5,...}]
//
// CSV as RFC 4180 has it: a header row, CRLF after every row, and a field
// holding a comma, a double quote, CR or LF in double quotes with its quotes
// doubled. Numbers always use "." whatever the locale, in the shortest form
// that reads back to the same double; day keys stay as they are ("yyyy-MM-dd")
// and moments are UTC ISO 8601 ("2026-03-02T08:20:00Z"). An absent value is an
// empty field in CSV and null in JSON; the JSON is one array of objects with
// the same columns, in order.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrin::app {

// What can be exported: the daily health samples, the time above 80% per day,
// the alerts list.
enum class ExportSubject { health, habits, alerts };
enum class ExportFormat { csv, json };

std::optional<ExportSubject> exportSubjectFromRaw(std::string_view raw);
std::optional<ExportFormat> exportFormatFromRaw(std::string_view raw);

struct ExportTable {
  // Absent, text, a whole number, or a number with a fraction.
  using Value = std::variant<std::monostate, std::string, long long, double>;

  std::vector<std::string> columns;
  std::vector<std::vector<Value>> rows;  // each as long as `columns`
};

// day, fullChargeCapacity, designCapacity, cycleCount, healthPercent (absent
// when the design capacity is not reported), one row per sample in stored order.
ExportTable healthTable(const std::vector<batterycore::HealthTrend::Sample>& samples);
// day, minutesAbove80Plugged, minutesAbove80Unplugged, minutesPlugged, minutesSampled.
ExportTable habitsTable(const batterycore::HighChargeLedger& ledger);
// at, kind, title, body, technicalBody; oldest first, as the list keeps them.
ExportTable alertsTable(const std::vector<batterycore::BatteryAlert>& alerts);

// The shortest text with "." that reads back as `value`; empty for NaN and infinities.
std::string exportNumber(double value);
// One CSV field, quoted when it must be.
std::string csvField(std::string_view text);

std::string toCsv(const ExportTable& table);
batterycore::Json toJson(const ExportTable& table);

}  // namespace kestrin::app
