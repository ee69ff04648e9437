// The laptop's battery and the peripherals' read from captured power-supply
// folders (ThinkPad, Legion Go S, Lenovo, Chromebook, mice, keyboards, a
// tablet, a touchscreen), the charge threshold switched on copies of them,
// and a Mac's registry entries for its accessories.
#include "app/live/AppleAccessories.hpp"
#include "app/live/SysfsAccessories.hpp"
#include "app/live/SysfsBattery.hpp"
#include "app/live/SysfsLimit.hpp"

#include "BatteryCore/health/AccessoryRule.hpp"
#include "tests/common/SysfsTree.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace kestrin::app::live {
namespace {

using batterycore::AccessoryBattery;
using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::LimitState;
using batterycore::ThermalLevel;
using Level = AccessoryBattery::Level;
using Status = AccessoryBattery::Status;
using std::nullopt;

const batterycore::Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);  // 2026-01-01T00:00:00Z
const std::string kNoThreshold = "This laptop's battery driver has no charge threshold.";

SysfsBattery batteryIn(const SysfsTree& tree) {
  return SysfsBattery(tree.root(), [] { return kNow; });
}

// Capacities: energy (µWh) over the design minimum voltage (µV), in mAh.
// Current: power over the present voltage where the driver reports no current.
TEST(SysfsBattery, ReadsCapturedLaptopsFromUeventAloneOrWithAttributeFiles) {
  const auto expected = [](std::int64_t percent, bool plugged, bool charging, bool full, std::optional<int> toEmpty,
                           std::optional<int> toFull, LimitState limit, int fullCharge, int design, int remaining,
                           int cycles, int milliV, int milliA, int milliW) {
    return BatterySnapshot(kNow, percent, plugged, charging, full, toEmpty, toFull, std::move(limit), 0, 0, 0,
                           ThermalLevel::nominal, fullCharge, fullCharge, design, remaining, cycles, 0, milliV, milliA,
                           nullopt, nullopt, milliW);
  };
  const LimitState none = LimitState::unavailable(kNoThreshold);
  const std::pair<const char*, BatterySnapshot> cases[] = {
      // Held at its 80 % threshold: 17.94 Wh / 15.2 V, 31.92 Wh / 15.2 V, 14.27 Wh / 15.2 V; BAT0 of two.
      {"thinkpad-two-batteries", expected(80, true, false, false, nullopt, nullopt, LimitState::on(80), 1180, 2100,
                                          939, 236, 16575, 0, 0)},
      // On battery: 22.543 W out at 11.705 V is 1926 mA; 32.35 Wh lasts 86 minutes.
      {"legion-go-s", expected(58, false, false, false, 86, nullopt, none, 4744, 4744, 2765, 53, 11705, -1926, -22543)},
      // Charging at 27.656 W: 25.6 Wh to go takes 56 minutes.
      {"lenovo-charging", expected(51, true, true, false, nullopt, 56, none, 3531, 4054, 1801, 0, 15840, 1746, 27656)},
      // Charge (µAh) reported as well as energy: the charge is used as it stands.
      {"chromebook-sbs", expected(99, true, false, true, nullopt, nullopt, none, 4284, 4865, 4262, 8, 8210, 0, 0)},
  };
  for (const auto& [sample, snapshot] : cases) {
    for (const bool attributeFiles : {true, false}) {
      SysfsTree tree(sample, attributeFiles);
      const auto reading = batteryIn(tree).read();
      ASSERT_TRUE(reading) << sample;
      EXPECT_EQ(*reading, snapshot) << sample << (attributeFiles ? " with" : " without") << " attribute files\n"
                                    << reading->toJson().dump();
    }
  }
}

// The attribute files win over uevent; a capacity that is no percentage gives no reading.
TEST(SysfsBattery, ReadsTheAttributeFilesOverUevent) {
  const std::pair<const char*, std::optional<std::int64_t>> capacities[] = {
      {"57\n", 57}, {"", nullopt}, {"unknown\n", nullopt}, {"160\n", nullopt}, {"-1\n", nullopt}};
  for (const auto& [capacity, percent] : capacities) {
    SysfsTree tree("legion-go-s");
    write(tree.root() / "BAT0" / "capacity", capacity);
    write(tree.root() / "ACAD" / "online", "1\n");
    const auto reading = batteryIn(tree).read();
    EXPECT_EQ(reading ? std::optional(reading->percent) : nullopt, percent) << capacity;
    EXPECT_TRUE(!reading || reading->pluggedIn);
  }
  SysfsTree peripherals("peripherals-only");
  auto none = batteryIn(peripherals);
  EXPECT_EQ(none.read(), nullopt) << "no laptop battery";
  SysfsLimit noLimit(none.batteryFolder());
  EXPECT_EQ(noLimit.state(), LimitState::unavailable(kNoThreshold));
  EXPECT_EQ(noLimit.switchOff(), kNoThreshold);
  EXPECT_EQ(noLimit.switchOn(), kNoThreshold);
  EXPECT_EQ(SysfsBattery("/nonexistent/kestrin/power_supply", [] { return kNow; }).read(), nullopt);
}

// What the battery and the supplies beside it say, as snapshotFrom reads them.
TEST(SysfsBattery, ExternalPowerDecidesPluggedInAndASignedCurrentStaysAsItIs) {
  const auto supply = [](const std::string& lines) { return Uevent::parse("POWER_SUPPLY_" + lines + "\n"); };
  const auto held = supply("STATUS=Not charging\nPOWER_SUPPLY_CAPACITY=80");
  const auto offline = supply("TYPE=Mains\nPOWER_SUPPLY_ONLINE=0");
  const struct {
    const char* what;
    Uevent battery;
    std::vector<Uevent> supplies;
    bool pluggedIn;
    std::optional<Adapter> adapter;
    int milliA;
  } cases[] = {
      {"no supply: the status tells", held, {}, true, nullopt, 0},
      {"mains offline", held, {offline}, false, nullopt, 0},
      {"mains online, rating unknown", held, {supply("TYPE=Mains\nPOWER_SUPPLY_ONLINE=1")}, true, nullopt, 0},
      {"a device-scope supply is no external power", held,
       {supply("TYPE=Mains\nPOWER_SUPPLY_ONLINE=1\nPOWER_SUPPLY_SCOPE=Device")}, true, nullopt, 0},
      {"USB-C port with its rating", held,
       {offline, supply("TYPE=USB\nPOWER_SUPPLY_ONLINE=1\nPOWER_SUPPLY_VOLTAGE_MAX=20000000\n"
                        "POWER_SUPPLY_CURRENT_MAX=3250000")},
       true, Adapter{65, nullopt, false}, 0},
      {"a driver that signs its current itself",
       supply("STATUS=Discharging\nPOWER_SUPPLY_CAPACITY=50\nPOWER_SUPPLY_CURRENT_NOW=-1500000"), {}, false, nullopt,
       -1500},
  };
  for (const auto& c : cases) {
    const auto reading = snapshotFrom(kNow, c.battery, c.supplies, LimitState::on(80), ThermalLevel::nominal);
    ASSERT_TRUE(reading) << c.what;
    EXPECT_EQ(reading->pluggedIn, c.pluggedIn) << c.what;
    EXPECT_EQ(reading->adapter, c.adapter) << c.what;
    EXPECT_EQ(reading->amperageMilliA, c.milliA) << c.what;
  }
}

TEST(SysfsBattery, ThermalLevelFromTheHottestZone) {
  const std::pair<double, ThermalLevel> levels[] = {{69.9, ThermalLevel::nominal}, {70.0, ThermalLevel::fair},
                                                    {89.9, ThermalLevel::serious}, {90.0, ThermalLevel::critical}};
  for (const auto& [celsius, level] : levels) EXPECT_EQ(thermalLevelForCelsius(celsius), level) << celsius;
  SysfsTree tree("legion-go-s");
  const fs::path thermal = tree.root() / "thermal";
  write(thermal / "thermal_zone0" / "temp", "45000\n");
  write(thermal / "thermal_zone1" / "temp", "82000\n");
  write(thermal / "thermal_zone2" / "temp", "hot\n");
  write(thermal / "cooling_device0" / "temp", "99000\n");  // not a zone
  EXPECT_EQ(SysfsBattery(tree.root(), [] { return kNow; }, thermal).read().value().thermal, ThermalLevel::serious);
}

// The limit, on a copy of the ThinkPad that holds at 80 %. Off remembers
// only what this object saw, or what a service kept for it.
TEST(SysfsLimit, SwitchOffThenOnPutsBackWhatWasThere) {
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path end = tree.root() / "BAT0" / "charge_control_end_threshold";
  const fs::path start = tree.root() / "BAT0" / "charge_control_start_threshold";
  struct Case {
    const char* what;
    std::optional<std::string> start;  // absent: a driver with the end threshold only
    const char* describe;
  };
  const Case cases[] = {
      {"end only", nullopt, "end threshold 80%"},
      {"start and end", "75\n", "start and end thresholds 75% and 80%"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    write(end, "80\n");
    fs::remove(start);
    if (c.start) write(start, *c.start);
    SysfsLimit limit(tree.root() / "BAT0");
    EXPECT_EQ(limit.kind(), c.start ? SysfsLimit::Kind::startAndEnd : SysfsLimit::Kind::endOnly);
    EXPECT_EQ(limit.describe().rfind(c.describe, 0), 0u) << limit.describe();
    EXPECT_EQ(limit.switchOff(), nullopt);
    EXPECT_EQ(contents(end), "100");
    // With a start threshold, charging begins now, not below 75 %.
    if (c.start) {
      EXPECT_EQ(contents(start), "99");
    }
    EXPECT_EQ(batteryIn(tree).read()->limit, LimitState::off());
    EXPECT_EQ(limit.state(), LimitState::off(80));
    EXPECT_EQ(limit.switchOff(), nullopt);  // already off: nothing to do
    // A restart in between: the service hands over what it kept.
    SysfsLimit restarted(tree.root() / "BAT0");
    EXPECT_EQ(restarted.switchOn(), "No earlier limit to restore.");
    restarted.keep(limit.kept());
    EXPECT_EQ(restarted.switchOn(), nullopt);
    EXPECT_EQ(contents(end), "80");
    if (c.start) {
      EXPECT_EQ(contents(start), "75");
    }
    EXPECT_EQ(restarted.state(), LimitState::on(80));
  }
}

TEST(SysfsLimit, ThresholdsItCannotUseAreToldAndLeftAlone) {
  SysfsTree legion("legion-go-s");
  SysfsLimit noFile(legion.root() / "BAT0");
  EXPECT_EQ(noFile.kind(), SysfsLimit::Kind::none);
  EXPECT_EQ(noFile.state(), LimitState::unavailable(kNoThreshold));
  EXPECT_EQ(noFile.switchOff(), kNoThreshold);
  EXPECT_FALSE(fs::exists(legion.root() / "BAT0" / "charge_control_end_threshold"));

  SysfsTree thinkpad("thinkpad-two-batteries");
  const fs::path threshold = thinkpad.root() / "BAT0" / "charge_control_end_threshold";
  const std::string unreadable =
      "The battery driver reports a charge threshold Kestrin cannot read (" + threshold.string() + ").";
  write(threshold, "78497792\n");  // a driver bug once reported this
  SysfsLimit nonsense(thinkpad.root() / "BAT0");
  EXPECT_EQ(nonsense.state(), LimitState::unavailable(unreadable));
  EXPECT_EQ(nonsense.switchOff(), unreadable);
  EXPECT_EQ(nonsense.switchOn(), unreadable);
  EXPECT_EQ(contents(threshold), "78497792\n");
}

TEST(SysfsLimit, ReadOnlyThresholdIsRefusedWithItsPath) {
  if (::geteuid() == 0) GTEST_SKIP() << "running as root, which writes read-only files anyway";
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  ASSERT_EQ(::chmod(threshold.c_str(), 0444), 0);
  SysfsLimit limit(tree.root() / "BAT0");
  EXPECT_EQ(limit.switchOff(), "Kestrin needs permission to change the charge threshold (" + threshold.string() + ").");
  EXPECT_EQ(contents(threshold), "80\n");
  EXPECT_EQ(limit.state(), LimitState::on(80));
}

TEST(Uevent, ReadsValuesAsTheKernelWritesThem) {
  const struct {
    const char* text;
    const char* name;
    std::optional<std::string> value;
    std::optional<std::int64_t> number;
  } cases[] = {
      {"POWER_SUPPLY_TYPE=Battery\nPOWER_SUPPLY_TYPE=Mains\n", "type", "Mains", nullopt},  // the last one wins
      {"POWER_SUPPLY_CAPACITY=99\r\n", "capacity", "99", 99},
      {"# a comment\n\nPOWER_SUPPLY_POWER_NOW=12.5", "power_now", "12.5", nullopt},
      {"DEVTYPE=power_supply\n", "devtype", nullopt, nullopt},
      {"POWER_SUPPLY_=1\n", "", nullopt, nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Uevent::parse(c.text).text(c.name), c.value) << c.text;
    EXPECT_EQ(Uevent::parse(c.text).integer(c.name), c.number) << c.text;
  }
}

AccessoryBattery accessory(std::string id, std::string name, std::optional<int> percent, std::optional<Level> level,
                           Status status) {
  return AccessoryBattery{std::move(id), std::move(name), percent, level, status};
}

// The desk without the laptop's battery, its USB-C port and the switched-off
// M705; names sorted. A receiver's devices go by their serial numbers: it
// renumbers its supplies.
const std::vector<AccessoryBattery> kDesk{
    accessory("hid-0003:04F3:2FFA.0002-battery", "ELAN Touchscreen", nullopt, nullopt, Status::unknown),
    accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", nullopt, nullopt, Status::unknown),
    accessory("2010-XX-XX-XX-XX", "K800", nullopt, Level::high, Status::discharging),
    accessory("101a-XX-XX-XX-XX", "Performance MX", nullopt, Level::normal, Status::discharging),
};

TEST(SysfsAccessories, ReadsCapturedPeripheralsAndSkipsOddEntries) {
  const struct {
    const char* sample;
    bool attributeFiles;  // the touchscreen's uevent lines end in a space
    std::vector<AccessoryBattery> expected;
  } cases[] = {
      {"accessories-desk", true, kDesk},
      {"accessories-desk", false, kDesk},
      {"peripherals-only", true,  // percentages, levels, and a supply without a type
       {accessory("hid-70:cd:60:XX:XX:XX-battery", "applemagictrackpad", 100, nullopt, Status::discharging),
        accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", 40, nullopt, Status::discharging),
        accessory("4082-XX-XX-XX-XX", "Wireless Mouse MX Master 3", nullopt, Level::full, Status::discharging)}},
      {"accessories-tablet-160", true,  // 160 % is no percentage
       {accessory("hid-28bd-935-battery", "Hanvon Ugee Deco LW", nullopt, nullopt, Status::discharging)}},
  };
  for (const auto& c : cases) {
    SysfsTree tree(c.sample, c.attributeFiles);
    EXPECT_EQ(readAccessories(tree.root()), c.expected) << c.sample << " " << c.attributeFiles;
  }
  SysfsTree tree("accessories-desk");
  write(tree.root() / "stray-file", "not a supply\n");
  fs::create_directories(tree.root() / "empty-folder");
  fs::create_directories(tree.root() / "uevent-is-a-folder" / "uevent");
  write(tree.root() / "device-scope-charger" / "uevent",
        "POWER_SUPPLY_TYPE=USB\nPOWER_SUPPLY_SCOPE=Device\nPOWER_SUPPLY_ONLINE=1\n");
  write(tree.root() / "hidpp_battery_1" / "capacity", "\xff\xfe garbage\n");
  EXPECT_EQ(readSysfsAccessories(tree.root()), kDesk);
  EXPECT_TRUE(readSysfsAccessories(tree.root() / "no-such-folder").empty());
  EXPECT_TRUE(readSysfsAccessories(tree.root() / "stray-file").empty());
}

// The M705 from the capture, switched on low, off again and back on, alerts once.
TEST(SysfsAccessories, AMouseSwitchedOffAndOnAlertsOnce) {
  const batterycore::testing::UsingLocale english("en_US");
  SysfsTree desk("accessories-desk");
  batterycore::AccessoryRule rule;
  batterycore::Date at = kNow;
  std::vector<std::string> titles;
  for (const std::string online : {"0", "1", "0", "1"}) {
    const fs::path mouse = desk.root() / "hidpp_battery_2";
    write(mouse / "online", online + "\n");
    write(mouse / "capacity_level", online == "1" ? "Low\n" : "Unknown\n");
    write(mouse / "status", online == "1" ? "Discharging\n" : "Unknown\n");
    auto step = batterycore::AccessoryRule::step(rule, readSysfsAccessories(desk.root()), at += std::chrono::minutes{1});
    for (const auto& alert : step.alerts) titles.push_back(alert.title);
    rule = std::move(step.next);
  }
  EXPECT_EQ(titles, std::vector<std::string>{"Marathon Mouse/Performance Plus M705 is running low"});
}

TEST(AppleAccessories, MapsAnEntrysProperties) {
  using batterycore::Json;
  const std::pair<Json, std::optional<AccessoryBattery>> cases[] = {
      {{{"Product", "Magic Mouse"}, {"BatteryPercent", 64}, {"DeviceAddress", "a4-83-e7-xx-xx-xx"}},
       accessory("a4-83-e7-xx-xx-xx", "Magic Mouse", 64, nullopt, Status::unknown)},
      {{{"BatteryPercent", 5}, {"SerialNumber", "F0T1234"}, {"DeviceAddress", ""}},
       accessory("F0T1234", "", 5, nullopt, Status::unknown)},
      {{{"Product", "Magic Keyboard"}, {"BatteryPercent", 100}},
       accessory("7", "Magic Keyboard", 100, nullopt, Status::unknown)},
      {{{"Product", "Magic Mouse"}}, nullopt},
      {{{"BatteryPercent", "64"}}, nullopt},
      {Json::array(), nullopt},
  };
  for (const auto& [properties, expected] : cases) {
    EXPECT_EQ(accessoryFromAppleProperties(properties, "7"), expected) << properties;
  }
  for (const Json& percent : {Json(0), Json(101), Json(-3), Json(18446744073709551615ULL)}) {
    EXPECT_FALSE(accessoryFromAppleProperties(Json{{"BatteryPercent", percent}}, "1").value().isKnown()) << percent;
  }
}

}  // namespace
}  // namespace kestrin::app::live
