// BatterySnapshot: one battery reading, handed to every rule.
//
//   BatterySnapshot reading{at, 81, true, false, false, std::nullopt, std::nullopt,
//                           LimitState::on(80), 0, 0, 0, ThermalLevel::nominal,
//                           4000, 4100, 4500, 3200, 120, 1000, 12500, 0};
//   reading.phase() == ChargePhase::holding(80);
//
// Raw readings only: health, watts and time estimates are derived by the rules
// that need them. Currents and powers are positive into the battery and
// negative while it discharges. Dates are written as ISO 8601 text.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/Adapter.hpp"
#include "BatteryCore/readings/ChargePhase.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"

#include <cstdint>
#include <optional>

namespace batterycore {

struct BatterySnapshot {
  Date at;
  std::int64_t percent = 0;
  bool pluggedIn = false;
  bool charging = false;
  bool fullyCharged = false;
  std::optional<int> minutesToEmpty;
  std::optional<int> minutesToFull;
  LimitState limit = LimitState::off();
  std::uint64_t notChargingReason = 0;
  std::uint64_t slowChargingReason = 0;
  int thermallyLimitedSeconds = 0;
  ThermalLevel thermal = ThermalLevel::nominal;
  int fullChargeCapacity = 0;     // mAh
  int nominalChargeCapacity = 0;  // mAh
  int designCapacity = 0;         // mAh
  int remainingCapacity = 0;      // mAh
  int cycleCount = 0;
  int designCycleCount = 0;
  int voltageMilliV = 0;
  int amperageMilliA = 0;
  std::optional<int> systemPowerInMilliW;
  std::optional<int> systemLoadMilliW;
  std::optional<int> batteryPowerMilliW;
  std::optional<Adapter> adapter;

  // The 24 fields in order; the six optional ones default to absent.
  BatterySnapshot(Date at, std::int64_t percent, bool pluggedIn, bool charging, bool fullyCharged,
                  std::optional<int> minutesToEmpty, std::optional<int> minutesToFull, LimitState limit,
                  std::uint64_t notChargingReason, std::uint64_t slowChargingReason,
                  int thermallyLimitedSeconds, ThermalLevel thermal, int fullChargeCapacity,
                  int nominalChargeCapacity, int designCapacity, int remainingCapacity, int cycleCount,
                  int designCycleCount, int voltageMilliV, int amperageMilliA,
                  std::optional<int> systemPowerInMilliW = std::nullopt,
                  std::optional<int> systemLoadMilliW = std::nullopt,
                  std::optional<int> batteryPowerMilliW = std::nullopt,
                  std::optional<Adapter> adapter = std::nullopt);

  ChargePhase phase() const;

  friend bool operator==(const BatterySnapshot&, const BatterySnapshot&) = default;

  Json toJson() const;
  static BatterySnapshot fromJson(const Json& json);
};

// Where the application gets its readings: the platform readers and every test
// double implement it. Absent when the battery cannot be read right now.
class BatterySource {
 public:
  virtual ~BatterySource() = default;
  virtual std::optional<BatterySnapshot> read() = 0;
};

}  // namespace batterycore
