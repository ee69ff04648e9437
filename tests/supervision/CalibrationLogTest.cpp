#include "BatteryCore/supervision/CalibrationLog.hpp"

#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace batterycore {
namespace {

using Lines = std::vector<std::string>;
using testing::UsingLocale;

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
      {"any case", "MITIGATIONS ARE IN PLACE\nchargingupforgauging=1\n",
       {"MITIGATIONS ARE IN PLACE", "chargingupforgauging=1"}},
      {"needle across a line break is not a hit", "ChargingUp\nForGauging", {}},
      {"last line without line feed", "x\nChargingUpForGauging", {"ChargingUpForGauging"}},
      {"carriage returns stay with the line", "ChargingUpForGauging\r\n", {"ChargingUpForGauging\r"}},
      // Folding, not lower-casing: the long s folds to s, and the text around
      // the needle may be any script.
      {"long s is not g", "ChargingUpForGaugin\u017F\u017F", {}},
      {"long s is s", "\u017Ftatus: mitigation\u017F are in place", {"\u017Ftatus: mitigation\u017F are in place"}},
      {"Cyrillic around it", "Ладение: ChargingUpForGauging", {"Ладение: ChargingUpForGauging"}},
  };
  for (const auto& c : cases) EXPECT_EQ(CalibrationLog::hits(c.text), c.hits) << c.what;
}

TEST(CalibrationLog, DottedCapitalIFollowsTheLocale) {
  const char* dotless = "MITIGATIONS ARE IN PLACE";
  const char* dotted = "M\u0130T\u0130GAT\u0130ONS ARE \u0130N PLACE";
  {
    // In English the dotted capital İ folds to "i̇" and does not match.
    const UsingLocale english("en_US");
    EXPECT_EQ(CalibrationLog::hits(dotless).size(), 1u);
    EXPECT_EQ(CalibrationLog::hits(dotted).size(), 0u);
  }
  {
    // In Turkish a capital I is the capital of a dotless ı, and İ of i.
    const UsingLocale turkish("tr_TR");
    EXPECT_EQ(CalibrationLog::hits(dotted).size(), 1u);
    EXPECT_EQ(CalibrationLog::hits(dotless).size(), 0u);
  }
}

}  // namespace
}  // namespace batterycore
