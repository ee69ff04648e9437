#include "tools/kestrin/AccessoriesCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/MeaningAccessories.hpp"
#include "app/live/SysfsAccessories.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <ostream>
#include <system_error>
#include <vector>

namespace kestrin::tool {

namespace {

namespace fs = std::filesystem;
using batterycore::AccessoryBattery;
using batterycore::DetailLevel;
namespace Accessories = batterycore::Meaning::Accessories;

struct Row {
  std::string name;
  std::string figure;
  std::string state;
  std::string id;
};

void printList(const std::vector<AccessoryBattery>& accessories, DetailLevel level, std::ostream& out) {
  std::vector<Row> rows;
  std::size_t nameWidth = 0;
  std::size_t figureWidth = 0;
  std::size_t stateWidth = 0;
  for (const auto& accessory : accessories) {
    Row row{Accessories::name(accessory), Accessories::figure(accessory).value_or(""), Accessories::state(accessory),
            accessory.id};
    nameWidth = std::max(nameWidth, displayWidth(row.name));
    figureWidth = std::max(figureWidth, displayWidth(row.figure));
    stateWidth = std::max(stateWidth, displayWidth(row.state));
    rows.push_back(std::move(row));
  }
  for (const auto& row : rows) {
    out << "  " << padRight(row.name, nameWidth) << "  ";
    if (figureWidth > 0) out << padLeft(row.figure, figureWidth) << "  ";
    if (level == DetailLevel::technical) {
      out << padRight(row.state, stateWidth) << "  " << row.id;
    } else {
      out << row.state;
    }
    out << "\n";
  }
}

}  // namespace

int runAccessories(const AccessoriesOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = batterycore::detailLevelFromRaw(options.level);
  if (!level) {
    err << "kestrin: --level must be simple or technical\n";
    return 2;
  }
  std::optional<fs::path> root;
  if (!options.sysfsRoot.empty()) {
    root = options.sysfsRoot;
    std::error_code error;
    if (!fs::is_directory(*root, error)) {
      err << "kestrin: " << options.sysfsRoot << " is not a folder\n";
      return 1;
    }
  }
  const auto accessories = app::live::readAccessories(root);

  out << Accessories::title() << "\n";
#ifdef __APPLE__
  out << Accessories::subtitle() << "\n";
#endif
  out << "\n";
  if (accessories.empty()) {
    out << Accessories::empty() << "\n";
    return 0;
  }
  printList(accessories, *level, out);
  out << "\n" << Accessories::footer() << "\n";
  return 0;
}

bool AccessoriesCommand::chosen() const { return command != nullptr && command->parsed(); }

int AccessoriesCommand::run(std::ostream& out, std::ostream& err) const { return runAccessories(*options, out, err); }

AccessoriesCommand addAccessoriesCommand(CLI::App& app) {
  auto options = std::make_shared<AccessoriesOptions>();
  auto* command = app.add_subcommand("accessories", "Show the batteries of the wireless mouse, keyboard and trackpad");
  command->add_option("--sysfs", options->sysfsRoot,
                      "Power-supply folder to read (default: this machine's, /sys/class/power_supply on Linux)");
  command->add_option("--level", options->level, "simple or technical")
      ->check(CLI::IsMember({"simple", "technical"}));
  command->add_option("--locale", options->locale, "Language of the texts (default: the system's)");
  return {command, std::move(options)};
}

}  // namespace kestrin::tool
