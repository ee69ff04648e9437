// `kestrin report`: the battery health report as one self-contained HTML file.
//
//   kestrin report                                   the service's history, into "Battery Health Report <day>.html"
//   kestrin report --state DIR --out report.html --locale de_DE
//   kestrin report --simulate office-worker --days 365 --out year.html
//   kestrin report --include-serial                  with the battery's serial number
//
// The states are read without changing them (--state DIR, else the service's
// folder); --simulate runs a scenario in memory first and reports what it left
// behind. --now and --time-zone fix the moment and the zone for a reproducible
// page. It prints the path of the file it wrote.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct ReportOptions {
  std::string stateFolder;
  std::string scenario;  // a bundled scenario or a scenario file; empty: the states
  std::optional<int> days;
  double tickSeconds = 60;
  std::string out;  // empty: the report's own name in the current folder
  std::string locale;
  std::string level;  // empty: the settings'
  bool includeSerial = false;
  std::string now;
  std::string timeZone;
};

int runReport(const ReportOptions& options, std::ostream& out, std::ostream& err);

struct ReportCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<ReportOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const { return runReport(*options, out, err); }
};

ReportCommand addReportCommand(CLI::App& app);

}  // namespace kestrin::tool
