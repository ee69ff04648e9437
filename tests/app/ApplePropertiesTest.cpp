// A Mac's battery properties as ioreg prints them (text, XML property list,
// JSON), read from captured dumps and from made-up trees.
#include "app/live/AppleBatteryProperties.hpp"
#include "app/live/ApplePlist.hpp"
#include "app/live/IoregText.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace kestrin::app::live {
namespace {

using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::Json;
using std::nullopt;

const batterycore::Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);  // 2026-01-01T00:00:00Z
const batterycore::LimitState kLimit = batterycore::LimitState::on(80);
constexpr auto kNominal = batterycore::ThermalLevel::nominal;
const std::string kNoPercent = "no CurrentCapacity: the charge percentage is unknown";
const std::string kNoUnit = "no MaxCapacity or AppleRawCurrentCapacity: CurrentCapacity could be a percentage or mAh";
const std::string kNoPlug = "no ExternalConnected: whether the Mac is plugged in is unknown";

std::string ioregFixture(const std::string& name) {
  std::ifstream in(std::string(KESTRIN_TEST_DATA_DIR) + "/ioreg/" + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The excerpts of a file of fragments, split at its `#####` lines. Each
// excerpt was cut off mid-line where it was taken, so its last line goes.
std::vector<std::string> excerpts(const std::string& file) {
  std::vector<std::string> parts;
  std::vector<std::string> lines;
  const auto flush = [&] {
    if (!lines.empty()) lines.pop_back();
    std::string part;
    for (const auto& line : lines) part += line + "\n";
    if (part.find_first_not_of(" \n") != std::string::npos) parts.push_back(part);
    lines.clear();
  };
  std::istringstream in(ioregFixture(file));
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("#####")) flush();
    else lines.push_back(line);
  }
  flush();
  return parts;
}

AppleReading readingOf(const Json& tree) { return snapshotFromAppleProperties(tree, kNow, kLimit); }

void expectSnapshot(const AppleReading& reading, const BatterySnapshot& expected) {
  ASSERT_TRUE(reading.snapshot.has_value()) << reading.refusal;
  EXPECT_EQ(*reading.snapshot, expected) << "got      " << reading.snapshot->toJson().dump() << "\n"
                                          << "expected " << expected.toJson().dump();
}

// Fields in snapshot order: at, percent, plugged, charging, full, minutes to
// empty/full, limit, not-charging/slow reasons, thermal seconds, thermal,
// full-charge/nominal/design/remaining mAh, cycles, design cycles, mV, mA,
// system in/load/battery mW, adapter.
TEST(AppleProperties, CapturedDumpsMapToWhatTheyShow) {
  const std::pair<const char*, BatterySnapshot> cases[] = {
      {"ioreg-m1max-MacBookPro18_2-1.txt",  // on battery at 100 %
       {kNow, 100, false, false, true, nullopt, nullopt, kLimit, 0x400001, 0, 0, kNominal, 8179, 8423, 8694, 8118, 35,
        1000, 12785, 0, 6879, 6879, 0, nullopt}},
      {"ioreg-intel-perl-test-charging-1.txt",  // 5761 of 6806 mAh
       {kNow, 85, true, true, false, nullopt, 54, kLimit, 0, 0, 0, kNominal, 6806, 6806, 6900, 5761, 46, 1000, 12500,
        2486}},
      {"ioreg-intel-mba2012-batlog-full-1.txt",
       {kNow, 100, false, false, true, nullopt, nullopt, kLimit, 0, 0, 0, kNominal, 7171, 7171, 7150, 7171, 8, 1000,
        8539, 0}},
      {"ioreg-json-mba-m4-macos26-hold80-1.json",
       {kNow, 80, true, false, false, nullopt, nullopt, kLimit, 0x01000000, 0, 0, kNominal, 4215, 4342, 4629, 3244,
        123, 1000, 12386, 0, 3701, 3701, 0, Adapter{30, "30W USB-C Power Adapter", false}}},
      {"ioreg-json-mbp-m4pro-macos26-full100-1.json",  // a third-party charger
       {kNow, 100, true, false, true, nullopt, nullopt, kLimit, 0x400001, 0, 0, kNominal, 5797, 5949, 6249, 5660, 19,
        1000, 12817, 0, 13291, 13291, 0, Adapter{90, "pd charger", false}}},
      // Telemetry and current are not sampled at one instant: +3702 mA but -18427 mW.
      {"ioreg-json-mbp-m4max16-macos26-charging-1.json",
       {kNow, 78, true, true, false, nullopt, 70, kLimit, 0, 0, 0, kNominal, 8542, 8786, 8579, 6578, 67, 1000, 12679,
        3702, 58859, 77286, -18427, Adapter{140, "140W USB-C Power Adapter", false}}},
      {"ioreg-json-mbp-m4max14-macos26_5-onbattery-1.json",
       {kNow, 79, false, false, false, 119, nullopt, kLimit, 0x80000000000080, 0, 0, kNominal, 6137, 6289, 6249, 4624,
        89, 1000, 12076, -2335, 0, 28700, -28700, nullopt}},
      {"ioreg-xml-trimmed-m2class-onbattery-unverified-1.plist",
       {kNow, 78, false, false, false, 296, nullopt, kLimit, 128, 0, 0, kNominal, 3977, 4104, 4563, 2930, 338, 1000,
        12093, -587}},
      // A third-party charger reports neither Name nor Description.
      {"ioreg-xml-trimmed-m2class-plugged45W-discharging-unverified-2.plist",
       {kNow, 76, true, false, false, 352, nullopt, kLimit, 0, 0, 0, kNominal, 3984, 4111, 4563, 2889, 338, 1000,
        12071, -479, nullopt, nullopt, nullopt, Adapter{45, nullopt, false}}},
  };
  for (const auto& [file, expected] : cases) {
    SCOPED_TRACE(file);
    expectSnapshot(readingOf(appleTreeFromText(ioregFixture(file))), expected);
  }
}

TEST(AppleProperties, CapturedExcerptsReadAsFarAsTheyGo) {
  const auto parts = excerpts("ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt");
  ASSERT_EQ(parts.size(), 4u);
  // (1) Nothing plugged in: enough of the head of the dump to read.
  expectSnapshot(readingOf(appleTreeFromText(parts[0])), {kNow, 80, false, false, false, nullopt, nullopt, kLimit, 0,
                                                          0, 0, kNominal, 0, 0, 0, 6698, 0, 0, 0, 0});
  // (4) A 100 W adapter attached while the Mac runs from its battery.
  auto fourth = appleTreeFromText(parts[3]);
  fourth["CurrentCapacity"] = 80;
  fourth["ExternalConnected"] = true;
  const auto fromBattery = readingOf(fourth).snapshot.value();
  EXPECT_EQ(fromBattery.amperageMilliA, -483);  // InstantAmperage
  EXPECT_EQ(fromBattery.systemPowerInMilliW, 0);
  EXPECT_EQ(fromBattery.batteryPowerMilliW, -5844);
  EXPECT_EQ(fromBattery.adapter, (Adapter{100, "pd charger", false}));

  // Lines kept by grep: the first lost its indentation, all lost their braces.
  const auto grepped = appleTreeFromText(ioregFixture("ioreg-m1pro-MacBookPro18_1-1.txt"));
  EXPECT_EQ(grepped["AppleRawAdapterDetails"][0]["FamilyCode"], 18446744073172697098u);
  EXPECT_EQ(grepped["BatteryData"]["AdapterPower"], nullptr);

  // Too few keys to read: a refusal that says which.
  const struct {
    const char* file;
    std::size_t excerpt;
    const std::string& reason;
  } refused[] = {
      {"ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt", 1, kNoPercent},
      {"ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt", 2, kNoUnit},  // two adapters, cut before MaxCapacity
      {"ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt", 3, kNoPercent},
      {"ioreg-m1-mbp-whatcable154-100W-full-fragments-1.txt", 0, kNoUnit},
      {"ioreg-m1-mbp-whatcable154-100W-full-fragments-1.txt", 1, kNoPercent},
      {"ioreg-m1max-MacBookPro18_2-whatcable95-140W-fragment-2.txt", 0, kNoPercent},
  };
  for (const auto& c : refused) {
    const auto part = excerpts(c.file).at(c.excerpt);
    EXPECT_EQ(readingOf(appleTreeFromText(part)).refusal, c.reason) << c.file << " " << c.excerpt;
  }
  EXPECT_EQ(readingOf(grepped).refusal, kNoPercent);
}

// Made-up trees: each row's keys over a plugged-in half-full battery, and
// the snapshot's fields that follow (null: left out).
TEST(AppleProperties, ReadsEveryFormOfAValueAndLeavesOutWhatIsOdd) {
  const Json signedText = {{"Amperage", 18446744073709551133u},
                           {"ChargerData", {{"NotChargingReason", 4194305u}}},
                           {"PowerTelemetryData", {{"BatteryPower", 18446744073709545772u}}}};
  const Json signedJson = {{"Amperage", -483},
                           {"ChargerData", {{"NotChargingReason", 4194305}}},
                           {"PowerTelemetryData", {{"BatteryPower", -5844}}}};
  const Json negative = {{"amperageMilliA", -483}, {"batteryPowerMilliW", -5844}, {"notChargingReason", 0x400001}};
  const std::pair<Json, Json> cases[] = {
      {signedText, negative},
      {signedJson, negative},
      {{{"Amperage", 483}, {"ChargerData", {{"NotChargingReason", std::numeric_limits<std::int64_t>::min()}}}},
       {{"amperageMilliA", 483}, {"notChargingReason", 0x8000000000000000u}}},  // bit 63 as a signed number
      {{{"ExternalConnected", 1}, {"IsCharging", 1}, {"FullyCharged", 1}},
       {{"pluggedIn", true}, {"charging", true}, {"fullyCharged", true}}},
      {{{"CurrentCapacity", nullptr}, {"MaxCapacity", nullptr}, {"ExternalConnected", false},
        {"BatteryData", {{"CurrentCapacity", 64}, {"MaxCapacity", 100}, {"FullChargeCapacity", 4100},
                         {"RemainingCapacity", 2600}, {"NominalChargeCapacity", 4200}, {"DesignCapacity", 4563},
                         {"CycleCount", 12}, {"Voltage", 11900}}}},
       {{"percent", 64}, {"pluggedIn", false}, {"fullChargeCapacity", 4100}, {"nominalChargeCapacity", 4200},
        {"designCapacity", 4563}, {"remainingCapacity", 2600}, {"cycleCount", 12}, {"voltageMilliV", 11900}}},
      {{{"CurrentCapacity", 7300}, {"MaxCapacity", 7171}},
       {{"percent", 100}, {"fullChargeCapacity", 7171}, {"remainingCapacity", 7300}}},
      {{{"Amperage", 1500}, {"AvgTimeToEmpty", 65535}, {"AvgTimeToFull", "soon"}, {"CycleCount", 1e300},
        {"DesignCapacity", 99999999999}, {"ChargerData", Json::array()}, {"AdapterDetails", {{"FamilyCode", 0}}},
        {"PowerTelemetryData", {{"SystemLoad", 9011}}}},
       {{"charging", true}, {"minutesToEmpty", nullptr}, {"minutesToFull", nullptr}, {"cycleCount", 0},
        {"designCapacity", std::numeric_limits<int>::max()}, {"adapter", nullptr}, {"systemPowerInMilliW", nullptr},
        {"systemLoadMilliW", 9011}}},
      {{{"ExternalConnected", false}, {"AdapterDetails", {{"Watts", 96}, {"Name", "96W USB-C Power Adapter"}}}},
       {{"adapter", nullptr}}},
  };
  for (const auto& [keys, fields] : cases) {
    Json tree = {{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"ExternalConnected", true}};
    tree.update(keys);
    const auto reading = readingOf(tree);
    ASSERT_TRUE(reading.snapshot) << keys << ": " << reading.refusal;
    const Json got = reading.snapshot->toJson();
    for (const auto& [field, value] : fields.items()) {
      EXPECT_EQ(got.value(field, Json()), value) << field << " from " << keys;
    }
  }
}

TEST(AppleProperties, RefusesWithAReason) {
  const std::pair<Json, std::string> cases[] = {
      {Json::array(), "the battery's properties are not a dictionary"},
      {{{"BatteryInstalled", false}, {"CurrentCapacity", 0}}, "BatteryInstalled is No: there is no battery"},
      {{{"CurrentCapacity", "80"}, {"MaxCapacity", 100}}, "CurrentCapacity is not a whole number"},
      {{{"CurrentCapacity", 80}, {"ExternalConnected", true}}, kNoUnit},
      {{{"CurrentCapacity", 140}, {"MaxCapacity", 100}}, "CurrentCapacity 140 is not a percentage"},
      {{{"CurrentCapacity", 5000}, {"MaxCapacity", 0}}, "CurrentCapacity 5000 of MaxCapacity 0 mAh gives no percentage"},
      {{{"CurrentCapacity", 80}, {"MaxCapacity", 100}}, kNoPlug},
      {{{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"ExternalConnected", 2}}, kNoPlug},
  };
  for (const auto& [tree, reason] : cases) {
    const auto reading = readingOf(tree);
    EXPECT_FALSE(reading.snapshot) << tree;
    EXPECT_EQ(reading.refusal, reason) << tree;
  }
}

std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n" +
         body + "\n</plist>\n";
}

TEST(AppleTreeFromText, TellsTheFormsApartAndReadsEachValue) {
  for (const char* text : {
           "{\"CurrentCapacity\": 80}",
           "\n  [{\"CurrentCapacity\": 80}, {\"CurrentCapacity\": 1}]",
           "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CurrentCapacity</key><integer>80</integer>"
           "</dict></plist>",
           "<plist version=\"1.0\"><array><dict><key>CurrentCapacity</key><integer>80</integer></dict></array></plist>",
           "+-o AppleSmartBattery  <class AppleSmartBattery, id 0x1>\n  {\n    \"CurrentCapacity\" = 80\n  }\n",
           "{\n  \"CurrentCapacity\" = 80\n}\n",  // an ioreg block without its header
           "\"CurrentCapacity\" = 80\n",
           // Only the battery's entry of a tree; lines may end in \r\n and start with "|".
           "+-o Root  <class IORegistryEntry, id 0x100000100, retain 30>\n  {\n    \"IOKitBuildVersion\" = \"Darwin\"\n"
           "  }\n  +-o AppleSmartBattery@0  <class AppleSmartBattery, id 0x1000009b3, registered>\r\n  | {\r\n"
           "  |   \"CurrentCapacity\" = 80\r\n  | }\r\n  | \r\n"
           "  +-o AppleSmartBatteryChild  <class IOService, id 0x1000009b4>\n      \"Other\" = 1\n",
       }) {
    EXPECT_EQ(appleTreeFromText(text), (Json{{"CurrentCapacity", 80}})) << text;
  }
  EXPECT_EQ(appleTreeFromText("+-o AppleSmartBattery  <class AppleSmartBattery>\n{\n}\n"), Json::object());

  EXPECT_EQ(appleTreeFromText(plist("<dict><key>Power</key><real>4.368381</real><key>State</key><data>AMPkABI=</data>"
                                    "<key>Empty</key><array/><key>Big</key><integer>36028797018964096</integer>"
                                    "<key>Name</key><string>140W &amp; more</string><key>FamilyCode</key>"
                                    "<integer>-536854518</integer><key>When</key><date>2001-01-01T00:01:00Z</date>"
                                    "<key>Yes</key><true/><key>No</key><false/></dict>")),
            (Json{{"Power", 4.368381}, {"State", "<00c3e40012>"}, {"Empty", Json::array()},
                  {"Big", 36028797018964096u}, {"Name", "140W & more"}, {"FamilyCode", -536854518},
                  {"When", 978307260.0}, {"Yes", true}, {"No", false}}));

  const std::pair<const char*, Json> ioregValues[] = {
      {"0x7b", 123},
      {"18446744073709551615", 18446744073709551615u},
      {"<00A1ff>", "<00a1ff>"},
      {"<aaa>", "<aaa>"},  // one capture was masked by hand to an odd digit count
      {"\"Akku \xc3\xa4\"", "Akku \xc3\xa4"},
      {"()", Json::array()},
      {"{}", Json::object()},
      {"(4261,4262,4262)", Json::array({4261, 4262, 4262})},
      {"({\"Index\"=0,\"MaxVoltage\"=5000},{\"Index\"=1})",
       Json::array({Json{{"Index", 0}, {"MaxVoltage", 5000}}, Json{{"Index", 1}}})},
      {"((7167869599145487988,6460407809,\"BatteryCycleCount\"))",
       Json::array({Json::array({7167869599145487988u, 6460407809u, "BatteryCycleCount"})})},
      {"{\"AdapterPower\"=,\"IdealCRate\"=,\"Ra00\"=150,\"B\"=\"x\"}",  // floats print as nothing
       Json{{"AdapterPower", nullptr}, {"IdealCRate", nullptr}, {"Ra00", 150}, {"B", "x"}}},
      {"", nullptr},
  };
  for (const auto& [value, expected] : ioregValues) {
    EXPECT_EQ(parseIoregText(std::string("      \"Key\" = ") + value + "\n")["Key"], expected) << value;
  }
}

TEST(AppleTreeFromText, NamesTheFormThatFailedAndWhere) {
  const auto nestedPlist = [](int levels) {
    std::string body = "<dict><key>Deep</key>";
    for (int i = 0; i < levels; ++i) body += "<array>";
    for (int i = 0; i < levels; ++i) body += "</array>";
    return plist(body + "</dict>");
  };
  const auto nestedIoreg = [](int levels) {
    const auto n = static_cast<std::size_t>(levels);
    return "\"Deep\" = " + std::string(n, '(') + std::string(n, ')');
  };
  EXPECT_NO_THROW(appleTreeFromText(nestedPlist(kPlistMaxDepth - 1)));
  EXPECT_NO_THROW(appleTreeFromText(nestedIoreg(kIoregMaxDepth)));
  const std::string plistFailed = "XML property list: ";
  const std::string ioregFailed = "ioreg text: ";
  const std::pair<std::string, std::string> cases[] = {
      {"  \n", "the text is empty"},
      {"<plist><dict>", plistFailed + "not a valid XML property list"},
      {ioregFixture("ioreg-xml-intel-raycast15996-fragment-1.txt"), plistFailed + "not a valid XML property list"},
      {plist("<array></array>"), plistFailed + "the property list holds no registry entry"},
      {plist("<string>AppleSmartBattery</string>"),
       plistFailed + "the property list holds no dictionary of battery properties"},
      {plist("<array><integer>1</integer></array>"),
       plistFailed + "the property list holds no dictionary of battery properties"},
      // XML holds no NUL; the library would stop the program on this string.
      {plist(std::string("<dict><key>Serial</key><string>X0X0") + '\0' + "0ABC</string></dict>"),
       plistFailed + "not a valid XML property list: it holds a NUL character"},
      {nestedPlist(kPlistMaxDepth), plistFailed + "the property list nests deeper than 64 levels"},
      {nestedPlist(100000), plistFailed + "the property list nests deeper than 64 levels"},
      {"[]", "JSON: the JSON array holds no registry entry"},
      {"[1]", "JSON: the JSON holds no object of battery properties"},
      {"{\"CurrentCapacity\": 80", "JSON: not valid JSON: "},
      {std::string(100, '[') + std::string(100, ']'), "JSON: JSON nests deeper than 64 levels"},
      {nestedIoreg(kIoregMaxDepth + 1), ioregFailed + "line 1, column 74: values nest deeper than 64 levels"},
      {nestedIoreg(100000), ioregFailed + "line 1, column "},
      {"\"A\" = 12ab", ioregFailed + "line 1, column 9: unexpected 'a' in a number"},
      {"\"A\" = -483", ioregFailed + "line 1, column 7: unexpected '-'"},
      {"\"A\" = 18446744073709551616", ioregFailed + "line 1, column 7: the number does not fit in 64 bits"},
      {"\"A\" = 0x", ioregFailed + "line 1, column 9: expected hex digits after 0x"},
      {"\"A\" = Maybe", ioregFailed + "line 1, column 7: unexpected word 'Maybe' (only Yes and No are words)"},
      {"\"A\" = \"open", ioregFailed + "line 1, column 7: the string is not closed"},
      {"\"A\" = {\"B\"=1", ioregFailed + "line 1, column 7: the dictionary is not closed"},
      {"\"A\" = {B=1}", ioregFailed + "line 1, column 8: expected a quoted key in the dictionary"},
      {"\"A\" = {\"B\":1}", ioregFailed + "line 1, column 11: expected '=' after the key \"B\""},
      {"\"A\" = (\"a\";2)", ioregFailed + "line 1, column 11: expected ',' or ')' in the array, found ';'"},
      {"\"A\" = <0g>", ioregFailed + "line 1, column 9: expected a hex digit or '>' in data, found 'g'"},
      {"\"A\" = <00a1", ioregFailed + "line 1, column 7: the data is not closed"},
      {"\"A\" = 1 2", ioregFailed + "line 1, column 9: unexpected '2' after the value"},
      {"\"A\" = \"a\tb\"", ioregFailed + "line 1, column 9: control character in a string"},
      {"\"A\" = \"\xff\xfe\"", ioregFailed + "line 1, column 7: the string is not UTF-8"},
      {"\"A\" 1", ioregFailed + "line 1, column 5: expected '=' after the key"},
      {"\"AppleRawBatteryVoltage", ioregFailed + "line 1, column 1: the string is not closed"},
      {"\"CurrentCapacity\" = 8O", ioregFailed + "line 1, column 22: unexpected 'O' in a number"},
      {"A = 1", ioregFailed + "line 1, column 1: expected a \"Key\" = value line"},
      {"  \"A\" = 1\nNothing plugged in\n", ioregFailed + "line 2, column 1: expected a \"Key\" = value line"},
      {"+-o AppleSmartBattery  <class AppleSmartBattery>\n  {\n  {\n", ioregFailed + "line 3, column 3: unexpected '{'"},
      {"\n  | \n", ioregFailed + "no AppleSmartBattery properties in the text"},
      {"+-o AppleSmartBatteryManager  <class AppleSmartBatteryManager, id 0x1>\n  {\n",
       ioregFailed + "line 1, column 1: the registry entries printed include no AppleSmartBattery"},
  };
  for (const auto& [text, reason] : cases) {
    try {
      appleTreeFromText(text);
      ADD_FAILURE() << "no error for " << text.substr(0, 200);
    } catch (const batterycore::DecodingError& error) {
      EXPECT_TRUE(error.reason().starts_with(reason)) << error.reason() << "\nexpected " << reason;
    }
  }
  try {
    appleTreeFromText("  \"Ok\" = 1\n  \"BatteryData\" = {\"Ra00\"=x}\n");
    ADD_FAILURE() << "no error";
  } catch (const batterycore::DecodingError& error) {
    EXPECT_EQ(error.reason(), ioregFailed + "line 2, column 27: unexpected word 'x' (only Yes and No are words)");
    EXPECT_EQ(error.path(), "BatteryData");
  }
}

}  // namespace
}  // namespace kestrin::app::live
