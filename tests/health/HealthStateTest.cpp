// The health rules' state as the service stores it between runs: each record
// written as these files hold it, read back as it was, and what is refused.
#include "BatteryCore/health/AccessoryRule.hpp"
#include "BatteryCore/health/BackgroundDrain.hpp"
#include "BatteryCore/health/ChargerMemory.hpp"
#include "BatteryCore/health/HealthMilestone.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/health/WeakChargerRule.hpp"
#include "BatteryCore/health/WeeklyNote.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

template <class T>
void expectStoredAs(const T& value, const std::string& json) {
  EXPECT_EQ(encode(value).dump(), json);
  EXPECT_EQ(decode<T>(Json::parse(json)), value) << json;
}

template <class T>
void expectRefused(std::initializer_list<std::string> texts) {
  for (const auto& text : texts) EXPECT_THROW(decode<T>(Json::parse(text)), DecodingError) << text;
}

const Date kNine = *parseIso8601("2026-03-05T09:00:00Z");
const Date kFive = *parseIso8601("2026-03-05T09:05:00Z");

TEST(HealthState, EachRecordIsStoredAndReadBack) {
  using Level = AccessoryBattery::Level;
  using Status = AccessoryBattery::Status;
  expectStoredAs(AccessoryRule{{{"hidpp_battery_2", false, kNine}, {"hidpp_battery_0", true, kNine}}},
                 R"({"accessories":[{"id":"hidpp_battery_2","armed":false,"seenAt":"2026-03-05T09:00:00Z"},)"
                 R"({"id":"hidpp_battery_0","armed":true,"seenAt":"2026-03-05T09:00:00Z"}]})");
  expectStoredAs(AccessoryBattery{"hid-70:cd:60:XX:XX:XX-battery", "applemagictrackpad", 100, Level::full,
                                  Status::charging},
                 R"({"id":"hid-70:cd:60:XX:XX:XX-battery","name":"applemagictrackpad","percent":100,)"
                 R"("level":"full","status":"charging"})");
  expectStoredAs(AccessoryBattery{"x", "", std::nullopt, std::nullopt, Status::unknown},
                 R"({"id":"x","name":"","status":"unknown"})");
  expectStoredAs(BackgroundDrain{BackgroundDrain::Window{kNine, 75.5, 3.5, {{7, {"indexer", 12.5}}, {9, {"a ) b", 1}}}},
                                 {{"builder", "2026-03-05"}}},
                 R"({"open":{"openedAt":"2026-03-05T09:00:00Z","batteryLevel":75.5,"packageJoules":3.5,)"
                 R"("processes":[[7,"indexer",12.5],[9,"a ) b",1.0]]},"alerted":{"builder":"2026-03-05"}})");
  expectStoredAs(BackgroundDrain{}, R"({"alerted":{}})");
  expectStoredAs(ChargerMemory{{{"96W USB-C Power Adapter/96", 96, kNine, kFive}}},
                 R"({"chargers":[{"identity":"96W USB-C Power Adapter/96","watts":96,)"
                 R"("firstSeen":"2026-03-05T09:00:00Z","lastSeen":"2026-03-05T09:05:00Z"}]})");
  expectStoredAs(HealthMilestone{91, kNine}, R"({"percent":91,"since":"2026-03-05T09:00:00Z"})");
  expectStoredAs(HealthTrend::Sample{"2026-03-05", 4600, 5000, 120},
                 R"({"day":"2026-03-05","fullChargeCapacity":4600,"designCapacity":5000,"cycleCount":120})");
  expectStoredAs(HighChargeLedger{{{"2026-03-01", 1.5, 0.25, 2, 3.75}}},
                 R"({"days":[{"day":"2026-03-01","minutesAbove80Plugged":1.5,"minutesAbove80Unplugged":0.25,)"
                 R"("minutesPlugged":2.0,"minutesSampled":3.75}]})");
  expectStoredAs(WeakChargerRule{{{"30W USB-C Power Adapter/30", kNine, kFive, kFive},
                                  {"65", std::nullopt, kNine, std::nullopt}}},
                 R"({"chargers":[{"identity":"30W USB-C Power Adapter/30","since":"2026-03-05T09:00:00Z",)"
                 R"("seenAt":"2026-03-05T09:05:00Z","lastAlert":"2026-03-05T09:05:00Z"},)"
                 R"({"identity":"65","seenAt":"2026-03-05T09:00:00Z"}]})");
  expectStoredAs(WeeklyNote{"2026-11-16"}, R"({"week":"2026-11-16"})");
  expectStoredAs(WeeklyNote{}, R"({})");
}

// What an older version left out reads as nothing remembered (and a device
// without "armed" as armed).
TEST(HealthState, MissingKeysReadAsNothingRemembered) {
  EXPECT_EQ(decode<AccessoryRule>(Json::object()), AccessoryRule{});
  EXPECT_EQ(decode<AccessoryRule>(Json::parse(R"({"accessories":[{"id":"a","seenAt":"2026-03-05T09:00:00Z"}]})")),
            (AccessoryRule{{{"a", true, kNine}}}));
  EXPECT_EQ(decode<BackgroundDrain>(Json::object()), BackgroundDrain{});
  EXPECT_EQ(decode<ChargerMemory>(Json::object()), ChargerMemory{});
  EXPECT_EQ(decode<WeakChargerRule>(Json::object()), WeakChargerRule{});
}

TEST(HealthState, MalformedRecordsAreRefused) {
  expectRefused<AccessoryBattery>({R"({})", R"({"id":"x","percent":101})", R"({"id":"x","percent":-1})",
                                   R"({"id":"x","percent":"40"})", R"({"id":"x","level":"Unknown"})",
                                   R"({"id":"x","status":"Discharging"})"});
  // A process id beyond int is refused, not read as another process.
  const std::string window = R"({"open":{"openedAt":"2026-04-16T16:08:00Z","batteryLevel":76.0,"processes":)";
  expectRefused<BackgroundDrain>({R"([])", R"({"alerted":{"x":3}})", R"({"alerted":[]})", window + "{}}}",
                                  window + R"([[1,"a"]]}})", window + R"([[4294967298,"indexer",1.0]]}})"});
  expectRefused<WeeklyNote>({R"({"week":"last monday"})", R"({"week":7})"});
  expectRefused<AccessoryRule>({R"({"accessories":[{"id":"a"}]})"});
  expectRefused<HighChargeLedger>({R"({})", R"({"days":[{"day":"2026-03-01","minutesSampled":1}]})"});
}

}  // namespace
}  // namespace batterycore
