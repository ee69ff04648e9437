// `kestrin health` and `kestrin habits`: battery health with its projection to
// 80%, and a month of time at high charge, in the words the health and habits
// views use.
//
//   kestrin health samples.json
//   kestrin health samples.json --now 2026-03-01T09:00:00Z --level technical
//   kestrin habits ledger.json --month 2026-02 --tz Europe/Berlin
//
// The samples file is the stored array of daily samples (or an object with it
// under "samples"); the ledger file is the stored high-charge ledger. Without
// --now the tool asks the system clock, without --tz it uses the system's
// time zone; the rules themselves never do.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct HealthOptions {
  std::string file;      // samples or ledger JSON
  std::string now;       // ISO 8601; empty: the system clock
  std::string month;     // habits only: "yyyy-MM"; empty: the month of now
  std::string timeZone;  // IANA zone; empty: the system's zone
  std::string level = "simple";
  std::string locale;    // empty: keep the process's locale
};

// Write the report and return the exit code: 1 for an unreadable file, 2 for
// a bad --now, --month, --tz or --locale.
int runHealth(const HealthOptions& options, std::ostream& out, std::ostream& err);
int runHabits(const HealthOptions& options, std::ostream& out, std::ostream& err);

// Both subcommands as registered, with the options they fill in.
struct HealthCommands {
  CLI::App* health = nullptr;
  CLI::App* habits = nullptr;
  std::shared_ptr<HealthOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

HealthCommands addHealthCommands(CLI::App& app);

}  // namespace kestrin::tool
