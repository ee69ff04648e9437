// The health tab's words in English, one table per family of texts.
#include "BatteryCore/text/MeaningHealth.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using Projection = HealthTrend::Projection;
using Verdict = ChargerVerdict;
constexpr auto kSimple = DetailLevel::simple;
constexpr auto kTechnical = DetailLevel::technical;

class MeaningHealth : public ::testing::Test {
  const testing::UsingLocale english_{"en_US"};
};

TEST_F(MeaningHealth, TimeAtHighCharge) {
  const HighChargeLedger::MonthSummary withHistory{12.0, 30.0, 20.5, 10, 100.0};
  const HighChargeLedger::MonthSummary firstMonth{0.5, 2.0, std::nullopt, 1, 1.0};
  EXPECT_EQ(Meaning::highCharge(withHistory, kSimple),
            (Meaning::Line{"12 h above 80% this month",
                           "Last month it was 21 h. You were plugged in for 30 h. Without a limit, most of that would "
                           "have been spent at 100%, where a battery ages fastest."}));
  EXPECT_EQ(Meaning::highCharge(firstMonth, kTechnical),
            (Meaning::Line{"30 min above 80% this month",
                           "First month of history. Plugged in 2 h, 30 min of it above 80%. Without a limit, most of "
                           "the plugged-in time would have been at 100%."}));
  // The panel waits for an hour of samples.
  EXPECT_EQ(Meaning::highChargePanel(firstMonth, kSimple),
            "Hours above 80% this month, where a battery ages fastest. Less is better.");
  EXPECT_EQ(Meaning::highChargePanel(withHistory, kTechnical),
            "Above 80% this month, plugged in or not. Plugged in 30 h.");
  EXPECT_EQ(Meaning::highChargePanel({0.9, 0.99, std::nullopt, 1, 0.99}, kSimple),
            "Counting starts now. Check back tomorrow.");
  EXPECT_EQ(Meaning::habitsFootnote(kTechnical), "Counted above 80% regardless of the limit. Time is booked each tick. "
                                                 "Gaps over 65 minutes (sleep) aren't counted.");
  EXPECT_EQ(Meaning::habitsFootnote(kSimple), "Above 80% is where a battery starts to age faster, so that's what gets "
                                              "counted, whatever your limit is set to.");
}

TEST_F(MeaningHealth, HealthLineAndStatusBands) {
  const struct { std::optional<int> percent; DetailLevel level; const char* detail; } lines[] = {
      {95, kSimple, "Your battery holds 95% of what it did new."},
      {94, kSimple, "Your battery holds 94% of what it did new. Normal wear, nothing to do."},
      {90, kSimple, "Your battery holds 90% of what it did new. Normal wear, nothing to do."},
      {89, kSimple, "Your battery holds 89% of what it did new."},
      {92, kTechnical, "Full charge capacity is 92% of design."},
  };
  for (const auto& c : lines) {
    EXPECT_EQ(Meaning::health(c.percent, 300, c.level),
              (Meaning::Line{std::to_string(*c.percent) + "% health", c.detail}));
  }
  EXPECT_EQ(Meaning::health(std::nullopt, 300, kSimple),
            (Meaning::Line{"Battery health", "Your Mac isn't reporting the battery's original size right now, so "
                                             "health can't be worked out."}));
  const struct { int percent; std::optional<int> cycles; const char* status; } bands[] = {
      {100, std::nullopt, "Like new."}, {95, 150, "Like new."}, {94, std::nullopt, "Normal wear."},
      {90, std::nullopt, "Normal wear."}, {94, 150, "Normal for 150 cycles."},
      {89, std::nullopt, "Showing its age, still fine."}, {80, 900, "Showing its age, still fine."},
      {79, std::nullopt, "Below 80%. Apple recommends a battery service at this point."},
  };
  for (const auto& c : bands) EXPECT_EQ(Meaning::healthStatus(c.percent, c.cycles), c.status) << c.percent;
}

TEST_F(MeaningHealth, ProjectionText) {
  const Projection soon{2.9, -1.26, 45}, months{3.0, -1.26, 45};
  const std::string slows = " Keeping the limit on slows this down.";
  const char* steady = "Holding steady so far, so there's no date to project yet.";
  const struct { std::optional<Projection> projection; int percent, days; DetailLevel level; std::string text; }
      cases[] = {
      {soon, 79, 45, kSimple, "Already below 80%, where Apple recommends a battery service."},
      {soon, 84, 45, kSimple, "At this pace, a few months until 80%, when Apple recommends a battery service." + slows},
      {months, 84, 45, kSimple,
       "At this pace, about 3 months until 80%, when Apple recommends a battery service." + slows},
      {months, 84, 45, kTechnical,
       "Losing about 1.3 points a month over the last 45 days: about 3 months until 80%." + slows},
      {std::nullopt, 93, 29, kSimple, "Too early to project. Check back in a month."},
      {std::nullopt, 93, 29, kTechnical,
       "Too early to project. A projection needs 30 daily samples from the last 180 days."},
      {std::nullopt, 93, 30, kSimple, steady},
      {std::nullopt, 93, 30, kTechnical, "Under 1 point of change over the last 30 days, too little to project."},
      {std::nullopt, 80, 40, kSimple, steady},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::healthProjection(c.projection, c.percent, c.days, c.level), c.text)
        << c.percent << "% after " << c.days << " days, " << detailLevelRaw(c.level);
  }
  EXPECT_EQ(Meaning::projectionCaveat(), "A rough guess from your last few months.");
}

TEST_F(MeaningHealth, ChargerCardPerVerdictAndLevel) {
  const MacPower m3Max14{96, 96}, air{30, 70};
  const auto report = [](int watts, Verdict verdict, std::optional<MacPower> power, std::optional<int> biggest) {
    return ChargerReport{Adapter{watts, std::nullopt, false}, verdict, power, biggest};
  };
  const char* unknown = "Can't tell yet whether this charger is big enough for this Mac.";
  const struct { ChargerReport report; const char* simple; const char* technical; } cases[] = {
      {report(96, Verdict::plenty, m3Max14, std::nullopt), "Plenty of power for this Mac.",
       "96 W adapter against this Mac's 96 W rating (96 W for fast charging). At or above the rating."},
      {report(72, Verdict::enough, m3Max14, std::nullopt),
       "Enough power for this Mac. It may charge a little slower while you work hard.",
       "72 W adapter against this Mac's 96 W rating (96 W for fast charging). 75% of the rating or more."},
      {report(20, Verdict::slow, air, std::nullopt),
       "A bit small for this Mac. It charges slowly, and heavy work can drain the battery.",
       "20 W adapter against this Mac's 30 W rating (70 W for fast charging). Half the rating or more, under 75%."},
      {report(12, Verdict::tooSmall, air, std::nullopt),
       "Too small for this Mac. The battery may run down even while plugged in.",
       "12 W adapter against this Mac's 30 W rating (70 W for fast charging). Under half the rating."},
      {report(60, Verdict::fallbackSeen, std::nullopt, 140),
       "Smaller than the 140 W charger you've used before, so charging is slower.",
       "No rating known for this model; the biggest charger seen on this Mac gives 140 W."},
      {report(60, Verdict::fallbackSeen, std::nullopt, std::nullopt), unknown, "No rating known for this model."},
      {report(120, Verdict::unknown, std::nullopt, std::nullopt), unknown, "No rating known for this model."},
  };
  for (const auto& c : cases) {
    const std::string title = "Gives up to " + std::to_string(c.report.adapter.watts) + " W";
    EXPECT_EQ(Meaning::chargerCard(c.report, kSimple), (Meaning::Line{title, c.simple}))
        << chargerVerdictName(c.report.verdict);
    EXPECT_EQ(Meaning::chargerCard(c.report, kTechnical), (Meaning::Line{title, c.technical}))
        << chargerVerdictName(c.report.verdict);
  }
  EXPECT_EQ(Meaning::chargerCardTitle(), "Charger");
  const ChargerReport wireless{Adapter{15, std::nullopt, true}, Verdict::slow, air, std::nullopt};
  EXPECT_EQ(Meaning::chargerCard(wireless, kTechnical),
            (Meaning::Line{"Wireless, gives up to 15 W",
                           "15 W adapter against this Mac's 30 W rating (70 W for fast charging). Half the rating or "
                           "more, under 75%. Wireless, slower than a cable."}));
}

}  // namespace
}  // namespace batterycore
