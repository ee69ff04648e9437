#include "tools/kestrin/AlertsCommand.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningAlerts.hpp"

#include <CLI/CLI.hpp>
#include <unicode/locid.h>

#include <chrono>
#include <ostream>

namespace kestrin::tool {

namespace {

using batterycore::AlertPolicy;
using batterycore::BatteryAlert;
using batterycore::DetailLevel;
namespace Formatting = batterycore::Formatting;
namespace Meaning = batterycore::Meaning;

std::string minutesText(batterycore::Seconds span) {
  return Formatting::duration(
      static_cast<int>(std::chrono::duration_cast<std::chrono::minutes>(span).count()));
}

// "[On]" or "[Off]" for a switch's first state; the list-only kinds have no switch.
std::string switchMark(BatteryAlert::Kind kind) {
  if (!AlertPolicy::notifies(kind)) return {};
  const auto state = AlertPolicy::defaultSwitch(kind) ? Meaning::text("switch.on", "On")
                                                      : Meaning::text("switch.off", "Off");
  return "  [" + state + "]";
}

// The pacing figures behind a kind, for the technical listing.
std::string pacing(BatteryAlert::Kind kind) {
  if (!AlertPolicy::notifies(kind)) return "  list only";
  const auto cooldown = AlertPolicy::cooldown(kind);
  if (cooldown <= batterycore::Seconds{0}) return {};
  return "  cooldown " + minutesText(cooldown);
}

}  // namespace

CLI::App* addAlertsCommand(CLI::App& app, AlertsOptions& options) {
  auto* command = app.add_subcommand("alerts", "List every alert kind with its setting and explanation");
  command->add_option("--locale", options.locale, "An ICU locale for the texts, such as de_DE");
  command->add_option("--level", options.level, "The detail level of the listing")
      ->check(CLI::IsMember({"simple", "technical"}));
  return command;
}

int runAlertsCommand(const AlertsOptions& options, std::ostream& out, std::ostream& err) {
  if (!options.locale.empty()) {
    const icu::Locale locale(options.locale.c_str());
    if (locale.isBogus()) {
      err << "kestrin: " << options.locale << " is not a locale\n";
      return 2;
    }
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(locale, status);
    if (U_FAILURE(status)) {
      err << "kestrin: cannot switch to " << options.locale << ": " << u_errorName(status) << "\n";
      return 1;
    }
  }
  const auto level = batterycore::detailLevelFromRaw(options.level).value_or(DetailLevel::simple);
  const bool technical = level == DetailLevel::technical;

  out << batterycore::AppInfo::name << " alerts (" << batterycore::title(level) << ")\n";
  if (technical) {
    out << "at most one notification every " << minutesText(AlertPolicy::spacing) << ", none within "
        << minutesText(AlertPolicy::afterWake) << " after wake\n";
  }
  for (const auto kind : BatteryAlert::allCases) {
    const auto setting = Meaning::alertSetting(kind);
    out << "\n" << BatteryAlert::rawValue(kind) << switchMark(kind);
    if (technical) out << pacing(kind);
    out << "\n  " << setting.title << "\n  " << setting.detail << "\n  " << Meaning::alertExplanation(kind)
        << "\n";
  }
  return 0;
}

}  // namespace kestrin::tool
