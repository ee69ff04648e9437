#include "BatteryCore/text/MeaningAlerts.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace batterycore {
namespace {

using Kind = BatteryAlert::Kind;

TEST(MeaningAlerts, EveryKindHasARowAndAnExplanation) {
  std::set<std::string> titles;
  for (const auto kind : BatteryAlert::allCases) {
    SCOPED_TRACE(BatteryAlert::rawValue(kind));
    const auto row = Meaning::alertSetting(kind);
    const auto explanation = Meaning::alertExplanation(kind);
    EXPECT_TRUE(titles.insert(row.title).second) << "a second " << row.title;
    for (const auto& text : {row.title, row.detail, explanation}) {
      EXPECT_FALSE(text.empty());
      EXPECT_EQ(text.find("%%"), std::string::npos) << text;
      EXPECT_EQ(text.find("%@"), std::string::npos) << text;
    }
    EXPECT_EQ(row.detail == "Shown in the alerts list only.", !AlertPolicy::notifies(kind));
  }
}

TEST(MeaningAlerts, SettingRowsInEnglish) {
  struct Case {
    Kind kind;
    const char* title;
    const char* detail;
  };
  const Case cases[] = {
      {Kind::limitNotHolding, "Limit not holding", "When the battery charges past your limit."},
      {Kind::healthMilestone, "Battery health drops a point",
       "When health falls a whole point, like 91% to 90%. Off at first."},
      {Kind::smartFullCharge, "Charging to 100% before you leave",
       "Kestrin starts a timed full charge. Needs the option in Charge to 100%."},
      {Kind::limitTurnedOn, "Charge limit back on", "Shown in the alerts list only."},
      {Kind::limitUnavailable, "Charge limit unavailable", "Shown in the alerts list only."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::alertSetting(c.kind), (Meaning::Line{c.title, c.detail})) << BatteryAlert::rawValue(c.kind);
  }
  EXPECT_EQ(Meaning::alertExplanation(Kind::weeklyNote), Meaning::alertSetting(Kind::weeklyNote).detail);
  EXPECT_EQ(Meaning::alertExplanation(Kind::limitTurnedOn),
            "The charge limit is on again, so the battery stops there and rests.");
}

TEST(MeaningAlerts, PercentagesAreFormattedForTheLocale) {
  const testing::UsingLocale german("de_DE");
  const auto german83 = Formatting::percent(83);
  if (german83 == "83%") GTEST_SKIP() << "no German percent style in this ICU";
  EXPECT_NE(Meaning::notHoldingAlert(83, 80).detail.find(german83), std::string::npos);
  EXPECT_NE(Meaning::limitOnAlert(75).detail.find("75"), std::string::npos);
  EXPECT_NE(Meaning::calibrationOverAlert(70).detail.find("70"), std::string::npos);
}

}  // namespace
}  // namespace batterycore
