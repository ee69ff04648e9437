// AppleSmartBattery: the Mac's battery as a BatterySource, read from the
// AppleSmartBattery registry entry through IOKit. Apple platforms only.
//
//   AppleSmartBattery battery(systemNow, [] { return limitReader.read(); });
//   auto reading = battery.read();                 // absent on a Mac without a battery
//   if (!reading) log(battery.lastRefusal());
//
// It turns the entry's properties into the same Json tree the saved-file
// readers produce (data as "<hex>" text, numbers signed as IOKit keeps them)
// and maps it with snapshotFromAppleProperties, so a Mac and a captured dump
// give the same snapshot. The entry says nothing about the charge limit or the
// thermal level; the caller supplies both.
#pragma once

#ifdef __APPLE__

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"
#include "app/live/SystemClock.hpp"

#include <functional>
#include <optional>
#include <string>

namespace kestrin::app::live {

class AppleSmartBattery final : public batterycore::BatterySource {
 public:
  using Clock = std::function<batterycore::Date()>;
  using LimitReader = std::function<batterycore::LimitState()>;
  using ThermalReader = std::function<batterycore::ThermalLevel()>;

  explicit AppleSmartBattery(Clock clock = systemNow, LimitReader limit = {}, ThermalReader thermal = {});

  std::optional<batterycore::BatterySnapshot> read() override;

  // The registry entry's properties; absent when there is no such entry.
  static std::optional<batterycore::Json> properties();

  // Why the last read gave no snapshot; empty after a good one.
  const std::string& lastRefusal() const { return lastRefusal_; }

 private:
  Clock clock_;
  LimitReader limit_;
  ThermalReader thermal_;
  std::string lastRefusal_;
};

}  // namespace kestrin::app::live

#endif  // __APPLE__
