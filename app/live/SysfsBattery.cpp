#include "app/live/SysfsBattery.hpp"

#include "app/live/SysfsLimit.hpp"

#include "KestrinWidget/SharedContainer.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>
#include <string_view>
#include <system_error>

namespace kestrin::app::live {

namespace fs = std::filesystem;
using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::Date;
using batterycore::LimitState;
using batterycore::ThermalLevel;

namespace {

constexpr double kFairCelsius = 70.0;
constexpr double kSeriousCelsius = 80.0;
constexpr double kCriticalCelsius = 90.0;
constexpr double kMilliDegreesPerDegree = 1000.0;

constexpr std::int64_t kMicroPerMilli = 1000;
constexpr std::int64_t kMinutesPerHour = 60;

// The attribute files read beside uevent. Reading every file in the folder
// would wake hardware for values nobody uses.
constexpr std::array<std::string_view, 23> kAttributes = {
    "type",          "scope",        "status",       "present",      "online",
    "capacity",      "cycle_count",  "voltage_now",  "voltage_min_design",
    "current_now",   "power_now",    "energy_now",   "energy_full",  "energy_full_design",
    "charge_now",    "charge_full",  "charge_full_design",           "voltage_max",
    "current_max",   "model_name",   "manufacturer", "technology",   "capacity_level"};

constexpr std::array<std::string_view, 10> kExternalPowerTypes = {
    "Mains", "USB", "USB_DCP", "USB_CDP", "USB_ACA", "USB_C", "USB_PD", "USB_PD_DRP", "BrickID", "Wireless"};

std::optional<std::string> readText(const fs::path& file) { return widget::readWholeFile(file); }

std::string withoutTrailingSpace(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
  return text;
}

bool isDeviceScope(const Uevent& supply) { return supply.text("scope") == "Device"; }

bool isLaptopBattery(const Uevent& supply) {
  return supply.text("type") == "Battery" && !isDeviceScope(supply) && supply.integer("present") != 0;
}

bool isExternalPower(const Uevent& supply) {
  const auto type = supply.text("type");
  return type && !isDeviceScope(supply) &&
         std::find(kExternalPowerTypes.begin(), kExternalPowerTypes.end(), *type) != kExternalPowerTypes.end();
}

int saturatedInt(std::int64_t value) {
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

// a / b rounded to the nearest whole number; b must be positive.
std::int64_t roundedDivision(std::int64_t a, std::int64_t b) {
  const std::int64_t half = b / 2;
  return a >= 0 ? (a + half) / b : -((-a + half) / b);
}

std::int64_t directed(std::int64_t magnitude, std::string_view status) {
  if (status == "Discharging") return -std::abs(magnitude);
  if (status == "Charging") return std::abs(magnitude);
  return magnitude;
}

std::vector<fs::path> supplyFolders(const fs::path& root) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
    if (it->is_directory(error)) folders.push_back(it->path());  // sysfs entries are links to folders
  }
  std::sort(folders.begin(), folders.end());
  return folders;
}

}  // namespace

ThermalLevel thermalLevelForCelsius(double celsius) {
  if (celsius >= kCriticalCelsius) return ThermalLevel::critical;
  if (celsius >= kSeriousCelsius) return ThermalLevel::serious;
  if (celsius >= kFairCelsius) return ThermalLevel::fair;
  return ThermalLevel::nominal;
}

Uevent readSupply(const fs::path& folder) {
  Uevent supply = Uevent::parse(readText(folder / "uevent").value_or(""));
  for (const auto name : kAttributes) {
    if (auto value = readText(folder / name)) supply.set(std::string(name), withoutTrailingSpace(std::move(*value)));
  }
  return supply;
}

std::optional<BatterySnapshot> snapshotFrom(Date at, const Uevent& battery, const std::vector<Uevent>& powerSupplies,
                                            LimitState limit, ThermalLevel thermal) {
  const auto percent = battery.integer("capacity");
  if (!percent || *percent < 0 || *percent > 100) return std::nullopt;

  const std::string status = battery.text("status").value_or("Unknown");
  const bool charging = status == "Charging";
  const bool fullyCharged = status == "Full";

  bool anyExternalPower = false;
  bool externalPowerOnline = false;
  std::optional<Adapter> adapter;
  for (const auto& supply : powerSupplies) {
    if (!isExternalPower(supply)) continue;
    anyExternalPower = true;
    if (supply.integer("online").value_or(0) != 1) continue;
    externalPowerOnline = true;
    // Only USB Power Delivery ports tell their rating; a plain mains supply
    // says nothing about watts, and an unknown rating stays absent.
    const auto microVolts = supply.integer("voltage_max");
    const auto microAmps = supply.integer("current_max");
    if (!adapter && microVolts && microAmps && *microVolts > 0 && *microAmps > 0) {
      constexpr double kMicroWattsPerWatt = 1e12;  // µV × µA
      const double watts = static_cast<double>(*microVolts) * static_cast<double>(*microAmps) / kMicroWattsPerWatt;
      adapter = Adapter{saturatedInt(static_cast<std::int64_t>(watts + 0.5)), supply.text("model_name"),
                        supply.text("type") == "Wireless"};
    }
  }
  const bool pluggedIn = anyExternalPower ? externalPowerOnline || charging
                                          : charging || fullyCharged || status == "Not charging";
  if (!pluggedIn) adapter.reset();

  const auto voltageNow = battery.integer("voltage_now");
  const auto currentNow = battery.integer("current_now");
  const auto powerNow = battery.integer("power_now");

  // Capacities in µAh, from charge directly or from energy at a voltage.
  std::optional<std::int64_t> fullCharge, designCharge, remainingCharge;
  if (battery.integer("charge_full") || battery.integer("charge_now")) {
    fullCharge = battery.integer("charge_full");
    designCharge = battery.integer("charge_full_design");
    remainingCharge = battery.integer("charge_now");
  } else {
    auto volts = battery.integer("voltage_min_design");
    if (!volts || *volts <= 0) volts = voltageNow;
    if (volts && *volts > 0) {
      const auto toCharge = [&](std::optional<std::int64_t> microWattHours) -> std::optional<std::int64_t> {
        if (!microWattHours) return std::nullopt;
        return roundedDivision(*microWattHours * kMicroPerMilli, *volts) * kMicroPerMilli;
      };
      fullCharge = toCharge(battery.integer("energy_full"));
      designCharge = toCharge(battery.integer("energy_full_design"));
      remainingCharge = toCharge(battery.integer("energy_now"));
    }
  }
  const auto milli = [](std::optional<std::int64_t> micro) {
    return micro ? saturatedInt(roundedDivision(*micro, kMicroPerMilli)) : 0;
  };

  // Current and power, each derived from the other and the voltage when the
  // driver reports only one of them.
  std::optional<std::int64_t> microAmps = currentNow;
  std::optional<std::int64_t> microWatts = powerNow;
  if (!microAmps && powerNow && voltageNow && *voltageNow > 0) {
    microAmps = roundedDivision(*powerNow * kMicroPerMilli, *voltageNow) * kMicroPerMilli;
  }
  if (!microWatts && currentNow && voltageNow) {
    microWatts = roundedDivision(*currentNow * (*voltageNow / kMicroPerMilli), kMicroPerMilli);
  }
  const int amperageMilliA = microAmps ? milli(directed(*microAmps, status)) : 0;
  std::optional<int> batteryPowerMilliW;
  if (microWatts) batteryPowerMilliW = milli(directed(*microWatts, status));

  // Time estimates: charge left (or still missing) over the rate of flow.
  std::optional<int> minutesToEmpty, minutesToFull;
  std::optional<std::int64_t> rate, now, full;
  if (battery.integer("energy_now") && powerNow) {
    rate = std::abs(*powerNow);
    now = battery.integer("energy_now");
    full = battery.integer("energy_full");
  } else if (battery.integer("charge_now") && currentNow) {
    rate = std::abs(*currentNow);
    now = battery.integer("charge_now");
    full = battery.integer("charge_full");
  }
  if (rate && *rate > 0) {
    if (status == "Discharging") {
      minutesToEmpty = saturatedInt(roundedDivision(*now * kMinutesPerHour, *rate));
    } else if (charging && full && *full >= *now) {
      minutesToFull = saturatedInt(roundedDivision((*full - *now) * kMinutesPerHour, *rate));
    }
  }

  const int fullChargeCapacity = milli(fullCharge);
  return BatterySnapshot(at, *percent, pluggedIn, charging, fullyCharged, minutesToEmpty, minutesToFull,
                         std::move(limit), 0, 0, 0, thermal, fullChargeCapacity, fullChargeCapacity,
                         milli(designCharge), milli(remainingCharge),
                         saturatedInt(battery.integer("cycle_count").value_or(0)), 0,
                         voltageNow ? milli(voltageNow) : 0, amperageMilliA, std::nullopt, std::nullopt,
                         batteryPowerMilliW, adapter);
}

SysfsBattery::SysfsBattery(fs::path powerSupplyRoot, Clock clock, std::optional<fs::path> thermalRoot,
                           LimitReader limit)
    : root_(std::move(powerSupplyRoot)),
      clock_(std::move(clock)),
      thermalRoot_(std::move(thermalRoot)),
      limit_(std::move(limit)) {}

std::optional<fs::path> SysfsBattery::batteryFolder() const {
  for (const auto& folder : supplyFolders(root_)) {
    if (isLaptopBattery(readSupply(folder))) return folder;
  }
  return std::nullopt;
}

ThermalLevel SysfsBattery::thermal() const {
  if (!thermalRoot_) return ThermalLevel::nominal;
  std::optional<double> hottest;
  std::error_code error;
  for (fs::directory_iterator it(*thermalRoot_, error), end; !error && it != end; it.increment(error)) {
    if (!it->path().filename().string().starts_with("thermal_zone")) continue;
    const auto text = readText(it->path() / "temp");
    if (!text) continue;
    const auto milliDegrees = Uevent({{"temp", withoutTrailingSpace(*text)}}).integer("temp");
    if (!milliDegrees) continue;
    const double celsius = static_cast<double>(*milliDegrees) / kMilliDegreesPerDegree;
    hottest = std::max(hottest.value_or(celsius), celsius);
  }
  return hottest ? thermalLevelForCelsius(*hottest) : ThermalLevel::nominal;
}

std::optional<BatterySnapshot> SysfsBattery::read() {
  std::vector<Uevent> supplies;
  std::optional<Uevent> battery;
  std::optional<fs::path> batteryFolder;
  for (const auto& folder : supplyFolders(root_)) {
    auto supply = readSupply(folder);
    if (!battery && isLaptopBattery(supply)) {
      battery = supply;
      batteryFolder = folder;
    }
    supplies.push_back(std::move(supply));
  }
  if (!battery) return std::nullopt;
  const LimitState limit = limit_ ? limit_() : SysfsLimit(batteryFolder).state();
  return snapshotFrom(clock_(), *battery, supplies, limit, thermal());
}

}  // namespace kestrin::app::live
