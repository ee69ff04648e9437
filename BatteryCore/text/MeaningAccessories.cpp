#include "BatteryCore/text/MeaningAccessories.hpp"

#include "BatteryCore/health/AccessoryRule.hpp"
#include "BatteryCore/text/Formatting.hpp"

namespace batterycore::Meaning {

namespace {

using Level = AccessoryBattery::Level;

std::string plenty() { return text("accessory.plenty", "Plenty left"); }
std::string fine() { return text("accessory.fine", "Fine"); }
std::string gettingLow() { return text("accessory.gettingLow", "Getting low"); }
std::string low() { return text("accessory.low", "Low"); }

}  // namespace

Line accessoryLowAlert(const AccessoryBattery& accessory) {
  const std::string name = Accessories::name(accessory);
  std::string title = accessory.percent
                          ? format("accessory.alert.title", "%@ is down to %@",
                                   {name, Formatting::percent(*accessory.percent)})
                          : format("accessory.alert.runningLow", "%@ is running low", {name});
  return {std::move(title), text("accessory.alert.body", "Charge it soon so it doesn't run out mid-task.")};
}

namespace Accessories {

std::string title() { return text("tab.accessories", "Accessories"); }

std::string subtitle() {
  return text("accessories.subtitle", "Batteries of the mouse, keyboard and trackpad connected to your Mac.");
}

std::string footer() { return text("accessories.footer", "You'll get an alert when one is down to 10%%."); }

std::string empty() {
  return text("accessories.empty", "No mouse, keyboard or trackpad with a battery is connected.");
}

std::string name(const AccessoryBattery& accessory) {
  if (!accessory.name.empty()) return accessory.name;
  return text("accessories.unnamed", "Unnamed device");
}

std::optional<std::string> figure(const AccessoryBattery& accessory) {
  if (!accessory.percent) return std::nullopt;
  return Formatting::percent(*accessory.percent);
}

std::string state(const AccessoryBattery& accessory) {
  if (accessory.status == AccessoryBattery::Status::charging) return text("accessory.charging", "Charging");
  if (accessory.percent) {
    const int percent = *accessory.percent;
    if (percent > plentyAbove) return plenty();
    if (percent > AccessoryRule::rearmAbove) return fine();
    if (percent > AccessoryRule::lowAtOrBelow) return gettingLow();
    return low();
  }
  if (accessory.level) {
    switch (*accessory.level) {
      case Level::full:
      case Level::high: return plenty();
      case Level::normal: return fine();
      case Level::low:
      case Level::critical: return low();
    }
  }
  return text("accessory.unknown", "Battery level unknown");
}

}  // namespace Accessories

}  // namespace batterycore::Meaning
