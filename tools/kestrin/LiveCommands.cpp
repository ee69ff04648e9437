#include "tools/kestrin/LiveCommands.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"
#include "BatteryCore/supervision/Situation.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningSituation.hpp"
#include "app/Service.hpp"
#include "app/live/AppleBatteryProperties.hpp"
#include "app/live/Platforms.hpp"
#include "app/live/StopSignals.hpp"
#include "app/live/SysfsBattery.hpp"
#include "app/live/SystemClock.hpp"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <ostream>

namespace kestrin::tool {

namespace fs = std::filesystem;
using namespace batterycore;

namespace {

std::string readAll(std::istream& in) { return {std::istreambuf_iterator<char>(in), {}}; }

// What Kestrin would say about a reading on its own: the limit holding, no
// full charge, no calibration.
void explainReading(const BatterySnapshot& snapshot, DetailLevel level, std::ostream& out) {
  const auto calendar = Calendar::gregorian(systemTimeZone(), Formatting::localeName());
  const LimitAvailability control = snapshot.limit.isAvailable()
                                        ? LimitAvailability::available()
                                        : LimitAvailability::unavailable(snapshot.limit.unavailableReason().value_or(""));
  const Attention attention =
      Attention::of(Situation{snapshot, LimitWatchdog{}.state, std::nullopt, CalibrationDetector{}.state, control});
  out << "headline: " << Meaning::headline(attention, snapshot, std::nullopt, level) << "\n";
  out << "detail: " << Meaning::detail(attention, snapshot, std::nullopt, level, snapshot.at, calendar) << "\n";
}

int readIoreg(const ReadCommandOptions& options, std::ostream& err,
              std::optional<BatterySnapshot>& reading) {
  std::string text;
  if (options.ioregFile == "-") {
    text = readAll(std::cin);
  } else if (auto read = readFileText(options.ioregFile, err)) {
    text = std::move(*read);
  } else {
    return 1;
  }
  try {
    const Json tree = app::live::appleTreeFromText(text);
    auto mapped = app::live::snapshotFromAppleProperties(tree, app::live::systemNow(),
                                                         LimitState::off());
    if (!mapped.snapshot) {
      err << "kestrin: " << options.ioregFile << ": " << mapped.refusal << "\n";
      return 1;
    }
    reading = std::move(mapped.snapshot);
    // The registry entry does not hold the charge limit. A battery the
    // charger holds at its limit shows it: that level is the limit.
    if ((reading->notChargingReason & ChargerReason::atLimitBit) != 0 && reading->percent < 100) {
      reading->limit = LimitState::on(static_cast<int>(reading->percent));
    }
  } catch (const std::exception& error) {  // DecodingError, and the JSON library's own
    err << "kestrin: " << options.ioregFile << ": " << problemText(error) << "\n";
    return 1;
  }
  return 0;
}

}  // namespace

int runRead(const ReadCommandOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = detailLevelFromRaw(options.level);
  if (!level) {
    err << "kestrin: --level must be simple or technical\n";
    return 2;
  }
  std::optional<BatterySnapshot> reading;
  if (!options.ioregFile.empty()) {
    if (const int status = readIoreg(options, err, reading); status != 0) return status;
  } else {
    const fs::path root = options.sysfsRoot.empty() ? fs::path(app::live::kPowerSupplyRoot) : fs::path(options.sysfsRoot);
    app::live::SysfsBattery battery(root, app::live::systemNow,
                                    options.sysfsRoot.empty() ? std::optional<fs::path>(app::live::kThermalRoot)
                                                              : std::nullopt);
    reading = battery.read();
    if (!reading) {
      err << "kestrin: no laptop battery under " << root.string() << "\n";
      return 1;
    }
  }
  out << reading->toJson().dump(2) << "\n";
  if (options.explain) explainReading(*reading, *level, out);
  return 0;
}

int runWatch(const WatchCommandOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  if (options.interval && !(*options.interval >= 1)) {
    err << "kestrin: --interval must be at least one second\n";
    return 2;
  }
  const auto stateFolder = stateFolderOrDefault(options.stateFolder);
  if (!stateFolder) {
    err << "kestrin: no folder for the states; give --state DIR\n";
    return 2;
  }
  if (!checkFolderOption(*stateFolder, "--state", err)) return 1;

  auto platform = app::live::platformFor({options.sysfsRoot, options.thermalRoot, options.powerLog});
  if (!platform.battery) {
    err << "kestrin: " << platform.problem << "\n";
    return 1;
  }
  const auto& stop = app::live::catchStopSignals(platform.wakeSources);
  app::ServiceOptions service;
  service.stateFolder = *stateFolder;
  service.metrics = options.metrics;
  if (options.interval) service.interval = Seconds{*options.interval};
  // The log's lines are shown on a terminal too; the states' problems always.
  if (::isatty(STDOUT_FILENO) == 1) service.echo = [&out](std::string_view line) { out << line << std::endl; };
  service.problems = [&err](std::string_view line) { err << "kestrin: " << line << "\n"; };
  app::Service kestrin(std::move(platform), std::move(service));
  // The language: --locale, else the one in the settings, else the system's.
  const auto& locale = kestrin.storedSettings().locale;
  if (options.locale.empty() && locale && !useLocale(*locale, err)) return 2;
  kestrin.run(stop);
  return 0;
}

bool LiveCommands::chosen() const { return (watch != nullptr && *watch) || (read != nullptr && *read); }

int LiveCommands::run(std::ostream& out, std::ostream& err) const {
  if (*watch) return runWatch(*watchOptions, out, err);
  return runRead(*readOptions, out, err);
}

LiveCommands addLiveCommands(CLI::App& app) {
  LiveCommands commands;
  commands.watchOptions = std::make_shared<WatchCommandOptions>();
  commands.readOptions = std::make_shared<ReadCommandOptions>();

  auto& w = *commands.watchOptions;
  commands.watch = app.add_subcommand("watch", "Run Kestrin as a service on this machine's battery");
  commands.watch->add_option("--interval", w.interval, "Seconds between two readings (default: the setting, 60)");
  commands.watch->add_option("--state", w.stateFolder,
                             "Folder of the states (default $XDG_STATE_HOME/kestrin/state)");
  commands.watch->add_option("--sysfs", w.sysfsRoot, "Power-supply folder to read (default /sys/class/power_supply)");
  commands.watch->add_option("--thermal", w.thermalRoot, "Thermal-zone folder (default /sys/class/thermal)");
  commands.watch->add_option("--power-log", w.powerLog, "A power-management log to follow for calibration");
  commands.watch->add_option("--metrics", w.metrics, "Keep Prometheus metrics in this file (name it *.prom)");
  commands.watch->add_option("--locale", w.locale, "Language of the texts (default: the system's)");

  auto& r = *commands.readOptions;
  commands.read = app.add_subcommand("read", "Print one reading of the battery as JSON");
  auto* sysfs = commands.read->add_option("--sysfs", r.sysfsRoot,
                                          "Power-supply folder to read (default /sys/class/power_supply)");
  auto* ioreg = commands.read->add_option("--ioreg", r.ioregFile,
                                          "An ioreg dump of AppleSmartBattery (text, XML or JSON; - for stdin)");
  sysfs->excludes(ioreg);
  commands.read->add_flag("--explain", r.explain, "Also print what Kestrin would say about it");
  commands.read->add_option("--level", r.level, "simple or technical");
  commands.read->add_option("--locale", r.locale, "Language of the texts (default: the system's)");
  return commands;
}

}  // namespace kestrin::tool
