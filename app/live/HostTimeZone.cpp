#include "app/live/HostTimeZone.hpp"

#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>

namespace kestrin::app::live {

std::optional<std::string> hostTimeZone(const char* tz, const std::filesystem::path& localtime) {
  if (tz != nullptr) return std::nullopt;
  std::error_code error;
  const std::string target = std::filesystem::read_symlink(localtime, error).string();
  if (error) return std::nullopt;
  // ".../zoneinfo/Europe/Berlin", also ".../zoneinfo/posix/Europe/Berlin".
  constexpr std::string_view marker = "zoneinfo/";
  const auto at = target.rfind(marker);
  if (at == std::string::npos) return std::nullopt;
  std::string_view zone = std::string_view(target).substr(at + marker.size());
  for (const std::string_view prefix : {"posix/", "right/"}) {
    if (zone.starts_with(prefix)) zone.remove_prefix(prefix.size());
  }
  if (zone.empty()) return std::nullopt;
  return std::string(zone);
}

std::optional<std::string> hostTimeZone() { return hostTimeZone(std::getenv("TZ"), "/etc/localtime"); }

std::string startupTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  std::string name;
  id.toUTF8String(name);
  return name;
}

}  // namespace kestrin::app::live
