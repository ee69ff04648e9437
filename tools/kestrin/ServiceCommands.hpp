// What a person asks the running `kestrin watch` for, besides the limit:
//
//   kestrin charge-full [--until-unplug] [--when-full] [--hours N]   charge to 100% once
//   kestrin charge-full --stop                                       end it, limit back on
//   kestrin skip-today                                               no smart top-up today
//   kestrin forget-departures [--yes]                                forget the unplug times
//
// Each is answered by the service within three seconds: its reply on
// standard output and exit status 0, its refusal on standard error and 1,
// and "isn't running" (1) when nothing answers. Without any of the three
// ways back, charge-full takes them from the settings.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct ServiceOptions {
  bool untilUnplug = false;
  bool whenFull = false;
  std::optional<int> hours;
  bool stop = false;
  bool yes = false;
  std::string stateFolder;
  std::string locale;
};

struct ServiceCommands {
  CLI::App* chargeFull = nullptr;
  CLI::App* skipToday = nullptr;
  CLI::App* forgetDepartures = nullptr;
  std::shared_ptr<ServiceOptions> options;

  bool chosen() const;
  int run(std::istream& in, std::ostream& out, std::ostream& err) const;
};

ServiceCommands addServiceCommands(CLI::App& app);

}  // namespace kestrin::tool
