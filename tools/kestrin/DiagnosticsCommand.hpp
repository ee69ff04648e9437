// `kestrin diagnostics`: a report to paste into a support request.
//
//   kestrin diagnostics
//   kestrin diagnostics --state DIR --sysfs ROOT --locale de_DE
//
// Version, system, architecture, model, whether the charge limit can be
// switched, the service's last reading (else one taken now), one line per
// rule, the settings and the last 20 alerts. Reads the state folder without
// changing it; the host name, the user name, the home folder and serial
// numbers are left out.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct DiagnosticsOptions {
  std::string stateFolder;
  std::string sysfsRoot;  // empty: the machine's power supplies
  std::string locale;     // empty: the settings' language, else the system's
};
int runDiagnostics(const DiagnosticsOptions& options, std::ostream& out, std::ostream& err);

struct DiagnosticsCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<DiagnosticsOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

DiagnosticsCommand addDiagnosticsCommand(CLI::App& app);

}  // namespace kestrin::tool
