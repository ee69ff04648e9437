// Watch: Kestrin as a long-lived service on a live battery. It ticks the
// monitor every interval, keeps the states on disk, writes the widget
// snapshot into the group container and answers the charge-limit control as
// soon as its notification arrives.
//
//   Watch watch(monitor, store, group, {.interval = Seconds{60}, .note = logLine});
//   watch.run(stopRequested);      // returns after a signal, every state flushed
//
// Between ticks it sleeps in one poll on its few descriptors (the wake-up
// call, and whatever `sources` add: a udev monitor, a signal descriptor):
// no busy loop, no polling faster than the interval.
//
// Sleep shows as a gap between two ticks: when the wall clock moved on by more
// than twice the interval, the machine was asleep (or the service stopped),
// and the alert policy is told it just woke, so the burst of readings after a
// wake settles before anything is posted. A wall clock set back is taken as it
// is: the next tick is never more than one interval away, the interval across
// the jump books nothing, the next one books from the new time, and a wake
// that now lies in the future no longer holds anything back.
//
// The days follow the system's time zone: when `timeZone` names another zone
// than the monitor's calendar, the monitor gets a calendar in that zone (same
// locale and first weekday) before the next tick, and the log says so once.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "app/Monitor.hpp"
#include "app/Platform.hpp"
#include "app/StateStore.hpp"
#include "app/live/DesktopNotifications.hpp"

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app {

struct WatchOptions {
  // Time between ticks; absent: the settings' interval, which the person may
  // change while the service runs.
  std::optional<batterycore::Seconds> interval;
  // Where the service tells what it does (the system log); none: silent.
  std::function<void(std::string_view)> note;
  // Now, on the wall clock.
  std::function<batterycore::Date()> clock;
  // Saves what the service keeps beside the monitor's states (called after
  // every tick and at the end); none: nothing more.
  std::function<void(StateStore&)> persist;
  // Waited on together with the control's wake-up call, in one poll.
  std::vector<WakeSource> sources;
  // Shows the alerts the policy lets out (desktop notifications); none: they
  // only go to the alerts list and the log.
  std::function<void(const std::vector<batterycore::BatteryAlert>&)> show;
  // Called after every tick with what it did (metrics); none: nothing.
  std::function<void(const TickReport&, batterycore::Date)> ticked;
  // The system's time zone now (an IANA name), asked once per tick; none or
  // empty: the monitor's calendar stays as it is.
  std::function<std::string()> timeZone;
};

// Hooks for a monitor that writes its widget snapshot into `group` and
// answers the control through the group's preferences.
Monitor::Hooks watchHooks(const widget::AppGroup& group, std::function<std::string()> powerLog);

// One line about what a tick did that a person would want in the log: the
// alerts posted, a full charge started or ended, the control answered, a
// limit that could not be switched. Empty when nothing worth a line happened.
std::vector<std::string> tickNotes(const TickReport& report);

// The buttons pressed on Kestrin's notifications: "Not today" on the smart
// top-up's skips today's top-up and stops one that is running, as the
// person's own stop does. True when something was done.
bool actOnButtons(Monitor& monitor, const std::vector<live::DesktopNotifications::InvokedAction>& buttons,
                  batterycore::Date now);

class Watch {
 public:
  Watch(Monitor& monitor, StateStore& store, const widget::AppGroup& group, WatchOptions options);

  // Loads the states, then ticks until `stop` is set (by a signal handler),
  // and saves every state before returning. A signal ends the wait for the
  // next tick at once.
  void run(const volatile std::sig_atomic_t& stop);

  // One tick at `now`, told to the log and saved. Public for tests.
  TickReport tick(batterycore::Date now);

 private:
  void note(const std::string& line) const;
  batterycore::Seconds interval() const;
  // Waits for the next tick, the wake-up call or a source; true: tick now.
  bool waitFor(batterycore::Seconds timeout);
  // Gives the monitor a calendar in the system's zone when that changed.
  void followTimeZone();

  Monitor& monitor_;
  StateStore& store_;
  const widget::AppGroup& group_;
  WatchOptions options_;
  std::unique_ptr<widget::NotificationListener> listener_;
  std::optional<batterycore::Date> lastTick_;
  std::optional<batterycore::Date> wokeAt_;
  bool unreadable_ = false;  // the battery could not be read at the last tick
  std::string zoneSeen_;     // the zone `timeZone` gave last
};

}  // namespace kestrin::app
