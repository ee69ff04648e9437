#include "tools/kestrin/AlertsCommand.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningAlerts.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "app/ServiceRequest.hpp"
#include "app/StateStore.hpp"
#include "tools/kestrin/CommandSupport.hpp"

#include <CLI/CLI.hpp>

#include <chrono>
#include <filesystem>
#include <ostream>
#include <system_error>

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
  auto* list = command->add_flag("--list", options.list, "The alerts list, newest first");
  command->add_flag("--clear", options.clear, "Empty the alerts list (asks the running service)")->excludes(list);
  command->add_option("--state", options.stateFolder, "Folder of the states (default: the service's)");
  return command;
}

namespace {

int clearAlerts(std::ostream& out, std::ostream& err) {
  widget::SystemClock clock;
  const app::ServiceRequest request{app::ServiceRequest::Kind::clearAlerts, clock.now(), {}};
  const auto answer = app::ServiceRequest::ask(widget::AppGroup::open(), request, clock);
  if (!answer) {
    err << widget::SetLimitFromControlIntent::notRunningText() << "\n";
    return 1;
  }
  (answer->done ? out : err) << answer->text << "\n";
  return answer->done ? 0 : 1;
}

// The list as the service last saved it. Read only: a damaged file is the
// service's to move aside.
int listAlerts(const AlertsOptions& options, DetailLevel level, std::ostream& out, std::ostream& err) {
  const auto folder = stateFolderOrDefault(options.stateFolder);
  if (!folder) {
    err << "kestrin: no folder for the states; give --state DIR\n";
    return 2;
  }
  if (!checkFolderOption(*folder, "--state", err)) return 1;
  std::vector<BatteryAlert> alerts;
  const auto file = *folder / "alerts.json";
  // The service's newest list may still be in its journal.
  if (const auto journaled = app::StateStore::newestInJournal(*folder, "alerts")) {
    try {
      alerts = batterycore::decode<std::vector<BatteryAlert>>(*journaled);
    } catch (const std::exception& error) {
      err << "kestrin: " << (*folder / app::StateStore::kJournalName).string() << ": alerts: " << problemText(error)
          << "\n";
      return 1;
    }
  } else if (std::error_code missing; std::filesystem::exists(file, missing)) {
    auto stored = decodeJsonFile(file, err, [](const batterycore::Json& json) {
      return batterycore::decode<std::vector<BatteryAlert>>(json);
    });
    if (!stored) return 1;
    alerts = std::move(*stored);
  }
  if (alerts.empty()) {
    out << Meaning::text("empty.alerts", "No alerts. All quiet.") << "\n";
    return 0;
  }
  const auto calendar = batterycore::Calendar::gregorian(systemTimeZone(), Formatting::localeName());
  const auto now = widget::SystemClock().now();
  for (auto it = alerts.rbegin(); it != alerts.rend(); ++it) {
    const bool technical = level == DetailLevel::technical && it->technicalBody;
    out << Formatting::at(it->at, now, calendar) << "  " << it->title << "\n  "
        << (technical ? *it->technicalBody : it->body) << "\n  " << Meaning::alertExplanation(it->kind) << "\n";
  }
  return 0;
}

}  // namespace

int runAlertsCommand(const AlertsOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = batterycore::detailLevelFromRaw(options.level).value_or(DetailLevel::simple);
  if (options.clear) return clearAlerts(out, err);
  if (options.list) return listAlerts(options, level, out, err);
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
