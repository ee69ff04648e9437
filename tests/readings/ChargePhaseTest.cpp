#include "BatteryCore/readings/ChargePhase.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace batterycore {
namespace {

using testing::reading;

TEST(ChargePhase, DecidesFromFourReadings) {
  struct Case {
    std::int64_t percent;
    bool pluggedIn;
    bool charging;
    LimitState limit;
    ChargePhase expected;
  };
  const Case cases[] = {
      {81, true, false, LimitState::on(80), ChargePhase::holding(80)},   // one point over still holds
      {82, true, false, LimitState::on(80), ChargePhase::lowering(80)},  // two points over lowers
      {79, true, false, LimitState::on(80), ChargePhase::holding(80)},
      {50, true, true, LimitState::on(80), ChargePhase::charging(80)},
      {50, true, true, LimitState::off(80), ChargePhase::charging(100)},
      {50, true, true, LimitState::unavailable("x"), ChargePhase::charging(100)},
      {40, true, false, LimitState::off(), ChargePhase::full()},
      {40, true, false, LimitState::unavailable("x"), ChargePhase::full()},
      {100, true, false, LimitState::off(), ChargePhase::full()},
      {50, false, true, LimitState::on(80), ChargePhase::onBattery()},  // unplugged wins over charging
      {101, true, false, LimitState::on(100), ChargePhase::holding(100)},
      {102, true, false, LimitState::on(100), ChargePhase::lowering(100)},
  };
  for (const auto& c : cases) {
    const auto snapshot = reading(c.percent, c.pluggedIn, c.charging, c.limit);
    EXPECT_EQ(snapshot.phase(), c.expected) << c.percent << " plugged " << c.pluggedIn;
    EXPECT_EQ(ChargePhase::from(c.percent, c.pluggedIn, c.charging, c.limit.active()), c.expected);
  }
}

TEST(ChargePhase, LimitArithmeticCannotOverflow) {
  const int largest = std::numeric_limits<int>::max();
  EXPECT_EQ(ChargePhase::from(std::numeric_limits<std::int64_t>::max(), true, false, largest),
            ChargePhase::lowering(largest));
  EXPECT_EQ(ChargePhase::from(0, true, false, largest), ChargePhase::holding(largest));
}

TEST(ChargePhase, AmbientMoods) {
  EXPECT_EQ(ChargePhase::charging(80).ambient(), AmbientMood::charging);
  EXPECT_EQ(ChargePhase::holding(80).ambient(), AmbientMood::holding);
  EXPECT_EQ(ChargePhase::lowering(80).ambient(), AmbientMood::lowering);
  EXPECT_EQ(ChargePhase::onBattery().ambient(), AmbientMood::battery);
  EXPECT_EQ(ChargePhase::full().ambient(), std::nullopt);
}

TEST(ChargePhase, EqualityComparesCaseAndPayload) {
  EXPECT_NE(ChargePhase::holding(80), ChargePhase::holding(75));
  EXPECT_NE(ChargePhase::holding(80), ChargePhase::lowering(80));
  EXPECT_EQ(ChargePhase::full().percent(), std::nullopt);
}

TEST(AmbientMood, NamesRoundTripInOrder) {
  const char* names[] = {"charging", "holding", "lowering", "battery", "alert", "full"};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(ambientMoodName(kAllAmbientMoods[i]), names[i]);
    EXPECT_EQ(ambientMoodFromName(names[i]), kAllAmbientMoods[i]);
  }
  EXPECT_EQ(ambientMoodFromName("sleepy"), std::nullopt);
}

}  // namespace
}  // namespace batterycore
