// kestrin watch [--interval SECONDS] [--state DIR] [--sysfs ROOT] [--thermal ROOT]
//               [--power-log FILE] [--metrics FILE.prom] [--locale L]
//
// Kestrin as a service on this machine's battery: it ticks every interval,
// keeps its states in DIR, writes the widget snapshot into the group folder,
// answers `kestrin limit on|off` as soon as it is asked, tells the system log
// what it does, and stops cleanly on SIGTERM or SIGINT with every state saved.
//
// kestrin read [--sysfs ROOT | --ioreg FILE] [--explain] [--level L] [--locale L]
//
// Prints one reading of the battery as JSON: this machine's, a captured
// power-supply tree's, or an ioreg dump's (text, XML or JSON; "-" reads
// standard input). --explain adds what Kestrin would say about it.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct WatchCommandOptions {
  std::optional<double> interval;  // empty: the settings' interval (60 s unless changed)
  std::string stateFolder;  // empty: $XDG_STATE_HOME/kestrin/state or ~/.local/state/kestrin/state
  std::string sysfsRoot;    // empty: /sys/class/power_supply
  std::string thermalRoot;  // empty: /sys/class/thermal, unless --sysfs points elsewhere
  std::string powerLog;     // a power-management log file to follow
  std::string metrics;      // a Prometheus text file to keep (node_exporter's textfile collector)
  std::string locale;
};

int runWatch(const WatchCommandOptions& options, std::ostream& out, std::ostream& err);

struct ReadCommandOptions {
  std::string sysfsRoot;
  std::string ioregFile;
  bool explain = false;
  std::string level = "simple";
  std::string locale;
};

int runRead(const ReadCommandOptions& options, std::ostream& out, std::ostream& err);

struct LiveCommands {
  CLI::App* watch = nullptr;
  CLI::App* read = nullptr;
  std::shared_ptr<WatchCommandOptions> watchOptions;
  std::shared_ptr<ReadCommandOptions> readOptions;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

LiveCommands addLiveCommands(CLI::App& app);

}  // namespace kestrin::tool
