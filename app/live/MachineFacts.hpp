// MachineFacts: what the diagnostic report says about this machine, gathered
// from the operating system — the system and its version, the architecture,
// the model, whether the battery offers a charge threshold — and what it must
// leave out: the host name, the user name, the home folder and the power
// supplies' serial numbers.
//
//   auto facts = gatherMachineFacts("Kestrin 0.1.0", "/sys/class/power_supply");
//   facts.system == "Linux 6.8.0-45-generic"; facts.osVersion.major == 6
//
// On Linux the model is /sys/class/dmi/id's sys_vendor and product_name where
// readable, and the limit is supported when the battery has a
// charge_control_end_threshold (absent without a battery). On a Mac the
// model is hw.model and the version macOS's own.
#pragma once

#include "app/Diagnostics.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrin::app::live {

inline constexpr const char* kDmiRoot = "/sys/class/dmi/id";

MachineFacts gatherMachineFacts(std::string version, const std::filesystem::path& powerSupplyRoot,
                                const std::filesystem::path& dmiRoot = kDmiRoot);

// "6.8.0-45-generic" -> 6.8.0; "26.4" -> 26.4.0; missing parts are 0.
batterycore::OSVersion parseOSVersion(std::string_view text);

}  // namespace kestrin::app::live
