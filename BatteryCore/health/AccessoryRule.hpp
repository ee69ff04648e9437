// AccessoryRule: raises an `accessoryLow` alert when a mouse, keyboard,
// trackpad or other peripheral runs low, once, and again only after it was
// charged.
//
//   AccessoryRule rule;
//   auto step = AccessoryRule::step(rule, {mouseAt(11)}, t);           // nothing yet
//   step = AccessoryRule::step(step.next, {mouseAt(10)}, t + 1h);
//   step.alerts[0].title == "M705 is down to 10%"
//   AccessoryRule::step(step.next, {mouseAt(8)}, t + 2h).alerts.empty()    // told once
//   // charged to 21 % and down to 10 % again: a new alert
//
// Low is 10 % or below; the alert is re-armed only once the device shows more
// than 20 %. A device that reports only a coarse level is low at Low or
// Critical and re-armed at Normal, High or Full. A device that is charging
// does not alert (its charge still re-arms it), and an unknown reading (see
// AccessoryBattery) neither alerts nor re-arms.
//
// Devices are remembered by id while they are away, so switching a mouse off
// or pulling its receiver and plugging it back does not alert a second time;
// a device not seen for 30 days is forgotten. A device seen for the first
// time is armed: connecting one that is already low alerts.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace batterycore {

struct AccessoryRule {
  // What the rule remembers of one device.
  struct Memory {
    std::string id;
    bool armed = true;  // false from its alert until it is charged again
    Date seenAt;        // the last reading that listed it

    friend bool operator==(const Memory&, const Memory&) = default;
    // {"id", "armed", "seenAt"}; "id" and "seenAt" are required, a missing
    // "armed" is true.
    Json toJson() const;
    static Memory fromJson(const Json& json);
  };

  struct Step;

  // Low at or below this percentage.
  static constexpr int lowAtOrBelow = 10;
  // Armed again above this percentage.
  static constexpr int rearmAbove = 20;
  // A device not listed for this long is forgotten.
  static constexpr Seconds forgetAfter = std::chrono::days{30};
  // The most devices remembered; the longest unseen go first.
  static constexpr std::size_t keepAccessories = 64;

  std::vector<Memory> accessories;

  // `accessories` is this reading's list; every device on it counts as seen
  // now. The alerts follow the order of the list.
  static Step step(const AccessoryRule& previous, const std::vector<AccessoryBattery>& accessories, Date now);

  // Whether a reading is low enough to alert, and whether it is charged
  // enough to re-arm; both false for an unknown reading.
  static bool isLow(const AccessoryBattery& accessory);
  static bool isRecharged(const AccessoryBattery& accessory);

  friend bool operator==(const AccessoryRule&, const AccessoryRule&) = default;
  // {"accessories": [...]}; a missing key reads as no devices remembered.
  Json toJson() const;
  static AccessoryRule fromJson(const Json& json);
};

struct AccessoryRule::Step {
  AccessoryRule next;
  std::vector<BatteryAlert> alerts;
};

}  // namespace batterycore
