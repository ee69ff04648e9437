// The service's platform everywhere but on Apple's systems: the kernel's
// power-supply class for the battery (SysfsBattery) and its thresholds
// (SysfsLimit).
#ifndef __APPLE__

#include "app/live/Platforms.hpp"

#include "app/live/PowerSupplyEvents.hpp"
#include "app/live/SysfsBattery.hpp"
#include "app/live/SysfsLimit.hpp"

namespace kestrin::app::live {

namespace fs = std::filesystem;

Platform platformFor(const PlatformOptions& options) {
  const fs::path root = options.sysfsRoot.empty() ? fs::path(kPowerSupplyRoot) : options.sysfsRoot;
  std::optional<fs::path> thermal;
  if (!options.thermalRoot.empty()) {
    thermal = options.thermalRoot;
  } else if (options.sysfsRoot.empty()) {
    thermal = kThermalRoot;
  }
  const auto folder = SysfsBattery(root, systemNow).batteryFolder();
  if (!folder) {
    Platform none;
    none.problem = "no laptop battery under " + root.string();
    return none;
  }
  auto limit = std::make_shared<SysfsLimit>(folder);

  Platform platform = commonPlatform(options);
  platform.battery = std::make_shared<SysfsBattery>(root, systemNow, thermal, [limit] { return limit->state(); });
  platform.limit = limit;
  platform.batteryName = folder->string();
  // The thresholds to put back when the limit is switched on again outlive
  // the process: a limit switched off before a restart can still be restored.
  platform.restore = [limit](StateStore& store) {
    if (const auto kept = store.loadJson("threshold")) limit->keep(*kept);
  };
  platform.persist = [limit](StateStore& store) {
    if (auto kept = limit->kept(); !kept.empty()) store.saveJson("threshold", kept);
  };

  // Plugging in or out is read at once, not at the next tick.
  std::string why;
  std::shared_ptr<PowerSupplyEvents> events = PowerSupplyEvents::open(why);
  if (events) {
    platform.wakeSources.push_back({events->descriptor(), {}, [events] { return events->drain(); }});
  } else {
    platform.startNotes.push_back("no udev monitor (" + why + "); the battery is read at each interval only");
  }
  return platform;
}

}  // namespace kestrin::app::live

#endif  // __APPLE__
