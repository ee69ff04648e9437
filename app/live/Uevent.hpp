// Uevent: the properties of one Linux power supply, read from the text of its
// `uevent` file (or from the attribute files beside it).
//
//   auto supply = Uevent::parse("POWER_SUPPLY_NAME=BAT0\n"
//                               "POWER_SUPPLY_STATUS=Not charging\n"
//                               "POWER_SUPPLY_CAPACITY=80");
//   supply.text("status") == "Not charging"
//   supply.integer("capacity") == 80
//   supply.integer("power_now") == std::nullopt        // not reported
//
// Keys are the attribute names as the kernel names the files in the supply's
// folder: "POWER_SUPPLY_ENERGY_FULL_DESIGN" is "energy_full_design". Lines that
// are not power-supply properties (DEVTYPE, OF_*) are ignored, a repeated key
// keeps its last value (some drivers print TYPE twice), and a last line
// without a newline counts like any other. Values keep their inner spacing
// (serial numbers can start with a space); a trailing carriage return goes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::app::live {

class Uevent {
 public:
  using Attributes = std::map<std::string, std::string, std::less<>>;

  Uevent() = default;
  explicit Uevent(Attributes attributes) : attributes_(std::move(attributes)) {}

  static Uevent parse(std::string_view text);

  // The attribute name of a uevent key: "POWER_SUPPLY_CAPACITY" -> "capacity";
  // absent for keys that are not power-supply properties.
  static std::optional<std::string> attributeName(std::string_view key);

  std::optional<std::string> text(std::string_view name) const;
  // Whole decimal numbers only (sysfs writes µV, µA, µW, µWh, µAh as integers);
  // absent when missing or not a number.
  std::optional<std::int64_t> integer(std::string_view name) const;

  // Sets or replaces one attribute, as the attribute file beside the uevent
  // file would.
  void set(std::string name, std::string value) { attributes_[std::move(name)] = std::move(value); }

  const Attributes& attributes() const { return attributes_; }

  friend bool operator==(const Uevent&, const Uevent&) = default;

 private:
  Attributes attributes_;
};

}  // namespace kestrin::app::live
