// Platform: what the service needs from the machine it runs on, as one value,
// so that the service itself is the same on Linux and on a Mac and can be
// run in a test against a made-up machine.
//
//   app::Platform platform = app::live::platformFor({.sysfsRoot = "/sys/class/power_supply"});
//   if (!platform.battery) return fail(platform.problem);       // "no laptop battery under ..."
//   app::Service service(std::move(platform), {.stateFolder = folder});
//
// Only `battery`, `limit`, `clock` and `group` are needed; every other part
// left empty means the service does without it (no power log, no desktop
// notifications, no wake-ups but the interval and the control's call).
#pragma once

#include "BatteryCore/departures/CalendarEvent.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/health/ProcessSample.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "app/LimitController.hpp"
#include "app/StateStore.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app {

namespace live {
class DesktopNotifications;
}

// A descriptor the service also waits on between ticks: a udev monitor, the
// desktop's message bus, a signal descriptor.
struct WakeSource {
  int fd = -1;
  // What to wait for (POLLIN unless the source says otherwise each time).
  std::function<short()> events;
  // Called when the descriptor is ready; true: tick now.
  std::function<bool()> ready;
};

struct Platform {
  // The battery's reader and the limit's switch; no battery: both absent,
  // and `problem` says why in one line.
  std::shared_ptr<batterycore::BatterySource> battery;
  std::shared_ptr<LimitController> limit;
  std::string problem;
  // What the start line calls the battery ("/sys/class/power_supply/BAT0").
  std::string batteryName;
  // The widget's container and the control's preferences.
  widget::AppGroup group;
  // Now, on the wall clock.
  std::function<batterycore::Date()> clock;
  // The system's time zone now (an IANA name); empty: days stay in the zone
  // found at the start.
  std::function<std::string()> timeZone;
  // The power-management log since the last look (for calibration).
  std::function<std::string()> powerLog;
  // The process table and the processor's package energy, for the
  // background-drain rule.
  std::function<std::vector<batterycore::ProcessSample>()> processes;
  std::function<std::optional<double>()> packageEnergy;
  // Wireless mice, keyboards and the like.
  std::function<std::vector<batterycore::AccessoryBattery>()> accessories;
  // The events of the calendars at `path` around `now`, read in `calendar`.
  std::function<std::vector<batterycore::CalendarEvent>(batterycore::Date now, const std::string& path,
                                                        const batterycore::Calendar& calendar)>
      calendarEvents;
  // Desktop notifications for the alerts the policy lets out.
  std::shared_ptr<live::DesktopNotifications> notifier;
  // Plugging in or out, a stop signal: read at once, not at the next tick.
  std::vector<WakeSource> wakeSources;
  // What the platform has to say when the service starts (a udev monitor it
  // could not open).
  std::vector<std::string> startNotes;
  // The service's log (`warning`: needs a person's eye).
  std::function<void(std::string_view line, bool warning)> log;
  // What the limit's switch keeps between runs beside the states (the
  // threshold to put back): read once at the start, saved after each tick.
  std::function<void(StateStore&)> restore;
  std::function<void(StateStore&)> persist;
};

}  // namespace kestrin::app
