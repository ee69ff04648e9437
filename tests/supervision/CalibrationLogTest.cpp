#include "BatteryCore/supervision/CalibrationLog.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <string>
#include <vector>
#include "tests/common/UsingLocale.hpp"

namespace batterycore {
namespace {

using Lines = std::vector<std::string>;

using DefaultLocale = batterycore::testing::UsingLocale;

TEST(CalibrationLog, HeaderExample) {
  EXPECT_EQ(CalibrationLog::hits("boot\nBattery: ChargingUpForGauging started\n\nidle"),
            (Lines{"Battery: ChargingUpForGauging started"}));
}

TEST(CalibrationLog, PicksEveryLineWithANeedleOnceInOrder) {
  struct Case {
    const char* what;
    std::string text;
    Lines hits;
  };
  const Case cases[] = {
      {"nothing", "", {}},
      {"only line feeds", "\n\n\n", {}},
      {"no needle", "2026-03-02 10:00:00 Sleep\n2026-03-02 10:05:00 Wake\n", {}},
      {"both needles, each line once",
       "a\nAC: mitigations are in place\nb\nChargingUpForGauging and mitigations are in place\nc",
       {"AC: mitigations are in place", "ChargingUpForGauging and mitigations are in place"}},
      {"any case",
       "MITIGATIONS ARE IN PLACE\nchargingupforgauging=1\n",
       {"MITIGATIONS ARE IN PLACE", "chargingupforgauging=1"}},
      {"needle across a line break is not a hit", "ChargingUp\nForGauging", {}},
      {"last line without line feed", "x\nChargingUpForGauging", {"ChargingUpForGauging"}},
      {"carriage returns stay with the line", "ChargingUpForGauging\r\n", {"ChargingUpForGauging\r"}},
  };
  for (const auto& c : cases) EXPECT_EQ(CalibrationLog::hits(c.text), c.hits) << c.what;
}

TEST(CalibrationLog, ComparesByFullCaseFolding) {
  // Folding, not lower-casing: the long s folds to s, and text around the
  // needle may be any script.
  EXPECT_EQ(CalibrationLog::hits("ChargingUpForGaugin\u017F\u017F"), Lines{});  // "ſſ" is not "g"
  EXPECT_EQ(CalibrationLog::hits("\u017Ftatus: mitigation\u017F are in place"),
            (Lines{"\u017Ftatus: mitigation\u017F are in place"}));
  EXPECT_EQ(CalibrationLog::hits("Ладение: ChargingUpForGauging"), (Lines{"Ладение: ChargingUpForGauging"}));
}

TEST(CalibrationLog, DottedCapitalIFollowsTheLocale) {
  // In English "MİTİGATİONS" (dotted capitals) folds to "i̇" and does not match;
  // the dotless-capital spelling does.
  {
    DefaultLocale english("en_US");
    EXPECT_EQ(CalibrationLog::hits("MITIGATIONS ARE IN PLACE").size(), 1u);
    EXPECT_EQ(CalibrationLog::hits("M\u0130T\u0130GAT\u0130ONS ARE \u0130N PLACE").size(), 0u);
  }
  {
    // In Turkish a capital I is the capital of a dotless ı, and İ of i.
    DefaultLocale turkish("tr_TR");
    EXPECT_EQ(CalibrationLog::hits("M\u0130T\u0130GAT\u0130ONS ARE \u0130N PLACE").size(), 1u);
    EXPECT_EQ(CalibrationLog::hits("MITIGATIONS ARE IN PLACE").size(), 0u);
  }
}

TEST(CalibrationLog, Needles) {
  EXPECT_EQ(CalibrationLog::needles[0], "mitigations are in place");
  EXPECT_EQ(CalibrationLog::needles[1], "ChargingUpForGauging");
}

}  // namespace
}  // namespace batterycore
