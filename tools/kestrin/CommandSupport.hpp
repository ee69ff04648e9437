// What every kestrin command shares: switching the language for --locale and
// the system's time zone for commands that default to it.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::tool {

// Sets ICU's default locale (the language of every text and number); an
// empty name keeps the process's own. False, with a line on `err`, for a name
// that is not a locale.
bool useLocale(const std::string& name, std::ostream& err);

// The IANA name of the system's time zone ("Europe/Berlin").
std::string systemTimeZone();

// The folder of the service's states: `given` when not empty, else
// $XDG_STATE_HOME/kestrin/state, else ~/.local/state/kestrin/state. Absent
// when none of them is known.
std::optional<std::filesystem::path> stateFolderOrDefault(const std::string& given);

// The moment of --now: the system clock when `given` is empty; absent, with a
// line on `err`, when it is not an ISO 8601 date-time.
std::optional<batterycore::Date> nowOption(const std::string& given, std::ostream& err);
// The calendar of --time-zone (the system's zone when `given` is empty) in
// the current locale; absent, with a line on `err`, for a zone ICU does not know.
std::optional<batterycore::Calendar> calendarOption(const std::string& given, std::ostream& err);

// Columns on a terminal: East Asian wide and full-width characters take two.
std::size_t displayWidth(std::string_view text);
// The text filled with spaces to `width` columns, after it or before it.
std::string padRight(const std::string& text, std::size_t width);
std::string padLeft(const std::string& text, std::size_t width);

}  // namespace kestrin::tool
