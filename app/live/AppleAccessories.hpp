// The batteries of a Mac's wireless mouse, keyboard and trackpad (and other
// peripherals that report one), read from the I/O registry: every entry with
// a "BatteryPercent" property, as `ioreg -r -k BatteryPercent` lists them.
//
//   auto accessories = readAppleAccessories();                 // Apple platforms only
//   accessoryFromAppleProperties({{"Product", "Magic Mouse"}, {"BatteryPercent", 64}}, "4294970123")
//       -> Magic Mouse at 64 %
//
// The entry's properties are gathered into the same kind of Json tree the
// ioreg readers produce and mapped here, so the mapping is tested on every
// platform. The id is the device's "DeviceAddress" (a Bluetooth address stays
// the same when the device reconnects), else its "SerialNumber", else the
// registry entry's id (new on every reconnect). The name is "Product". The
// meaning of "BatteryStatusFlags" is not documented, so the status stays
// unknown; the percentage passes through AccessoryBattery::fromReading.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/AccessoryBattery.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::live {

// The accessory of one registry entry's properties; absent without a
// "BatteryPercent" number. `registryId` is the entry's id, used when the
// properties name no address or serial number.
std::optional<batterycore::AccessoryBattery> accessoryFromAppleProperties(const batterycore::Json& properties,
                                                                          const std::string& registryId);

#ifdef __APPLE__
// Every registry entry with a battery percentage, in AccessoryBattery::listedBefore order; one
// entry per id.
std::vector<batterycore::AccessoryBattery> readAppleAccessories();
#endif

}  // namespace kestrin::app::live
