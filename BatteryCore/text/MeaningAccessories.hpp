// The texts of the accessories list and of its alert: the batteries of the
// mouse, keyboard, trackpad and other peripherals.
//
//   Meaning::Accessories::name(k800)      == "K800"             ("Unnamed device" without a name)
//   Meaning::Accessories::figure(deco40)  == "40%"              (absent for a level-only or unknown device)
//   Meaning::Accessories::state(deco40)   == "Fine"
//   Meaning::Accessories::state(phantom)  == "Battery level unknown"
//   Meaning::accessoryLowAlert(m705At8)
//       == Line{"M705 is down to 8%", "Charge it soon so it doesn't run out mid-task."}
//
// The words follow the charge: above 50 % "Plenty left", above 20 % "Fine",
// above 10 % "Getting low", else "Low" — the last two bands are those of the
// alert rule (AccessoryRule): the alert comes at "Low", and "Fine" again is
// what re-arms it. A level-only device is "Plenty left" at Full or High,
// "Fine" at Normal and "Low" at Low or Critical. A charging device says
// "Charging" whatever its charge.
#pragma once

#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <optional>
#include <string>

namespace batterycore::Meaning {

// The alert of AccessoryRule: "M705 is down to 8%" (or "K800 is running low"
// for a device that reports only a level) and what to do.
Line accessoryLowAlert(const AccessoryBattery& accessory);

namespace Accessories {

// Above this percentage a device has plenty left.
inline constexpr int plentyAbove = 50;

// The list's heading: the tab's name.
std::string title();
// The line under the heading; it speaks of the Mac, so only a Mac shows it.
std::string subtitle();
// Under the list: when an alert comes.
std::string footer();
// Instead of the list when there is nothing in it.
std::string empty();

// The model name, or "Unnamed device".
std::string name(const AccessoryBattery& accessory);
// The charge as a percentage in the locale's style; absent without one.
std::optional<std::string> figure(const AccessoryBattery& accessory);
// How the charge stands, in a word or two: "Plenty left", "Fine", "Getting
// low", "Low", "Charging", or "Battery level unknown".
std::string state(const AccessoryBattery& accessory);

}  // namespace Accessories

}  // namespace batterycore::Meaning
