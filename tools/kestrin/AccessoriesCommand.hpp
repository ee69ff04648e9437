// `kestrin accessories`: the batteries of the wireless mouse, keyboard,
// trackpad and other peripherals, as a person would read the list.
//
//   kestrin accessories                           this machine's peripherals
//   kestrin accessories --sysfs ROOT              a captured power-supply folder
//   kestrin accessories --locale de_DE --level technical
//
//   Accessories
//
//     Hanvon Ugee Deco LW  40%  Fine
//     K800                      Plenty left
//
//   You'll get an alert when one is down to 10%.
//
// A title line, one line per accessory (its name, its percentage where it
// gives one, and how its charge stands), and the footer; or the line that
// says none is connected. On a Mac the title is followed by the list's
// subtitle, which speaks of the Mac. The technical level adds each device's
// id (the power supply's name on Linux) at the end of its line.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct AccessoriesOptions {
  std::string sysfsRoot;  // empty: this machine's own source
  std::string level = "simple";
  std::string locale;     // empty: keep the process's locale
};

// Prints the list and returns the exit code: 1 when --sysfs is not a folder,
// 2 for a bad --locale or --level.
int runAccessories(const AccessoriesOptions& options, std::ostream& out, std::ostream& err);

struct AccessoriesCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<AccessoriesOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

AccessoriesCommand addAccessoriesCommand(CLI::App& app);

}  // namespace kestrin::tool
