// SysfsBattery: the laptop battery and its charge threshold as Linux shows
// them under /sys/class/power_supply, as a BatterySource and a LimitController.
//
//   SysfsBattery battery;                          // the real folder, the system clock
//   auto reading = battery.read();                 // absent on a machine without a battery
//   battery.switchOff();                           // writes "100": charge to full
//   battery.switchOn();                            // writes back the threshold it replaced
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
// The limit is the battery's charge_control_end_threshold: below 100 it is on
// at that value, 100 is off. Switching off remembers the value it replaced so
// switching on can restore it; this object never picks a threshold itself.
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"
#include "app/LimitController.hpp"
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

class SysfsBattery final : public batterycore::BatterySource, public LimitController {
 public:
  using Clock = std::function<batterycore::Date()>;

  // `thermalRoot`, when given, is a folder like /sys/class/thermal whose
  // thermal_zone*/temp files (m°C) set the thermal level; without it the level
  // stays nominal.
  explicit SysfsBattery(std::filesystem::path powerSupplyRoot = kPowerSupplyRoot, Clock clock = systemNow,
                        std::optional<std::filesystem::path> thermalRoot = std::nullopt);

  std::optional<batterycore::BatterySnapshot> read() override;
  std::optional<std::string> switchOn() override;
  std::optional<std::string> switchOff() override;

  // The folder of the laptop's battery; absent when there is none.
  std::optional<std::filesystem::path> batteryFolder() const;
  // The charge threshold as it stands now.
  batterycore::LimitState limit();

  // The threshold that switching on restores: the last one below 100 seen or
  // replaced. A service keeps it between runs, so a limit switched off before
  // a restart can still be put back.
  std::optional<int> rememberedThreshold() const { return remembered_; }
  // Ignored unless 1 to 99.
  void rememberThreshold(int percent);

 private:
  std::optional<std::string> writeThreshold(const std::filesystem::path& file, int value) const;
  batterycore::ThermalLevel thermal() const;

  std::filesystem::path root_;
  Clock clock_;
  std::optional<std::filesystem::path> thermalRoot_;
  std::optional<int> remembered_;  // the last threshold below 100 seen or replaced
};

}  // namespace kestrin::app::live
