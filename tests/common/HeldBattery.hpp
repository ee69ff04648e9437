// A plugged-in laptop at a given percent, its limit at 80%, whose limit follows the switch.
#pragma once

#include "app/LimitController.hpp"
#include "tests/readings/Readings.hpp"

namespace kestrin::app::testing {

struct HeldBattery final : batterycore::BatterySource, LimitController {
  explicit HeldBattery(int percent)
      : reading(batterycore::testing::reading(percent, true, false, batterycore::LimitState::on(80))) {}

  batterycore::BatterySnapshot reading;
  std::optional<batterycore::BatterySnapshot> read() override { return reading; }
  std::optional<std::string> switchOn() override {
    reading.limit = batterycore::LimitState::on(80);
    return std::nullopt;
  }
  std::optional<std::string> switchOff() override {
    reading.limit = batterycore::LimitState::off(80);
    return std::nullopt;
  }
};

}  // namespace kestrin::app::testing
