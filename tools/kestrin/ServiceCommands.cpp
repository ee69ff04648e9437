#include "tools/kestrin/ServiceCommands.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "app/ServiceRequest.hpp"
#include "app/StateStore.hpp"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <filesystem>
#include <istream>
#include <ostream>
#include <system_error>

namespace kestrin::tool {

namespace {

namespace Meaning = batterycore::Meaning;
using app::ServiceRequest;

// The full-charge defaults from the settings file; the built-in ones when
// there is none, absent (with a line on `err`) when it cannot be read.
// Reading never changes the file.
std::optional<app::FullChargeOptions> settingsDefaults(const std::string& stateFolder, std::ostream& err) {
  const auto folder = stateFolderOrDefault(stateFolder);
  if (!folder) return app::FullChargeOptions{};
  if (!checkFolderOption(*folder, "--state", err)) return std::nullopt;
  const auto file = *folder / "settings.json";
  if (std::error_code missing; !std::filesystem::exists(file, missing)) return app::FullChargeOptions{};
  return decodeJsonFile(file, err,
                        [](const batterycore::Json& json) { return app::Settings::fromJson(json).fullCharge; });
}

int ask(ServiceRequest request, std::ostream& out, std::ostream& err) {
  widget::SystemClock clock;
  request.at = clock.now();
  const auto answer = ServiceRequest::ask(widget::AppGroup::open(), request, clock);
  if (!answer) {
    err << widget::SetLimitFromControlIntent::notRunningText() << "\n";
    return 1;
  }
  (answer->done ? out : err) << answer->text << "\n";
  return answer->done ? 0 : 1;
}

int chargeFull(const ServiceOptions& options, std::ostream& out, std::ostream& err) {
  if (options.stop) return ask({ServiceRequest::Kind::stopFullCharge, {}, {}}, out, err);
  app::FullChargeOptions ways{options.untilUnplug, options.whenFull, options.hours};
  if (!ways.untilUnplug && !ways.whenFull && !ways.hours) {
    const auto defaults = settingsDefaults(options.stateFolder, err);
    if (!defaults) return 1;
    ways = *defaults;
  }
  if (!ways.untilUnplug && !ways.whenFull && !ways.hours) {
    err << Meaning::text("fullCharge.pickOne", "Pick at least one.") << "\n";
    return 1;
  }
  return ask({ServiceRequest::Kind::chargeFull, {}, ways}, out, err);
}

int forgetDepartures(const ServiceOptions& options, std::istream& in, std::ostream& out, std::ostream& err) {
  if (!options.yes) {
    if (::isatty(STDIN_FILENO) != 1) {
      err << "kestrin: forgetting the unplug times cannot be undone; add --yes to do it without asking\n";
      return 1;
    }
    out << Meaning::text("smart.forgetQuestion", "Forget the unplug times") << "? "
        << Meaning::text("smart.forgetDetail", "It starts over and needs about 4 weeks again.") << " [y/N] "
        << std::flush;
    std::string answer;
    std::getline(in, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") return 1;
  }
  return ask({ServiceRequest::Kind::forgetDepartures, {}, {}}, out, err);
}

}  // namespace

bool ServiceCommands::chosen() const { return *chargeFull || *skipToday || *forgetDepartures; }

int ServiceCommands::run(std::istream& in, std::ostream& out, std::ostream& err) const {
  if (!useLocale(options->locale, err)) return 2;
  if (*chargeFull) return tool::chargeFull(*options, out, err);
  if (*skipToday) return ask({ServiceRequest::Kind::skipToday, {}, {}}, out, err);
  return tool::forgetDepartures(*options, in, out, err);
}

ServiceCommands addServiceCommands(CLI::App& app) {
  ServiceCommands commands;
  commands.options = std::make_shared<ServiceOptions>();
  auto& o = *commands.options;

  commands.chargeFull = app.add_subcommand("charge-full", "Charge to 100% once; the limit comes back by itself");
  auto* until = commands.chargeFull->add_flag("--until-unplug", o.untilUnplug, "Limit back on when you unplug");
  auto* full = commands.chargeFull->add_flag("--when-full", o.whenFull, "Limit back on when it is full");
  auto* hours = commands.chargeFull->add_option("--hours", o.hours, "Limit back on after N hours")
                    ->check(CLI::Range(1, 24));
  commands.chargeFull->add_flag("--stop", o.stop, "Stop the full charge and put the limit back")
      ->excludes(until)
      ->excludes(full)
      ->excludes(hours);
  commands.chargeFull->add_option("--state", o.stateFolder, "Folder of the states, for the settings' defaults");

  commands.skipToday = app.add_subcommand("skip-today", "No smart top-up today");
  commands.forgetDepartures = app.add_subcommand("forget-departures", "Forget the learned unplug times");
  commands.forgetDepartures->add_flag("--yes", o.yes, "Do not ask first");
  for (auto* command : {commands.chargeFull, commands.skipToday, commands.forgetDepartures}) {
    command->add_option("--locale", o.locale, "Language of the texts (default: the system's)");
  }
  return commands;
}

}  // namespace kestrin::tool
