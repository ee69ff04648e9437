#include "app/simulation/Simulation.hpp"

#include "app/live/ICalendarFiles.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningTrips.hpp"

#include <algorithm>

namespace kestrin::app::simulation {

using namespace batterycore;

std::string_view SimulationEvent::kindName(Kind kind) {
  switch (kind) {
    case Kind::attention: return "attention";
    case Kind::alertPosted: return "alertPosted";
    case Kind::alertHeldBack: return "alertHeldBack";
    case Kind::alertListed: return "alertListed";
    case Kind::fullChargeStarted: return "fullChargeStarted";
    case Kind::fullChargeEnded: return "fullChargeEnded";
    case Kind::limitFailed: return "limitFailed";
    case Kind::widgetWritten: return "widgetWritten";
  }
  return "";
}

Json SimulationEvent::toJson() const {
  Json json = Json::object();
  put(json, "kind", std::string(kindName(kind)));
  put(json, "at", at);
  put(json, "text", text);
  return json;
}

std::vector<SimulationEvent> eventsOf(const TickReport& report, const Settings& settings, Date now,
                                      std::string& lastHeadline) {
  std::vector<SimulationEvent> events;
  // A new attention with the same words (on battery, then low on battery)
  // is not news to the person.
  if (report.attentionChanged && report.headline != lastHeadline) {
    events.push_back({SimulationEvent::Kind::attention, now, report.headline});
    lastHeadline = report.headline;
  }
  if (report.sessionStarted) {
    events.push_back({SimulationEvent::Kind::fullChargeStarted, now,
                      Meaning::text("fullCharge.pausedTitle", "Limit off for this charge") + ". " +
                          Meaning::Trips::pausedDetail(*report.sessionStarted)});
  }
  for (const auto& alert : report.raised) {
    const bool posted = std::find(report.posted.begin(), report.posted.end(), alert) != report.posted.end();
    if (posted) continue;
    const bool notifies = AlertPolicy::notifies(alert.kind) && settings.alertEnabled(alert.kind);
    events.push_back({notifies ? SimulationEvent::Kind::alertHeldBack : SimulationEvent::Kind::alertListed, now,
                      alert.title});
  }
  for (const auto& alert : report.posted) {
    const auto& body =
        settings.level == DetailLevel::technical && alert.technicalBody ? *alert.technicalBody : alert.body;
    events.push_back({SimulationEvent::Kind::alertPosted, now, alert.title + ": " + body});
  }
  if (report.sessionEnded) {
    events.push_back({SimulationEvent::Kind::fullChargeEnded, now,
                      std::string(FullChargeSession::rawValue(*report.sessionEnded))});
  }
  if (report.limitFailure) events.push_back({SimulationEvent::Kind::limitFailed, now, *report.limitFailure});
  if (report.widgetWritten) {
    events.push_back({SimulationEvent::Kind::widgetWritten, now, report.widgetWritten->headline});
  }
  return events;
}

Scenario Simulation::adjusted(Scenario scenario, const SimulationOptions& options) {
  if (options.days) scenario.days = *options.days;
  if (options.timeZone) scenario.timeZone = *options.timeZone;
  return scenario;
}

Monitor::Hooks simulationHooks(BatterySimulator& battery) {
  Monitor::Hooks hooks;
  hooks.powerLog = [&battery] { return battery.takePowerLog(); };
  hooks.processes = [&battery] { return battery.processes(); };
  hooks.accessories = [&battery] { return battery.accessories(); };
  // The calendar file is read once for the whole span; each tick sees the
  // events from today to the day after tomorrow, as the service would.
  struct CalendarFile {
    std::string path;
    std::vector<batterycore::CalendarEvent> events;
  };
  auto file = std::make_shared<std::optional<CalendarFile>>();
  hooks.calendarEvents = [&battery, file](Date now, const std::string& path) {
    const auto& calendar = battery.calendar();
    if (!*file || (*file)->path != path) {
      auto reading = live::readCalendarEvents(path, battery.start(), calendar.addingDays(battery.end(), 3), calendar);
      *file = CalendarFile{path, std::move(reading.events)};
    }
    const Date from = calendar.startOfDay(now);
    const Date to = calendar.addingDays(from, 3);
    std::vector<batterycore::CalendarEvent> near;
    for (const auto& event : (*file)->events) {
      if (event.end > from && event.start < to) near.push_back(event);
    }
    return near;
  };
  return hooks;
}

Simulation::Simulation(Scenario scenario, SimulationOptions options)
    : options_(std::move(options)),
      battery_(adjusted(std::move(scenario), options_)),
      monitor_(battery_, battery_, battery_.calendar(),
               simulationHooks(battery_)),
      end_(battery_.end()) {}

namespace {
constexpr const char* kCheckpoint = "simulation";
}  // namespace

void Simulation::run(const Sink& sink, const Progress& progress) {
  std::optional<StateStore> store;
  if (!options_.stateFolder.empty()) {
    store.emplace(options_.stateFolder, StateStore::Reporter{}, options_.durable);
    store->useJournal({"settings"});
    monitor_.load(*store);
    // A folder left by a run of this scenario that was cut short goes on
    // from where that run last saved, the machine as it was then.
    if (const auto point = store->loadJson(kCheckpoint); point && monitor_.state().lastTick) {
      try {
        battery_.restore(*point);
      } catch (const batterycore::DecodingError&) {
        // Another scenario's folder, or another tick: begin at the start.
      }
    }
  }
  monitor_.settings().level = options_.level;
  monitor_.settings().smartTopUp = true;
  // A scenario with a calendar has the person count trips in it.
  if (battery_.scenario().calendar) {
    monitor_.settings().calendarFullCharge = true;
    monitor_.settings().calendarPath = battery_.scenario().calendar;
  }

  const double total = secondsBetween(battery_.start(), end_);
  int step = 0;
  std::string lastHeadline;
  while (battery_.now() < end_) {
    const Date now = battery_.now();
    const TickReport report = monitor_.tick(now);
    for (const auto& event : eventsOf(report, monitor_.settings(), now, lastHeadline)) sink(event);
    battery_.advance(options_.tick);
    // The machine, as it is after this tick, goes into the same journal line
    // as the monitor's per-tick states: a run cut short resumes from the
    // last line whole, booking nothing twice.
    if (store) {
      const bool due = monitor_.flushDue(now);
      if (due) store->saveJson(kCheckpoint, battery_.checkpoint());
      if (monitor_.save(*store, now) && !due) store->saveJson(kCheckpoint, battery_.checkpoint());
      store->commit();
    }
    if (progress && ++step % 1440 == 0) progress(secondsBetween(battery_.start(), battery_.now()) / total);
  }
  if (store) {
    monitor_.save(*store, battery_.now(), true);
    store->saveJson(kCheckpoint, battery_.checkpoint());
    // A finished run leaves each state in its own file.
    store->compact();
  }
  if (progress) progress(1.0);
}

}  // namespace kestrin::app::simulation
