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
#include "KestrinWidget/Log.hpp"
#include "app/Metrics.hpp"
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"
#include "app/Watch.hpp"
#include "app/live/AppleBatteryProperties.hpp"
#include "app/live/CalendarCache.hpp"
#include "app/live/DesktopNotifications.hpp"
#include "app/live/HostTimeZone.hpp"
#include "app/live/PowerLog.hpp"
#include "app/live/ProcessTable.hpp"
#include "app/live/PowerSupplyEvents.hpp"
#include "app/live/SysfsAccessories.hpp"
#include "app/live/SysfsBattery.hpp"

#include <CLI/CLI.hpp>
#include <unistd.h>
#ifdef __linux__
#include <sys/signalfd.h>
#endif

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <ostream>
#include <sstream>

namespace kestrin::tool {

namespace fs = std::filesystem;
using namespace batterycore;

namespace {

// Set by SIGTERM and SIGINT; the watch loop checks it between waits.
volatile std::sig_atomic_t stopRequested = 0;

extern "C" void requestStop(int) { stopRequested = 1; }

// SIGTERM and SIGINT as a descriptor the watch loop polls with the rest, so
// a stop is never missed between two waits; -1 where that is not possible.
int stopSignalDescriptor() {
#ifdef __linux__
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  if (::sigprocmask(SIG_BLOCK, &stopSignals, nullptr) != 0) return -1;
  const int fd = ::signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) ::sigprocmask(SIG_UNBLOCK, &stopSignals, nullptr);
  return fd;
#else
  return -1;
#endif
}

void installStopHandlers() {
  struct sigaction action{};
  action.sa_handler = requestStop;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: a signal ends the wait for the next tick
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGINT, &action, nullptr);
}

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
    auto mapped = app::live::snapshotFromAppleProperties(tree, app::live::SysfsBattery::systemNow(),
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
    app::live::SysfsBattery battery(root, app::live::SysfsBattery::systemNow,
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

  const bool terminal = ::isatty(STDOUT_FILENO) == 1;
  auto note = [&out, terminal](std::string_view line, bool warning = false) {
    widget::logServiceNote(line, warning);
    if (terminal) out << line << std::endl;
  };

  const fs::path root = options.sysfsRoot.empty() ? fs::path(app::live::kPowerSupplyRoot) : fs::path(options.sysfsRoot);
  std::optional<fs::path> thermal;
  if (!options.thermalRoot.empty()) {
    thermal = options.thermalRoot;
  } else if (options.sysfsRoot.empty()) {
    thermal = app::live::kThermalRoot;
  }
  app::live::SysfsBattery battery(root, app::live::SysfsBattery::systemNow, thermal);
  if (!battery.batteryFolder()) {
    err << "kestrin: no laptop battery under " << root.string() << "\n";
    return 1;
  }

  // A full disk or a read-only folder must not stop the service: it keeps
  // its states in memory, says so once, and writes them when it can again.
  // A file-size limit then fails the write instead of killing the process.
  std::signal(SIGXFSZ, SIG_IGN);
  app::StateStore store(
      *stateFolder,
      [&err, &note](const std::string& line) {
        err << "kestrin: " << line << "\n";
        note(line, true);
      },
      true, app::StateStore::WhenUnwritable::keepInMemory);
  // What changes every few minutes is appended to a journal; the settings,
  // which `kestrin settings` writes, stay a file of their own.
  store.useJournal({"settings"});
  // The threshold to put back when the limit is switched on again outlives
  // the process: a limit switched off before a restart can still be restored.
  if (const auto kept = store.loadJson("threshold"); kept && kept->is_object()) {
    if (const auto it = kept->find("restore"); it != kept->end() && it->is_number_integer()) {
      battery.rememberThreshold(it->get<int>());
    }
  }
  auto persistThreshold = [&battery](app::StateStore& states) {
    if (const auto value = battery.rememberedThreshold()) states.saveJson("threshold", Json{{"restore", *value}});
  };

  std::function<std::string()> powerLog;
  std::shared_ptr<app::live::PowerLogFile> logFile;
  std::shared_ptr<app::live::PowerLogFollower> follower;
  if (!options.powerLog.empty()) {
    logFile = std::make_shared<app::live::PowerLogFile>(options.powerLog);
    follower = std::make_shared<app::live::PowerLogFollower>();
    powerLog = [logFile, follower] { return follower->newPart(logFile->readNew(), app::live::SysfsBattery::systemNow()); };
  }
#ifdef __APPLE__
  else {
    // macOS keeps its power log behind pmset, which prints all of it each time.
    auto pmset = std::make_shared<app::live::PowerLogFollower>();
    powerLog = [pmset] { return pmset->newPart(app::live::readPmsetLog(), app::live::SysfsBattery::systemNow()); };
  }
#endif

  // The language: --locale, else the one in the settings, else the system's.
  const auto settings = store.load<app::Settings>("settings", app::Settings{});
  if (options.locale.empty() && settings.locale && !useLocale(*settings.locale, err)) return 2;

  const widget::AppGroup group = widget::AppGroup::open();
  auto hooks = app::watchHooks(group, powerLog);
  // On battery: which programs use the processor, for the background drain.
  hooks.processes = [] { return app::live::readProcesses(); };
  hooks.packageEnergy = [] { return app::live::readPackageEnergy(); };
  // The days follow the system's time zone, read afresh at every tick (ICU
  // keeps the zone it found at startup); the watch moves the monitor to a new
  // zone, and the calendar files are read in the monitor's calendar.
  auto timeZone = [] { return app::live::hostTimeZone().value_or(systemTimeZone()); };
  const auto calendar = Calendar::gregorian(timeZone(), Formatting::localeName());
  auto calendarFiles = std::make_shared<app::live::CalendarCache>(calendar, [&note](const std::string& line) {
    note(line, true);
  });
  const Calendar* monitorCalendar = nullptr;  // set once the monitor exists
  hooks.calendarEvents = [calendarFiles, &monitorCalendar](Date now, const std::string& path) {
    if (monitorCalendar) calendarFiles->follow(*monitorCalendar);
    return calendarFiles->events(now, path);
  };
  // Mice and keyboards beside the laptop's battery (the same folder on Linux).
  std::optional<fs::path> accessoriesRoot;
  if (!options.sysfsRoot.empty()) accessoriesRoot = fs::path(options.sysfsRoot);
  hooks.accessories = [accessoriesRoot] { return app::live::readAccessories(accessoriesRoot); };
  app::Monitor monitor(battery, battery, calendar, std::move(hooks));
  monitorCalendar = &monitor.calendar();
  std::vector<app::WakeSource> sources;
#ifdef __linux__
  const int signals = stopSignalDescriptor();
  if (signals >= 0) {
    sources.push_back({signals, {}, [signals] {
                         signalfd_siginfo info{};
                         while (::read(signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
                         }
                         stopRequested = 1;
                         return false;
                       }});
  } else {
    installStopHandlers();
  }
#else
  installStopHandlers();
#endif
  // Plugging in or out is read at once, not at the next tick.
  std::string noUdev;
  const auto powerEvents = app::live::PowerSupplyEvents::open(noUdev);
  if (powerEvents) {
    sources.push_back({powerEvents->descriptor(), {}, [&powerEvents] { return powerEvents->drain(); }});
  } else {
    note("no udev monitor (" + noUdev + "); the battery is read at each interval only");
  }

  // Released alerts become desktop notifications; without a notification
  // server they stay in the alerts list and the log, and that is said once.
  app::live::DesktopNotifications desktop;
  auto show = [&desktop, &monitor, &note](const std::vector<BatteryAlert>& alerts) {
    for (const auto& alert : alerts) desktop.post(alert, monitor.settings().level);
    if (const auto problem = desktop.newProblem()) {
      note("no desktop notifications (" + *problem + "); alerts go to the alerts list only", true);
    }
  };
  if (desktop.fd() >= 0) {
    sources.push_back({desktop.fd(), [&desktop] { return desktop.events(); }, [&desktop, &monitor, &note] {
                         const bool acted =
                             app::actOnButtons(monitor, desktop.process(), app::live::SysfsBattery::systemNow());
                         if (acted) note("not today, as asked on the notification");
                         return acted;
                       }});
  } else if (const auto problem = desktop.newProblem()) {
    note("no desktop notifications (" + *problem + "); alerts go to the alerts list only", true);
  }

  // Fleet metrics for node_exporter's textfile collector, after every tick.
  app::AlertCounts postedCounts;
  std::optional<Attention::Tone> tone;
  bool metricsFailed = false;
  auto ticked = [&](const app::TickReport& report, Date now) {
    if (options.metrics.empty()) return;
    app::countPosted(postedCounts, report.posted);
    if (report.attention) tone = report.attention->tone;
    const auto failure = app::writeMetricsFile(
        options.metrics, app::metricsText(monitor.state(), monitor.calendar(), now, tone, postedCounts));
    if (failure && !metricsFailed) note("cannot write the metrics: " + *failure, true);
    metricsFailed = failure.has_value();
  };

  app::Watch watch(monitor, store, group,
                   app::WatchOptions{.interval = options.interval ? std::optional<Seconds>(*options.interval) : std::nullopt,
                                     .note = [&note](std::string_view line) { note(line); },
                                     .clock = app::live::SysfsBattery::systemNow,
                                     .persist = persistThreshold,
                                     .sources = std::move(sources),
                                     .show = show,
                                     .ticked = ticked,
                                     .timeZone = timeZone});

  std::ostringstream start;
  start << "watching " << battery.batteryFolder()->string() << " every "
        << (options.interval ? *options.interval : static_cast<double>(settings.interval.count()))
        << " s; states in "
        << stateFolder->string();
  if (const auto folder = group.container->folder()) start << "; widget in " << folder->string();
  note(start.str());
  watch.run(stopRequested);
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
