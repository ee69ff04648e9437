// Settings: what the person chose — detail level, alert switches, the smart
// top-up, how a full charge they start ends, trips in the calendar, how often
// the service looks at the battery, the language, and whether a limit the
// firmware dropped is switched back on.
//
//   Settings settings;                         // simple wording, default switches
//   settings.alertEnabled(Kind::healthMilestone) == false   // off until turned on
//   settings.alerts[Kind::healthMilestone] = true;          // now on
//   settings.interval == std::chrono::seconds{60}
//
// Stored as "settings.json" in the state folder. Every key may be missing, so
// a file written before a setting existed reads with that setting's default.
// SettingsTable.hpp names each setting and checks values a person types.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/text/DetailLevel.hpp"

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

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
  static constexpr std::chrono::seconds kShortestInterval{10};
  static constexpr std::chrono::seconds kLongestInterval{3600};
  // Words in an event's title that make it a trip: English, and the other
  // languages the catalogue speaks, because calendars are written in the
  // person's language whatever the app's.
  static std::vector<std::string> defaultCalendarKeywords();

  batterycore::DetailLevel level = batterycore::DetailLevel::simple;
  // Only the switches the person changed; the rest keep their defaults.
  std::map<batterycore::BatteryAlert::Kind, bool> alerts;
  // Off until the person turns it on: it changes when the battery charges.
  bool smartTopUp = false;
  FullChargeOptions fullCharge;
  // Time between two ticks of the service, kShortestInterval..kLongestInterval.
  std::chrono::seconds interval{60};
  // An ICU locale name ("de_DE") for every text; absent: the system's.
  std::optional<std::string> locale;
  // Switch a limit that the firmware dropped across a wake or restart back on.
  bool keepLimitOn = false;
  // A full charge the evening before a trip found in the calendar.
  bool calendarFullCharge = false;
  // All-day events count too. Off at first: birthdays and holidays are
  // all-day events, and a needless charge to 100% is what we avoid.
  bool calendarAllDay = false;
  std::vector<std::string> calendarKeywords = defaultCalendarKeywords();
  // Where the calendars are: one .ics file or a folder of them (an absolute
  // path); absent: no calendar is read.
  std::optional<std::string> calendarPath;

  bool alertEnabled(batterycore::BatteryAlert::Kind kind) const;

  friend bool operator==(const Settings&, const Settings&) = default;
  // Every key may be missing; unknown alert kinds are ignored, and an interval
  // outside the allowed range is brought to its nearest end.
  batterycore::Json toJson() const;
  static Settings fromJson(const batterycore::Json& json);
};

}  // namespace kestrin::app
