#include "BatteryCore/readings/PowerFlow.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using testing::reading;

BatterySnapshot plugged(bool charging, std::int64_t percent, std::optional<int> batteryMilliW, int adapterW) {
  auto s = reading(percent, true, charging, LimitState::on(80));
  s.batteryPowerMilliW = batteryMilliW;
  s.systemPowerInMilliW = 20000;
  s.adapter = Adapter{adapterW, std::nullopt, false};
  return s;
}

TEST(PowerFlow, WattsFromTheReadingOrWhatItImplies) {
  auto onBattery = reading(60, false, false, LimitState::on(80));
  onBattery.systemPowerInMilliW = 15000;
  onBattery.batteryPowerMilliW = -9000;
  onBattery.adapter = Adapter{96, std::nullopt, false};
  EXPECT_EQ(PowerFlow::from(onBattery), (PowerFlow{0.0, 9.0, -9.0, 96, PowerFlow::Warning::none()}));

  auto noTelemetry = reading(60, true, false, LimitState::on(80));  // 12,500 mV
  noTelemetry.amperageMilliA = -480;
  EXPECT_DOUBLE_EQ(PowerFlow::from(noTelemetry).batteryW, -6.0);

  auto s = plugged(true, 50, 25000, 96);
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 0.0);  // 20 W in, 25 W to the battery: not -5
  s.batteryPowerMilliW = 5000;
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 15.0);
  s.systemLoadMilliW = 11000;
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 11.0);
}

// A battery giving more than half a watt on the charger, unless it is lowering
// to the limit on purpose, or slow charging on a charger under 30 W.
TEST(PowerFlow, WeakChargerWarnings) {
  auto slow = [](int watts) {
    auto s = plugged(true, 50, 5000, watts);
    s.slowChargingReason = 8;
    return s;
  };
  auto noAdapter = plugged(false, 80, -600, 30);
  noAdapter.adapter = std::nullopt;
  const std::tuple<const char*, BatterySnapshot, bool> cases[] = {
      {"-0.4 W while holding", plugged(false, 80, -400, 96), false},
      {"-0.6 W while holding", plugged(false, 80, -600, 96), true},
      {"-0.6 W while lowering", plugged(false, 90, -600, 96), false},
      {"slow on 30 W", slow(30), false},
      {"slow on 29 W", slow(29), true},
      {"charging, no slow reason, 20 W", plugged(true, 50, 5000, 20), false},
      {"no adapter known", noAdapter, false},
  };
  for (const auto& [what, snapshot, weak] : cases) {
    const auto flow = PowerFlow::from(snapshot);
    EXPECT_EQ(flow.warning, weak ? PowerFlow::Warning::weakCharger(snapshot.adapter->watts, flow.macUsesW)
                                 : PowerFlow::Warning::none())
        << what;
  }
}

}  // namespace
}  // namespace batterycore
