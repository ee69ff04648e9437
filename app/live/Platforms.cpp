#include "app/live/Platforms.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "app/live/CalendarCache.hpp"
#include "app/live/DesktopNotifications.hpp"
#include "app/live/HostTimeZone.hpp"
#include "app/live/PowerLog.hpp"
#include "app/live/ProcessTable.hpp"
#include "app/live/ServiceLog.hpp"
#include "app/live/SysfsAccessories.hpp"
#include "app/live/SystemClock.hpp"

#include <memory>
#include <optional>
#include <string>

namespace kestrin::app::live {

using batterycore::Calendar;
using batterycore::Date;

Platform commonPlatform(const PlatformOptions& options) {
  Platform platform;
  platform.group = widget::AppGroup::open();
  platform.clock = systemNow;
  // Read afresh at every tick: ICU keeps the zone it found at the start.
  platform.timeZone = [] { return hostTimeZone().value_or(startupTimeZone()); };
  platform.log = [](std::string_view line, bool warning) { logServiceLine(line, warning); };
  if (!options.powerLog.empty()) {
    auto file = std::make_shared<PowerLogFile>(options.powerLog);
    auto follower = std::make_shared<PowerLogFollower>();
    platform.powerLog = [file, follower] { return follower->newPart(file->readNew(), systemNow()); };
  }
  platform.processes = [] { return readProcesses(); };
  platform.packageEnergy = [] { return readPackageEnergy(); };
  // Mice and keyboards beside the laptop's battery (the same folder on Linux).
  std::optional<std::filesystem::path> accessoriesRoot;
  if (!options.sysfsRoot.empty()) accessoriesRoot = options.sysfsRoot;
  platform.accessories = [accessoriesRoot] { return readAccessories(accessoriesRoot); };
  // The calendar files keep what they read for a while; a file that cannot
  // be read is said once.
  auto cache = std::make_shared<std::optional<CalendarCache>>();
  auto log = platform.log;
  platform.calendarEvents = [cache, log](Date now, const std::string& path, const Calendar& calendar) {
    if (!*cache) {
      cache->emplace(calendar, [log](const std::string& line) { log(line, true); });
    } else {
      (*cache)->follow(calendar);
    }
    return (*cache)->events(now, path);
  };
  platform.notifier = std::make_shared<DesktopNotifications>();
  return platform;
}

}  // namespace kestrin::app::live
