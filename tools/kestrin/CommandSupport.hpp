// What every kestrin command shares: switching the language for --locale, the
// system's time zone for commands that default to it, and reading the files a
// person names, so that whatever is wrong with one is said in one line,
// "kestrin: <the file or option>: <the problem>".
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "app/StoredState.hpp"

#include <exception>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace kestrin::tool {

// Sets ICU's default locale (the language of every text and number); an
// empty name keeps the process's own. False, with a line on `err` naming
// `source` ("--locale", or where a stored name came from), for a name ICU
// has no data for.
bool useLocale(const std::string& name, std::ostream& err, std::string_view source = "--locale");

// The IANA name of the system's time zone ("Europe/Berlin").
std::string systemTimeZone();

// The folder of the service's states: `given` when not empty, else
// $XDG_STATE_HOME/kestrin/state, else ~/.local/state/kestrin/state. Absent
// when none of them is known.
std::optional<std::filesystem::path> stateFolderOrDefault(const std::string& given);

// The moment of --now: the system clock when `given` is empty; absent, with a
// line on `err`, when it is not an ISO 8601 date-time.
std::optional<batterycore::Date> nowOption(const std::string& given, std::ostream& err);
// The calendar of the time-zone option `option` (the system's zone when
// `given` is empty) in the current locale; absent, with a line on `err`, for
// a zone ICU does not know.
std::optional<batterycore::Calendar> calendarOption(const std::string& given, std::string_view option,
                                                    std::ostream& err);
// Whether ICU knows the IANA zone `name` ("Europe/Berlin").
bool knownTimeZone(const std::string& name);

// False, with a line on `err`, when `folder` (given with `option`) is there
// but is not a folder; a folder that is missing is each command's to judge.
bool checkFolderOption(const std::filesystem::path& folder, std::string_view option, std::ostream& err);

// The service's states in `folder` (given with --state), read as they are: a
// damaged file stays where it is for the service. Unless `localeGiven`, the
// locale of the folder's settings is put in use. Absent, with a line on `err`,
// when the folder is missing or not a folder, a file is damaged or the
// settings name a locale ICU does not know.
std::optional<app::StoredState> readServiceState(const std::filesystem::path& folder, bool localeGiven,
                                                 std::ostream& err);

// What an exception says, on one line, without the JSON library's
// "[json.exception.parse_error.101] " tag.
std::string problemText(const std::exception& error);
// `text` with every line break turned into a space.
std::string singleLine(std::string text);

// The bytes of the file at `path`; absent, with a line on `err`, when it is
// missing, a folder or cannot be read.
std::optional<std::string> readFileText(const std::filesystem::path& path, std::ostream& err);
// The JSON in the file at `path`; absent, with a line on `err`, also when the
// file is empty or not JSON.
std::optional<batterycore::Json> readJsonFile(const std::filesystem::path& path, std::ostream& err);
// Writes `text` into the file at `path`, replacing it; false, with a line on
// `err`, when it cannot (a missing or read-only folder, a folder by that name).
bool writeFileText(const std::filesystem::path& path, std::string_view text, std::ostream& err);
// What `decode` makes of the JSON in the file at `path`; absent, with a line
// on `err`, also when decoding throws (a field missing or of the wrong type).
template <class Decode>
auto decodeJsonFile(const std::filesystem::path& path, std::ostream& err, Decode&& decode)
    -> std::optional<decltype(decode(std::declval<const batterycore::Json&>()))> {
  const auto json = readJsonFile(path, err);
  if (!json) return std::nullopt;
  try {
    return std::forward<Decode>(decode)(*json);
  } catch (const std::exception& error) {
    err << "kestrin: " << path.string() << ": " << problemText(error) << "\n";
  }
  return std::nullopt;
}

// Columns on a terminal: East Asian wide and full-width characters take two.
std::size_t displayWidth(std::string_view text);
// The text filled with spaces to `width` columns, after it or before it.
std::string padRight(const std::string& text, std::size_t width);
std::string padLeft(const std::string& text, std::size_t width);

}  // namespace kestrin::tool
