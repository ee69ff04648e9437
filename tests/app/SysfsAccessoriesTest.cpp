// Peripheral batteries read from captured power-supply folders: real mice,
// keyboards, a tablet and a touchscreen beside a laptop's own battery and its
// USB-C port.
#include "app/live/AppleAccessories.hpp"
#include "app/live/SysfsAccessories.hpp"

#include "BatteryCore/health/AccessoryRule.hpp"
#include "tests/app/SysfsTree.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace kestrin::app::live {
namespace {

using batterycore::AccessoryBattery;
using batterycore::AccessoryRule;
using batterycore::Json;
using Level = AccessoryBattery::Level;
using Status = AccessoryBattery::Status;

const batterycore::Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);  // 2026-01-01T00:00:00Z

AccessoryBattery accessory(std::string id, std::string name, std::optional<int> percent, std::optional<Level> level,
                           Status status) {
  return AccessoryBattery{std::move(id), std::move(name), percent, level, status};
}

// What the desk's captures hold once the laptop's battery, the USB-C port and
// the switched-off M705 are left out; names sorted.
const std::vector<AccessoryBattery> kDesk{
    accessory("hid-0003:04F3:2FFA.0002-battery", "ELAN Touchscreen", std::nullopt, std::nullopt, Status::unknown),
    accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", std::nullopt, std::nullopt, Status::unknown),
    // A receiver's devices go by their serial numbers: it renumbers its supplies.
    accessory("2010-XX-XX-XX-XX", "K800", std::nullopt, Level::high, Status::discharging),
    accessory("101a-XX-XX-XX-XX", "Performance MX", std::nullopt, Level::normal, Status::discharging),
};

TEST(SysfsAccessories, ReadsPeripheralsAndLeavesOutTheLaptopItsPortAndAnOfflineMouse) {
  SysfsTree tree("accessories-desk");
  EXPECT_EQ(readSysfsAccessories(tree.root()), kDesk);
  EXPECT_EQ(readAccessories(tree.root()), kDesk);
}

// The touchscreen's capture carries a space at the end of every line; the
// uevent file alone must read the same as the attribute files.
TEST(SysfsAccessories, ReadsTheSameFromUeventFilesAlone) {
  SysfsTree tree("accessories-desk", false);
  EXPECT_EQ(readSysfsAccessories(tree.root()), kDesk);
}

TEST(SysfsAccessories, ReadsPercentagesLevelsAndSuppliesWithoutAType) {
  SysfsTree tree("peripherals-only");
  const std::vector<AccessoryBattery> expected{
      accessory("hid-70:cd:60:XX:XX:XX-battery", "applemagictrackpad", 100, std::nullopt, Status::discharging),
      accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", 40, std::nullopt, Status::discharging),
      accessory("4082-XX-XX-XX-XX", "Wireless Mouse MX Master 3", std::nullopt, Level::full, Status::discharging),
  };
  EXPECT_EQ(readSysfsAccessories(tree.root()), expected);
}

TEST(SysfsAccessories, TabletReportingOneHundredSixtyPercentIsUnknown) {
  SysfsTree tree("accessories-tablet-160");
  const std::vector<AccessoryBattery> expected{
      accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", std::nullopt, std::nullopt, Status::discharging)};
  EXPECT_EQ(readSysfsAccessories(tree.root()), expected);
}

TEST(SysfsAccessories, MachineWithoutPeripheralsHasNone) {
  SysfsTree legion("legion-go-s");
  EXPECT_TRUE(readSysfsAccessories(legion.root()).empty());
  SysfsTree thinkpad("thinkpad-two-batteries");
  EXPECT_TRUE(readSysfsAccessories(thinkpad.root()).empty());
}

TEST(SysfsAccessories, OddEntriesAreSkippedAndNothingThrows) {
  SysfsTree tree("accessories-desk");
  write(tree.root() / "stray-file", "not a supply\n");
  fs::create_directories(tree.root() / "empty-folder");
  fs::create_directories(tree.root() / "uevent-is-a-folder" / "uevent");
  write(tree.root() / "device-scope-charger" / "uevent",
        "POWER_SUPPLY_NAME=device-scope-charger\nPOWER_SUPPLY_TYPE=USB\nPOWER_SUPPLY_SCOPE=Device\n"
        "POWER_SUPPLY_ONLINE=1\n");
  write(tree.root() / "hidpp_battery_1" / "capacity", "\xff\xfe garbage\n");
  EXPECT_EQ(readSysfsAccessories(tree.root()), kDesk);
  EXPECT_TRUE(readSysfsAccessories(tree.root() / "no-such-folder").empty());
  EXPECT_TRUE(readSysfsAccessories(tree.root() / "stray-file").empty());
}

// The tablet's three reads while it connects, then the desk as captured,
// read again and again: no alert from any of them.
TEST(SysfsAccessories, CapturedMisreadingsNeverAlert) {
  SysfsTree beforeReport("accessories-desk");
  SysfsTree garbage("accessories-tablet-160");
  SysfsTree settled("peripherals-only");
  AccessoryRule rule;
  batterycore::Date at = kNow;
  for (const auto* tree : {&beforeReport, &garbage, &settled, &beforeReport, &garbage, &beforeReport}) {
    auto step = AccessoryRule::step(rule, readSysfsAccessories(tree->root()), at);
    EXPECT_TRUE(step.alerts.empty()) << tree->root();
    rule = std::move(step.next);
    at += std::chrono::minutes{1};
  }
}

// The M705 from the capture, switched on low, off again and back on: one alert.
TEST(SysfsAccessories, MouseSwitchedOffAndOnAlertsOnce) {
  const batterycore::testing::UsingLocale english("en_US");
  SysfsTree tree("accessories-desk");
  const fs::path mouse = tree.root() / "hidpp_battery_2";
  const auto turn = [&](const char* online, const char* level, const char* status) {
    write(mouse / "online", std::string(online) + "\n");
    write(mouse / "capacity_level", std::string(level) + "\n");
    write(mouse / "status", std::string(status) + "\n");
  };
  std::vector<std::string> titles;
  AccessoryRule rule;
  batterycore::Date at = kNow;
  const auto tick = [&] {
    auto step = AccessoryRule::step(rule, readSysfsAccessories(tree.root()), at);
    for (const auto& alert : step.alerts) titles.push_back(alert.title);
    rule = std::move(step.next);
    at += std::chrono::minutes{1};
  };
  tick();  // as captured: switched off
  turn("1", "Low", "Discharging");
  tick();
  turn("0", "Unknown", "Unknown");
  tick();
  turn("1", "Low", "Discharging");
  tick();
  EXPECT_EQ(titles, std::vector<std::string>{"Marathon Mouse/Performance Plus M705 is running low"});
}

// ---- A Mac's registry entries ----------------------------------------------

TEST(AppleAccessories, MapsAnEntrysProperties) {
  const auto mouse = accessoryFromAppleProperties(
      Json{{"Product", "Magic Mouse"}, {"BatteryPercent", 64}, {"DeviceAddress", "a4-83-e7-xx-xx-xx"}}, "4294970123");
  EXPECT_EQ(mouse, accessory("a4-83-e7-xx-xx-xx", "Magic Mouse", 64, std::nullopt, Status::unknown));

  const auto bySerial = accessoryFromAppleProperties(
      Json{{"BatteryPercent", 5}, {"SerialNumber", "F0T1234"}, {"DeviceAddress", ""}}, "7");
  EXPECT_EQ(bySerial, accessory("F0T1234", "", 5, std::nullopt, Status::unknown));

  const auto byEntry = accessoryFromAppleProperties(Json{{"Product", "Magic Keyboard"}, {"BatteryPercent", 100}}, "7");
  EXPECT_EQ(byEntry, accessory("7", "Magic Keyboard", 100, std::nullopt, Status::unknown));
}

TEST(AppleAccessories, NoPercentageNoAccessoryAndOddValuesAreUnknown) {
  EXPECT_EQ(accessoryFromAppleProperties(Json{{"Product", "Magic Mouse"}}, "1"), std::nullopt);
  EXPECT_EQ(accessoryFromAppleProperties(Json{{"BatteryPercent", "64"}}, "1"), std::nullopt);
  EXPECT_EQ(accessoryFromAppleProperties(Json::array(), "1"), std::nullopt);
  for (const Json& percent : {Json(0), Json(101), Json(-3), Json(18446744073709551615ULL)}) {
    const auto odd = accessoryFromAppleProperties(Json{{"BatteryPercent", percent}}, "1");
    ASSERT_TRUE(odd.has_value()) << percent;
    EXPECT_FALSE(odd->isKnown()) << percent;
  }
}

}  // namespace
}  // namespace kestrin::app::live
