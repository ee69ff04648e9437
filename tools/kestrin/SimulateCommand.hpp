// kestrin simulate [SCENARIO] [--days N] [--tick SECONDS] [--level L] [--locale L]
//                  [--tz ZONE] [--state DIR] [--json]
//
// Runs Kestrin on a simulated battery living through a scenario (a bundled
// name such as office-worker, or a JSON file) and tells the story a person
// would have lived, then what the weeks left behind.
#pragma once

#include "app/simulation/Scenario.hpp"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

// A scenario by name (one of the bundled ones in `folder`) or by path, read
// and checked (a known time zone, at most ten years, a calendar file that
// reads), its calendar file made absolute; absent with one line on `err`
// naming the file and the problem.
std::optional<app::simulation::Scenario> loadScenario(const std::string& nameOrPath, const std::string& folder,
                                                      std::ostream& err);

struct SimulateOptions {
  std::string scenario = "office-worker";
  std::optional<int> days;
  double tickSeconds = 60;
  std::string level = "simple";
  std::string locale;
  std::string timeZone;
  std::string stateFolder;  // empty: a fresh temporary folder, removed afterwards
  bool json = false;
  std::string scenarioFolder;  // where bundled scenarios live
};

int runSimulate(const SimulateOptions& options, std::ostream& out, std::ostream& err);

struct SimulateCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<SimulateOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const { return runSimulate(*options, out, err); }
};

SimulateCommand addSimulateCommand(CLI::App& app);

// kestrin replay TRACE.jsonl [--level L] [--locale L] [--tz ZONE] [--json]
struct ReplayOptions {
  std::string trace;
  std::string level = "simple";
  std::string locale;
  std::string timeZone;
  bool json = false;
};

int runReplay(const ReplayOptions& options, std::ostream& out, std::ostream& err);

struct ReplayCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<ReplayOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const { return runReplay(*options, out, err); }
};

ReplayCommand addReplayCommand(CLI::App& app);

}  // namespace kestrin::tool
