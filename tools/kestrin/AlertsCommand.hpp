// `kestrin alerts`: every alert kind as the settings and the alerts list
// present it — the switch's title and line, whether it starts on, and what an
// alert of the kind means.
//
//   kestrin alerts                          English (or the system's language), simple wording
//   kestrin alerts --locale de_DE --level technical
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
};

// Adds the `alerts` subcommand; `options` is filled in when it is chosen.
CLI::App* addAlertsCommand(CLI::App& app, AlertsOptions& options);

// Writes the listing; returns the exit code.
int runAlertsCommand(const AlertsOptions& options, std::ostream& out, std::ostream& err);

}  // namespace kestrin::tool
