#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/text/Meaning.hpp"

namespace batterycore::Meaning::Compat {

std::string oldMacOS() {
  return text("compat.oldMacOS",
              "The built-in charge limit arrived in macOS 26.4. Update macOS to switch it from here. "
              "Everything else works now.");
}

std::string noLimit() {
  return format("compat.noLimit",
                "This Mac doesn't offer a charge limit in System Settings, so %@ can only watch it.",
                {AppInfo::name});
}

std::string intel() {
  return format("compat.intel",
                "%@ needs a Mac with Apple silicon. This Mac can't set a charge limit, so the app "
                "would only watch.",
                {AppInfo::name});
}

}  // namespace batterycore::Meaning::Compat
