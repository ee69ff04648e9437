// The service's platform everywhere but on Apple's systems: the kernel's
// power-supply class for the battery and its threshold.
#ifndef __APPLE__

#include "app/live/Platforms.hpp"

#include "app/live/PowerSupplyEvents.hpp"
#include "app/live/SysfsBattery.hpp"

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
  auto battery = std::make_shared<SysfsBattery>(root, systemNow, thermal);
  const auto folder = battery->batteryFolder();
  if (!folder) {
    Platform none;
    none.problem = "no laptop battery under " + root.string();
    return none;
  }

  Platform platform = commonPlatform(options);
  platform.battery = battery;
  platform.limit = battery;
  platform.batteryName = folder->string();
  // The threshold to put back when the limit is switched on again outlives
  // the process: a limit switched off before a restart can still be restored.
  platform.restore = [battery](StateStore& store) {
    if (const auto kept = store.loadJson("threshold"); kept && kept->is_object()) {
      if (const auto it = kept->find("restore"); it != kept->end() && it->is_number_integer()) {
        battery->rememberThreshold(it->get<int>());
      }
    }
  };
  platform.persist = [battery](StateStore& store) {
    if (const auto value = battery->rememberedThreshold()) store.saveJson("threshold", batterycore::Json{{"restore", *value}});
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
