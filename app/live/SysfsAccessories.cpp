#include "app/live/SysfsAccessories.hpp"

#ifdef __APPLE__
#include "app/live/AppleAccessories.hpp"
#endif

#include <algorithm>
#include <cctype>
#include <exception>
#include <iterator>
#include <string>
#include <system_error>

namespace kestrin::app::live {

namespace fs = std::filesystem;
using batterycore::AccessoryBattery;

namespace {

using Level = AccessoryBattery::Level;
using Status = AccessoryBattery::Status;

// Values as the kernel writes them, without the spaces and line ends that
// copies of them pick up.
std::string trimmed(const std::string& text) {
  const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
  const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isSpace).base();
  return std::string(first, last);
}

std::optional<std::string> textOf(const Uevent& supply, std::string_view name) {
  auto value = supply.text(name);
  if (!value) return std::nullopt;
  return trimmed(*value);
}

// POWER_SUPPLY_CAPACITY_LEVEL: "Unknown" (and anything else) is no level.
std::optional<Level> levelFrom(const std::optional<std::string>& text) {
  if (text == "Critical") return Level::critical;
  if (text == "Low") return Level::low;
  if (text == "Normal") return Level::normal;
  if (text == "High") return Level::high;
  if (text == "Full") return Level::full;
  return std::nullopt;
}

// POWER_SUPPLY_STATUS: "Not charging" (on a cable but not filling) and
// "Unknown" say nothing about where the charge is going.
Status statusFrom(const std::optional<std::string>& text) {
  if (text == "Charging") return Status::charging;
  if (text == "Discharging") return Status::discharging;
  if (text == "Full") return Status::full;
  return Status::unknown;
}

std::vector<fs::path> supplyFolders(const fs::path& root) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
    if (it->is_directory(error)) folders.push_back(it->path());  // sysfs entries are links to folders
  }
  return folders;
}

}  // namespace

std::optional<AccessoryBattery> accessoryFromSupply(const Uevent& supply, std::string_view folderName) {
  if (textOf(supply, "scope") != "Device") return std::nullopt;
  const auto type = textOf(supply, "type");
  if (type && *type != "Battery") return std::nullopt;
  if (supply.integer("online") == 0 || supply.integer("present") == 0) return std::nullopt;

  // The serial number where the device reports one: receivers renumber
  // their supplies (hidpp_battery_0 comes back as hidpp_battery_4), and a
  // device that came back must not alert again.
  auto id = textOf(supply, "serial_number");
  if (!id || id->empty()) id = textOf(supply, "name");
  if (!id || id->empty()) id = std::string(folderName);
  return AccessoryBattery::fromReading(std::move(*id), textOf(supply, "model_name").value_or(""),
                                       supply.integer("capacity"), levelFrom(textOf(supply, "capacity_level")),
                                       statusFrom(textOf(supply, "status")));
}

std::vector<AccessoryBattery> readSysfsAccessories(const fs::path& root) {
  std::vector<AccessoryBattery> accessories;
  for (const auto& folder : supplyFolders(root)) {
    // One odd entry (a file that cannot be read, a driver printing nonsense)
    // costs that entry only.
    try {
      if (auto accessory = accessoryFromSupply(readSupply(folder), folder.filename().string())) {
        accessories.push_back(std::move(*accessory));
      }
    } catch (const std::exception&) {
      continue;
    }
  }
  std::sort(accessories.begin(), accessories.end(), AccessoryBattery::listedBefore);
  return accessories;
}

std::vector<AccessoryBattery> readAccessories(const std::optional<fs::path>& sysfsRoot) {
  if (sysfsRoot) return readSysfsAccessories(*sysfsRoot);
#ifdef __APPLE__
  return readAppleAccessories();
#else
  return readSysfsAccessories(kPowerSupplyRoot);
#endif
}

}  // namespace kestrin::app::live
