#include "tools/kestrin/DiagnosticsCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"
#include "app/Diagnostics.hpp"
#include "app/StoredState.hpp"
#include "app/live/MachineFacts.hpp"
#include "app/live/SysfsBattery.hpp"

#include <CLI/CLI.hpp>

#include <ostream>
#include <system_error>

namespace kestrin::tool {

namespace fs = std::filesystem;

namespace {

std::string versionText() {
  std::string version = batterycore::AppInfo::name;
#ifdef KESTRIN_VERSION
  version += " ";
  version += KESTRIN_VERSION;
#endif
  return version;
}

}  // namespace

int runDiagnostics(const DiagnosticsOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  // A power-supply folder named on the command line must be there; the
  // default one may be missing on a machine without a battery.
  if (std::error_code error; !options.sysfsRoot.empty() && !fs::is_directory(options.sysfsRoot, error)) {
    err << "kestrin: --sysfs " << options.sysfsRoot << " is not a folder\n";
    return 1;
  }
  if (!checkFolderOption(options.stateFolder, "--state", err)) return 1;
  const fs::path sysfs = options.sysfsRoot.empty() ? fs::path(app::live::kPowerSupplyRoot) : fs::path(options.sysfsRoot);

  app::DiagnosticsInput input;
  input.machine = app::live::gatherMachineFacts(versionText(), sysfs);

  if (const auto folder = stateFolderOrDefault(options.stateFolder)) {
    auto stored = app::readStoredState(*folder);
    // A stored language ICU cannot use is said; the report still comes, in the
    // process's language: it is what a person sends when something is wrong.
    if (options.locale.empty() && stored.settings.locale) {
      (void)useLocale(*stored.settings.locale, err, "the locale setting");
    }
    input.state = std::move(stored.state);
    input.settings = std::move(stored.settings);
    for (const auto& damage : stored.damaged) input.unreadable.push_back(damage.line);
  }

  if (input.state.last) {
    input.reading = input.state.last;
    input.readingFromService = true;
  } else {
    app::live::SysfsBattery battery(sysfs);
    input.reading = battery.read();
  }
  out << app::diagnosticReport(input);
  return 0;
}

bool DiagnosticsCommand::chosen() const { return command->parsed(); }

int DiagnosticsCommand::run(std::ostream& out, std::ostream& err) const { return runDiagnostics(*options, out, err); }

DiagnosticsCommand addDiagnosticsCommand(CLI::App& app) {
  DiagnosticsCommand diagnostics;
  diagnostics.options = std::make_shared<DiagnosticsOptions>();
  auto& options = *diagnostics.options;
  diagnostics.command = app.add_subcommand("diagnostics", "A report to paste into a support request");
  diagnostics.command->add_option("--state", options.stateFolder, "The service's state folder");
  diagnostics.command->add_option("--sysfs", options.sysfsRoot, "The power supplies (default /sys/class/power_supply)");
  diagnostics.command->add_option("--locale", options.locale, "Language of the texts, e.g. de_DE");
  return diagnostics;
}

}  // namespace kestrin::tool
