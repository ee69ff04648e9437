// SysfsBattery: the laptop battery as Linux shows it under
// /sys/class/power_supply, as a BatterySource. Its charge limit is read, and
// switched, by SysfsLimit.
//
//   SysfsBattery battery;                          // the real folder, the system clock
//   auto reading = battery.read();                 // absent on a machine without a battery
//
// The laptop's battery is the first supply (in name order) of type "Battery"
// whose scope is not "Device": mice, keyboards and pens report scope Device.
// External power is any "Mains", USB or wireless supply that is online; a
// battery that is charging is plugged in whatever the supplies say. With no
// such supply at all, the battery's own status tells ("Charging", "Full",
// "Not charging" are on external power).
//
// Drivers report current and power as magnitudes and the direction in the
// status, so "Discharging" makes both negative. A battery that reports energy
// (µWh) is converted to mAh at its design minimum voltage (the voltage its
// rating uses), or at the present voltage when that is all it gives; charge
// (µAh) is used as it stands.
//
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"
#include "app/live/SystemClock.hpp"
#include "app/live/Uevent.hpp"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::live {

inline constexpr const char* kPowerSupplyRoot = "/sys/class/power_supply";
inline constexpr const char* kThermalRoot = "/sys/class/thermal";

// Hottest thermal zone in °C -> thermal level: from 70 fair, from 80 serious,
// from 90 critical. Laptop CPUs throttle in the 90s; a zone that sits in the
// 70s is already warm enough to slow charging on many machines.
batterycore::ThermalLevel thermalLevelForCelsius(double celsius);

// One supply folder's properties: its uevent file, overridden by the attribute
// files beside it (the files are what the kernel documents; uevent is the
// fallback when a file cannot be read).
Uevent readSupply(const std::filesystem::path& folder);

// The reading made from a battery's properties and the external-power supplies
// found beside it. Absent when the capacity is missing or outside 0 to 100.
std::optional<batterycore::BatterySnapshot> snapshotFrom(batterycore::Date at, const Uevent& battery,
                                                         const std::vector<Uevent>& powerSupplies,
                                                         batterycore::LimitState limit,
                                                         batterycore::ThermalLevel thermal);

class SysfsBattery final : public batterycore::BatterySource {
 public:
  using Clock = std::function<batterycore::Date()>;
  // The limit as it stands now; none: a SysfsLimit on the battery's folder,
  // made afresh for each reading.
  using LimitReader = std::function<batterycore::LimitState()>;

  // `thermalRoot`, when given, is a folder like /sys/class/thermal whose
  // thermal_zone*/temp files (m°C) set the thermal level; without it the level
  // stays nominal.
  explicit SysfsBattery(std::filesystem::path powerSupplyRoot = kPowerSupplyRoot, Clock clock = systemNow,
                        std::optional<std::filesystem::path> thermalRoot = std::nullopt, LimitReader limit = {});

  std::optional<batterycore::BatterySnapshot> read() override;

  // The folder of the laptop's battery; absent when there is none.
  std::optional<std::filesystem::path> batteryFolder() const;
 private:
  batterycore::ThermalLevel thermal() const;

  std::filesystem::path root_;
  Clock clock_;
  std::optional<std::filesystem::path> thermalRoot_;
  LimitReader limit_;
};

}  // namespace kestrin::app::live
