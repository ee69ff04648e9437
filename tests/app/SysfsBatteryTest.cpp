#include "app/live/SysfsBattery.hpp"
#include "tests/app/SysfsTree.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kestrin::app::live {
namespace {

namespace fs = std::filesystem;
using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::Date;
using batterycore::LimitState;
using batterycore::ThermalLevel;

const Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);  // 2026-01-01T00:00:00Z
const std::string kNoThreshold = "This laptop's battery driver has no charge threshold.";

SysfsBattery batteryIn(const SysfsTree& tree) {
  return SysfsBattery(tree.root(), [] { return kNow; });
}

struct Expected {
  const char* sample;
  std::int64_t percent;
  bool pluggedIn;
  bool charging;
  bool fullyCharged;
  std::optional<int> minutesToEmpty;
  std::optional<int> minutesToFull;
  LimitState limit;
  int fullChargeCapacity;
  int designCapacity;
  int remainingCapacity;
  int cycleCount;
  int voltageMilliV;
  int amperageMilliA;
  std::optional<int> batteryPowerMilliW;
};

// Capacities: energy (µWh) over the design minimum voltage (µV), in mAh.
// Current: power over the present voltage where the driver reports no current.
const Expected kCaptured[] = {
    // ThinkPad held at its 80 % threshold: 17.94 Wh / 15.2 V, 31.92 Wh / 15.2 V, 14.27 Wh / 15.2 V.
    {"thinkpad-two-batteries", 80, true, false, false, std::nullopt, std::nullopt, LimitState::on(80), 1180,
     2100, 939, 236, 16575, 0, 0},
    // Legion Go S on battery: 22.543 W out at 11.705 V is 1926 mA; 32.35 Wh lasts 86 minutes.
    {"legion-go-s", 58, false, false, false, 86, std::nullopt, LimitState::unavailable(kNoThreshold), 4744, 4744,
     2765, 53, 11705, -1926, -22543},
    // Lenovo charging at 27.656 W: 25.6 Wh to go takes 56 minutes.
    {"lenovo-charging", 51, true, true, false, std::nullopt, 56, LimitState::unavailable(kNoThreshold), 3531, 4054,
     1801, 0, 15840, 1746, 27656},
    // Chromebook reporting charge (µAh) as well as energy: the charge is used as it stands.
    {"chromebook-sbs", 99, true, false, true, std::nullopt, std::nullopt, LimitState::unavailable(kNoThreshold),
     4284, 4865, 4262, 8, 8210, 0, 0},
};

void expectReading(const Expected& e, const std::optional<BatterySnapshot>& reading) {
  ASSERT_TRUE(reading.has_value()) << e.sample;
  EXPECT_EQ(reading->at, kNow) << e.sample;
  EXPECT_EQ(reading->percent, e.percent) << e.sample;
  EXPECT_EQ(reading->pluggedIn, e.pluggedIn) << e.sample;
  EXPECT_EQ(reading->charging, e.charging) << e.sample;
  EXPECT_EQ(reading->fullyCharged, e.fullyCharged) << e.sample;
  EXPECT_EQ(reading->minutesToEmpty, e.minutesToEmpty) << e.sample;
  EXPECT_EQ(reading->minutesToFull, e.minutesToFull) << e.sample;
  EXPECT_EQ(reading->limit, e.limit) << e.sample;
  EXPECT_EQ(reading->fullChargeCapacity, e.fullChargeCapacity) << e.sample;
  EXPECT_EQ(reading->nominalChargeCapacity, e.fullChargeCapacity) << e.sample;
  EXPECT_EQ(reading->designCapacity, e.designCapacity) << e.sample;
  EXPECT_EQ(reading->remainingCapacity, e.remainingCapacity) << e.sample;
  EXPECT_EQ(reading->cycleCount, e.cycleCount) << e.sample;
  EXPECT_EQ(reading->designCycleCount, 0) << e.sample;
  EXPECT_EQ(reading->voltageMilliV, e.voltageMilliV) << e.sample;
  EXPECT_EQ(reading->amperageMilliA, e.amperageMilliA) << e.sample;
  EXPECT_EQ(reading->batteryPowerMilliW, e.batteryPowerMilliW) << e.sample;
  EXPECT_EQ(reading->systemPowerInMilliW, std::nullopt) << e.sample;
  EXPECT_EQ(reading->systemLoadMilliW, std::nullopt) << e.sample;
  EXPECT_EQ(reading->adapter, std::nullopt) << e.sample;
  EXPECT_EQ(reading->thermal, ThermalLevel::nominal) << e.sample;
}

TEST(SysfsBattery, ReadsCapturedLaptops) {
  for (const auto& e : kCaptured) {
    SysfsTree tree(e.sample);
    expectReading(e, batteryIn(tree).read());
  }
}

TEST(SysfsBattery, UeventAloneGivesTheSameReading) {
  for (const auto& e : kCaptured) {
    SysfsTree tree(e.sample, false);
    expectReading(e, batteryIn(tree).read());
  }
}

TEST(SysfsBattery, AttributeFilesWinOverUevent) {
  SysfsTree tree("legion-go-s");
  write(tree.root() / "BAT0" / "capacity", "57\n");
  write(tree.root() / "ACAD" / "online", "1\n");
  const auto reading = batteryIn(tree).read();
  ASSERT_TRUE(reading);
  EXPECT_EQ(reading->percent, 57);
  EXPECT_TRUE(reading->pluggedIn);
}

TEST(SysfsBattery, TakesTheFirstOfTwoBatteries) {
  SysfsTree tree("thinkpad-two-batteries");
  EXPECT_EQ(batteryIn(tree).batteryFolder(), tree.root() / "BAT0");
}

TEST(SysfsBattery, PeripheralsAreNoLaptopBattery) {
  SysfsTree tree("peripherals-only");
  auto battery = batteryIn(tree);
  EXPECT_EQ(battery.batteryFolder(), std::nullopt);
  EXPECT_EQ(battery.read(), std::nullopt);
  EXPECT_EQ(battery.limit(), LimitState::unavailable(kNoThreshold));
  EXPECT_EQ(battery.switchOff(), kNoThreshold);
}

TEST(SysfsBattery, NoReadingWithoutAUsableCapacity) {
  const char* capacities[] = {"", "unknown\n", "160\n", "-1\n"};
  for (const char* capacity : capacities) {
    SysfsTree tree("legion-go-s");
    write(tree.root() / "BAT0" / "capacity", capacity);
    EXPECT_EQ(batteryIn(tree).read(), std::nullopt) << capacity;
  }
}

TEST(SysfsBattery, NoReadingFromAMissingFolder) {
  SysfsBattery battery("/nonexistent/kestrin/power_supply", [] { return kNow; });
  EXPECT_EQ(battery.read(), std::nullopt);
}

TEST(SysfsBattery, AlreadySignedCurrentStaysNegative) {
  // A driver that reports current with its sign already (some do) is not flipped twice.
  auto battery = Uevent::parse(
      "POWER_SUPPLY_TYPE=Battery\nPOWER_SUPPLY_STATUS=Discharging\nPOWER_SUPPLY_CAPACITY=50\n"
      "POWER_SUPPLY_VOLTAGE_NOW=12000000\nPOWER_SUPPLY_CURRENT_NOW=-1500000\n"
      "POWER_SUPPLY_CHARGE_NOW=2000000\nPOWER_SUPPLY_CHARGE_FULL=4000000\n");
  const auto reading = snapshotFrom(kNow, battery, {}, LimitState::off(), ThermalLevel::nominal);
  ASSERT_TRUE(reading);
  EXPECT_EQ(reading->amperageMilliA, -1500);
  EXPECT_EQ(reading->batteryPowerMilliW, -18000);
  EXPECT_EQ(reading->minutesToEmpty, 80);  // 2000 mAh at 1500 mA
  EXPECT_FALSE(reading->pluggedIn);
}

TEST(SysfsBattery, ExternalPowerDecidesPluggedIn) {
  const auto battery = Uevent::parse(
      "POWER_SUPPLY_TYPE=Battery\nPOWER_SUPPLY_STATUS=Not charging\nPOWER_SUPPLY_CAPACITY=80\n");
  const auto mains = [](const char* online) {
    return Uevent::parse(std::string("POWER_SUPPLY_TYPE=Mains\nPOWER_SUPPLY_ONLINE=") + online + "\n");
  };
  const auto mouse = Uevent::parse("POWER_SUPPLY_TYPE=Mains\nPOWER_SUPPLY_ONLINE=1\nPOWER_SUPPLY_SCOPE=Device\n");
  const auto usbPd = Uevent::parse(
      "POWER_SUPPLY_TYPE=USB\nPOWER_SUPPLY_ONLINE=1\n"
      "POWER_SUPPLY_VOLTAGE_MAX=20000000\nPOWER_SUPPLY_CURRENT_MAX=3250000\n");
  struct Case {
    const char* what;
    std::vector<Uevent> supplies;
    bool pluggedIn;
    std::optional<Adapter> adapter;
  };
  const Case cases[] = {
      {"no supply: the status tells", {}, true, std::nullopt},
      {"mains offline", {mains("0")}, false, std::nullopt},
      {"mains online, rating unknown", {mains("1")}, true, std::nullopt},
      {"a device-scope supply is not external power", {mouse}, true, std::nullopt},
      {"USB-C port with its rating", {mains("0"), usbPd}, true, Adapter{65, std::nullopt, false}},
  };
  for (const auto& c : cases) {
    const auto reading = snapshotFrom(kNow, battery, c.supplies, LimitState::on(80), ThermalLevel::nominal);
    ASSERT_TRUE(reading) << c.what;
    EXPECT_EQ(reading->pluggedIn, c.pluggedIn) << c.what;
    EXPECT_EQ(reading->adapter, c.adapter) << c.what;
  }
}

TEST(SysfsBattery, ThermalLevelFromTheHottestZone) {
  struct Case {
    double celsius;
    ThermalLevel level;
  };
  const Case cases[] = {{45.0, ThermalLevel::nominal}, {69.9, ThermalLevel::nominal}, {70.0, ThermalLevel::fair},
                        {80.0, ThermalLevel::serious}, {89.9, ThermalLevel::serious}, {90.0, ThermalLevel::critical}};
  for (const auto& c : cases) EXPECT_EQ(thermalLevelForCelsius(c.celsius), c.level) << c.celsius;

  SysfsTree tree("legion-go-s");
  const fs::path thermal = tree.root() / "thermal";
  write(thermal / "thermal_zone0" / "temp", "45000\n");
  write(thermal / "thermal_zone1" / "temp", "82000\n");
  write(thermal / "cooling_device0" / "temp", "99000\n");  // not a zone
  SysfsBattery hot(tree.root(), [] { return kNow; }, thermal);
  ASSERT_TRUE(hot.read());
  EXPECT_EQ(hot.read()->thermal, ThermalLevel::serious);
}

// The limit, on a copy of the ThinkPad that holds at 80 %.

TEST(SysfsBatteryLimit, SwitchOffThenOnRestoresTheThreshold) {
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  auto battery = batteryIn(tree);
  EXPECT_EQ(battery.switchOff(), std::nullopt);
  EXPECT_EQ(contents(threshold), "100");
  EXPECT_EQ(battery.read()->limit, LimitState::off(80));
  EXPECT_EQ(battery.switchOff(), std::nullopt);  // already off: nothing to do
  EXPECT_EQ(battery.switchOn(), std::nullopt);
  EXPECT_EQ(contents(threshold), "80");
  EXPECT_EQ(battery.read()->limit, LimitState::on(80));
}

TEST(SysfsBatteryLimit, OffRemembersOnlyWhatThisObjectSaw) {
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  write(threshold, "100\n");
  auto battery = batteryIn(tree);
  EXPECT_EQ(battery.read()->limit, LimitState::off());
  EXPECT_EQ(battery.switchOn(), "No earlier limit to restore.");
  EXPECT_EQ(contents(threshold), "100\n");

  write(threshold, "60\n");  // set outside the app
  EXPECT_EQ(battery.read()->limit, LimitState::on(60));
  write(threshold, "100\n");
  EXPECT_EQ(battery.read()->limit, LimitState::off(60));
  EXPECT_EQ(battery.switchOn(), std::nullopt);
  EXPECT_EQ(contents(threshold), "60");
}

TEST(SysfsBatteryLimit, NoThresholdFileMeansUnavailable) {
  SysfsTree tree("legion-go-s");
  auto battery = batteryIn(tree);
  EXPECT_EQ(battery.limit(), LimitState::unavailable(kNoThreshold));
  EXPECT_EQ(battery.switchOff(), kNoThreshold);
  EXPECT_EQ(battery.switchOn(), kNoThreshold);
  EXPECT_FALSE(fs::exists(tree.root() / "BAT0" / "charge_control_end_threshold"));
}

TEST(SysfsBatteryLimit, NonsenseThresholdIsUnavailableAndLeftAlone) {
  // A driver bug once reported 78497792 here.
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  write(threshold, "78497792\n");
  auto battery = batteryIn(tree);
  EXPECT_FALSE(battery.limit().isAvailable());
  EXPECT_TRUE(battery.switchOff().has_value());
  EXPECT_EQ(contents(threshold), "78497792\n");
}

TEST(SysfsBatteryLimit, ReadOnlyThresholdIsRefusedWithItsPath) {
  if (::geteuid() == 0) GTEST_SKIP() << "running as root, which writes read-only files anyway";
  SysfsTree tree("thinkpad-two-batteries");
  const fs::path threshold = tree.root() / "BAT0" / "charge_control_end_threshold";
  ASSERT_EQ(::chmod(threshold.c_str(), 0444), 0);
  auto battery = batteryIn(tree);
  EXPECT_EQ(battery.switchOff(),
            "Kestrin needs permission to change the charge threshold (" + threshold.string() + ").");
  EXPECT_EQ(contents(threshold), "80\n");
  EXPECT_EQ(battery.limit(), LimitState::on(80));
}

}  // namespace
}  // namespace kestrin::app::live
