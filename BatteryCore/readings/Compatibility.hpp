// Compatibility: whether this machine can use the operating system's charge
// limit, decided once at start.
//
//   auto report = Compatibility::check("arm64e", {26, 4, 0}, std::nullopt);
//   report.osVersion == "26.4" && report.macOSAtLeast26_4 && !report.message
//   Compatibility::check("x86_64", {27, 0, 0}, true).watchOnly() == true
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

struct OSVersion {
  int major = 0;
  int minor = 0;
  int patch = 0;
};

struct Compatibility {
  struct Report {
    bool appleSilicon = false;
    bool macOSAtLeast26_4 = false;
    std::optional<bool> limitSupported;
    std::string osVersion;
    std::optional<std::string> message;

    // Without Apple silicon the application only watches.
    bool watchOnly() const { return !appleSilicon; }

    friend bool operator==(const Report&, const Report&) = default;
  };

  static Report check(std::string_view arch, OSVersion osVersion, std::optional<bool> limitSupported);
};

}  // namespace batterycore
