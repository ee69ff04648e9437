// `kestrin export`: the history for other tools, as CSV or JSON.
//
//   kestrin export                                  daily health samples as CSV on standard output
//   kestrin export --what habits --format json      time above 80% per day as a JSON array
//   kestrin export --what alerts --out alerts.csv   the alerts list into a file
//
// Reads the service's state folder (--state DIR, else the default) without
// changing it. No folder, or nothing recorded yet: the header alone (CSV) or
// [] (JSON). A value that is not an option's: one line and status 2; a state
// file that cannot be read: one line naming it and status 1.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct ExportOptions {
  std::string stateFolder;
  std::string format = "csv";
  std::string what = "health";
  std::string outFile;  // empty: standard output
};
int runExport(const ExportOptions& options, std::ostream& out, std::ostream& err);

struct ExportCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<ExportOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

ExportCommand addExportCommand(CLI::App& app);

}  // namespace kestrin::tool
