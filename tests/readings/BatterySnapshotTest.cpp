#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

const char* kFullSnapshot = R"({
  "at": "2026-03-07T10:00:00Z", "percent": 81, "pluggedIn": true, "charging": false,
  "fullyCharged": false, "minutesToEmpty": 300, "minutesToFull": 12,
  "limit": {"on": {"_0": 80}}, "notChargingReason": 18446744073709551615,
  "slowChargingReason": 4, "thermallyLimitedSeconds": 30, "thermal": 2,
  "fullChargeCapacity": 4000, "nominalChargeCapacity": 4100, "designCapacity": 4500,
  "remainingCapacity": 3200, "cycleCount": 120, "designCycleCount": 1000,
  "voltageMilliV": 12500, "amperageMilliA": -250, "systemPowerInMilliW": 20000,
  "systemLoadMilliW": 15000, "batteryPowerMilliW": -3125,
  "adapter": {"watts": 96, "description": "96W USB-C Power Adapter", "isWireless": false}
})";

TEST(BatterySnapshot, RoundTripsEveryFieldInOrder) {
  const Json json = Json::parse(kFullSnapshot);
  const auto snapshot = decode<BatterySnapshot>(json);
  EXPECT_EQ(snapshot.notChargingReason, 18446744073709551615ULL);
  EXPECT_EQ(snapshot.thermal, ThermalLevel::serious);
  EXPECT_EQ(snapshot.adapter->description, "96W USB-C Power Adapter");
  EXPECT_EQ(encode(snapshot), json);  // same keys, same order, same values
}

TEST(BatterySnapshot, OptionalFieldsMayBeMissingOrNull) {
  Json json = Json::parse(kFullSnapshot);
  for (const char* key : {"adapter", "minutesToFull", "systemLoadMilliW", "batteryPowerMilliW"}) json.erase(key);
  json["systemPowerInMilliW"] = nullptr;
  const auto snapshot = decode<BatterySnapshot>(json);
  EXPECT_FALSE(snapshot.adapter);
  EXPECT_FALSE(snapshot.minutesToFull);
  EXPECT_EQ(snapshot.minutesToEmpty, 300);
  EXPECT_FALSE(snapshot.systemPowerInMilliW);
  json.erase("systemPowerInMilliW");
  EXPECT_EQ(encode(snapshot), json);
}

TEST(BatterySnapshot, DecodingFailsAsAWhole) {
  struct Case {
    const char* what;
    void (*damage)(Json&);
    const char* path;
  };
  const Case cases[] = {
      {"missing designCycleCount", [](Json& j) { j.erase("designCycleCount"); }, "designCycleCount"},
      {"null percent", [](Json& j) { j["percent"] = nullptr; }, "percent"},
      {"text for a bool", [](Json& j) { j["pluggedIn"] = "yes"; }, "pluggedIn"},
      {"fraction for an integer", [](Json& j) { j["cycleCount"] = 1.5; }, "cycleCount"},
      {"thermal 4", [](Json& j) { j["thermal"] = 4; }, "thermal"},
      {"two-key limit", [](Json& j) { j["limit"] = Json::parse(R"({"on":{"_0":80},"off":{}})"); }, "limit"},
      {"negative reason", [](Json& j) { j["slowChargingReason"] = -1; }, "slowChargingReason"},
      {"adapter without watts", [](Json& j) { j["adapter"].erase("watts"); }, "adapter.watts"},
      {"wrong optional type", [](Json& j) { j["minutesToEmpty"] = "soon"; }, "minutesToEmpty"},
  };
  for (const auto& c : cases) {
    Json json = Json::parse(kFullSnapshot);
    c.damage(json);
    try {
      (void)decode<BatterySnapshot>(json);
      ADD_FAILURE() << c.what << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), c.path) << c.what;
    }
  }
}

}  // namespace
}  // namespace batterycore
