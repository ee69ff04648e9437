#include "BatteryCore/health/AccessoryRule.hpp"
#include "BatteryCore/text/MeaningAccessories.hpp"
#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using std::chrono::days;
using std::chrono::hours;
using Level = AccessoryBattery::Level;
using Status = AccessoryBattery::Status;

const Date kStart = dateFromSecondsSince1970(1772697600.0);  // 2026-03-05T08:00:00Z

AccessoryBattery mouseAt(std::optional<std::int64_t> percent, Status status = Status::discharging) {
  return AccessoryBattery::fromReading("hidpp_battery_2", "M705", percent, std::nullopt, status);
}
AccessoryBattery keyboardAt(Level level) {
  return AccessoryBattery::fromReading("hidpp_battery_0", "K800", std::nullopt, level, Status::discharging);
}

// Readings an hour apart, and the alert each one raises (empty: none).
TEST(AccessoryRule, AlertsOnceAtTenPercentAndAgainOnlyAfterAChargeAboveTwenty) {
  const testing::UsingLocale english("en_US");
  const std::pair<AccessoryBattery, const char*> steps[] = {
      {mouseAt(40), ""}, {mouseAt(20), ""}, {mouseAt(11), ""}, {mouseAt(10), "M705 is down to 10%"}, {mouseAt(5), ""},
      {mouseAt(15), ""}, {mouseAt(20), ""}, {mouseAt(10), ""},  // 20% is not charged enough to re-arm
      {mouseAt(21), ""}, {mouseAt(12), ""}, {mouseAt(9), "M705 is down to 9%"},
      // Readings that cannot be believed (160%, a phantom 0% of unknown status) neither re-arm nor alert.
      {mouseAt(160), ""}, {mouseAt(0, Status::unknown), ""}, {mouseAt(7), ""}, {mouseAt(-1), ""},
      // Charging never alerts, but its charge re-arms.
      {mouseAt(50), ""}, {mouseAt(5, Status::charging), ""}, {mouseAt(8), "M705 is down to 8%"},
      // A device that reports only a level is low at Low or Critical and re-armed from Normal.
      {keyboardAt(Level::high), ""}, {keyboardAt(Level::low), "K800 is running low"}, {keyboardAt(Level::critical), ""},
      {keyboardAt(Level::normal), ""}, {keyboardAt(Level::critical), "K800 is running low"},
  };
  AccessoryRule rule;
  Date at = kStart;
  for (const auto& [device, title] : steps) {
    auto step = AccessoryRule::step(rule, {device}, at);
    SCOPED_TRACE(device.name + " at " + (device.percent ? std::to_string(*device.percent) : "no figure"));
    ASSERT_EQ(step.alerts.size(), *title == '\0' ? 0u : 1u);
    if (!step.alerts.empty()) {
      EXPECT_EQ(step.alerts[0], (BatteryAlert{BatteryAlert::Kind::accessoryLow, at, title,
                                              "Charge it soon so it doesn't run out mid-task.", std::nullopt}));
    }
    rule = step.next;
    at += hours{1};
  }
}

TEST(AccessoryRule, NewDevicesAlertAtOnceInListOrder) {
  const testing::UsingLocale english("en_US");
  const auto unnamed = AccessoryBattery::fromReading("hid-0003:046D:B023.0001-battery", "", 6, std::nullopt,
                                                     Status::discharging);
  const auto step = AccessoryRule::step({}, {keyboardAt(Level::critical), mouseAt(10), unnamed}, kStart);
  ASSERT_EQ(step.alerts.size(), 3u);
  EXPECT_EQ(step.alerts[0].title, "K800 is running low");
  EXPECT_EQ(step.alerts[1].title, "M705 is down to 10%");
  EXPECT_EQ(step.alerts[2].title, "Unnamed device is down to 6%");
}

TEST(AccessoryRule, RemembersAnAbsentDeviceForThirtyDaysAndAtMostSixtyFour) {
  // Receiver pulled: the mouse is not listed, but not forgotten either, so it does not alert again.
  const Date seen = kStart + days{29};
  AccessoryRule rule = AccessoryRule::step({}, {mouseAt(8)}, kStart).next;
  rule = AccessoryRule::step(AccessoryRule::step(rule, {}, seen).next, {mouseAt(8)}, seen).next;
  EXPECT_EQ(rule.accessories, (std::vector<AccessoryRule::Memory>{{"hidpp_battery_2", false, seen}}));
  EXPECT_EQ(AccessoryRule::step(rule, {}, seen + days{30} - Seconds{1}).next, rule);
  const auto gone = AccessoryRule::step(rule, {}, seen + days{30}).next;
  EXPECT_TRUE(gone.accessories.empty());
  EXPECT_EQ(AccessoryRule::step(gone, {mouseAt(8)}, seen + days{31}).alerts.size(), 1u);

  for (int n = 0; n < 65; ++n) {
    const auto device = AccessoryBattery::fromReading("dev" + std::to_string(n), "", 50, std::nullopt, Status::full);
    rule = AccessoryRule::step(rule, {device}, seen + days{31} + hours{n}).next;
  }
  ASSERT_EQ(rule.accessories.size(), AccessoryRule::keepAccessories);
  EXPECT_EQ(rule.accessories.front().id, "dev1") << "the longest unseen goes first";
}

TEST(AccessoryBattery, KeepsOnlyBelievablePercentagesAndListsByName) {
  const std::pair<AccessoryBattery, std::optional<int>> cases[] = {
      {mouseAt(40), 40}, {mouseAt(100, Status::full), 100}, {mouseAt(1, Status::unknown), 1}, {mouseAt(0), 0},
      {mouseAt(0, Status::charging), 0}, {mouseAt(0, Status::unknown), std::nullopt},
      {mouseAt(0, Status::full), std::nullopt}, {mouseAt(101), std::nullopt},
      {mouseAt(-1, Status::charging), std::nullopt}};
  for (const auto& [device, kept] : cases) EXPECT_EQ(device.percent, kept) << kept.value_or(-1);

  const auto named = [](const char* name, const char* id) {
    return AccessoryBattery{id, name, std::nullopt, std::nullopt, Status::unknown};
  };
  EXPECT_TRUE(AccessoryBattery::listedBefore(named("applemagictrackpad", "z"), named("Wireless Mouse", "a")));
  EXPECT_TRUE(AccessoryBattery::listedBefore(named("K800", "a"), named("k800", "a")));
  EXPECT_TRUE(AccessoryBattery::listedBefore(named("K800", "hidpp_battery_0"), named("K800", "hidpp_battery_1")));
  EXPECT_FALSE(AccessoryBattery::listedBefore(named("K800", "b"), named("K800", "b")));
}

TEST(MeaningAccessories, WordsFollowTheAlertBands) {
  const testing::UsingLocale english("en_US");
  const std::pair<AccessoryBattery, const char*> cases[] = {
      {mouseAt(100), "Plenty left"}, {mouseAt(51), "Plenty left"}, {mouseAt(50), "Fine"}, {mouseAt(21), "Fine"},
      {mouseAt(20), "Getting low"}, {mouseAt(11), "Getting low"}, {mouseAt(10), "Low"}, {mouseAt(0), "Low"},
      {mouseAt(8, Status::charging), "Charging"}, {keyboardAt(Level::full), "Plenty left"},
      {keyboardAt(Level::high), "Plenty left"}, {keyboardAt(Level::normal), "Fine"}, {keyboardAt(Level::low), "Low"},
      {keyboardAt(Level::critical), "Low"}, {mouseAt(0, Status::unknown), "Battery level unknown"},
  };
  for (const auto& [device, word] : cases) EXPECT_EQ(Meaning::Accessories::state(device), word) << word;
  EXPECT_EQ(Meaning::Accessories::figure(mouseAt(40)), "40%");
  EXPECT_EQ(Meaning::Accessories::figure(keyboardAt(Level::high)), std::nullopt);
}

}  // namespace
}  // namespace batterycore
