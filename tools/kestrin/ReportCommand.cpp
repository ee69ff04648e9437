#include "tools/kestrin/ReportCommand.hpp"
#include "tools/kestrin/SimulateCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"
#include "tools/kestrin/Resources.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "app/Monitor.hpp"
#include "app/Settings.hpp"
#include "app/StoredState.hpp"
#include "app/live/SysfsBattery.hpp"
#include "app/report/HealthReport.hpp"
#include "app/simulation/Simulation.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <ostream>

namespace kestrin::tool {

namespace fs = std::filesystem;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::DetailLevel;

namespace {

// The battery's serial number as the kernel shows it; absent when it does not.
std::optional<std::string> batterySerial() {
  app::live::SysfsBattery battery;
  const auto folder = battery.batteryFolder();
  if (!folder) return std::nullopt;
  std::ifstream file(*folder / "serial_number");
  std::string serial;
  if (!std::getline(file, serial)) return std::nullopt;
  while (!serial.empty() && (serial.back() == ' ' || serial.back() == '\r')) serial.pop_back();
  if (serial.empty()) return std::nullopt;
  return serial;
}

struct Loaded {
  app::MonitorState state;
  app::Settings settings;
  Date end;
  std::string timeZone;
};

std::optional<Loaded> simulated(const ReportOptions& options, std::ostream& err) {
  const auto folder = scenarioFolder("kestrin");
  const auto loaded = loadScenario(options.scenario, folder ? folder->string() : std::string(), err);
  if (!loaded) return std::nullopt;
  const auto& scenario = *loaded;
  app::simulation::SimulationOptions simulation;
  simulation.days = options.days;
  simulation.tick = batterycore::Seconds{options.tickSeconds};
  if (!options.timeZone.empty()) simulation.timeZone = options.timeZone;
  app::simulation::Simulation run(scenario, simulation);
  run.run([](const app::simulation::SimulationEvent&) {});
  return Loaded{run.monitor().state(), run.monitor().settings(), run.end() - batterycore::Seconds{1},
                run.battery().calendar().timeZone()};
}

}  // namespace

bool ReportCommand::chosen() const { return command != nullptr && command->parsed(); }

int runReport(const ReportOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  if (!options.stateFolder.empty() && !options.scenario.empty()) {
    err << "kestrin: give --state or --simulate, not both\n";
    return 2;
  }
  if (options.days && (*options.days < 1 || *options.days > 3660)) {
    err << "kestrin: --days is between 1 and 3660\n";
    return 2;
  }
  if (!(options.tickSeconds >= 1 && options.tickSeconds <= 3600)) {
    err << "kestrin: --tick is between 1 and 3600 seconds\n";
    return 2;
  }
  std::optional<Date> now;
  if (!options.now.empty()) {
    now = batterycore::parseIso8601(options.now);
    if (!now) {
      err << "kestrin: --now " << options.now << " is not an ISO 8601 date-time\n";
      return 2;
    }
  }
  if (!options.timeZone.empty() && !knownTimeZone(options.timeZone)) {
    err << "kestrin: --time-zone " << options.timeZone << " is not a time zone\n";
    return 2;
  }
  std::optional<DetailLevel> chosenLevel;
  if (!options.level.empty()) {
    chosenLevel = batterycore::detailLevelFromRaw(options.level);
    if (!chosenLevel) {
      err << "kestrin: --level must be simple or technical, not " << options.level << "\n";
      return 2;
    }
  }

  Loaded loaded;
  std::optional<std::string> serial;
  if (!options.scenario.empty()) {
    auto simulation = simulated(options, err);
    if (!simulation) return 1;
    loaded = std::move(*simulation);
  } else {
    const auto folder = stateFolderOrDefault(options.stateFolder);
    if (!folder) {
      err << "kestrin: no folder for the states; give --state DIR\n";
      return 2;
    }
    auto stored = readServiceState(*folder, !options.locale.empty(), err);
    if (!stored) return 1;
    loaded.settings = std::move(stored->settings);
    loaded.state = std::move(stored->state);
    loaded.end = std::chrono::time_point_cast<batterycore::Seconds>(std::chrono::system_clock::now());
    loaded.timeZone = options.timeZone.empty() ? systemTimeZone() : options.timeZone;
    if (options.includeSerial) serial = batterySerial();
  }

  const DetailLevel level = chosenLevel.value_or(loaded.settings.level);
  const app::report::HealthReportOptions report{
      .now = now.value_or(loaded.end),
      .calendar = Calendar::gregorian(loaded.timeZone, batterycore::Formatting::localeName()),
      .level = level,
      .includeSerial = options.includeSerial,
      .serialNumber = serial,
  };
  const std::string html = app::report::healthReportHtml(loaded.state, report);

  const fs::path target = options.out.empty()
                              ? fs::current_path() / (app::report::healthReportFileName(report.now, report.calendar) + ".html")
                              : fs::path(options.out);
  if (!writeFileText(target, html, err)) return 1;
  out << target.string() << "\n";
  return 0;
}

ReportCommand addReportCommand(CLI::App& app) {
  ReportCommand command;
  command.options = std::make_shared<ReportOptions>();
  auto& o = *command.options;
  command.command = app.add_subcommand("report", "The battery health report as one HTML file, with charts");
  command.command->add_option("--state", o.stateFolder, "The service's state folder");
  command.command->add_option("--simulate", o.scenario, "Report on a simulated scenario instead (office-worker ...)");
  command.command->add_option("--days", o.days, "With --simulate: how many days to simulate");
  command.command->add_option("--tick", o.tickSeconds, "With --simulate: seconds between readings (default 60)");
  command.command->add_option("--out", o.out, "The HTML file to write (default: the report's name, here)");
  command.command->add_option("--locale", o.locale, "Language of the texts, e.g. de_DE");
  command.command->add_option("--level", o.level, "simple or technical (default: the settings')");
  command.command->add_flag("--include-serial", o.includeSerial, "Include the battery's serial number");
  command.command->add_option("--now", o.now, "The moment of the report (ISO 8601; default: now)");
  command.command->add_option("--time-zone", o.timeZone, "IANA time zone (default: the system's or the scenario's)");
  return command;
}

}  // namespace kestrin::tool
