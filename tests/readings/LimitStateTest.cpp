#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

TEST(LimitState, StoredAsOneKeyObjects) {
  struct Case {
    LimitState state;
    const char* json;
    std::optional<int> active;
  };
  const Case cases[] = {
      {LimitState::on(80), R"({"on":{"_0":80}})", 80},
      {LimitState::off(), R"({"off":{}})", std::nullopt},
      {LimitState::off(75), R"({"off":{"stored":75}})", std::nullopt},
      {LimitState::unavailable("not supported"), R"({"unavailable":{"reason":"not supported"}})", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(encode(c.state).dump(), c.json);
    EXPECT_EQ(decode<LimitState>(Json::parse(c.json)), c.state) << c.json;
    EXPECT_EQ(c.state.active(), c.active) << c.json;
    EXPECT_EQ(c.state.isAvailable(), c.state.isOn() || c.state.isOff()) << c.json;
  }
  EXPECT_EQ(decode<LimitState>(Json::parse(R"({"off":{"stored":null}})")), LimitState::off());
}

TEST(LimitState, RejectsMalformedObjects) {
  struct Case {
    const char* json;
    const char* path;
    const char* reason;
  };
  const Case cases[] = {
      {R"({"on":{"_0":80},"off":{}})", "", "Invalid number of keys found, expected one."},
      {R"({})", "", "Invalid number of keys found, expected one."},
      {R"({"on":80})", "on", "expected an object"},
      {R"({"sometimes":{}})", "sometimes", "unknown case \"sometimes\""},
      {R"({"on":{}})", "on._0", "missing key \"_0\""},
      {R"({"unavailable":{}})", "unavailable.reason", "missing key \"reason\""},
      {R"({"on":{"_0":"80"}})", "on._0", "expected an integer"},
  };
  for (const auto& c : cases) {
    try {
      (void)decode<LimitState>(Json::parse(c.json));
      ADD_FAILURE() << c.json << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), c.path) << c.json;
      EXPECT_EQ(error.reason(), c.reason) << c.json;
    }
  }
}

TEST(ThermalLevel, OnlyZeroToThreeAreLevels) {
  const char* names[] = {"nominal", "fair", "serious", "critical"};
  for (int raw = 0; raw < 4; ++raw) {
    ASSERT_TRUE(thermalLevelFromInt(raw)) << raw;
    EXPECT_EQ(toInt(*thermalLevelFromInt(raw)), raw);
    EXPECT_EQ(thermalLevelName(*thermalLevelFromInt(raw)), names[raw]);
  }
  EXPECT_EQ(thermalLevelFromInt(4), std::nullopt);
  EXPECT_EQ(thermalLevelFromInt(-1), std::nullopt);
}

}  // namespace
}  // namespace batterycore
