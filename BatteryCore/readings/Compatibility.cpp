#include "BatteryCore/readings/Compatibility.hpp"

#include "BatteryCore/text/Meaning.hpp"

namespace batterycore {

Compatibility::Report Compatibility::check(std::string_view arch, OSVersion version,
                                           std::optional<bool> limitSupported) {
  Report report;
  report.appleSilicon = arch.starts_with("arm64");
  report.macOSAtLeast26_4 = (version.major == 26 && version.minor >= 4) || version.major >= 27;
  report.limitSupported = limitSupported;
  report.osVersion = std::to_string(version.major) + "." + std::to_string(version.minor);
  if (version.patch >= 1) report.osVersion += "." + std::to_string(version.patch);

  if (!report.appleSilicon) {
    report.message = Meaning::Compat::intel();
  } else if (!report.macOSAtLeast26_4) {
    report.message = Meaning::Compat::oldMacOS();
  } else if (limitSupported == false) {
    report.message = Meaning::Compat::noLimit();
  }
  return report;
}

}  // namespace batterycore
