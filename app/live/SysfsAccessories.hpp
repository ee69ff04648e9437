// The batteries of wireless mice, keyboards, trackpads, game pads and pen
// tablets, as Linux shows them under /sys/class/power_supply, and the one
// call that reads them on whichever platform this is.
//
//   auto accessories = readSysfsAccessories();                    // the real folder
//   auto captured = readSysfsAccessories("tests/data/sysfs/accessories-desk");
//   auto here = readAccessories(std::nullopt);                     // this machine, Linux or Mac
//
// A peripheral's supply is one whose scope is "Device" (the `scope` file, or
// POWER_SUPPLY_SCOPE in its uevent); its type is "Battery" or not given (older
// kernels print no TYPE for hid batteries). The laptop's own battery has no
// scope, and chargers and USB-C ports (Mains, USB) are never accessories. A
// supply that says it is not connected (ONLINE=0, as a switched-off mouse
// stays behind on its receiver) or not present is left out of the list: it
// has nothing to tell, and the alert rule keeps its memory while it is away.
//
// The id is the serial number where there is one (a receiver renumbers its
// supplies when a device comes back), else the supply's name (POWER_SUPPLY_NAME,
// else the folder's name); the
// name its model name. Percentages and levels pass through
// AccessoryBattery::fromReading, so a figure out of range or a phantom 0 %
// reads as unknown. The list is in AccessoryBattery::listedBefore order. Odd or unreadable
// entries are skipped; reading never throws.
#pragma once

#include "BatteryCore/health/AccessoryBattery.hpp"
#include "app/live/SysfsBattery.hpp"
#include "app/live/Uevent.hpp"

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace kestrin::app::live {

// The accessory one supply's properties describe; absent for a supply that is
// no peripheral battery or is not connected. `folderName` names it when the
// properties do not.
std::optional<batterycore::AccessoryBattery> accessoryFromSupply(const Uevent& supply, std::string_view folderName);

std::vector<batterycore::AccessoryBattery> readSysfsAccessories(
    const std::filesystem::path& root = kPowerSupplyRoot);

// The accessories of this machine: a Mac's from its I/O registry, any other
// machine's from /sys/class/power_supply. With `sysfsRoot`, that folder is
// read instead, on every platform.
std::vector<batterycore::AccessoryBattery> readAccessories(const std::optional<std::filesystem::path>& sysfsRoot);

}  // namespace kestrin::app::live
