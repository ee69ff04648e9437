#include "tools/kestrin/CommandSupport.hpp"

#include "KestrinWidget/SharedContainer.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "app/SettingsTable.hpp"
#include "app/live/HostTimeZone.hpp"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <unicode/errorcode.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <system_error>

namespace kestrin::tool {

namespace fs = std::filesystem;

bool useLocale(const std::string& name, std::ostream& err, std::string_view source) {
  if (name.empty()) return true;
  const auto known = app::knownLocaleName(name);
  if (!known) {
    err << "kestrin: " << source << " " << name << " is not a locale ICU has texts and formats for\n";
    return false;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale(known->c_str()), status);
  if (U_FAILURE(status)) {
    err << "kestrin: " << source << " " << name << ": cannot switch to it (" << u_errorName(status) << ")\n";
    return false;
  }
  return true;
}

std::string systemTimeZone() { return app::live::startupTimeZone(); }

std::optional<std::filesystem::path> stateFolderOrDefault(const std::string& given) {
  if (!given.empty()) return fs::path(given);
  auto environment = [](const char* name) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    return std::string(value);
  };
  if (const auto stateHome = environment("XDG_STATE_HOME"); stateHome && fs::path(*stateHome).is_absolute()) {
    return fs::path(*stateHome) / "kestrin" / "state";
  }
  if (const auto home = environment("HOME")) return fs::path(*home) / ".local" / "state" / "kestrin" / "state";
  return std::nullopt;
}

std::optional<batterycore::Date> nowOption(const std::string& given, std::ostream& err) {
  if (given.empty()) return std::chrono::time_point_cast<batterycore::Seconds>(std::chrono::system_clock::now());
  const auto parsed = batterycore::parseIso8601(given);
  if (!parsed) err << "kestrin: --now " << given << " is not an ISO 8601 date-time\n";
  return parsed;
}

std::optional<batterycore::Calendar> calendarOption(const std::string& given, std::string_view option,
                                                    std::ostream& err) {
  if (!given.empty() && !knownTimeZone(given)) {
    err << "kestrin: " << option << " " << given << " is not a time zone\n";
    return std::nullopt;
  }
  return batterycore::Calendar::gregorian(given.empty() ? systemTimeZone() : given,
                                          batterycore::Formatting::localeName());
}

bool knownTimeZone(const std::string& name) {
  return !name.empty() && batterycore::Calendar::gregorian(name).timeZone() == name;
}

bool checkFolderOption(const fs::path& folder, std::string_view option, std::ostream& err) {
  std::error_code error;
  const auto status = fs::status(folder, error);
  if (!fs::exists(status) || fs::is_directory(status)) return true;
  err << "kestrin: " << option << " " << folder.string() << " is not a folder\n";
  return false;
}

std::optional<app::StoredState> readServiceState(const fs::path& folder, bool localeGiven, std::ostream& err) {
  if (!checkFolderOption(folder, "--state", err)) return std::nullopt;
  if (!fs::is_directory(folder)) {
    err << "kestrin: no state folder at " << folder.string() << " (is kestrin watch running?)\n";
    return std::nullopt;
  }
  auto stored = app::readStoredState(folder);
  if (!stored.damaged.empty()) {
    err << "kestrin: " << singleLine(stored.damaged.front().line) << "\n";
    return std::nullopt;
  }
  if (!localeGiven && stored.settings.locale &&
      !useLocale(*stored.settings.locale, err, (folder / "settings.json").string() + ": locale")) {
    return std::nullopt;
  }
  return stored;
}

std::string singleLine(std::string text) {
  std::replace(text.begin(), text.end(), '\r', ' ');
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::string problemText(const std::exception& error) {
  std::string text = error.what();
  // nlohmann's messages start with "[json.exception.type_error.302] ".
  if (text.starts_with("[json.exception.")) {
    if (const auto end = text.find("] "); end != std::string::npos) text.erase(0, end + 2);
  }
  return singleLine(std::move(text));
}

std::optional<std::string> readFileText(const fs::path& path, std::ostream& err) {
  std::error_code error;
  if (fs::is_directory(path, error)) {
    err << "kestrin: " << path.string() << " is a folder, not a file\n";
    return std::nullopt;
  }
  if (!std::ifstream(path, std::ios::binary)) {
    err << "kestrin: cannot open " << path.string() << ": " << std::strerror(errno) << "\n";
    return std::nullopt;
  }
  auto text = widget::readWholeFile(path);
  if (!text) err << "kestrin: cannot read " << path.string() << ": " << std::strerror(errno) << "\n";
  return text;
}

bool writeFileText(const fs::path& path, std::string_view text, std::ostream& err) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) {
    err << "kestrin: cannot write " << path.string() << ": " << std::strerror(errno) << "\n";
    return false;
  }
  file << text;
  file.close();
  if (!file) {
    err << "kestrin: cannot write " << path.string() << ": " << std::strerror(errno) << "\n";
    return false;
  }
  return true;
}

std::optional<batterycore::Json> readJsonFile(const fs::path& path, std::ostream& err) {
  const auto text = readFileText(path, err);
  if (!text) return std::nullopt;
  if (text->find_first_not_of(" \t\r\n") == std::string::npos) {
    err << "kestrin: " << path.string() << " is empty\n";
    return std::nullopt;
  }
  try {
    return batterycore::Json::parse(*text);
  } catch (const batterycore::Json::exception& error) {
    err << "kestrin: " << path.string() << " is not valid JSON: " << problemText(error) << "\n";
  }
  return std::nullopt;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  int32_t at = 0;
  const auto length = static_cast<int32_t>(text.size());
  while (at < length) {
    UChar32 c = 0;
    U8_NEXT(text.data(), at, length, c);
    const auto eastAsian = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    width += eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH ? 2 : 1;
  }
  return width;
}

std::string padRight(const std::string& text, std::size_t width) {
  const auto shown = displayWidth(text);
  return shown >= width ? text : text + std::string(width - shown, ' ');
}

std::string padLeft(const std::string& text, std::size_t width) {
  const auto shown = displayWidth(text);
  return shown >= width ? text : std::string(width - shown, ' ') + text;
}

}  // namespace kestrin::tool
