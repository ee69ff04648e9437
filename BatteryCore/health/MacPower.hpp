// MacPower: what a laptop model needs from its charger, looked up by the
// model identifier the system reports.
//
//   MacPower::forModel("Mac15,8") == MacPower{96, 96}     // 14-inch M3 Max
//   MacPower::forModel("Mac16,12") == MacPower{30, 70}    // 13-inch M4 Air
//   MacPower::forModel("MacBookPro16,1") == std::nullopt  // Intel: not in the table
//
// `wants` is the adapter that ships with the model (the smallest one when
// configurations differ); `fast` is the adapter Apple names for fast charging,
// the same as `wants` for models without fast charging.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace batterycore {

struct MacPower {
  int wants = 0;  // watts
  int fast = 0;   // watts

  static std::optional<MacPower> forModel(std::string_view modelIdentifier);

  friend constexpr bool operator==(const MacPower&, const MacPower&) = default;
};

struct MacPowerEntry {
  std::string_view model;  // "Mac14,2"
  std::string_view name;   // "MacBook Air (M2, 2022)"
  MacPower power;
};

// Every Apple-silicon laptop the table knows, oldest first.
std::span<const MacPowerEntry> macPowerTable();

}  // namespace batterycore
