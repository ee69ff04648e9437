// The charger each Apple-silicon laptop ships with and the one Apple names for
// fast charging. Where a model is sold with two adapters (the base 14-inch
// MacBook Pro chips, the base Air), `wants` is the smaller: a buyer of that
// configuration got nothing bigger, so it must count as enough.
#include "BatteryCore/health/MacPower.hpp"

#include <algorithm>
#include <array>

namespace batterycore {

namespace {

constexpr std::array kTable{
    // 2020: M1
    MacPowerEntry{"MacBookAir10,1", "MacBook Air (M1, 2020)", {30, 30}},
    MacPowerEntry{"MacBookPro17,1", "MacBook Pro (13-inch, M1, 2020)", {61, 61}},
    // 2021: M1 Pro, M1 Max
    MacPowerEntry{"MacBookPro18,3", "MacBook Pro (14-inch, M1 Pro, 2021)", {67, 96}},
    MacPowerEntry{"MacBookPro18,4", "MacBook Pro (14-inch, M1 Max, 2021)", {96, 96}},
    MacPowerEntry{"MacBookPro18,1", "MacBook Pro (16-inch, M1 Pro, 2021)", {140, 140}},
    MacPowerEntry{"MacBookPro18,2", "MacBook Pro (16-inch, M1 Max, 2021)", {140, 140}},
    // 2022 to 2023: M2
    MacPowerEntry{"Mac14,2", "MacBook Air (M2, 2022)", {30, 67}},
    MacPowerEntry{"Mac14,7", "MacBook Pro (13-inch, M2, 2022)", {67, 67}},
    MacPowerEntry{"Mac14,9", "MacBook Pro (14-inch, M2 Pro, 2023)", {67, 96}},
    MacPowerEntry{"Mac14,5", "MacBook Pro (14-inch, M2 Max, 2023)", {96, 96}},
    MacPowerEntry{"Mac14,10", "MacBook Pro (16-inch, M2 Pro, 2023)", {140, 140}},
    MacPowerEntry{"Mac14,6", "MacBook Pro (16-inch, M2 Max, 2023)", {140, 140}},
    MacPowerEntry{"Mac14,15", "MacBook Air (15-inch, M2, 2023)", {35, 70}},
    // 2023 to 2024: M3
    MacPowerEntry{"Mac15,3", "MacBook Pro (14-inch, M3, Nov 2023)", {70, 96}},
    MacPowerEntry{"Mac15,6", "MacBook Pro (14-inch, M3 Pro, Nov 2023)", {70, 96}},
    MacPowerEntry{"Mac15,8", "MacBook Pro (14-inch, M3 Max, Nov 2023)", {96, 96}},
    MacPowerEntry{"Mac15,10", "MacBook Pro (14-inch, M3 Max, Nov 2023)", {96, 96}},
    MacPowerEntry{"Mac15,7", "MacBook Pro (16-inch, M3 Pro, Nov 2023)", {140, 140}},
    MacPowerEntry{"Mac15,9", "MacBook Pro (16-inch, M3 Max, Nov 2023)", {140, 140}},
    MacPowerEntry{"Mac15,11", "MacBook Pro (16-inch, M3 Max, Nov 2023)", {140, 140}},
    MacPowerEntry{"Mac15,12", "MacBook Air (13-inch, M3, 2024)", {30, 70}},
    MacPowerEntry{"Mac15,13", "MacBook Air (15-inch, M3, 2024)", {35, 70}},
    // 2024 to 2025: M4
    MacPowerEntry{"Mac16,1", "MacBook Pro (14-inch, M4, 2024)", {70, 96}},
    MacPowerEntry{"Mac16,8", "MacBook Pro (14-inch, M4 Pro, 2024)", {70, 96}},
    MacPowerEntry{"Mac16,6", "MacBook Pro (14-inch, M4 Max, 2024)", {96, 96}},
    MacPowerEntry{"Mac16,7", "MacBook Pro (16-inch, M4 Pro, 2024)", {140, 140}},
    MacPowerEntry{"Mac16,5", "MacBook Pro (16-inch, M4 Max, 2024)", {140, 140}},
    MacPowerEntry{"Mac16,12", "MacBook Air (13-inch, M4, 2025)", {30, 70}},
    MacPowerEntry{"Mac16,13", "MacBook Air (15-inch, M4, 2025)", {35, 70}},
    // 2025: M5
    MacPowerEntry{"Mac17,2", "MacBook Pro (14-inch, M5, 2025)", {70, 96}},
};

}  // namespace

std::span<const MacPowerEntry> macPowerTable() { return kTable; }

std::optional<MacPower> MacPower::forModel(std::string_view modelIdentifier) {
  const auto found = std::find_if(kTable.begin(), kTable.end(), [&](const MacPowerEntry& entry) {
    return entry.model == modelIdentifier;
  });
  if (found == kTable.end()) return std::nullopt;
  return found->power;
}

}  // namespace batterycore
