#include "BatteryCore/readings/ChargePhase.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace batterycore {
namespace {

using testing::reading;

// One point over the limit still holds; two points over lowers.
TEST(ChargePhase, DecidesFromFourReadings) {
  struct Case {
    std::int64_t percent;
    bool pluggedIn;
    bool charging;
    LimitState limit;
    ChargePhase expected;
    std::optional<AmbientMood> mood;
  };
  const auto on80 = LimitState::on(80);
  const Case cases[] = {
      {81, true, false, on80, ChargePhase::holding(80), AmbientMood::holding},
      {82, true, false, on80, ChargePhase::lowering(80), AmbientMood::lowering},
      {79, true, false, on80, ChargePhase::holding(80), AmbientMood::holding},
      {50, true, true, on80, ChargePhase::charging(80), AmbientMood::charging},
      {50, true, true, LimitState::off(80), ChargePhase::charging(100), AmbientMood::charging},
      {50, true, true, LimitState::unavailable("x"), ChargePhase::charging(100), AmbientMood::charging},
      {40, true, false, LimitState::off(), ChargePhase::full(), std::nullopt},
      {40, true, false, LimitState::unavailable("x"), ChargePhase::full(), std::nullopt},
      {50, false, true, on80, ChargePhase::onBattery(), AmbientMood::battery},  // unplugged wins over charging
      {101, true, false, LimitState::on(100), ChargePhase::holding(100), AmbientMood::holding},
      {102, true, false, LimitState::on(100), ChargePhase::lowering(100), AmbientMood::lowering},
  };
  for (const auto& c : cases) {
    const auto phase = reading(c.percent, c.pluggedIn, c.charging, c.limit).phase();
    EXPECT_EQ(phase, c.expected) << c.percent << "%, plugged in " << c.pluggedIn << ", charging " << c.charging;
    EXPECT_EQ(phase.ambient(), c.mood) << c.percent << "%, plugged in " << c.pluggedIn;
  }
  EXPECT_EQ(ChargePhase::full().percent(), std::nullopt);
  EXPECT_NE(ChargePhase::holding(80), ChargePhase::lowering(80));
}

TEST(ChargePhase, LimitArithmeticCannotOverflow) {
  const int largest = std::numeric_limits<int>::max();
  EXPECT_EQ(ChargePhase::from(std::numeric_limits<std::int64_t>::max(), true, false, largest),
            ChargePhase::lowering(largest));
  EXPECT_EQ(ChargePhase::from(0, true, false, largest), ChargePhase::holding(largest));
}

TEST(AmbientMood, NamesReadBack) {
  for (const auto mood : kAllAmbientMoods) EXPECT_EQ(ambientMoodFromName(ambientMoodName(mood)), mood);
  EXPECT_EQ(ambientMoodName(AmbientMood::battery), "battery");
  EXPECT_EQ(ambientMoodFromName("sleepy"), std::nullopt);
}

}  // namespace
}  // namespace batterycore
