// `kestrin departures`: what Kestrin learned from a departure ledger — the
// usual unplug time of each weekday — and when it expects the next departure,
// in the words the settings and the plans card use.
//
//   kestrin departures ledger.json
//   kestrin departures ledger.json --now 2026-03-01T19:00:00Z --tz Europe/Berlin --level technical
//   kestrin departures ledger.json --locale de_DE
//
// Without --now the tool asks the system clock, without --tz it uses the
// system's time zone; the rules themselves never do.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct DeparturesOptions {
  std::string ledger;    // path of the ledger's JSON
  std::string now;       // ISO 8601; empty: the system clock
  std::string timeZone;  // IANA zone; empty: the system's zone
  std::string level = "simple";
  std::string locale;    // empty: keep the process's locale
};

// Writes the report; returns the exit code (1 for an unreadable ledger,
// 2 for a bad --now, --tz or --locale).
int runDepartures(const DeparturesOptions& options, std::ostream& out, std::ostream& err);

// The subcommand as registered, with the options it fills in.
struct DeparturesCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<DeparturesOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const { return runDepartures(*options, out, err); }
};

DeparturesCommand addDeparturesCommand(CLI::App& app);

}  // namespace kestrin::tool
