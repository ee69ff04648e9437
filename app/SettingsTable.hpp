// SettingsTable: every setting a person can change by name, in one table —
// how its value reads as text, what a typed value may be, and what the
// setting does in the person's language. `kestrin settings` lists from it and
// sets through it, so the two never disagree.
//
//   Settings settings;
//   const auto interval = findSetting("interval");
//   applySetting(settings, *interval, "30")  == std::nullopt       // taken: 30 s
//   applySetting(settings, *interval, "5")   == "a whole number of seconds from 10 to 3600"
//   interval->show(settings)   == "30"
//   interval->show(Settings{}) == "60"                              // the default
//   applySetting(settings, *interval, "default");                   // back to 60
//   interval->explanation()    == "Tick interval: How often, in seconds, Kestrin reads the battery."
//
// Keys, in listing order: level; alert.<kind> for every kind that has a switch
// (alert.limitNotHolding ... alert.backgroundDrain); smartTopUp;
// fullCharge.untilUnplug, fullCharge.whenFull, fullCharge.hours; interval;
// locale; keepLimitOn; calendar.fullCharge, calendar.allDay,
// calendar.keywords, calendar.path.
//
// Values as typed: switches are on or off (true and false read too); level is
// simple or technical; interval whole seconds 10..3600; fullCharge.hours whole
// hours 1..24 or none; locale a locale ICU has data for (de_DE, de-DE, en) or
// none; calendar.keywords words separated by commas, or none; calendar.path an
// absolute path (a file or folder that need not exist yet), or none. Every key
// takes "default", which gives back the default (an alert switch then follows
// its kind's default again).
#pragma once

#include "BatteryCore/text/Meaning.hpp"
#include "app/Settings.hpp"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app {

struct SettingRow {
  // What the setting allows, said when a value is refused; absent when taken.
  using Refusal = std::optional<std::string>;

  std::string key;
  // The value as text, in the form `assign` reads back.
  std::function<std::string(const Settings&)> show;
  // Takes a typed value; a refused one leaves the settings as they were.
  std::function<Refusal(Settings&, std::string_view)> assign;
  // Back to the default; absent when assigning the default's text does it.
  std::function<void(Settings&)> reset;
  // The setting's name and what it does, in the current language.
  std::function<batterycore::Meaning::Line()> describe;
  // A word about a value just set that the person should hear (calendar
  // keywords: with none, nothing counts as a trip); absent for most.
  std::function<std::optional<std::string>(const Settings&)> remark;

  // Name and line joined: "Tick interval: How often, in seconds, ...".
  std::string explanation() const;
};

// Every setting, in listing order.
std::vector<SettingRow> settingRows();
// The row named `key`; absent for a key that is no setting.
std::optional<SettingRow> findSetting(std::string_view key);
// Sets `row`'s value from `text` ("default" resets it). Returns what the key
// allows when the text is refused; the settings are then unchanged.
SettingRow::Refusal applySetting(Settings& settings, const SettingRow& row, std::string_view text);

// The canonical ICU name of a locale ICU has data for ("de-DE" and "de_de"
// give "de_DE"); absent for anything else ("xx", "de_XX", "english").
std::optional<std::string> knownLocaleName(std::string_view name);

}  // namespace kestrin::app
