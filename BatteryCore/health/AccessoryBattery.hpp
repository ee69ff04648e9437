// AccessoryBattery: the battery of one peripheral as it was read — a wireless
// mouse, keyboard, trackpad, game pad or pen tablet.
//
//   auto mouse = AccessoryBattery::fromReading("hidpp_battery_2", "M705", 8, std::nullopt,
//                                              AccessoryBattery::Status::discharging);
//   mouse.percent == 8
//   auto tablet = AccessoryBattery::fromReading("hid-28bd-935-battery", "Deco LW", 160, std::nullopt,
//                                               AccessoryBattery::Status::discharging);
//   tablet.percent == std::nullopt && !tablet.isKnown()      // 160 % is not a reading
//
// Peripherals misreport, and a wrong figure must never be shown or raise an
// alert, so fromReading keeps only what is believable:
//   - a percentage from 0 to 100, where 0 also needs the device to say it is
//     charging or discharging. A touchscreen without its pen shows a phantom
//     battery at 0 % with status Unknown; a device that is really empty does
//     not answer at all, so a bare 0 is read as no figure;
//   - a coarse level (critical, low, normal, high, full); the kernel's
//     "Unknown" level is no level.
// What is left may be nothing: a tablet before its first report, a switched
// off mouse whose entry stays behind. Such an accessory is unknown: it is
// listed as unknown, never alerts and never re-arms an alert. A device that
// gives both a percentage and a level is judged by the percentage.
//
// `id` is the key the alert rule remembers a device by: the power supply's
// name on Linux, the registry entry's identity on a Mac. `name` is the model
// name and may be empty (the list then says "Unnamed device").
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

struct AccessoryBattery {
  // The coarse charge level of devices that report no percentage.
  enum class Level { critical, low, normal, high, full };
  enum class Status { charging, discharging, full, unknown };

  std::string id;
  std::string name;
  std::optional<int> percent;   // 0 ... 100, believable
  std::optional<Level> level;
  Status status = Status::unknown;

  // The accessory with what is believable of a raw reading kept (see above).
  static AccessoryBattery fromReading(std::string id, std::string name, std::optional<std::int64_t> percent,
                                      std::optional<Level> level, Status status);

  // Whether there is a percentage or a level to go by.
  bool isKnown() const { return percent.has_value() || level.has_value(); }

  // The order of a list: by name, ignoring the case of ASCII letters, then as
  // written, then by id.
  static bool listedBefore(const AccessoryBattery& a, const AccessoryBattery& b);

  // Case names, which are also how the values are stored.
  static std::string_view rawValue(Level level);
  static std::string_view rawValue(Status status);
  static std::optional<Level> levelFromRawValue(std::string_view raw);
  static std::optional<Status> statusFromRawValue(std::string_view raw);

  friend bool operator==(const AccessoryBattery&, const AccessoryBattery&) = default;

  // {"id", "name", "percent"?, "level"?, "status"}. "id" is required; a
  // missing name is empty and a missing status unknown. A percentage outside
  // 0 ... 100 or an unknown level or status fails the decoding.
  Json toJson() const;
  static AccessoryBattery fromJson(const Json& json);
};

}  // namespace batterycore
