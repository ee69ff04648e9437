#include "BatteryCore/text/MeaningAlerts.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/text/Formatting.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <set>
#include <string>

namespace batterycore {
namespace {

using Kind = BatteryAlert::Kind;

TEST(MeaningAlerts, HeaderExample) {
  EXPECT_EQ(Meaning::notHoldingAlert(83, 80),
            (Meaning::Line{"Your limit isn't holding",
                           "The battery is at 83% and still charging past your 80% limit."}));
  EXPECT_EQ(Meaning::alertSetting(Kind::calibrating).title, "Battery recalibrating");
  EXPECT_EQ(Meaning::alertSetting(Kind::limitTurnedOn).detail, "Shown in the alerts list only.");
}

TEST(MeaningAlerts, EveryKindHasARowAndAnExplanation) {
  std::set<std::string> titles;
  for (const auto kind : BatteryAlert::allCases) {
    const auto name = BatteryAlert::rawValue(kind);
    const auto row = Meaning::alertSetting(kind);
    const auto explanation = Meaning::alertExplanation(kind);
    EXPECT_FALSE(row.title.empty()) << name;
    EXPECT_FALSE(row.detail.empty()) << name;
    EXPECT_FALSE(explanation.empty()) << name;
    EXPECT_TRUE(titles.insert(row.title).second) << name << " shares its title " << row.title;
    for (const auto& text : {row.title, row.detail, explanation}) {
      EXPECT_EQ(text.find("%%"), std::string::npos) << name << ": " << text;
      EXPECT_EQ(text.find("%@"), std::string::npos) << name << ": " << text;
    }
    EXPECT_EQ(row.detail == Meaning::text("alertSetting.listOnly", "Shown in the alerts list only."),
              !AlertPolicy::notifies(kind))
        << name;
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
      {Kind::fullChargeRestored, "Limit back on after a full charge",
       "When a full charge ends and the battery rests again. Off at first."},
      {Kind::healthMilestone, "Battery health drops a point",
       "When health falls a whole point, like 91% to 90%. Off at first."},
      {Kind::smartFullCharge, "Charging to 100% before you leave",
       "Kestrin starts a timed full charge. Needs the option in Charge to 100%."},
      {Kind::backgroundDrain, "App draining the battery in the background",
       "On battery, when an app you're not using takes more than 2.5% of the battery in 15 minutes."},
      {Kind::limitTurnedOn, "Charge limit back on", "Shown in the alerts list only."},
      {Kind::limitUnavailable, "Charge limit unavailable", "Shown in the alerts list only."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::alertSetting(c.kind), (Meaning::Line{c.title, c.detail}))
        << BatteryAlert::rawValue(c.kind);
  }
  EXPECT_EQ(Meaning::alertExplanation(Kind::weeklyNote), Meaning::alertSetting(Kind::weeklyNote).detail);
  EXPECT_EQ(Meaning::alertExplanation(Kind::limitTurnedOn),
            "The charge limit is on again, so the battery stops there and rests.");
}

TEST(MeaningAlerts, PercentagesAreFormattedForTheLocale) {
  const icu::Locale previous = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale("de_DE"), status);
  const auto body = Meaning::notHoldingAlert(83, 80).detail;
  const auto rests = Meaning::limitOnAlert(75).detail;
  const auto over = Meaning::calibrationOverAlert(70).detail;
  const auto german83 = Formatting::percent(83);
  icu::Locale::setDefault(previous, status);
  if (german83 == "83%") GTEST_SKIP() << "no German percent style in this ICU";
  EXPECT_NE(body.find(german83), std::string::npos) << body;
  EXPECT_NE(rests.find(Formatting::percent(75).substr(0, 2)), std::string::npos) << rests;
  EXPECT_NE(over.find("70"), std::string::npos) << over;
}

}  // namespace
}  // namespace batterycore
