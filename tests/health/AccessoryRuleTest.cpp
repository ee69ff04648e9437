#include "BatteryCore/health/AccessoryRule.hpp"

#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/text/MeaningAccessories.hpp"
#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using std::chrono::days;
using std::chrono::hours;
using testing::UsingLocale;
using Level = AccessoryBattery::Level;
using Status = AccessoryBattery::Status;

const Date kStart = dateFromSecondsSince1970(1772697600.0);  // 2026-03-05T08:00:00Z

AccessoryBattery mouseAt(int percent, Status status = Status::discharging) {
  return AccessoryBattery::fromReading("hidpp_battery_2", "M705", percent, std::nullopt, status);
}

AccessoryBattery keyboardAt(Level level) {
  return AccessoryBattery::fromReading("hidpp_battery_0", "K800", std::nullopt, level, Status::discharging);
}

// Steps the rule an hour apart through the readings, one device list each;
// returns the alert titles in order.
std::vector<std::string> titles(AccessoryRule& rule, const std::vector<std::vector<AccessoryBattery>>& readings,
                                Date& at) {
  std::vector<std::string> raised;
  for (const auto& reading : readings) {
    auto step = AccessoryRule::step(rule, reading, at);
    for (const auto& alert : step.alerts) raised.push_back(alert.title);
    rule = std::move(step.next);
    at += hours{1};
  }
  return raised;
}

std::vector<std::vector<AccessoryBattery>> mouseReadings(std::initializer_list<int> percents) {
  std::vector<std::vector<AccessoryBattery>> readings;
  for (const int percent : percents) readings.push_back({mouseAt(percent)});
  return readings;
}

// ---- The rule -------------------------------------------------------------

TEST(AccessoryRule, HeaderExampleHolds) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  auto step = AccessoryRule::step(rule, {mouseAt(11)}, kStart);
  EXPECT_TRUE(step.alerts.empty());
  step = AccessoryRule::step(step.next, {mouseAt(10)}, kStart + hours{1});
  ASSERT_EQ(step.alerts.size(), 1u);
  const BatteryAlert expected{BatteryAlert::Kind::accessoryLow, kStart + hours{1}, "M705 is down to 10%",
                              "Charge it soon so it doesn't run out mid-task.", std::nullopt};
  EXPECT_EQ(step.alerts[0], expected);
  EXPECT_TRUE(AccessoryRule::step(step.next, {mouseAt(8)}, kStart + hours{2}).alerts.empty());
}

TEST(AccessoryRule, AlertsAtTenPercentNotElevenAndOnlyOnceOnTheWayDown) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  EXPECT_EQ(titles(rule, mouseReadings({40, 20, 11}), at), std::vector<std::string>{});
  EXPECT_EQ(titles(rule, mouseReadings({10, 9, 8, 5, 1}), at), std::vector<std::string>{"M705 is down to 10%"});
}

TEST(AccessoryRule, ChargedToTwentyDoesNotRearmTwentyOneDoes) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  ASSERT_EQ(titles(rule, mouseReadings({9}), at).size(), 1u);
  EXPECT_EQ(titles(rule, mouseReadings({15, 20, 10, 7}), at), std::vector<std::string>{});
  EXPECT_EQ(titles(rule, mouseReadings({21, 12, 9}), at), std::vector<std::string>{"M705 is down to 9%"});
}

TEST(AccessoryRule, LevelOnlyDeviceAlertsAtLowAndRearmsAtNormal) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  const std::vector<std::vector<AccessoryBattery>> down{
      {keyboardAt(Level::high)}, {keyboardAt(Level::low)}, {keyboardAt(Level::critical)}, {keyboardAt(Level::low)}};
  EXPECT_EQ(titles(rule, down, at), std::vector<std::string>{"K800 is running low"});
  const std::vector<std::vector<AccessoryBattery>> charged{{keyboardAt(Level::normal)}, {keyboardAt(Level::critical)}};
  EXPECT_EQ(titles(rule, charged, at), std::vector<std::string>{"K800 is running low"});
}

TEST(AccessoryRule, UnbelievableReadingsNeitherAlertNorRearm) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  const auto tablet = [](std::optional<std::int64_t> percent, Status status) {
    return AccessoryBattery::fromReading("hid-28bd-935-battery", "Hanvon Ugee Deco LW", percent, std::nullopt, status);
  };
  // Before its first report, a moment of 160 %, a phantom 0 % with status Unknown.
  const std::vector<std::vector<AccessoryBattery>> odd{{tablet(std::nullopt, Status::unknown)},
                                                       {tablet(160, Status::discharging)},
                                                       {tablet(0, Status::unknown)},
                                                       {tablet(-1, Status::discharging)}};
  EXPECT_EQ(titles(rule, odd, at), std::vector<std::string>{});

  // After an alert, 160 % is no charge: the next low reading stays quiet.
  ASSERT_EQ(titles(rule, {{tablet(8, Status::discharging)}}, at).size(), 1u);
  EXPECT_EQ(titles(rule, {{tablet(160, Status::discharging)}, {tablet(7, Status::discharging)}}, at),
            std::vector<std::string>{});
}

TEST(AccessoryRule, ChargingDeviceDoesNotAlertButStaysArmed) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  EXPECT_EQ(titles(rule, {{mouseAt(5, Status::charging)}, {mouseAt(8, Status::charging)}}, at),
            std::vector<std::string>{});
  EXPECT_EQ(titles(rule, mouseReadings({9}), at), std::vector<std::string>{"M705 is down to 9%"});
}

TEST(AccessoryRule, DeviceSeenFirstWhenAlreadyLowAlerts) {
  const UsingLocale english("en_US");
  AccessoryRule rule;
  Date at = kStart;
  EXPECT_EQ(titles(rule, mouseReadings({3}), at), std::vector<std::string>{"M705 is down to 3%"});
}

TEST(AccessoryRule, RemembersADeviceWhileItIsAwayAndForgetsItAfterThirtyDays) {
  const UsingLocale english("en_US");
  AccessoryRule rule = AccessoryRule::step({}, {mouseAt(8)}, kStart).next;
  ASSERT_EQ(rule.accessories.size(), 1u);
  EXPECT_FALSE(rule.accessories[0].armed);

  // Receiver pulled: the mouse is not listed, but not forgotten either.
  rule = AccessoryRule::step(rule, {}, kStart + days{29}).next;
  ASSERT_EQ(rule.accessories.size(), 1u);
  auto back = AccessoryRule::step(rule, {mouseAt(8)}, kStart + days{29});
  EXPECT_TRUE(back.alerts.empty());

  // Not listed for 30 days from its last sighting: a new device again.
  const Date seen = kStart + days{29};
  EXPECT_EQ(AccessoryRule::step(back.next, {}, seen + days{30} - Seconds{1}).next.accessories.size(), 1u);
  const auto gone = AccessoryRule::step(back.next, {}, seen + days{30}).next;
  EXPECT_TRUE(gone.accessories.empty());
  EXPECT_EQ(AccessoryRule::step(gone, {mouseAt(8)}, seen + days{31}).alerts.size(), 1u);
}

TEST(AccessoryRule, KeepsAtMostSixtyFourDevicesDroppingTheLongestUnseen) {
  AccessoryRule rule;
  for (int n = 0; n < 65; ++n) {
    auto device = AccessoryBattery::fromReading("dev" + std::to_string(n), "", 50, std::nullopt, Status::discharging);
    rule = AccessoryRule::step(rule, {device}, kStart + hours{n}).next;
  }
  ASSERT_EQ(rule.accessories.size(), AccessoryRule::keepAccessories);
  EXPECT_EQ(rule.accessories.front().id, "dev1");
}

TEST(AccessoryRule, DevicesAreJudgedApartAndAlertInListOrder) {
  const UsingLocale english("en_US");
  const auto unnamed = AccessoryBattery::fromReading("hid-0003:046D:B023.0001-battery", "", 6, std::nullopt,
                                                     Status::discharging);
  const auto step = AccessoryRule::step({}, {keyboardAt(Level::critical), mouseAt(10), unnamed}, kStart);
  ASSERT_EQ(step.alerts.size(), 3u);
  EXPECT_EQ(step.alerts[0].title, "K800 is running low");
  EXPECT_EQ(step.alerts[1].title, "M705 is down to 10%");
  EXPECT_EQ(step.alerts[2].title, "Unnamed device is down to 6%");
  EXPECT_EQ(step.next.accessories.size(), 3u);
}

TEST(AccessoryRule, AlertReadsWellInGerman) {
  const UsingLocale german("de_DE");
  const auto mouse = AccessoryRule::step({}, {mouseAt(8)}, kStart).alerts;
  ASSERT_EQ(mouse.size(), 1u);
  EXPECT_EQ(mouse[0].title, "M705 hat nur noch 8\u00A0%");
  EXPECT_EQ(mouse[0].body, "Lade das Gerät bald auf, damit es dir nicht mitten in der Arbeit ausgeht.");
  const auto keyboard = AccessoryRule::step({}, {keyboardAt(Level::low)}, kStart).alerts;
  ASSERT_EQ(keyboard.size(), 1u);
  EXPECT_EQ(keyboard[0].title, "K800 ist fast leer");
}

TEST(AccessoryRule, StateRoundTripsThroughJson) {
  AccessoryRule rule = AccessoryRule::step({}, {mouseAt(8), keyboardAt(Level::high)}, kStart).next;
  const Json json = rule.toJson();
  EXPECT_EQ(json.dump(),
            R"({"accessories":[{"id":"hidpp_battery_2","armed":false,"seenAt":"2026-03-05T08:00:00Z"},)"
            R"({"id":"hidpp_battery_0","armed":true,"seenAt":"2026-03-05T08:00:00Z"}]})");
  EXPECT_EQ(AccessoryRule::fromJson(json), rule);
  EXPECT_EQ(AccessoryRule::fromJson(Json::object()), AccessoryRule{});
  const auto armedByDefault =
      AccessoryRule::fromJson(Json::parse(R"({"accessories":[{"id":"a","seenAt":"2026-03-05T08:00:00Z"}]})"));
  ASSERT_EQ(armedByDefault.accessories.size(), 1u);
  EXPECT_TRUE(armedByDefault.accessories[0].armed);
}

TEST(AccessoryRule, MalformedStateFailsToDecode) {
  for (const char* text : {R"([])", R"({"accessories":{}})", R"({"accessories":[{"seenAt":"2026-03-05T08:00:00Z"}]})",
                           R"({"accessories":[{"id":"a"}]})",
                           R"({"accessories":[{"id":"a","armed":1,"seenAt":"2026-03-05T08:00:00Z"}]})",
                           R"({"accessories":[{"id":"a","seenAt":"yesterday"}]})"}) {
    EXPECT_THROW(AccessoryRule::fromJson(Json::parse(text)), DecodingError) << text;
  }
}

// ---- What is believable --------------------------------------------------

TEST(AccessoryBattery, KeepsOnlyBelievablePercentages) {
  const auto percentOf = [](std::optional<std::int64_t> percent, Status status) {
    return AccessoryBattery::fromReading("id", "name", percent, std::nullopt, status).percent;
  };
  EXPECT_EQ(percentOf(40, Status::discharging), 40);
  EXPECT_EQ(percentOf(100, Status::full), 100);
  EXPECT_EQ(percentOf(1, Status::unknown), 1);
  EXPECT_EQ(percentOf(0, Status::discharging), 0);
  EXPECT_EQ(percentOf(0, Status::charging), 0);
  EXPECT_EQ(percentOf(0, Status::unknown), std::nullopt);
  EXPECT_EQ(percentOf(0, Status::full), std::nullopt);
  EXPECT_EQ(percentOf(101, Status::discharging), std::nullopt);
  EXPECT_EQ(percentOf(160, Status::discharging), std::nullopt);
  EXPECT_EQ(percentOf(-1, Status::discharging), std::nullopt);

  const auto levelOnly = AccessoryBattery::fromReading("id", "", std::nullopt, Level::full, Status::discharging);
  EXPECT_TRUE(levelOnly.isKnown());
  EXPECT_FALSE(AccessoryBattery::fromReading("id", "", 160, std::nullopt, Status::discharging).isKnown());
}

TEST(AccessoryBattery, RoundTripsThroughJson) {
  const auto full = AccessoryBattery::fromReading("hid-70:cd:60:XX:XX:XX-battery", "applemagictrackpad", 100,
                                                  Level::full, Status::charging);
  EXPECT_EQ(full.toJson().dump(),
            R"({"id":"hid-70:cd:60:XX:XX:XX-battery","name":"applemagictrackpad","percent":100,)"
            R"("level":"full","status":"charging"})");
  EXPECT_EQ(AccessoryBattery::fromJson(full.toJson()), full);
  const auto bare = AccessoryBattery::fromJson(Json::parse(R"({"id":"x"})"));
  EXPECT_EQ(bare, (AccessoryBattery{"x", "", std::nullopt, std::nullopt, Status::unknown}));
  EXPECT_EQ(bare.toJson().dump(), R"({"id":"x","name":"","status":"unknown"})");
}

TEST(AccessoryBattery, MalformedValueFailsToDecode) {
  for (const char* text : {R"({})", R"({"id":"x","percent":101})", R"({"id":"x","percent":-1})",
                           R"({"id":"x","percent":"40"})", R"({"id":"x","level":"Unknown"})",
                           R"({"id":"x","status":"Discharging"})"}) {
    EXPECT_THROW(AccessoryBattery::fromJson(Json::parse(text)), DecodingError) << text;
  }
}

TEST(AccessoryBattery, ListsByNameIgnoringCaseThenById) {
  const auto named = [](const char* name, const char* id) {
    return AccessoryBattery{id, name, std::nullopt, std::nullopt, Status::unknown};
  };
  EXPECT_TRUE(AccessoryBattery::listedBefore(named("applemagictrackpad", "z"), named("Wireless Mouse", "a")));
  EXPECT_TRUE(AccessoryBattery::listedBefore(named("K800", "hidpp_battery_0"), named("K800", "hidpp_battery_1")));
  EXPECT_FALSE(AccessoryBattery::listedBefore(named("K800", "b"), named("K800", "b")));
}

// ---- The list's words ------------------------------------------------------

TEST(MeaningAccessories, WordsFollowTheAlertBands) {
  const UsingLocale english("en_US");
  const auto word = [](int percent) { return Meaning::Accessories::state(mouseAt(percent)); };
  EXPECT_EQ(word(100), "Plenty left");
  EXPECT_EQ(word(51), "Plenty left");
  EXPECT_EQ(word(50), "Fine");
  EXPECT_EQ(word(21), "Fine");
  EXPECT_EQ(word(20), "Getting low");
  EXPECT_EQ(word(11), "Getting low");
  EXPECT_EQ(word(10), "Low");
  EXPECT_EQ(word(0), "Low");
  EXPECT_EQ(Meaning::Accessories::state(mouseAt(8, Status::charging)), "Charging");

  const auto levelWord = [](Level level) { return Meaning::Accessories::state(keyboardAt(level)); };
  EXPECT_EQ(levelWord(Level::full), "Plenty left");
  EXPECT_EQ(levelWord(Level::high), "Plenty left");
  EXPECT_EQ(levelWord(Level::normal), "Fine");
  EXPECT_EQ(levelWord(Level::low), "Low");
  EXPECT_EQ(levelWord(Level::critical), "Low");
}

TEST(MeaningAccessories, UnknownChargeIsSaidSoWithoutAFigure) {
  const UsingLocale english("en_US");
  const auto phantom = AccessoryBattery::fromReading("hid-0003:04F3:2FFA.0002-battery", "ELAN Touchscreen", 0,
                                                     std::nullopt, Status::unknown);
  EXPECT_EQ(Meaning::Accessories::figure(phantom), std::nullopt);
  EXPECT_EQ(Meaning::Accessories::state(phantom), "Battery level unknown");
  EXPECT_EQ(Meaning::Accessories::figure(mouseAt(40)), "40%");
  EXPECT_EQ(Meaning::Accessories::figure(keyboardAt(Level::high)), std::nullopt);
  EXPECT_EQ(Meaning::Accessories::name(AccessoryBattery{"x", "", std::nullopt, std::nullopt, Status::unknown}),
            "Unnamed device");

  const UsingLocale german("de_DE");
  EXPECT_EQ(Meaning::Accessories::state(phantom), "Ladestand unbekannt");
  EXPECT_EQ(Meaning::Accessories::figure(mouseAt(40)), "40\u00A0%");
}

}  // namespace
}  // namespace batterycore
