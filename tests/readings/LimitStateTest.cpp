#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

TEST(LimitState, ActiveAndAvailable) {
  EXPECT_EQ(LimitState::on(80).active(), 80);
  EXPECT_EQ(LimitState::off(80).active(), std::nullopt);
  EXPECT_EQ(LimitState::unavailable("x").active(), std::nullopt);
  EXPECT_TRUE(LimitState::on(80).isAvailable());
  EXPECT_TRUE(LimitState::off().isAvailable());
  EXPECT_FALSE(LimitState::unavailable("not supported").isAvailable());
}

TEST(LimitState, CodesAsOneKeyObjects) {
  struct Case {
    LimitState state;
    const char* json;
  };
  const Case cases[] = {
      {LimitState::on(80), R"({"on":{"_0":80}})"},
      {LimitState::off(), R"({"off":{}})"},
      {LimitState::off(75), R"({"off":{"stored":75}})"},
      {LimitState::unavailable("not supported"), R"({"unavailable":{"reason":"not supported"}})"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(encode(c.state).dump(), c.json);
    EXPECT_EQ(decode<LimitState>(Json::parse(c.json)), c.state) << c.json;
  }
}

TEST(LimitState, RejectsMalformedObjects) {
  struct Case {
    const char* json;
    const char* reason;
  };
  const Case cases[] = {
      {R"({"on":{"_0":80},"off":{}})", "Invalid number of keys found, expected one."},
      {R"({})", "Invalid number of keys found, expected one."},
      {R"({"sometimes":{}})", "unknown case \"sometimes\""},
      {R"({"on":{}})", "missing key \"_0\""},
      {R"({"unavailable":{}})", "missing key \"reason\""},
      {R"({"on":{"_0":"80"}})", "expected an integer"},
  };
  for (const auto& c : cases) {
    try {
      (void)decode<LimitState>(Json::parse(c.json));
      ADD_FAILURE() << c.json << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), c.reason) << c.json;
    }
  }
  EXPECT_EQ(decode<LimitState>(Json::parse(R"({"off":{"stored":null}})")), LimitState::off());
}

TEST(LimitAvailability, ComparesReason) {
  EXPECT_EQ(LimitAvailability::available(), LimitAvailability::available());
  EXPECT_NE(LimitAvailability::unavailable("a"), LimitAvailability::unavailable("b"));
  EXPECT_FALSE(LimitAvailability::unavailable("a").isAvailable());
}

TEST(ThermalLevel, OnlyZeroToThreeAreLevels) {
  EXPECT_EQ(thermalLevelFromInt(0), ThermalLevel::nominal);
  EXPECT_EQ(thermalLevelFromInt(3), ThermalLevel::critical);
  EXPECT_EQ(thermalLevelFromInt(4), std::nullopt);
  EXPECT_EQ(thermalLevelFromInt(-1), std::nullopt);
  EXPECT_EQ(toInt(ThermalLevel::fair), 1);
  EXPECT_EQ(thermalLevelName(ThermalLevel::serious), "serious");
}

}  // namespace
}  // namespace batterycore
