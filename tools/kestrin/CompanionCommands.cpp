#include "tools/kestrin/CompanionCommands.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/readings/PowerFlow.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "app/views/EnergyView.hpp"
#include "app/Monitor.hpp"
#include "app/views/Plans.hpp"
#include "app/Settings.hpp"
#include "app/StoredState.hpp"
#include "app/live/ProcessTable.hpp"
#include "app/live/SysfsBattery.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <ostream>
#include <thread>

namespace kestrin::tool {

namespace fs = std::filesystem;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::DetailLevel;
namespace Meaning = batterycore::Meaning;

namespace {

std::optional<DetailLevel> levelOption(const std::string& raw, std::ostream& err) {
  const auto level = batterycore::detailLevelFromRaw(raw);
  if (!level) err << "kestrin: --level must be simple or technical, not " << raw << "\n";
  return level;
}

}  // namespace

int runEnergy(const EnergyOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = levelOption(options.level, err);
  if (!level) return 2;
  if (!(options.seconds > 0 && options.seconds <= 60)) {
    err << "kestrin: --seconds must be more than 0 and at most 60\n";
    return 2;
  }
#ifndef __APPLE__  // a Mac's process table comes from libproc
  if (!fs::is_directory(options.procRoot)) {
    err << "kestrin: no process table at " << options.procRoot << "\n";
    return 1;
  }
#endif

  using Clock = std::chrono::steady_clock;
  const auto startedAt = Clock::now();
  const auto before = app::live::readProcesses(options.procRoot);
  const auto joulesBefore = app::live::readPackageEnergy(options.powercapRoot);
  std::this_thread::sleep_for(std::chrono::duration<double>(options.seconds));
  const auto after = app::live::readProcesses(options.procRoot);
  const auto joulesAfter = app::live::readPackageEnergy(options.powercapRoot);
  const double seconds = std::chrono::duration<double>(Clock::now() - startedAt).count();

  // The power to share out: the package's, else the battery's discharge.
  std::optional<double> watts;
  if (joulesBefore && joulesAfter && *joulesAfter >= *joulesBefore) {
    watts = (*joulesAfter - *joulesBefore) / seconds;
  } else {
    const fs::path root = options.sysfsRoot.empty() ? fs::path(app::live::kPowerSupplyRoot) : fs::path(options.sysfsRoot);
    app::live::SysfsBattery battery(root);
    if (const auto reading = battery.read(); reading && !reading->pluggedIn) {
      const double batteryW = batterycore::PowerFlow::from(*reading).batteryW;
      if (batteryW < 0) watts = -batteryW;
    }
  }
  out << app::renderEnergy(app::energyUses(before, after, watts), watts, *level, options.top);
  return 0;
}

int runPlans(const PlansOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto folder = stateFolderOrDefault(options.stateFolder);
  if (!folder) {
    err << "kestrin: no folder for the states; give --state DIR\n";
    return 2;
  }
  const auto moment = nowOption(options.now, err);
  if (!moment) return 2;
  const Date now = *moment;
  const auto zoned = calendarOption(options.timeZone, "--time-zone", err);
  if (!zoned) return 2;
  const Calendar& calendar = *zoned;
  std::optional<DetailLevel> level;
  if (!options.level.empty()) {
    level = levelOption(options.level, err);
    if (!level) return 2;
  }
  auto stored = readServiceState(*folder, !options.locale.empty(), err);
  if (!stored) return 1;
  auto& settings = stored->settings;
  if (level) settings.level = *level;
  const auto lines = app::planLines(stored->state, settings, now, calendar);

  out << Meaning::text("plans.title", "Coming up") << "\n\n";
  if (lines.empty()) out << Meaning::text("plans.empty", "Nothing planned right now.") << "\n";
  for (const auto& line : lines) out << line << "\n";
  return 0;
}

bool CompanionCommands::chosen() const { return energy->parsed() || plans->parsed(); }

int CompanionCommands::run(std::ostream& out, std::ostream& err) const {
  if (energy->parsed()) return runEnergy(*energyOptions, out, err);
  return runPlans(*plansOptions, out, err);
}

CompanionCommands addCompanionCommands(CLI::App& app) {
  CompanionCommands commands;
  commands.energyOptions = std::make_shared<EnergyOptions>();
  commands.plansOptions = std::make_shared<PlansOptions>();
  auto& energy = *commands.energyOptions;
  commands.energy = app.add_subcommand("energy", "Which programs use the most power right now");
  commands.energy->add_option("--seconds", energy.seconds, "How long to watch (default 2)");
  commands.energy->add_option("--top", energy.top, "How many programs to name (default 8)")
      ->check(CLI::Range(1, 1000));
  commands.energy->add_option("--proc", energy.procRoot, "The process table (default /proc)");
  commands.energy->add_option("--powercap", energy.powercapRoot, "The RAPL counters (default /sys/class/powercap)");
  commands.energy->add_option("--sysfs", energy.sysfsRoot, "The power supplies (default /sys/class/power_supply)");
  commands.energy->add_option("--locale", energy.locale, "Language of the texts, e.g. de_DE");
  commands.energy->add_option("--level", energy.level, "simple or technical");

  auto& plans = *commands.plansOptions;
  commands.plans = app.add_subcommand("plans", "What is coming: the next top-up, a trip, the pace on battery");
  commands.plans->add_option("--state", plans.stateFolder, "The service's state folder");
  commands.plans->add_option("--locale", plans.locale, "Language of the texts, e.g. de_DE");
  commands.plans->add_option("--level", plans.level, "simple or technical (default: the settings')");
  commands.plans->add_option("--now", plans.now, "The moment to plan from (ISO 8601; default: now)");
  commands.plans->add_option("--time-zone", plans.timeZone, "IANA time zone (default: the system's)");
  return commands;
}

}  // namespace kestrin::tool
