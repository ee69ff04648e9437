// `kestrin alerts`: every alert kind as the settings and the alerts list
// present it — the switch's title and line, whether it starts on, and what an
// alert of the kind means.
//
//   kestrin alerts                          English (or the system's language), simple wording
//   kestrin alerts --locale de_DE --level technical
//   kestrin alerts --list [--state DIR]     the alerts list, newest first, each with what it means
//   kestrin alerts --clear                  asks the running service to empty the list
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct AlertsOptions {
  std::string locale;  // empty: keep the process's locale
  std::string level = "simple";
  bool list = false;
  bool clear = false;
  std::string stateFolder;  // --list: where alerts.json lives; empty: the service's default
};

// Adds the `alerts` subcommand; `options` is filled in when it is chosen.
CLI::App* addAlertsCommand(CLI::App& app, AlertsOptions& options);

// Writes the listing; returns the exit code.
int runAlertsCommand(const AlertsOptions& options, std::ostream& out, std::ostream& err);

}  // namespace kestrin::tool
