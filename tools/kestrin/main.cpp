// kestrin: the command-line face of Kestrin.
//
//   kestrin demo                 eight simulated weeks of an office worker's laptop
//   kestrin simulate [SCENARIO]  any bundled scenario, or one of your own
//   kestrin replay TRACE.jsonl   the same story over readings recorded on a machine
//   kestrin readings [FILE.json] phase, mood and power flow of readings
//   kestrin alerts               every alert kind, its setting and what it means
//   kestrin texts [PREFIX]       the catalogue's texts as a language reads them
//   kestrin settings [KEY [VALUE]] the person's settings, listed or changed
//   kestrin read                 one reading of this machine's battery, as JSON
//   kestrin watch                Kestrin as a service on this machine's battery
//   kestrin accessories          the batteries of the wireless mouse, keyboard and trackpad
//   kestrin energy               which programs use the most power right now
//   kestrin plans                what is coming: the next top-up, a trip, the pace on battery
//   kestrin report               the health report as one HTML file with charts
//   kestrin export               the history (health, habits, alerts) as CSV or JSON
//   kestrin diagnostics          a report to paste into a support request
#include "app/views/ReadingTable.hpp"
#include "tools/kestrin/AccessoriesCommand.hpp"
#include "tools/kestrin/AlertsCommand.hpp"
#include "tools/kestrin/CommandSupport.hpp"
#include "tools/kestrin/CompanionCommands.hpp"
#include "tools/kestrin/DeparturesCommand.hpp"
#include "tools/kestrin/DiagnosticsCommand.hpp"
#include "tools/kestrin/ExportCommand.hpp"
#include "tools/kestrin/HealthCommand.hpp"
#include "tools/kestrin/LiveCommands.hpp"
#include "tools/kestrin/ReportCommand.hpp"
#include "tools/kestrin/ServiceCommands.hpp"
#include "tools/kestrin/Resources.hpp"
#include "tools/kestrin/SettingsCommand.hpp"
#include "tools/kestrin/SimulateCommand.hpp"
#include "tools/kestrin/ExplainCommand.hpp"
#include "tools/kestrin/TextsCommand.hpp"
#include "tools/kestrin/WidgetCommands.hpp"

#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <iostream>

namespace {

int printReadings(const std::filesystem::path& path) {
  const auto readings = kestrin::tool::decodeJsonFile(
      path, std::cerr, [](const batterycore::Json& json) { return kestrin::app::decodeReadings(json); });
  if (!readings) return 1;
  std::cout << kestrin::app::renderReadingTable(*readings);
  return 0;
}

// What the dispatched command answers; an exception none of them caught is
// said in one line as a last resort, never left to end the process.
int dispatch(int argc, char** argv, CLI::App& app, const std::function<int()>& run) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // --help and --version print what they always print.
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    std::cerr << "kestrin: " << kestrin::tool::singleLine(error.what()) << "\n";
    return 2;
  }
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "kestrin: " << kestrin::tool::problemText(error) << "\n";
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Kestrin: a battery-care companion for laptops that keep a charge limit."};
  app.require_subcommand(0, 1);

  auto* demo = app.add_subcommand("demo", "Eight simulated weeks of an office worker's laptop");
  std::string readingsFile;
  auto* readings = app.add_subcommand("readings", "Show the phase, mood and power flow of readings");
  readings->add_option("file", readingsFile, "A JSON file of labelled readings (default: the bundled samples)");

  kestrin::tool::AlertsOptions alertsOptions;
  auto* alerts = kestrin::tool::addAlertsCommand(app, alertsOptions);

  kestrin::tool::TextsOptions textsOptions;
  auto* texts = kestrin::tool::addTextsCommand(app, textsOptions);

  auto departures = kestrin::tool::addDeparturesCommand(app);
  auto health = kestrin::tool::addHealthCommands(app);
  auto widgetCommands = kestrin::tool::addWidgetCommands(app);
  const auto explain = kestrin::tool::ExplainCommand::add(app);
  auto simulate = kestrin::tool::addSimulateCommand(app);
  auto replay = kestrin::tool::addReplayCommand(app);
  const auto live = kestrin::tool::addLiveCommands(app);
  const auto settings = kestrin::tool::addSettingsCommand(app);
  const auto service = kestrin::tool::addServiceCommands(app);
  const auto accessories = kestrin::tool::addAccessoriesCommand(app);
  const auto companion = kestrin::tool::addCompanionCommands(app);
  const auto report = kestrin::tool::addReportCommand(app);
  const auto exportCommand = kestrin::tool::addExportCommand(app);
  const auto diagnostics = kestrin::tool::addDiagnosticsCommand(app);
  return dispatch(argc, argv, app, [&]() -> int {
    const auto scenarios = kestrin::tool::scenarioFolder(argv[0]);
    if (scenarios) simulate.options->scenarioFolder = scenarios->string();
    if (simulate.chosen() || *demo) return simulate.run(std::cout, std::cerr);
    if (replay.chosen()) return replay.run(std::cout, std::cerr);

    if (*readings) {
      if (!readingsFile.empty()) return printReadings(readingsFile);
      if (!scenarios) {
        std::cerr << "kestrin: cannot find the bundled readings (share/kestrin/scenarios)\n";
        return 1;
      }
      return printReadings(*scenarios / "readings.json");
    }
    if (live.chosen()) return live.run(std::cout, std::cerr);
    if (settings.chosen()) return settings.run(std::cout, std::cerr);
    if (service.chosen()) return service.run(std::cin, std::cout, std::cerr);
    if (explain.chosen()) return explain.run();
    if (widgetCommands.chosen()) return widgetCommands.run(std::cout, std::cerr);
    if (departures.chosen()) return departures.run(std::cout, std::cerr);
    if (health.chosen()) return health.run(std::cout, std::cerr);
    if (accessories.chosen()) return accessories.run(std::cout, std::cerr);
    if (companion.chosen()) return companion.run(std::cout, std::cerr);
    if (report.chosen()) return report.run(std::cout, std::cerr);
    if (exportCommand.chosen()) return exportCommand.run(std::cout, std::cerr);
    if (diagnostics.chosen()) return diagnostics.run(std::cout, std::cerr);
    if (*alerts) return kestrin::tool::runAlertsCommand(alertsOptions, std::cout, std::cerr);
    if (*texts) return kestrin::tool::runTextsCommand(textsOptions, std::cout, std::cerr);
    std::cout << app.help();
    return 0;
  });
}
