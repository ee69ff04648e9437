// platformFor: this machine as the service's Platform. On Linux the battery
// and its threshold under /sys/class/power_supply, udev's power-supply events,
// /proc, the session bus's notifications and the syslog; on a Mac the
// AppleSmartBattery entry, pmset's log and the unified log.
//
//   auto platform = platformFor({});                            // this machine
//   auto captured = platformFor({.sysfsRoot = "tests/data/sysfs/thinkpad"});
//   if (!captured.battery) std::cerr << captured.problem;       // "no laptop battery under ..."
#pragma once

#include "app/Platform.hpp"

#include <filesystem>

namespace kestrin::app::live {

struct PlatformOptions {
  // The power-supply folder to read; empty: the machine's own.
  std::filesystem::path sysfsRoot;
  // The thermal zones; empty: the machine's own, unless `sysfsRoot` is given.
  std::filesystem::path thermalRoot;
  // A power-management log file to follow; empty: the system's (pmset on a
  // Mac), none on Linux.
  std::filesystem::path powerLog;
};

Platform platformFor(const PlatformOptions& options);

// What every platform shares: the clock, the time zone, the group, the
// service's log, the calendar files, the power log file, processes and
// accessories, desktop notifications. The battery is each platform's own.
Platform commonPlatform(const PlatformOptions& options);

}  // namespace kestrin::app::live
