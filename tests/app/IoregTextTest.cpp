#include "app/live/IoregText.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace kestrin::app::live {
namespace {

using batterycore::DecodingError;
using batterycore::Json;

std::string ioregFixture(const std::string& name) {
  std::ifstream in(std::string(KESTRIN_TEST_DATA_DIR) + "/ioreg/" + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The reason of the DecodingError that parsing `text` throws.
std::string failureOf(const std::string& text, std::string* path = nullptr) {
  try {
    parseIoregText(text);
  } catch (const DecodingError& error) {
    if (path) *path = error.path();
    return error.reason();
  }
  return "(no error)";
}

TEST(IoregText, HeaderExampleHolds) {
  const auto tree = parseIoregText(
      "+-o AppleSmartBattery  <class AppleSmartBattery, id 0x1000009b3, registered>\n"
      "    {\n"
      "      \"CurrentCapacity\" = 80\n"
      "      \"Amperage\" = 18446744073709551133\n"
      "      \"ChargerData\" = {\"NotChargingReason\"=16777216,\"Flags\"=(1,2)}\n"
      "      \"ExternalConnected\" = Yes\n"
      "    }\n");
  EXPECT_EQ(tree["CurrentCapacity"], 80);
  EXPECT_EQ(tree["Amperage"], 18446744073709551133u);
  EXPECT_EQ(tree["ChargerData"]["Flags"][1], 2);
  EXPECT_EQ(tree["ExternalConnected"], true);
}

TEST(IoregText, ReadsEveryValueForm) {
  struct Case {
    const char* value;
    Json expected;
  };
  const Case cases[] = {
      {"12785", 12785},
      {"0x7b", 123},
      {"18446744073709551615", 18446744073709551615u},
      {"Yes", true},
      {"No", false},
      {"\"bq40z651\"", "bq40z651"},
      {"\"\"", ""},
      {"<00A1ff>", "<00a1ff>"},
      {"<aaa>", "<aaa>"},  // one capture was masked by hand to an odd digit count
      {"\"Akku \xc3\xa4\"", "Akku \xc3\xa4"},
      {"()", Json::array()},
      {"{}", Json::object()},
      {"(4261,4262,4262)", Json::array({4261, 4262, 4262})},
      {"{\"A\"=1,\"B\"=\"x\"}", Json{{"A", 1}, {"B", "x"}}},
      {"({\"Index\"=0,\"MaxVoltage\"=5000},{\"Index\"=1})",
       Json::array({Json{{"Index", 0}, {"MaxVoltage", 5000}}, Json{{"Index", 1}}})},
      {"((7167869599145487988,6460407809,\"BatteryCycleCount\"))",
       Json::array({Json::array({7167869599145487988u, 6460407809u, "BatteryCycleCount"})})},
      {"{\"AdapterPower\"=,\"IdealCRate\"=,\"Ra00\"=150}",  // floats print as nothing
       Json{{"AdapterPower", nullptr}, {"IdealCRate", nullptr}, {"Ra00", 150}}},
      {"", nullptr},
  };
  for (const auto& c : cases) {
    const auto tree = parseIoregText(std::string("      \"Key\" = ") + c.value + "\n");
    EXPECT_EQ(tree["Key"], c.expected) << c.value;
  }
}

TEST(IoregText, RefusesBadValuesSayingWhere) {
  struct Case {
    const char* line;
    const char* reason;
  };
  const Case cases[] = {
      {"\"A\" = 12ab", "line 1, column 9: unexpected 'a' in a number"},
      {"\"A\" = -483", "line 1, column 7: unexpected '-'"},
      {"\"A\" = 18446744073709551616", "line 1, column 7: the number does not fit in 64 bits"},
      {"\"A\" = 0x", "line 1, column 9: expected hex digits after 0x"},
      {"\"A\" = Maybe", "line 1, column 7: unexpected word 'Maybe' (only Yes and No are words)"},
      {"\"A\" = \"open", "line 1, column 7: the string is not closed"},
      {"\"A\" = {\"B\"=1", "line 1, column 7: the dictionary is not closed"},
      {"\"A\" = {B=1}", "line 1, column 8: expected a quoted key in the dictionary"},
      {"\"A\" = {\"B\":1}", "line 1, column 11: expected '=' after the key \"B\""},
      {"\"A\" = (\"a\";2)", "line 1, column 11: expected ',' or ')' in the array, found ';'"},
      {"\"A\" = <0g>", "line 1, column 9: expected a hex digit or '>' in data, found 'g'"},
      {"\"A\" = <00a1", "line 1, column 7: the data is not closed"},
      {"\"A\" = 1 2", "line 1, column 9: unexpected '2' after the value"},
      {"\"A\" = \"a\tb\"", "line 1, column 9: control character in a string"},
      {"\"A\" = \"\xff\xfe\"", "line 1, column 7: the string is not UTF-8"},
      {"\"A\" 1", "line 1, column 5: expected '=' after the key"},
      {"\"AppleRawBatteryVoltage", "line 1, column 1: the string is not closed"},
      {"A = 1", "line 1, column 1: expected a \"Key\" = value line"},
  };
  for (const auto& c : cases) EXPECT_EQ(failureOf(c.line), c.reason) << c.line;
  std::string path;
  EXPECT_EQ(failureOf("  \"Ok\" = 1\n  \"BatteryData\" = {\"Ra00\"=x}\n", &path),
            "line 2, column 27: unexpected word 'x' (only Yes and No are words)");
  EXPECT_EQ(path, "BatteryData");
}

TEST(IoregText, BoundsNesting) {
  const auto nested = [](std::size_t levels) {
    return "\"Deep\" = " + std::string(levels, '(') + std::string(levels, ')');
  };
  EXPECT_NO_THROW(parseIoregText(nested(static_cast<std::size_t>(kIoregMaxDepth))));
  EXPECT_EQ(failureOf(nested(static_cast<std::size_t>(kIoregMaxDepth) + 1)), "line 1, column 74: values nest deeper than 64 levels");
  EXPECT_THROW(parseIoregText(nested(100000)), DecodingError);
}

TEST(IoregText, ReadsOnlyTheBatteryEntryOfATree) {
  const auto tree = parseIoregText(
      "+-o Root  <class IORegistryEntry, id 0x100000100, retain 30>\n"
      "  {\n"
      "    \"IOKitBuildVersion\" = \"Darwin\"\n"
      "  }\n"
      "  +-o AppleSmartBattery@0  <class AppleSmartBattery, id 0x1000009b3, registered>\r\n"
      "  | {\r\n"
      "  |   \"CurrentCapacity\" = 80\r\n"
      "  | }\r\n"
      "  | \r\n"
      "  +-o AppleSmartBatteryChild  <class IOService, id 0x1000009b4>\n"
      "      \"Other\" = 1\n");
  EXPECT_EQ(tree, (Json{{"CurrentCapacity", 80}}));
  EXPECT_EQ(failureOf("+-o AppleSmartBatteryManager  <class AppleSmartBatteryManager, id 0x1>\n  {\n"),
            "line 1, column 1: the registry entries printed include no AppleSmartBattery");
  EXPECT_EQ(parseIoregText("+-o AppleSmartBattery  <class AppleSmartBattery>\n{\n}\n"), Json::object());
}

TEST(IoregText, RefusesLinesThatAreNotProperties) {
  EXPECT_EQ(failureOf("  \"A\" = 1\nNothing plugged in\n"), "line 2, column 1: expected a \"Key\" = value line");
  EXPECT_EQ(failureOf("+-o AppleSmartBattery  <class AppleSmartBattery>\n  {\n  {\n"),
            "line 3, column 3: unexpected '{'");
  EXPECT_EQ(failureOf("\n  | \n"), "no AppleSmartBattery properties in the text");
}

TEST(IoregText, ReadsGrepFilteredLines) {
  // The transcript lost the first line's indentation and every brace.
  const auto tree = parseIoregText(ioregFixture("ioreg-m1pro-MacBookPro18_1-1.txt"));
  EXPECT_EQ(tree.size(), 15u);
  EXPECT_EQ(tree["AppleRawAdapterDetails"][0]["FamilyCode"], 18446744073172697098u);
  EXPECT_EQ(tree["BatteryData"]["CycleCount"], 292);
  EXPECT_EQ(tree["BatteryData"]["AdapterPower"], nullptr);
  EXPECT_EQ(tree["PowerTelemetryData"]["SystemPowerIn"], 14960);
}

}  // namespace
}  // namespace kestrin::app::live
