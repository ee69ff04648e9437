// HostTimeZone: the system's time zone as it is right now, for a service
// that runs across a change of zone (a trip, `timedatectl set-timezone`).
// ICU reads the host's zone once per process and keeps it; this reads it
// afresh on every call, cheaply (one readlink of /etc/localtime).
//
//   const auto zone = hostTimeZone().value_or(zoneAtStartup);   // "Europe/Berlin"
//
// Absent when the process has TZ set (the environment of a running process
// does not change, so the zone read at startup stands) or when
// /etc/localtime is not a link into a zoneinfo folder (a copied file names
// no zone).
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kestrin::app::live {

std::optional<std::string> hostTimeZone();

// The zone the process found at its start (ICU's default), for when the
// host's cannot be read.
std::string startupTimeZone();

// The same from a given TZ value (null: not set) and localtime link; for tests.
std::optional<std::string> hostTimeZone(const char* tz, const std::filesystem::path& localtime);

}  // namespace kestrin::app::live
