// `kestrin energy` and `kestrin plans`: what uses the battery now, and what
// is coming.
//
//   kestrin energy                      programs ranked by power over two seconds
//   kestrin energy --seconds 5 --top 12
//   kestrin plans                       the next top-up, a trip, today's skip, the pace on battery
//   kestrin plans --state DIR --locale de_DE --level technical
//
// `energy` looks at /proc twice (--proc ROOT), with the processor's package
// energy from /sys/class/powercap (--powercap ROOT) or, on battery, the
// battery's discharge (--sysfs ROOT) as the power to share out. `plans`
// reads the service's state folder (--state DIR, else the default) without
// changing it; --now and --time-zone fix the moment for a reproducible answer.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct EnergyOptions {
  double seconds = 2.0;
  std::size_t top = 8;
  std::string procRoot = "/proc";
  std::string powercapRoot = "/sys/class/powercap";
  std::string sysfsRoot;  // empty: the machine's power supplies
  std::string locale;
  std::string level = "simple";
};
int runEnergy(const EnergyOptions& options, std::ostream& out, std::ostream& err);

struct PlansOptions {
  std::string stateFolder;
  std::string locale;
  std::string level;  // empty: the settings' level
  std::string now;
  std::string timeZone;
};
int runPlans(const PlansOptions& options, std::ostream& out, std::ostream& err);

struct CompanionCommands {
  CLI::App* energy = nullptr;
  CLI::App* plans = nullptr;
  std::shared_ptr<EnergyOptions> energyOptions;
  std::shared_ptr<PlansOptions> plansOptions;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

CompanionCommands addCompanionCommands(CLI::App& app);

}  // namespace kestrin::tool
