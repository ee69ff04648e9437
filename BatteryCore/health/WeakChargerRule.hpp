// WeakChargerRule: raises a `weakCharger` alert when the plugged-in charger
// cannot keep up (the power flow's warning) for five minutes in a row, at most
// once a calendar day for each charger.
//
//   WeakChargerRule rule;
//   rule = WeakChargerRule::step(rule, drainingOn30W, t, calendar).next;          // warning starts
//   auto [next, alert] = WeakChargerRule::step(rule, drainingOn30W, t + 5min, calendar);
//   alert->title == "Draining while plugged in"
//   WeakChargerRule::step(next, drainingOn30W, t + 6h, calendar).alert == std::nullopt   // same day
//
// Chargers are told apart as ChargerMemory recognises them, so a second weak
// charger on the same day still gets its alert.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {

struct WeakChargerRule {
  struct Charger {
    std::string identity;           // ChargerMemory::identity of the adapter
    std::optional<Date> since;      // when the current warning began; absent without one
    Date seenAt;                    // the last reading on this charger
    std::optional<Date> lastAlert;  // when its last alert was raised

    friend bool operator==(const Charger&, const Charger&) = default;
    Json toJson() const;
    static Charger fromJson(const Json& json);
  };

  struct Step;

  // How long the warning must last before the alert.
  static constexpr Seconds lastsFor = std::chrono::minutes{5};
  // Readings further apart than this (the Mac slept) do not make one episode.
  static constexpr Seconds maxGap = std::chrono::minutes{5};

  std::vector<Charger> chargers;

  static Step step(const WeakChargerRule& previous, const BatterySnapshot& snapshot, Date now,
                   const Calendar& calendar);

  friend bool operator==(const WeakChargerRule&, const WeakChargerRule&) = default;
  // {"chargers": [...]}; a missing key reads as no chargers.
  Json toJson() const;
  static WeakChargerRule fromJson(const Json& json);
};

struct WeakChargerRule::Step {
  WeakChargerRule next;
  std::optional<BatteryAlert> alert;
};

}  // namespace batterycore
