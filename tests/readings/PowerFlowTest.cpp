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

TEST(PowerFlow, OnBatteryNothingComesFromTheCharger) {
  auto s = reading(60, false, false, LimitState::on(80));
  s.systemPowerInMilliW = 15000;
  s.batteryPowerMilliW = -9000;
  s.adapter = Adapter{96, std::nullopt, false};
  const auto flow = PowerFlow::from(s);
  EXPECT_EQ(flow.fromChargerW, 0.0);
  EXPECT_EQ(flow.batteryW, -9.0);
  EXPECT_EQ(flow.macUsesW, 9.0);
  EXPECT_TRUE(flow.warning.isNone());
}

TEST(PowerFlow, BatteryWattsFallBackToVoltageTimesCurrent) {
  auto s = reading(60, true, false, LimitState::on(80));
  s.voltageMilliV = 12000;
  s.amperageMilliA = -500;
  EXPECT_DOUBLE_EQ(PowerFlow::from(s).batteryW, -6.0);
}

TEST(PowerFlow, MacUsageFallsBackToTheDifferenceFlooredAtZero) {
  auto s = plugged(true, 50, 25000, 96);
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 0.0);  // 20 W in, 25 W to the battery: not -5
  s.batteryPowerMilliW = 5000;
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 15.0);
  s.systemLoadMilliW = 11000;
  EXPECT_EQ(PowerFlow::from(s).macUsesW, 11.0);
  EXPECT_EQ(PowerFlow::from(s).adapterRatedW, 96);
}

TEST(PowerFlow, WeakChargerWarnings) {
  struct Case {
    const char* what;
    BatterySnapshot snapshot;
    bool weak;
  };
  auto slow = [](int watts) {
    auto s = plugged(true, 50, 5000, watts);
    s.slowChargingReason = 8;
    return s;
  };
  auto noAdapter = plugged(false, 80, -600, 30);
  noAdapter.adapter = std::nullopt;
  const Case cases[] = {
      {"-0.4 W while holding", plugged(false, 80, -400, 96), false},
      {"-0.6 W while holding", plugged(false, 80, -600, 96), true},
      {"-0.6 W while lowering", plugged(false, 90, -600, 96), false},
      {"slow on 30 W", slow(30), false},
      {"slow on 29 W", slow(29), true},
      {"charging, no slow reason, 20 W", plugged(true, 50, 5000, 20), false},
      {"no adapter known", noAdapter, false},
  };
  for (const auto& c : cases) {
    const auto flow = PowerFlow::from(c.snapshot);
    EXPECT_EQ(!flow.warning.isNone(), c.weak) << c.what;
    if (c.weak) {
      EXPECT_EQ(flow.warning.weak->ratedW, c.snapshot.adapter->watts) << c.what;
      EXPECT_EQ(flow.warning.weak->usingW, flow.macUsesW) << c.what;
    }
  }
}

}  // namespace
}  // namespace batterycore
