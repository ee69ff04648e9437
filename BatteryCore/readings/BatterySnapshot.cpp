#include "BatteryCore/readings/BatterySnapshot.hpp"

namespace batterycore {

BatterySnapshot::BatterySnapshot(Date at, std::int64_t percent, bool pluggedIn, bool charging,
                                 bool fullyCharged, std::optional<int> minutesToEmpty,
                                 std::optional<int> minutesToFull, LimitState limit,
                                 std::uint64_t notChargingReason, std::uint64_t slowChargingReason,
                                 int thermallyLimitedSeconds, ThermalLevel thermal,
                                 int fullChargeCapacity, int nominalChargeCapacity, int designCapacity,
                                 int remainingCapacity, int cycleCount, int designCycleCount,
                                 int voltageMilliV, int amperageMilliA,
                                 std::optional<int> systemPowerInMilliW,
                                 std::optional<int> systemLoadMilliW,
                                 std::optional<int> batteryPowerMilliW, std::optional<Adapter> adapter)
    : at(at),
      percent(percent),
      pluggedIn(pluggedIn),
      charging(charging),
      fullyCharged(fullyCharged),
      minutesToEmpty(minutesToEmpty),
      minutesToFull(minutesToFull),
      limit(std::move(limit)),
      notChargingReason(notChargingReason),
      slowChargingReason(slowChargingReason),
      thermallyLimitedSeconds(thermallyLimitedSeconds),
      thermal(thermal),
      fullChargeCapacity(fullChargeCapacity),
      nominalChargeCapacity(nominalChargeCapacity),
      designCapacity(designCapacity),
      remainingCapacity(remainingCapacity),
      cycleCount(cycleCount),
      designCycleCount(designCycleCount),
      voltageMilliV(voltageMilliV),
      amperageMilliA(amperageMilliA),
      systemPowerInMilliW(systemPowerInMilliW),
      systemLoadMilliW(systemLoadMilliW),
      batteryPowerMilliW(batteryPowerMilliW),
      adapter(std::move(adapter)) {}

ChargePhase BatterySnapshot::phase() const {
  return ChargePhase::from(percent, pluggedIn, charging, limit.active());
}

Json BatterySnapshot::toJson() const {
  Json json = Json::object();
  put(json, "at", at);
  put(json, "percent", percent);
  put(json, "pluggedIn", pluggedIn);
  put(json, "charging", charging);
  put(json, "fullyCharged", fullyCharged);
  putIfPresent(json, "minutesToEmpty", minutesToEmpty);
  putIfPresent(json, "minutesToFull", minutesToFull);
  put(json, "limit", limit);
  put(json, "notChargingReason", notChargingReason);
  put(json, "slowChargingReason", slowChargingReason);
  put(json, "thermallyLimitedSeconds", thermallyLimitedSeconds);
  put(json, "thermal", thermal);
  put(json, "fullChargeCapacity", fullChargeCapacity);
  put(json, "nominalChargeCapacity", nominalChargeCapacity);
  put(json, "designCapacity", designCapacity);
  put(json, "remainingCapacity", remainingCapacity);
  put(json, "cycleCount", cycleCount);
  put(json, "designCycleCount", designCycleCount);
  put(json, "voltageMilliV", voltageMilliV);
  put(json, "amperageMilliA", amperageMilliA);
  putIfPresent(json, "systemPowerInMilliW", systemPowerInMilliW);
  putIfPresent(json, "systemLoadMilliW", systemLoadMilliW);
  putIfPresent(json, "batteryPowerMilliW", batteryPowerMilliW);
  putIfPresent(json, "adapter", adapter);
  return json;
}

BatterySnapshot BatterySnapshot::fromJson(const Json& json) {
  return BatterySnapshot(
      required<Date>(json, "at"), required<std::int64_t>(json, "percent"),
      required<bool>(json, "pluggedIn"), required<bool>(json, "charging"),
      required<bool>(json, "fullyCharged"), optional<int>(json, "minutesToEmpty"),
      optional<int>(json, "minutesToFull"), required<LimitState>(json, "limit"),
      required<std::uint64_t>(json, "notChargingReason"),
      required<std::uint64_t>(json, "slowChargingReason"),
      required<int>(json, "thermallyLimitedSeconds"), required<ThermalLevel>(json, "thermal"),
      required<int>(json, "fullChargeCapacity"), required<int>(json, "nominalChargeCapacity"),
      required<int>(json, "designCapacity"), required<int>(json, "remainingCapacity"),
      required<int>(json, "cycleCount"), required<int>(json, "designCycleCount"),
      required<int>(json, "voltageMilliV"), required<int>(json, "amperageMilliA"),
      optional<int>(json, "systemPowerInMilliW"), optional<int>(json, "systemLoadMilliW"),
      optional<int>(json, "batteryPowerMilliW"), optional<Adapter>(json, "adapter"));
}

}  // namespace batterycore
