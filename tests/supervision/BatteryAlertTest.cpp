#include "BatteryCore/supervision/BatteryAlert.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace batterycore {
namespace {

using Kind = BatteryAlert::Kind;
using fixtures::at;

BatteryAlert alertAt(Kind kind, double secondsSince1970) {
  return BatteryAlert{kind, dateFromSecondsSince1970(secondsSince1970), "Title", "Body", std::nullopt};
}

TEST(BatteryAlert, IdIsKindAndShortestSecondsThatReadBack) {
  struct Case {
    Kind kind;
    double seconds;
    const char* id;
  };
  const Case cases[] = {
      {Kind::limitTurnedOff, 1767225600.0, "limitTurnedOff-1767225600.0"},
      {Kind::hot, 0.5, "hot-0.5"},
      {Kind::hot, 0.0, "hot-0.0"},
      {Kind::calibrating, 1767225600.25, "calibrating-1767225600.25"},
      {Kind::weeklyNote, 1767225600.1, "weeklyNote-1767225600.1"},  // not 1767225600.0999999
      {Kind::accessoryLow, -1.5, "accessoryLow--1.5"},
      {Kind::hot, 1e9, "hot-1000000000.0"},  // round numbers are written out, not "1e+09"
      {Kind::hot, 1.7e9, "hot-1700000000.0"},
      {Kind::hot, -1e9, "hot--1000000000.0"},  // before 1970
      {Kind::limitUnavailable, 1e16, "limitUnavailable-10000000000000000.0"},
  };
  for (const auto& c : cases) {
    const auto id = alertAt(c.kind, c.seconds).id();
    EXPECT_EQ(id, c.id) << c.seconds;
    const auto number = id.substr(BatteryAlert::rawValue(c.kind).size() + 1);
    EXPECT_EQ(std::stod(number), c.seconds) << id << " does not read back";
  }
}

TEST(BatteryAlert, KindsInSettingsOrderWithCaseNamesAsRawValues) {
  const char* const expected[] = {
      "limitNotHolding", "limitTurnedOff",     "hot",
      "fullChargeDone",  "fullChargeRestored", "limitRestoreFailed",
      "calibrating",     "calibrationOver",    "healthMilestone",
      "weakCharger",     "accessoryLow",       "calendarFullCharge",
      "weeklyNote",      "smartFullCharge",    "backgroundDrain",
      "limitTurnedOn",   "limitUnavailable",
  };
  ASSERT_EQ(BatteryAlert::allCases.size(), std::size(expected));
  for (std::size_t i = 0; i < BatteryAlert::allCases.size(); ++i) {
    const auto kind = BatteryAlert::allCases[i];
    EXPECT_EQ(BatteryAlert::rawValue(kind), expected[i]);
    EXPECT_EQ(BatteryAlert::kindFromRawValue(expected[i]), kind);
  }
  EXPECT_EQ(BatteryAlert::kindFromRawValue("LimitNotHolding"), std::nullopt);
  EXPECT_EQ(BatteryAlert::kindFromRawValue(""), std::nullopt);
}

TEST(BatteryAlert, JsonHasItsFiveFieldsAndLeavesOutAnAbsentTechnicalBody) {
  const BatteryAlert plain{Kind::limitTurnedOff, at("2026-01-01T00:00:00Z"), "Charge limit turned off",
                           "Your battery will now charge to 100%.", std::nullopt};
  EXPECT_EQ(plain.toJson().dump(),
            R"({"kind":"limitTurnedOff","at":"2026-01-01T00:00:00Z","title":"Charge limit turned off",)"
            R"("body":"Your battery will now charge to 100%."})");
  EXPECT_EQ(BatteryAlert::fromJson(plain.toJson()), plain);

  BatteryAlert technical = plain;
  technical.technicalBody = "Limit off (was 80%).";
  EXPECT_EQ(technical.toJson()["technicalBody"], "Limit off (was 80%).");
  EXPECT_EQ(BatteryAlert::fromJson(technical.toJson()), technical);
  EXPECT_NE(technical, plain);
}

TEST(BatteryAlert, DecodingNeedsKnownKindAndTheFirstFourKeys) {
  const Json good = Json::parse(R"({"kind":"hot","at":"2026-01-01T00:00:00Z","title":"t","body":"b"})");
  EXPECT_NO_THROW(BatteryAlert::fromJson(good));
  for (const char* key : {"kind", "at", "title", "body"}) {
    Json missing = good;
    missing.erase(key);
    EXPECT_THROW(BatteryAlert::fromJson(missing), DecodingError) << key;
  }
  Json unknown = good;
  unknown["kind"] = "meltdown";
  EXPECT_THROW(BatteryAlert::fromJson(unknown), DecodingError);
}

}  // namespace
}  // namespace batterycore
