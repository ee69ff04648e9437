#include "BatteryCore/readings/PowerFlow.hpp"

#include <algorithm>

namespace batterycore {

namespace {
// A battery supplying more than half a watt while plugged in is being drained
// by the load.
constexpr double kDrainThresholdW = -0.5;
// Adapters below this size are too small to charge at speed.
constexpr int kSmallAdapterW = 30;
}  // namespace

PowerFlow PowerFlow::from(const BatterySnapshot& s) {
  PowerFlow flow;
  flow.fromChargerW = s.pluggedIn && s.systemPowerInMilliW ? *s.systemPowerInMilliW / 1000.0 : 0.0;
  flow.batteryW = s.batteryPowerMilliW
                      ? *s.batteryPowerMilliW / 1000.0
                      : static_cast<double>(s.voltageMilliV) * static_cast<double>(s.amperageMilliA) /
                            1'000'000.0;
  flow.macUsesW = s.systemLoadMilliW ? *s.systemLoadMilliW / 1000.0
                                     : std::max(flow.fromChargerW - flow.batteryW, 0.0);
  if (s.adapter) flow.adapterRatedW = s.adapter->watts;

  if (s.pluggedIn && s.adapter) {
    const bool lowering = s.phase().kind() == ChargePhase::Kind::lowering;
    const bool drained = flow.batteryW < kDrainThresholdW && !lowering;
    const bool slow = s.charging && s.slowChargingReason != 0 && s.adapter->watts < kSmallAdapterW;
    if (drained || slow) flow.warning = Warning::weakCharger(s.adapter->watts, flow.macUsesW);
  }
  return flow;
}

}  // namespace batterycore
