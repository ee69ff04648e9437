#include "tools/kestrin/HealthCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningHealth.hpp"

#include <CLI/CLI.hpp>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <charconv>
#include <chrono>
#include <optional>
#include <ostream>
#include <vector>

namespace kestrin::tool {

namespace {

using batterycore::Calendar;
using batterycore::Date;
using batterycore::DetailLevel;
using batterycore::HighChargeLedger;
using batterycore::Json;
namespace Formatting = batterycore::Formatting;
namespace HealthTrend = batterycore::HealthTrend;
namespace Meaning = batterycore::Meaning;

// The middle of a month is safely inside it in every time zone.
constexpr int kMidMonthDay = 15;
constexpr int kNoon = 12;

// What every report needs: the moment, the calendar and the level.
struct Setting {
  Date now;
  Calendar calendar;
  DetailLevel level;
};

std::optional<Setting> readSetting(const HealthOptions& options, std::ostream& err) {
  if (!useLocale(options.locale, err)) return std::nullopt;
  const auto now = nowOption(options.now, err);
  if (!now) return std::nullopt;
  auto calendar = calendarOption(options.timeZone, "--tz", err);
  if (!calendar) return std::nullopt;
  const auto level = batterycore::detailLevelFromRaw(options.level).value_or(DetailLevel::simple);
  return Setting{*now, std::move(*calendar), level};
}

// Daily samples: an array, or an object holding it under "samples".
std::optional<std::vector<HealthTrend::Sample>> readSamples(const std::string& path, std::ostream& err) {
  return decodeJsonFile(path, err, [](const Json& json) {
    if (json.is_object()) return batterycore::required<std::vector<HealthTrend::Sample>>(json, "samples");
    return batterycore::decode<std::vector<HealthTrend::Sample>>(json);
  });
}

std::optional<HighChargeLedger> readLedger(const std::string& path, std::ostream& err) {
  return decodeJsonFile(path, err, [](const Json& json) { return HighChargeLedger::fromJson(json); });
}

// A moment inside the month "yyyy-MM".
std::optional<Date> midMonth(const std::string& month, const Calendar& calendar) {
  if (month.size() != 7 || month[4] != '-') return std::nullopt;
  int year = 0;
  int number = 0;
  const auto [yearEnd, yearError] = std::from_chars(month.data(), month.data() + 4, year);
  const auto [monthEnd, monthError] = std::from_chars(month.data() + 5, month.data() + 7, number);
  if (yearError != std::errc{} || monthError != std::errc{} || yearEnd != month.data() + 4 ||
      monthEnd != month.data() + 7) {
    return std::nullopt;
  }
  return calendar.date(year, number, kMidMonthDay, kNoon);
}

}  // namespace

int runHealth(const HealthOptions& options, std::ostream& out, std::ostream& err) {
  const auto setting = readSetting(options, err);
  if (!setting) return 2;
  const auto samples = readSamples(options.file, err);
  if (!samples) return 1;
  if (samples->empty()) {
    err << "kestrin: " << options.file << " holds no samples\n";
    return 1;
  }

  const auto& latest = samples->back();
  const auto percent = HealthTrend::healthPercent(latest);
  const auto line = Meaning::health(percent, latest.cycleCount, setting->level);
  out << Meaning::Health::tabTitle() << "\n\n" << line.title << "\n" << line.detail << "\n";
  if (!percent) return 0;

  const auto projection = HealthTrend::projection(*samples, setting->now, setting->calendar);
  const int days = HealthTrend::daysInWindow(*samples, setting->now, setting->calendar);
  out << "\n" << Meaning::healthProjection(projection, *percent, days, setting->level) << "\n";
  if (projection && *percent >= HealthTrend::serviceThreshold) {
    out << Meaning::projectionCaveat() << "\n";
  }
  return 0;
}

int runHabits(const HealthOptions& options, std::ostream& out, std::ostream& err) {
  const auto setting = readSetting(options, err);
  if (!setting) return 2;
  Date when = setting->now;
  if (!options.month.empty()) {
    const auto month = midMonth(options.month, setting->calendar);
    if (!month) {
      err << "kestrin: --month " << options.month << " is not a month (yyyy-MM)\n";
      return 2;
    }
    when = *month;
  }
  const auto ledger = readLedger(options.file, err);
  if (!ledger) return 1;

  const auto summary = ledger->summary(when, setting->calendar);
  const auto card = Meaning::highCharge(summary, setting->level);
  out << Meaning::Habits::title() << "\n"
      << Formatting::monthYear(setting->calendar.dayKey(when)) << "\n\n"
      << card.title << "\n"
      << card.detail << "\n\n"
      << Meaning::highChargePanel(summary, setting->level) << "\n";

  const auto days = ledger->daysInMonthOf(when, setting->calendar);
  if (!days.empty()) {
    out << "\n" << Meaning::Habits::chartLabel() << "\n";
    for (const auto& day : days) {
      out << "  " << day.day << "  " << Meaning::Habits::legendAbove80() << " "
          << Formatting::hours(day.minutesAbove80() / 60.0) << ", " << Meaning::Habits::legendPlugged()
          << " " << Formatting::hours(day.minutesPlugged / 60.0) << "\n";
    }
  }
  out << "\n" << Meaning::habitsFootnote(setting->level) << "\n";
  return 0;
}

bool HealthCommands::chosen() const {
  return (health != nullptr && health->parsed()) || (habits != nullptr && habits->parsed());
}

int HealthCommands::run(std::ostream& out, std::ostream& err) const {
  if (health != nullptr && health->parsed()) return runHealth(*options, out, err);
  return runHabits(*options, out, err);
}

HealthCommands addHealthCommands(CLI::App& app) {
  auto options = std::make_shared<HealthOptions>();
  auto common = [&](CLI::App* command) {
    command->add_option("--now", options->now, "The moment to look from, ISO 8601 (default: now)");
    command->add_option("--tz", options->timeZone, "The IANA time zone of the calendar (default: the system's)");
    command->add_option("--level", options->level, "The detail level of the texts")
        ->check(CLI::IsMember({"simple", "technical"}));
    command->add_option("--locale", options->locale, "An ICU locale for the texts, such as de_DE");
  };
  auto* health = app.add_subcommand("health", "Show battery health and its projection to 80% from daily samples");
  health->add_option("samples", options->file, "The JSON file of daily health samples")->required();
  common(health);
  auto* habits = app.add_subcommand("habits", "Show a month of time above 80% from a high-charge ledger");
  habits->add_option("ledger", options->file, "The high-charge ledger's JSON file")->required();
  habits->add_option("--month", options->month, "The month to show, yyyy-MM (default: this month)");
  common(habits);
  return {health, habits, std::move(options)};
}

}  // namespace kestrin::tool
