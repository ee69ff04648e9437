#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/text/Formatting.hpp"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <unicode/errorcode.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <ostream>

namespace kestrin::tool {

bool useLocale(const std::string& name, std::ostream& err) {
  if (name.empty()) return true;
  const icu::Locale locale(name.c_str());
  if (locale.isBogus()) {
    err << "kestrin: " << name << " is not a locale\n";
    return false;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(locale, status);
  if (U_FAILURE(status)) {
    err << "kestrin: cannot switch to " << name << ": " << u_errorName(status) << "\n";
    return false;
  }
  return true;
}

std::string systemTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  std::string name;
  id.toUTF8String(name);
  return name;
}

std::optional<std::filesystem::path> stateFolderOrDefault(const std::string& given) {
  namespace fs = std::filesystem;
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

std::optional<batterycore::Calendar> calendarOption(const std::string& given, std::ostream& err) {
  const std::string zone = given.empty() ? systemTimeZone() : given;
  auto calendar = batterycore::Calendar::gregorian(zone, batterycore::Formatting::localeName());
  if (!given.empty() && calendar.timeZone() != zone) {
    err << "kestrin: " << zone << " is not a time zone\n";
    return std::nullopt;
  }
  return calendar;
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
