#include "app/live/Uevent.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace kestrin::app::live {
namespace {

std::string fixture(const std::string& relative) {
  std::ifstream in(std::string(KESTRIN_TEST_DATA_DIR) + "/sysfs/" + relative, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(Uevent, HeaderExampleHolds) {
  const auto supply = Uevent::parse(
      "POWER_SUPPLY_NAME=BAT0\n"
      "POWER_SUPPLY_STATUS=Not charging\n"
      "POWER_SUPPLY_CAPACITY=80");
  EXPECT_EQ(supply.text("status"), "Not charging");
  EXPECT_EQ(supply.integer("capacity"), 80);
  EXPECT_EQ(supply.integer("power_now"), std::nullopt);
}

TEST(Uevent, NamesAttributesLikeTheirFiles) {
  struct Case {
    const char* key;
    std::optional<std::string> name;
  };
  const Case cases[] = {
      {"POWER_SUPPLY_ENERGY_FULL_DESIGN", "energy_full_design"},
      {"POWER_SUPPLY_CHARGE_CONTROL_END_THRESHOLD", "charge_control_end_threshold"},
      {"DEVTYPE", std::nullopt},
      {"OF_COMPATIBLE_0", std::nullopt},
      {"POWER_SUPPLY_", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(Uevent::attributeName(c.key), c.name) << c.key;
}

TEST(Uevent, ReadsValuesAsTheKernelWritesThem) {
  struct Case {
    const char* text;
    const char* name;
    std::optional<std::string> value;
    std::optional<std::int64_t> number;
  };
  const Case cases[] = {
      {"POWER_SUPPLY_TYPE=Battery\nPOWER_SUPPLY_TYPE=Mains\n", "type", "Mains", std::nullopt},  // last one wins
      {"POWER_SUPPLY_SERIAL_NUMBER= 1321", "serial_number", " 1321", 1321},  // no newline at the end
      {"POWER_SUPPLY_CAPACITY=99\r\n", "capacity", "99", 99},
      {"POWER_SUPPLY_CHARGE_CONTROL_END_THRESHOLD=-962691840\n", "charge_control_end_threshold", "-962691840",
       -962691840},
      {"POWER_SUPPLY_MODEL_NAME=Hanvon Ugee Deco LW\n", "model_name", "Hanvon Ugee Deco LW", std::nullopt},
      {"POWER_SUPPLY_VOLTAGE_NOW=\n", "voltage_now", "", std::nullopt},
      {"POWER_SUPPLY_POWER_NOW=12.5\n", "power_now", "12.5", std::nullopt},
      {"# a comment\n\nPOWER_SUPPLY_ONLINE=1\n", "online", "1", 1},
      {"DEVTYPE=power_supply\n", "devtype", std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    const auto supply = Uevent::parse(c.text);
    EXPECT_EQ(supply.text(c.name), c.value) << c.text;
    EXPECT_EQ(supply.integer(c.name), c.number) << c.text;
  }
}

TEST(Uevent, ReadsACapturedThinkPadBattery) {
  const auto supply = Uevent::parse(fixture("thinkpad-two-batteries/BAT0/uevent"));
  EXPECT_EQ(supply.text("name"), "BAT0");
  EXPECT_EQ(supply.text("type"), "Battery");
  EXPECT_EQ(supply.text("status"), "Not charging");
  EXPECT_EQ(supply.integer("capacity"), 80);
  EXPECT_EQ(supply.integer("energy_full_design"), 31920000);
  EXPECT_EQ(supply.text("serial_number"), " 1321");  // the capture's last line, without a newline
  EXPECT_EQ(supply.attributes().count("devtype"), 0U);
}

TEST(Uevent, ReadsACapturedPeripheral) {
  const auto supply = Uevent::parse(fixture("peripherals-only/hidpp_battery_0/uevent"));
  EXPECT_EQ(supply.text("scope"), "Device");
  EXPECT_EQ(supply.text("capacity_level"), "Full");
  EXPECT_EQ(supply.integer("capacity"), std::nullopt);
}

}  // namespace
}  // namespace kestrin::app::live
