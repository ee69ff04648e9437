#include "tools/kestrin/DeparturesCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/departures/SmartTopUp.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"

#include <CLI/CLI.hpp>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <chrono>
#include <optional>
#include <ostream>

namespace kestrin::tool {

namespace {

using batterycore::Calendar;
using batterycore::Date;
using batterycore::DepartureLedger;
using batterycore::DepartureModel;
using batterycore::DetailLevel;
namespace Formatting = batterycore::Formatting;
namespace Smart = batterycore::Meaning::Smart;

std::optional<DepartureLedger> readLedger(const std::string& path, std::ostream& err) {
  return decodeJsonFile(path, err, [](const batterycore::Json& json) { return DepartureLedger::fromJson(json); });
}

}  // namespace

bool DeparturesCommand::chosen() const { return command != nullptr && command->parsed(); }

DeparturesCommand addDeparturesCommand(CLI::App& app) {
  auto options = std::make_shared<DeparturesOptions>();
  auto* command = app.add_subcommand("departures", "Show the usual unplug times learned from a departure ledger");
  command->add_option("ledger", options->ledger, "The departure ledger's JSON file")->required();
  command->add_option("--now", options->now, "The moment to look from, ISO 8601 (default: now)");
  command->add_option("--tz", options->timeZone, "The IANA time zone of the calendar (default: the system's)");
  command->add_option("--level", options->level, "The detail level of the texts")
      ->check(CLI::IsMember({"simple", "technical"}));
  command->add_option("--locale", options->locale, "An ICU locale for the texts, such as de_DE");
  return {command, std::move(options)};
}

int runDepartures(const DeparturesOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;

  const auto moment = nowOption(options.now, err);
  if (!moment) return 2;
  const Date now = *moment;
  const auto zoned = calendarOption(options.timeZone, "--tz", err);
  if (!zoned) return 2;
  const Calendar& calendar = *zoned;

  const auto ledger = readLedger(options.ledger, err);
  if (!ledger) return 1;

  const auto level = batterycore::detailLevelFromRaw(options.level).value_or(DetailLevel::simple);
  const auto days = DepartureModel::learned(*ledger, now, calendar);

  out << Smart::header() << "\n" << Smart::learned(days, calendar, level) << "\n";

  const auto departure = DepartureModel::nextDeparture(*ledger, now, calendar);
  if (!departure) return 0;
  out << "\nNext departure: " << Formatting::when(*departure, now, calendar) << "\n"
      << Smart::plansNext(*departure, batterycore::SmartTopUp{}.lead(), calendar, level) << "\n";
  return 0;
}

}  // namespace kestrin::tool
