#include "app/Watch.hpp"

#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/ServiceRequest.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace kestrin::app {

using batterycore::BatteryAlert;
using batterycore::Date;
using batterycore::FullChargeSession;
using batterycore::Seconds;

Monitor::Hooks watchHooks(const widget::AppGroup& group, std::function<std::string()> powerLog) {
  Monitor::Hooks hooks;
  hooks.powerLog = std::move(powerLog);
  hooks.controlPreferences = group.preferences.get();
  hooks.writeWidget = [&group](const widget::WidgetSnapshot& snapshot) {
    if (group.preferences) {
      snapshot.write(*group.container, *group.preferences);
    } else if (const auto folder = group.container->folder()) {
      widget::writeFileAtomically(*folder / widget::WidgetSnapshot::fileName, snapshot.encoded(), false);
    }
  };
  return hooks;
}

std::vector<std::string> tickNotes(const TickReport& report) {
  std::vector<std::string> notes;
  for (const auto& alert : report.posted) {
    notes.push_back("notified (" + std::string(BatteryAlert::rawValue(alert.kind)) + "): " + alert.title + ". " +
                    alert.body);
  }
  if (report.sessionStarted) notes.emplace_back("full charge started, limit switched off");
  if (report.sessionEnded) {
    notes.push_back("full charge ended (" + std::string(FullChargeSession::rawValue(*report.sessionEnded)) + ")");
  }
  if (report.controlAnswered) {
    notes.push_back(std::string("control asked for the limit ") + (*report.controlAnswered ? "on" : "off"));
  }
  if (report.limitFailure) notes.push_back("could not switch the limit: " + *report.limitFailure);
  return notes;
}

bool actOnButtons(Monitor& monitor, const std::vector<live::DesktopNotifications::InvokedAction>& buttons, Date now) {
  bool acted = false;
  for (const auto& button : buttons) {
    if (button.kind == BatteryAlert::Kind::smartFullCharge && button.key == live::DesktopNotifications::notToday) {
      monitor.skipToday(now);
      acted = true;
    } else if (button.kind == BatteryAlert::Kind::calendarFullCharge &&
               button.key == live::DesktopNotifications::notTonight) {
      monitor.skipTonight(now);
      acted = true;
    }
  }
  return acted;
}

Watch::Watch(Monitor& monitor, StateStore& store, const widget::AppGroup& group, WatchOptions options)
    : monitor_(monitor), store_(store), group_(group), options_(std::move(options)) {
  if (!options_.clock) options_.clock = [] { return Date(std::chrono::system_clock::now()); };
}

Seconds Watch::interval() const {
  if (options_.interval) return *options_.interval;
  return std::chrono::duration_cast<Seconds>(monitor_.settings().interval);
}

void Watch::note(const std::string& line) const {
  if (options_.note) options_.note(line);
}

void Watch::followTimeZone() {
  if (!options_.timeZone) return;
  const std::string zone = options_.timeZone();
  if (zone.empty() || zone == zoneSeen_) return;
  zoneSeen_ = zone;
  const auto& calendar = monitor_.calendar();
  if (zone == calendar.timeZone()) return;
  auto next = batterycore::Calendar::gregorian(zone, calendar.locale(), calendar.firstWeekday());
  if (next.timeZone() != zone) {
    note("the system's time zone " + zone + " is unknown here; days stay in " + calendar.timeZone());
    return;
  }
  note("the time zone changed from " + calendar.timeZone() + " to " + zone + "; days follow " + zone + " from now on");
  monitor_.setCalendar(std::move(next));
}

TickReport Watch::tick(Date now) {
  followTimeZone();
  // A gap far longer than the interval: the machine slept, or the service
  // was not running. Either way readings come in a burst now.
  if (lastTick_ && now - *lastTick_ > 2 * interval()) wokeAt_ = now;
  // The clock was set back behind the last wake: that wake is over.
  if (wokeAt_ && now < *wokeAt_) wokeAt_.reset();
  // The person may have changed a setting since.
  monitor_.reloadSettings(store_);
  auto report = monitor_.tick(now, wokeAt_);
  // Requests are judged on this reading (plugged in or not) ...
  bool asked = false;
  if (group_.preferences && report.snapshot) {
    for (const auto& line : answerServiceRequests(monitor_, *group_.preferences, now)) {
      note(line);
      asked = true;
    }
  }
  if ((report.controlAnswered || asked) && report.snapshot) {
    // ... and what they changed is read at once, so the widget and the
    // alerts show it without waiting for the next tick.
    auto again = monitor_.tick(now, wokeAt_);
    report.raised.insert(report.raised.end(), again.raised.begin(), again.raised.end());
    report.posted.insert(report.posted.end(), again.posted.begin(), again.posted.end());
    if (again.sessionEnded) report.sessionEnded = again.sessionEnded;
    if (again.widgetWritten) report.widgetWritten = again.widgetWritten;
  }
  if (!report.snapshot && !unreadable_) note("cannot read the battery; trying again at the next tick");
  if (report.snapshot && unreadable_) note("the battery reads again");
  unreadable_ = !report.snapshot;
  for (const auto& line : tickNotes(report)) note(line);
  if (options_.show && !report.posted.empty()) options_.show(report.posted);
  if (options_.ticked) options_.ticked(report, now);
  monitor_.save(store_, now);
  if (options_.persist) options_.persist(store_);
  store_.commit();
  lastTick_ = now;
  return report;
}

bool Watch::waitFor(Seconds timeout) {
  const auto milliseconds = static_cast<int>(
      std::clamp<long long>(std::chrono::ceil<std::chrono::milliseconds>(timeout).count(), 0, 24 * 3600 * 1000));
  const int listenerFd = listener_ ? listener_->descriptor() : -1;
  if (options_.sources.empty() && listener_ && listenerFd < 0) return listener_->wait(timeout);

  std::vector<pollfd> watched;
  if (listenerFd >= 0) watched.push_back({listenerFd, POLLIN, 0});
  for (const auto& source : options_.sources) {
    watched.push_back({source.fd, source.events ? source.events() : static_cast<short>(POLLIN), 0});
  }
  // A signal ends the wait too (EINTR): the caller looks at its stop flag.
  if (::poll(watched.data(), watched.size(), milliseconds) <= 0) return false;

  bool tickNow = false;
  std::size_t index = 0;
  if (listenerFd >= 0) {
    if (watched[index].revents != 0) {
      listener_->consume();
      tickNow = true;
    }
    ++index;
  }
  for (const auto& source : options_.sources) {
    if (watched[index++].revents != 0 && source.ready && source.ready()) tickNow = true;
  }
  return tickNow;
}

void Watch::run(const volatile std::sig_atomic_t& stop) {
  monitor_.load(store_);
  lastTick_ = monitor_.state().lastTick;
  listener_ = group_.notifications->listen(widget::ControlRequest::notification);
  if (!listener_) note("cannot listen for the charge-limit control; it is answered at each tick instead");

  Date next = options_.clock();
  while (stop == 0) {
    const Date now = options_.clock();
    if (now >= next) {
      tick(now);
      next = now + interval();
      continue;
    }
    // The wall clock was set back: never wait longer than one interval.
    if (next - now > interval()) next = now + interval();
    if (waitFor(next - now) && stop == 0) tick(options_.clock());
  }
  monitor_.save(store_, options_.clock(), true);
  if (options_.persist) options_.persist(store_);
  store_.commit();
  note("stopped; every state saved");
}

}  // namespace kestrin::app
