#include "BatteryCore/health/ChargerMemory.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace batterycore {
namespace {

using std::chrono::days;
using testing::local;
using testing::reading;

const Calendar kUtc = Calendar::utc();
const Date kMonday = local(kUtc, 2026, 3, 2, 9, 0);
const Date kTuesday = local(kUtc, 2026, 3, 3, 9, 0);

BatterySnapshot on(Date at, int watts, std::optional<std::string> name = std::nullopt) {
  return reading(at, 60, true, Adapter{watts, std::move(name), false});
}

TEST(ChargerMemory, HeaderExampleHolds) {
  ChargerMemory memory;
  memory.remember(on(kMonday, 96, "96W USB-C Power Adapter"), kMonday);
  memory.remember(on(kTuesday, 96, "96W USB-C Power Adapter"), kTuesday);
  ASSERT_EQ(memory.chargers.size(), 1u);
  EXPECT_EQ(memory.chargers[0],
            (ChargerMemory::Seen{"96W USB-C Power Adapter/96", 96, kMonday, kTuesday}));
  EXPECT_EQ(ChargerMemory::identity(Adapter{96, "96W USB-C Power Adapter", false}),
            "96W USB-C Power Adapter/96");
}

TEST(ChargerMemory, IdentityIsNameAndWatts) {
  struct Case {
    Adapter adapter;
    const char* expected;
  };
  const Case cases[] = {
      {{96, "96W USB-C Power Adapter", false}, "96W USB-C Power Adapter/96"},
      {{94, "96W USB-C Power Adapter", false}, "96W USB-C Power Adapter/94"},
      {{65, "pd charger", false}, "pd charger/65"},
      {{65, std::nullopt, false}, "65"},
      {{65, "", false}, "65"},
      {{15, "MagSafe Charger", true}, "MagSafe Charger/15"},
  };
  for (const auto& c : cases) EXPECT_EQ(ChargerMemory::identity(c.adapter), c.expected);
}

TEST(ChargerMemory, RemembersOnlyPluggedInChargersOfAtLeastOneWatt) {
  ChargerMemory memory;
  auto unplugged = on(kMonday, 96);
  unplugged.pluggedIn = false;
  memory.remember(unplugged, kMonday);
  memory.remember(reading(kMonday, 60, true), kMonday);  // no adapter reported
  memory.remember(on(kMonday, 0), kMonday);
  EXPECT_TRUE(memory.chargers.empty());
  memory.remember(on(kMonday, 1), kMonday);
  EXPECT_EQ(memory.chargers.size(), 1u);
}

TEST(ChargerMemory, KeepsChargersInTheOrderFirstSeen) {
  ChargerMemory memory;
  memory.remember(on(kMonday, 30), kMonday);
  memory.remember(on(kMonday, 96), kMonday + std::chrono::hours{1});
  memory.remember(on(kTuesday, 30), kTuesday);
  ASSERT_EQ(memory.chargers.size(), 2u);
  EXPECT_EQ(memory.chargers[0].watts, 30);
  EXPECT_EQ(memory.chargers[0].lastSeen, kTuesday);
  EXPECT_EQ(memory.chargers[1].watts, 96);
}

TEST(ChargerMemory, ForgetsChargersUnseenFor400Days) {
  ChargerMemory memory;
  memory.remember(on(kMonday, 30), kMonday);
  memory.remember(on(kMonday, 96), kMonday);
  const Date almost = kMonday + days{400} - Seconds{1};
  memory.remember(on(almost, 96), almost);
  EXPECT_EQ(memory.chargers.size(), 2u);
  const Date later = kMonday + days{400};
  memory.remember(reading(later, 60, false), later);
  ASSERT_EQ(memory.chargers.size(), 1u);
  EXPECT_EQ(memory.chargers[0].watts, 96);
}

TEST(ChargerMemory, KeepsTheTwentyMostRecentlySeen) {
  ChargerMemory memory;
  for (int i = 0; i < 20; ++i) {
    const Date t = kMonday + std::chrono::hours{i};
    memory.remember(on(t, 30 + i), t);
  }
  // The first one is seen again, so the second is now the stalest.
  const Date again = kMonday + std::chrono::hours{30};
  memory.remember(on(again, 30), again);
  const Date newcomer = kMonday + std::chrono::hours{31};
  memory.remember(on(newcomer, 140), newcomer);
  ASSERT_EQ(memory.chargers.size(), 20u);
  EXPECT_EQ(memory.chargers.front().watts, 30);
  EXPECT_EQ(memory.chargers[1].watts, 32);
  EXPECT_EQ(memory.chargers.back().watts, 140);
}

TEST(ChargerMemory, RoundTripsThroughJson) {
  ChargerMemory memory;
  memory.remember(on(kMonday, 96, "96W USB-C Power Adapter"), kMonday);
  const Json json = encode(memory);
  EXPECT_EQ(json.dump(),
            R"({"chargers":[{"identity":"96W USB-C Power Adapter/96","watts":96,)"
            R"("firstSeen":"2026-03-02T09:00:00Z","lastSeen":"2026-03-02T09:00:00Z"}]})");
  EXPECT_EQ(decode<ChargerMemory>(json), memory);
  EXPECT_EQ(decode<ChargerMemory>(Json::object()), ChargerMemory{});
  Json broken = json;
  broken["chargers"][0].erase("lastSeen");
  EXPECT_THROW(decode<ChargerMemory>(broken), DecodingError);
}

}  // namespace
}  // namespace batterycore
