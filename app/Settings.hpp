// Settings: what the person chose — detail level, alert switches, the smart
// top-up, and how a full charge they start ends.
//
//   Settings settings;                         // simple wording, default switches
//   settings.alertEnabled(Kind::healthMilestone) == false   // off until turned on
//   settings.alerts[Kind::healthMilestone] = true;          // now on
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/text/DetailLevel.hpp"

#include <map>
#include <optional>

namespace kestrin::app {

struct FullChargeOptions {
  bool untilUnplug = true;
  bool whenFull = false;
  std::optional<int> hours;

  friend bool operator==(const FullChargeOptions&, const FullChargeOptions&) = default;
  batterycore::Json toJson() const;
  static FullChargeOptions fromJson(const batterycore::Json& json);
};

struct Settings {
  batterycore::DetailLevel level = batterycore::DetailLevel::simple;
  // Only the switches the person changed; the rest keep their defaults.
  std::map<batterycore::BatteryAlert::Kind, bool> alerts;
  bool smartTopUp = false;  // offered once departures are learned
  FullChargeOptions fullCharge;

  bool alertEnabled(batterycore::BatteryAlert::Kind kind) const;

  friend bool operator==(const Settings&, const Settings&) = default;
  // Every key may be missing; unknown alert kinds are ignored.
  batterycore::Json toJson() const;
  static Settings fromJson(const batterycore::Json& json);
};

}  // namespace kestrin::app
