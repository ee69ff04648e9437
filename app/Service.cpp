#include "app/Service.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "app/live/DesktopNotifications.hpp"
#include "app/live/HostTimeZone.hpp"

#include <csignal>
#include <sstream>
#include <string>
#include <utility>

namespace kestrin::app {

using batterycore::BatteryAlert;
using batterycore::Date;

Service::Service(Platform platform, ServiceOptions options)
    : platform_(std::move(platform)),
      options_(std::move(options)),
      store_(
          options_.stateFolder,
          [this](const std::string& line) {
            if (options_.problems) options_.problems(line);
            note(line, true);
          },
          true, StateStore::WhenUnwritable::keepInMemory) {
  // A file-size limit fails a write instead of killing the process.
  std::signal(SIGXFSZ, SIG_IGN);
  // What changes every few minutes is appended to a journal; the settings,
  // which `kestrin settings` writes, stay a file of their own.
  store_.useJournal({"settings"});
  if (platform_.restore) platform_.restore(store_);
  stored_ = store_.load<Settings>("settings", Settings{});
}

void Service::note(std::string_view line, bool warning) const {
  if (platform_.log) platform_.log(line, warning);
  if (options_.echo) options_.echo(line);
}

void Service::show(const std::vector<BatteryAlert>& alerts) {
  auto& desktop = *platform_.notifier;
  for (const auto& alert : alerts) desktop.post(alert, monitor_->settings().level);
  if (const auto problem = desktop.newProblem()) {
    note("no desktop notifications (" + *problem + "); alerts go to the alerts list only", true);
  }
}

void Service::writeMetrics(const TickReport& report, Date now) {
  if (options_.metrics.empty()) return;
  countPosted(posted_, report.posted);
  if (report.attention) tone_ = report.attention->tone;
  const auto failure =
      writeMetricsFile(options_.metrics, metricsText(monitor_->state(), monitor_->calendar(), now, tone_, posted_));
  if (failure && !metricsFailed_) note("cannot write the metrics: " + *failure, true);
  metricsFailed_ = failure.has_value();
}

void Service::start() {
  if (monitor_) return;
  for (const auto& line : platform_.startNotes) note(line);
  Monitor::Hooks hooks = watchHooks(platform_.group, platform_.powerLog);
  hooks.processes = platform_.processes;
  hooks.packageEnergy = platform_.packageEnergy;
  hooks.accessories = platform_.accessories;
  if (platform_.calendarEvents) {
    // The calendar files are read in the monitor's calendar, which follows
    // the system's time zone.
    hooks.calendarEvents = [this](Date now, const std::string& path) {
      return platform_.calendarEvents(now, path, monitor_->calendar());
    };
  }
  const std::string zone = platform_.timeZone ? platform_.timeZone() : std::string();
  auto calendar = batterycore::Calendar::gregorian(zone.empty() ? live::startupTimeZone() : zone,
                                                   batterycore::Formatting::localeName());
  monitor_ = std::make_unique<Monitor>(*platform_.battery, *platform_.limit, std::move(calendar), std::move(hooks));

  WatchOptions watch{.interval = options_.interval,
                     .note = [this](std::string_view line) { note(line); },
                     .clock = platform_.clock,
                     .persist = platform_.persist,
                     .sources = platform_.wakeSources,
                     .show = {},
                     .ticked = [this](const TickReport& report, Date now) { writeMetrics(report, now); },
                     .timeZone = platform_.timeZone};
  if (auto* desktop = platform_.notifier.get()) {
    watch.show = [this](const std::vector<BatteryAlert>& alerts) { show(alerts); };
    if (desktop->fd() >= 0) {
      watch.sources.push_back({desktop->fd(), [desktop] { return desktop->events(); }, [this, desktop] {
                                 const bool acted = actOnButtons(*monitor_, desktop->process(), platform_.clock());
                                 if (acted) note("not today, as asked on the notification");
                                 return acted;
                               }});
    } else if (const auto problem = desktop->newProblem()) {
      note("no desktop notifications (" + *problem + "); alerts go to the alerts list only", true);
    }
  }
  watch_ = std::make_unique<Watch>(*monitor_, store_, platform_.group, std::move(watch));
}

TickReport Service::tick(Date now) {
  start();
  return watch_->tick(now);
}

void Service::run(const volatile std::sig_atomic_t& stop) {
  start();
  std::ostringstream line;
  line << "watching " << platform_.batteryName << " every "
       << (options_.interval ? options_.interval->count() : static_cast<double>(stored_.interval.count()))
       << " s; states in " << options_.stateFolder.string();
  if (const auto folder = platform_.group.container->folder()) line << "; widget in " << folder->string();
  note(line.str());
  watch_->run(stop);
}

}  // namespace kestrin::app
