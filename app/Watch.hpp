// Watch: Kestrin as a long-lived service on a live battery. It ticks the
// monitor every interval, keeps the states on disk, writes the widget
// snapshot into the group container and answers the charge-limit control as
// soon as its notification arrives.
//
//   Watch watch(monitor, store, group, {.interval = Seconds{60}, .note = logLine});
//   watch.run(stopRequested);      // returns after a signal, every state flushed
//
// Sleep shows as a gap between two ticks: when the wall clock moved on by more
// than twice the interval, the machine was asleep (or the service stopped),
// and the alert policy is told it just woke, so the burst of readings after a
// wake settles before anything is posted. A wall clock set back is taken as it
// is: the next tick is never more than one interval away.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

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
};

// Hooks for a monitor that writes its widget snapshot into `group` and
// answers the control through the group's preferences.
Monitor::Hooks watchHooks(const widget::AppGroup& group, std::function<std::string()> powerLog);

// One line about what a tick did that a person would want in the log: the
// alerts posted, a full charge started or ended, the control answered, a
// limit that could not be switched. Empty when nothing worth a line happened.
std::vector<std::string> tickNotes(const TickReport& report);

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
  bool waitFor(batterycore::Seconds timeout);

  Monitor& monitor_;
  StateStore& store_;
  const widget::AppGroup& group_;
  WatchOptions options_;
  std::unique_ptr<widget::NotificationListener> listener_;
  std::optional<batterycore::Date> lastTick_;
  std::optional<batterycore::Date> wokeAt_;
  bool unreadable_ = false;  // the battery could not be read at the last tick
};

}  // namespace kestrin::app
