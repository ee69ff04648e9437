#include "app/live/AppleBatteryProperties.hpp"

#include "BatteryCore/health/ChargerReason.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace kestrin::app::live {
namespace {

using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::ChargerReason;
using batterycore::Date;
using batterycore::DecodingError;
using batterycore::Json;
using batterycore::LimitState;
using std::nullopt;

const Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);  // 2026-01-01T00:00:00Z
const LimitState kLimit = LimitState::on(80);
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
std::vector<std::string> excerpts(const std::string& text) {
  std::vector<std::string> parts;
  std::vector<std::string> lines;
  const auto flush = [&] {
    if (!lines.empty()) lines.pop_back();
    std::string part;
    for (const auto& line : lines) part += line + "\n";
    if (part.find_first_not_of(" \n") != std::string::npos) parts.push_back(part);
    lines.clear();
  };
  std::istringstream in(text);
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

void expectRefusal(const AppleReading& reading, const std::string& reason) {
  EXPECT_FALSE(reading.snapshot.has_value());
  EXPECT_EQ(reading.refusal, reason);
}

struct Sample {
  const char* name;
  const char* file;
  BatterySnapshot expected;
};
void PrintTo(const Sample& sample, std::ostream* out) { *out << sample.file; }

// Fields in snapshot order: at, percent, plugged, charging, full, minutes to
// empty/full, limit, not-charging/slow reasons, thermal seconds, thermal,
// full-charge/nominal/design/remaining mAh, cycles, design cycles, mV, mA,
// system in/load/battery mW, adapter.
const Sample kSamples[] = {
    {"M1MaxOnBatteryAtFull", "ioreg-m1max-MacBookPro18_2-1.txt",
     {kNow, 100, false, false, true, nullopt, nullopt, kLimit, 0x400001, 0, 0, kNominal, 8179, 8423, 8694, 8118, 35,
      1000, 12785, 0, 6879, 6879, 0, nullopt}},
    {"IntelChargingInMilliAmpHours", "ioreg-intel-perl-test-charging-1.txt",  // 5761 of 6806 mAh
     {kNow, 85, true, true, false, nullopt, 54, kLimit, 0, 0, 0, kNominal, 6806, 6806, 6900, 5761, 46, 1000, 12500,
      2486}},
    {"IntelFullOnBattery", "ioreg-intel-mba2012-batlog-full-1.txt",
     {kNow, 100, false, false, true, nullopt, nullopt, kLimit, 0, 0, 0, kNominal, 7171, 7171, 7150, 7171, 8, 1000,
      8539, 0}},
    {"M4AirHeldAtEighty", "ioreg-json-mba-m4-macos26-hold80-1.json",
     {kNow, 80, true, false, false, nullopt, nullopt, kLimit, 0x01000000, 0, 0, kNominal, 4215, 4342, 4629, 3244, 123,
      1000, 12386, 0, 3701, 3701, 0, Adapter{30, "30W USB-C Power Adapter", false}}},
    {"M2ProHeldAtEighty", "ioreg-json-mbp-m2pro-macos26-hold80-1.json",
     {kNow, 80, true, false, false, nullopt, nullopt, kLimit, 0x01000000, 0, 0, kNominal, 5779, 5929, 6075, 4395, 98,
      1000, 12162, 0, 13907, 13907, 0, Adapter{65, "67W USB-C Power Adapter", false}}},
    {"M4ProFullOnAThirdPartyCharger", "ioreg-json-mbp-m4pro-macos26-full100-1.json",
     {kNow, 100, true, false, true, nullopt, nullopt, kLimit, 0x400001, 0, 0, kNominal, 5797, 5949, 6249, 5660, 19,
      1000, 12817, 0, 13291, 13291, 0, Adapter{90, "pd charger", false}}},
    // Telemetry and current are not sampled at one instant: +3702 mA but -18427 mW.
    {"M4MaxCharging", "ioreg-json-mbp-m4max16-macos26-charging-1.json",
     {kNow, 78, true, true, false, nullopt, 70, kLimit, 0, 0, 0, kNominal, 8542, 8786, 8579, 6578, 67, 1000, 12679,
      3702, 58859, 77286, -18427, Adapter{140, "140W USB-C Power Adapter", false}}},
    {"M4MaxOnBattery", "ioreg-json-mbp-m4max14-macos26_5-onbattery-1.json",
     {kNow, 79, false, false, false, 119, nullopt, kLimit, 0x80000000000080, 0, 0, kNominal, 6137, 6289, 6249, 4624,
      89, 1000, 12076, -2335, 0, 28700, -28700, nullopt}},
    {"PlistOnBattery", "ioreg-xml-trimmed-m2class-onbattery-unverified-1.plist",
     {kNow, 78, false, false, false, 296, nullopt, kLimit, 128, 0, 0, kNominal, 3977, 4104, 4563, 2930, 338, 1000,
      12093, -587}},
    // A third-party charger reports neither Name nor Description.
    {"PlistPluggedButDischarging", "ioreg-xml-trimmed-m2class-plugged45W-discharging-unverified-2.plist",
     {kNow, 76, true, false, false, 352, nullopt, kLimit, 0, 0, 0, kNominal, 3984, 4111, 4563, 2889, 338, 1000, 12071,
      -479, nullopt, nullopt, nullopt, Adapter{45, nullopt, false}}},
};

class CapturedSample : public ::testing::TestWithParam<Sample> {};

TEST_P(CapturedSample, MapsToWhatItShows) {
  expectSnapshot(readingOf(appleTreeFromText(ioregFixture(GetParam().file))), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(AppleProperties, CapturedSample, ::testing::ValuesIn(kSamples),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(AppleProperties, ReasonCodesAgreeWithTheChargerAssessment) {
  const auto codeIn = [](const char* file) {
    return readingOf(appleTreeFromText(ioregFixture(file))).snapshot.value().notChargingReason;
  };
  EXPECT_EQ(ChargerReason::notCharging(codeIn("ioreg-json-mba-m4-macos26-hold80-1.json")).kind,
            ChargerReason::Kind::atLimit());
  EXPECT_EQ(ChargerReason::notCharging(codeIn("ioreg-m1max-MacBookPro18_2-1.txt")).kind, ChargerReason::Kind::full());
}

TEST(AppleProperties, M2MaxFragments) {
  const auto parts = excerpts(ioregFixture("ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt"));
  ASSERT_EQ(parts.size(), 4u);
  // (1) Nothing plugged in: enough of the head of the dump to read.
  expectSnapshot(readingOf(appleTreeFromText(parts[0])), {kNow, 80, false, false, false, nullopt, nullopt, kLimit, 0,
                                                          0, 0, kNominal, 0, 0, 0, 6698, 0, 0, 0, 0});
  // (2) Plugged in with the battery discharging; the percentage was 80 seconds earlier.
  auto second = appleTreeFromText(parts[1]);
  expectRefusal(readingOf(second), kNoPercent);
  second["CurrentCapacity"] = 80;
  const auto plugged = readingOf(second).snapshot.value();
  EXPECT_TRUE(plugged.pluggedIn && !plugged.charging);
  EXPECT_EQ(plugged.amperageMilliA, -483);
  // (4) A 100 W adapter attached while the Mac runs from its battery.
  auto fourth = appleTreeFromText(parts[3]);
  fourth["CurrentCapacity"] = 80;
  fourth["ExternalConnected"] = true;
  const auto fromBattery = readingOf(fourth).snapshot.value();
  EXPECT_EQ(fromBattery.amperageMilliA, -483);  // InstantAmperage
  EXPECT_EQ(fromBattery.systemPowerInMilliW, 0);
  EXPECT_EQ(fromBattery.batteryPowerMilliW, -5844);
  EXPECT_EQ(fromBattery.adapter, (Adapter{100, "pd charger", false}));
}

TEST(AppleProperties, ExcerptsWithTooFewKeysRefuse) {
  struct Case {
    const char* file;
    std::size_t excerpt;
    const std::string& reason;
  };
  const Case cases[] = {
      {"ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt", 2, kNoUnit},  // two adapters, cut before MaxCapacity
      {"ioreg-m2max-Mac14_6-whatcable95-fragments-1.txt", 3, kNoPercent},
      {"ioreg-m1-mbp-whatcable154-100W-full-fragments-1.txt", 0, kNoUnit},
      {"ioreg-m1-mbp-whatcable154-100W-full-fragments-1.txt", 1, kNoPercent},
      {"ioreg-m1max-MacBookPro18_2-whatcable95-140W-fragment-2.txt", 0, kNoPercent},
  };
  for (const auto& c : cases) {
    const auto parts = excerpts(ioregFixture(c.file));
    ASSERT_LT(c.excerpt, parts.size()) << c.file;
    expectRefusal(readingOf(appleTreeFromText(parts[c.excerpt])), c.reason);
  }
  // grep kept neither CurrentCapacity nor ExternalConnected.
  expectRefusal(readingOf(appleTreeFromText(ioregFixture("ioreg-m1pro-MacBookPro18_1-1.txt"))), kNoPercent);
}

TEST(AppleProperties, ReadsSignedValuesInEveryForm) {
  struct Case {
    Json amperage, batteryPower, reason;
    int milliA, milliW;
    std::uint64_t bits;
  };
  const Case cases[] = {
      {18446744073709551133u, 18446744073709545772u, 4194305u, -483, -5844, 0x400001},  // text
      {-483, -5844, 4194305, -483, -5844, 0x400001},                                     // XML, JSON
      {483, 5844, std::numeric_limits<std::int64_t>::min(), 483, 5844, 0x8000000000000000},  // bit 63 signed
  };
  for (const auto& c : cases) {
    const Json tree = {{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"ExternalConnected", true},
                       {"Amperage", c.amperage}, {"ChargerData", {{"NotChargingReason", c.reason}}},
                       {"PowerTelemetryData", {{"BatteryPower", c.batteryPower}}}};
    const auto snapshot = readingOf(tree).snapshot.value();
    EXPECT_EQ(snapshot.amperageMilliA, c.milliA) << c.amperage;
    EXPECT_EQ(snapshot.batteryPowerMilliW, c.milliW) << c.batteryPower;
    EXPECT_EQ(snapshot.notChargingReason, c.bits) << c.reason;
  }
}

TEST(AppleProperties, ReadsBooleansInEveryForm) {
  for (const Json& yes : {Json(true), Json(1), Json("Yes")}) {
    const Json tree = {{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"ExternalConnected", yes},
                       {"IsCharging", yes}, {"FullyCharged", yes}};
    const auto snapshot = readingOf(tree).snapshot.value();
    EXPECT_TRUE(snapshot.pluggedIn && snapshot.charging && snapshot.fullyCharged) << yes;
  }
  expectRefusal(readingOf({{"CurrentCapacity", 50}, {"MaxCapacity", 100}, {"ExternalConnected", 2}}), kNoPlug);
}

TEST(AppleProperties, LooksInBatteryDataForKeysThatMoved) {
  const Json tree = {{"MaxCapacity", 100},
                     {"ExternalConnected", false},
                     {"BatteryData",
                      {{"CurrentCapacity", 64}, {"FullChargeCapacity", 4100}, {"RemainingCapacity", 2600},
                       {"NominalChargeCapacity", 4200}, {"DesignCapacity", 4563}, {"CycleCount", 12},
                       {"Voltage", 11900}}}};
  expectSnapshot(readingOf(tree), {kNow, 64, false, false, false, nullopt, nullopt, kLimit, 0, 0, 0, kNominal, 4100,
                                   4200, 4563, 2600, 12, 0, 11900, 0});
}

TEST(AppleProperties, WorksOutPercentFromMilliAmpHours) {
  struct Case {
    std::int64_t current, max, percent;
  };
  const Case cases[] = {{5761, 6806, 85}, {7171, 7171, 100}, {7300, 7171, 100}, {34, 6806, 0}};
  for (const auto& c : cases) {
    const Json tree = {{"CurrentCapacity", c.current}, {"MaxCapacity", c.max}, {"ExternalConnected", false}};
    EXPECT_EQ(readingOf(tree).snapshot.value().percent, c.percent) << c.current << "/" << c.max;
  }
}

TEST(AppleProperties, LeavesOutWhatIsMissingOrOdd) {
  const Json tree = {{"CurrentCapacity", 40}, {"MaxCapacity", 100}, {"ExternalConnected", true},
                     {"Amperage", 1500}, {"AvgTimeToEmpty", 65535}, {"AvgTimeToFull", "soon"},
                     {"CycleCount", 1e300}, {"DesignCapacity", 99999999999}, {"ChargerData", Json::array()},
                     {"AdapterDetails", {{"FamilyCode", 0}}}, {"PowerTelemetryData", {{"SystemLoad", 9011}}}};
  const auto snapshot = readingOf(tree).snapshot.value();
  EXPECT_TRUE(snapshot.charging);  // no IsCharging: current flows in
  EXPECT_EQ(snapshot.minutesToEmpty, nullopt);
  EXPECT_EQ(snapshot.minutesToFull, nullopt);
  EXPECT_EQ(snapshot.cycleCount, 0);
  EXPECT_EQ(snapshot.designCapacity, std::numeric_limits<int>::max());
  EXPECT_EQ(snapshot.adapter, nullopt);
  EXPECT_EQ(snapshot.systemPowerInMilliW, nullopt);
  EXPECT_EQ(snapshot.systemLoadMilliW, 9011);

  const Json onBattery = {{"CurrentCapacity", 40}, {"MaxCapacity", 100}, {"ExternalConnected", false},
                          {"AdapterDetails", {{"Watts", 96}, {"Name", "96W USB-C Power Adapter"}}}};
  EXPECT_EQ(readingOf(onBattery).snapshot.value().adapter, nullopt);
}

TEST(AppleProperties, RefusesWithAReason) {
  struct Case {
    Json tree;
    std::string reason;
  };
  const Case cases[] = {
      {Json::array(), "the battery's properties are not a dictionary"},
      {{{"BatteryInstalled", false}, {"CurrentCapacity", 0}}, "BatteryInstalled is No: there is no battery"},
      {{{"CurrentCapacity", "80"}, {"MaxCapacity", 100}}, "CurrentCapacity is not a whole number"},
      {{{"CurrentCapacity", 80}, {"ExternalConnected", true}}, kNoUnit},
      {{{"CurrentCapacity", 140}, {"MaxCapacity", 100}}, "CurrentCapacity 140 is not a percentage"},
      {{{"CurrentCapacity", 5000}, {"MaxCapacity", 0}},
       "CurrentCapacity 5000 of MaxCapacity 0 mAh gives no percentage"},
      {{{"CurrentCapacity", 80}, {"MaxCapacity", 100}}, kNoPlug},
  };
  for (const auto& c : cases) expectRefusal(readingOf(c.tree), c.reason);
}

TEST(AppleTreeFromText, TellsTheFormsApart) {
  const char* texts[] = {
      "{\"CurrentCapacity\": 80}",
      "\n  [{\"CurrentCapacity\": 80}, {\"CurrentCapacity\": 1}]",
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>CurrentCapacity</key><integer>80</integer></dict>"
      "</plist>",
      "<plist version=\"1.0\"><array><dict><key>CurrentCapacity</key><integer>80</integer></dict></array></plist>",
      "+-o AppleSmartBattery  <class AppleSmartBattery, id 0x1>\n  {\n    \"CurrentCapacity\" = 80\n  }\n",
      "{\n  \"CurrentCapacity\" = 80\n}\n",  // an ioreg block without its header
      "\"CurrentCapacity\" = 80\n",
  };
  for (const char* text : texts) EXPECT_EQ(appleTreeFromText(text), (Json{{"CurrentCapacity", 80}})) << text;
}

TEST(AppleTreeFromText, NamesTheFormThatFailed) {
  struct Case {
    std::string text;
    std::string reason;
  };
  const Case cases[] = {
      {"  \n", "the text is empty"},
      {"<plist><dict>", "XML property list: not a valid XML property list"},
      {"[]", "JSON: the JSON array holds no registry entry"},
      {"[1]", "JSON: the JSON holds no object of battery properties"},
      {"{\"CurrentCapacity\": 80", "JSON: not valid JSON: "},
      {std::string(100, '[') + std::string(100, ']'), "JSON: JSON nests deeper than 64 levels"},
      {"\"CurrentCapacity\" = 8O", "ioreg text: line 1, column 22: unexpected 'O' in a number"},
  };
  for (const auto& c : cases) {
    try {
      appleTreeFromText(c.text);
      ADD_FAILURE() << "no error for " << c.text;
    } catch (const DecodingError& error) {
      EXPECT_TRUE(error.reason().starts_with(c.reason)) << error.reason();
    }
  }
}

}  // namespace
}  // namespace kestrin::app::live
