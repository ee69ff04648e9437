#include "BatteryCore/text/MeaningHealth.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::UsingLocale;
using Summary = HighChargeLedger::MonthSummary;
using Projection = HealthTrend::Projection;
constexpr auto kSimple = DetailLevel::simple;
constexpr auto kTechnical = DetailLevel::technical;

TEST(MeaningHealth, HeaderExampleHolds) {
  UsingLocale english("en_US");
  EXPECT_EQ(Meaning::health(92, 310, kSimple),
            (Meaning::Line{"92% health",
                           "Your battery holds 92% of what it did new. Normal wear, nothing to do."}));
  EXPECT_EQ(Meaning::healthStatus(91), "Normal wear.");
  EXPECT_EQ(Meaning::healthStatus(91, 312), "Normal for 312 cycles.");
  EXPECT_EQ(Meaning::highChargePanel(Summary{0, 0, std::nullopt, 1, 0.5}, kSimple),
            "Counting starts now. Check back tomorrow.");
}

TEST(MeaningHealth, HighChargeCard) {
  UsingLocale english("en_US");
  const Summary withHistory{12.0, 30.0, 20.5, 10, 100.0};
  const Summary firstMonth{0.5, 2.0, std::nullopt, 1, 3.0};
  struct Case {
    Summary summary;
    DetailLevel level;
    Meaning::Line expected;
  };
  const Case cases[] = {
      {withHistory, kSimple,
       {"12 h above 80% this month",
        "Last month it was 21 h. You were plugged in for 30 h. Without a limit, most of that would have "
        "been spent at 100%, where a battery ages fastest."}},
      {withHistory, kTechnical,
       {"12 h above 80% this month",
        "Last month: 21 h. Plugged in 30 h, 12 h of it above 80%. Without a limit, most of the plugged-in "
        "time would have been at 100%."}},
      {firstMonth, kSimple,
       {"30 min above 80% this month",
        "Your first month of history. You were plugged in for 2 h. Without a limit, most of that would "
        "have been spent at 100%, where a battery ages fastest."}},
      {firstMonth, kTechnical,
       {"30 min above 80% this month",
        "First month of history. Plugged in 2 h, 30 min of it above 80%. Without a limit, most of the "
        "plugged-in time would have been at 100%."}},
  };
  for (const auto& c : cases) EXPECT_EQ(Meaning::highCharge(c.summary, c.level), c.expected);
}

TEST(MeaningHealth, HighChargePanelWaitsForAFullHour) {
  UsingLocale english("en_US");
  const Summary almost{0.9, 0.99, std::nullopt, 1, 0.99};
  const Summary hour{0.9, 1.0, std::nullopt, 1, 1.0};
  EXPECT_EQ(Meaning::highChargePanel(almost, kTechnical), "Counting starts now. Check back tomorrow.");
  EXPECT_EQ(Meaning::highChargePanel(hour, kSimple),
            "Hours above 80% this month, where a battery ages fastest. Less is better.");
  EXPECT_EQ(Meaning::highChargePanel(hour, kTechnical),
            "Above 80% this month, plugged in or not. Plugged in 1 h.");
}

TEST(MeaningHealth, HabitsFootnoteNamesTheGap) {
  UsingLocale english("en_US");
  EXPECT_EQ(Meaning::habitsFootnote(kTechnical),
            "Counted above 80% regardless of the limit. Time is booked each tick. Gaps over 65 minutes "
            "(sleep) aren't counted.");
  EXPECT_EQ(Meaning::habitsFootnote(kSimple),
            "Above 80% is where a battery starts to age faster, so that's what gets counted, whatever your "
            "limit is set to.");
  EXPECT_EQ(Meaning::Habits::legendAbove80(), "Above 80%");
  EXPECT_EQ(Meaning::Habits::chartLabel(), "Hours above 80% each day this month");
}

TEST(MeaningHealth, HealthLine) {
  UsingLocale english("en_US");
  struct Case {
    std::optional<int> percent;
    DetailLevel level;
    Meaning::Line expected;
  };
  const Case cases[] = {
      {95, kSimple, {"95% health", "Your battery holds 95% of what it did new."}},
      {94, kSimple, {"94% health", "Your battery holds 94% of what it did new. Normal wear, nothing to do."}},
      {90, kSimple, {"90% health", "Your battery holds 90% of what it did new. Normal wear, nothing to do."}},
      {89, kSimple, {"89% health", "Your battery holds 89% of what it did new."}},
      {92, kTechnical, {"92% health", "Full charge capacity is 92% of design."}},
      {std::nullopt, kSimple,
       {"Battery health",
        "Your Mac isn't reporting the battery's original size right now, so health can't be worked out."}},
  };
  for (const auto& c : cases) EXPECT_EQ(Meaning::health(c.percent, 300, c.level), c.expected);
}

TEST(MeaningHealth, HealthStatusBands) {
  UsingLocale english("en_US");
  struct Case {
    int percent;
    std::optional<int> cycles;
    const char* expected;
  };
  const Case cases[] = {
      {100, std::nullopt, "Like new."},
      {95, std::nullopt, "Like new."},
      {94, std::nullopt, "Normal wear."},
      {90, std::nullopt, "Normal wear."},
      {94, 150, "Normal for 150 cycles."},
      {95, 150, "Like new."},
      {89, std::nullopt, "Showing its age, still fine."},
      {80, 900, "Showing its age, still fine."},
      {79, std::nullopt, "Below 80%. Apple recommends a battery service at this point."},
  };
  for (const auto& c : cases) EXPECT_EQ(Meaning::healthStatus(c.percent, c.cycles), c.expected) << c.percent;
}

TEST(MeaningHealth, ProjectionText) {
  UsingLocale english("en_US");
  const Projection soon{2.9, -1.26, 45};
  const Projection months{3.0, -1.26, 45};
  const Projection years{30.0, -0.34, 120};
  struct Case {
    const char* what;
    std::optional<Projection> projection;
    int percent;
    int days;
    DetailLevel level;
    const char* expected;
  };
  const Case cases[] = {
      {"below 80", soon, 79, 45, kSimple, "Already below 80%, where Apple recommends a battery service."},
      {"below 80 without a projection", std::nullopt, 75, 3, kTechnical,
       "Already below 80%, where Apple recommends a battery service."},
      {"2.9 months", soon, 84, 45, kSimple,
       "At this pace, a few months until 80%, when Apple recommends a battery service. Keeping the limit on "
       "slows this down."},
      {"3.0 months", months, 84, 45, kSimple,
       "At this pace, about 3 months until 80%, when Apple recommends a battery service. Keeping the limit "
       "on slows this down."},
      {"technical pace", months, 84, 45, kTechnical,
       "Losing about 1.3 points a month over the last 45 days: about 3 months until 80%. Keeping the limit "
       "on slows this down."},
      {"years away", years, 90, 120, kTechnical,
       "Losing about 0.3 points a month over the last 120 days: about 2.5 years until 80%. Keeping the "
       "limit on slows this down."},
      {"29 days", std::nullopt, 93, 29, kSimple, "Too early to project. Check back in a month."},
      {"29 days, technical", std::nullopt, 93, 29, kTechnical,
       "Too early to project. A projection needs 30 daily samples from the last 180 days."},
      {"30 days, flat", std::nullopt, 93, 30, kSimple,
       "Holding steady so far, so there's no date to project yet."},
      {"30 days, flat, technical", std::nullopt, 93, 30, kTechnical,
       "Under 1 point of change over the last 30 days, too little to project."},
      {"at 80 with no projection", std::nullopt, 80, 40, kSimple,
       "Holding steady so far, so there's no date to project yet."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::healthProjection(c.projection, c.percent, c.days, c.level), c.expected) << c.what;
  }
  EXPECT_EQ(Meaning::projectionCaveat(), "A rough guess from your last few months.");
}

ChargerReport report(int watts, ChargerVerdict verdict, std::optional<MacPower> power,
                     std::optional<int> biggest = std::nullopt, bool wireless = false) {
  return {Adapter{watts, std::nullopt, wireless}, verdict, power, biggest};
}

TEST(MeaningHealth, ChargerCardPerVerdictAndLevel) {
  UsingLocale english("en_US");
  const MacPower m3Max14{96, 96};
  const MacPower air{30, 70};
  struct Case {
    ChargerReport report;
    const char* simple;
    const char* technical;
  };
  const Case cases[] = {
      {report(96, ChargerVerdict::plenty, m3Max14), "Plenty of power for this Mac.",
       "96 W adapter against this Mac's 96 W rating (96 W for fast charging). At or above the rating."},
      {report(72, ChargerVerdict::enough, m3Max14),
       "Enough power for this Mac. It may charge a little slower while you work hard.",
       "72 W adapter against this Mac's 96 W rating (96 W for fast charging). 75% of the rating or more."},
      {report(20, ChargerVerdict::slow, air),
       "A bit small for this Mac. It charges slowly, and heavy work can drain the battery.",
       "20 W adapter against this Mac's 30 W rating (70 W for fast charging). Half the rating or more, "
       "under 75%."},
      {report(12, ChargerVerdict::tooSmall, air),
       "Too small for this Mac. The battery may run down even while plugged in.",
       "12 W adapter against this Mac's 30 W rating (70 W for fast charging). Under half the rating."},
      {report(60, ChargerVerdict::fallbackSeen, std::nullopt, 140),
       "Smaller than the 140 W charger you've used before, so charging is slower.",
       "No rating known for this model; the biggest charger seen on this Mac gives 140 W."},
      {report(120, ChargerVerdict::unknown, std::nullopt, 140),
       "Can't tell yet whether this charger is big enough for this Mac.",
       "No rating known for this model; the biggest charger seen on this Mac gives 140 W."},
      {report(60, ChargerVerdict::unknown, std::nullopt), "Can't tell yet whether this charger is big enough for this Mac.",
       "No rating known for this model."},
  };
  for (const auto& c : cases) {
    const auto simple = Meaning::chargerCard(c.report, kSimple);
    const auto technical = Meaning::chargerCard(c.report, kTechnical);
    const std::string gives = "Gives up to " + std::to_string(c.report.adapter.watts) + " W";
    EXPECT_EQ(simple, (Meaning::Line{gives, c.simple})) << chargerVerdictName(c.report.verdict);
    EXPECT_EQ(technical, (Meaning::Line{gives, c.technical})) << chargerVerdictName(c.report.verdict);
  }
  EXPECT_EQ(Meaning::chargerCardTitle(), "Charger");
}

TEST(MeaningHealth, WirelessChargerCard) {
  UsingLocale english("en_US");
  const auto wireless = report(15, ChargerVerdict::slow, MacPower{30, 70}, std::nullopt, true);
  EXPECT_EQ(Meaning::chargerCard(wireless, kTechnical),
            (Meaning::Line{"Wireless, gives up to 15 W",
                           "15 W adapter against this Mac's 30 W rating (70 W for fast charging). Half the "
                           "rating or more, under 75%. Wireless, slower than a cable."}));
}

// With a locale that has no table every text is the default written in the
// code; with English it is the catalogue's. They must read the same.
TEST(MeaningHealth, DefaultsMatchTheEnglishCatalogue) {
  const Summary summary{12.0, 30.0, 20.5, 10, 100.0};
  const Summary first{0.5, 2.0, std::nullopt, 1, 0.5};
  const std::vector<std::function<std::string()>> texts = {
      [&] { return Meaning::highCharge(summary, kSimple).title + Meaning::highCharge(summary, kSimple).detail; },
      [&] { return Meaning::highCharge(summary, kTechnical).detail; },
      [&] { return Meaning::highCharge(first, kSimple).detail + Meaning::highCharge(first, kTechnical).detail; },
      [&] { return Meaning::highChargePanel(summary, kSimple) + Meaning::highChargePanel(summary, kTechnical); },
      [&] { return Meaning::highChargePanel(first, kSimple); },
      [] { return Meaning::habitsFootnote(kSimple) + Meaning::habitsFootnote(kTechnical); },
      [] {
        return Meaning::Habits::title() + Meaning::Habits::thisMonth() + Meaning::Habits::lastMonth() +
               Meaning::Habits::legendAbove80() + Meaning::Habits::legendPlugged() +
               Meaning::Habits::chartLabel() + Meaning::Habits::chartAxis();
      },
      [] {
        return Meaning::health(92, 1, kSimple).title + Meaning::health(92, 1, kSimple).detail +
               Meaning::health(92, 1, kTechnical).detail + Meaning::health(std::nullopt, 1, kSimple).title +
               Meaning::health(std::nullopt, 1, kSimple).detail;
      },
      [] {
        return Meaning::healthStatus(99) + Meaning::healthStatus(92) + Meaning::healthStatus(92, 7) +
               Meaning::healthStatus(85) + Meaning::healthStatus(70);
      },
      [] {
        std::string all;
        for (const auto level : kAllDetailLevels) {
          all += Meaning::healthProjection(Projection{2.0, -1.5, 40}, 90, 40, level);
          all += Meaning::healthProjection(std::nullopt, 90, 10, level);
          all += Meaning::healthProjection(std::nullopt, 90, 40, level);
          all += Meaning::healthProjection(std::nullopt, 70, 40, level);
        }
        return all + Meaning::projectionCaveat();
      },
      [] {
        using namespace Meaning::Health;
        return tabTitle() + chartLabel() + chartAxis() + range90Days() + range1Year() + rangeAll() +
               figureFull() + figureDesign() + figureTankNew() + figureTankNow() + notReported() +
               figuresCaption(kSimple) + figuresCaption(kTechnical) + serviceLine() + unknown();
      },
      [] {
        std::string all = Meaning::chargerCardTitle();
        for (const auto verdict : kAllChargerVerdicts) {
          for (const auto level : kAllDetailLevels) {
            const auto line = Meaning::chargerCard(report(60, verdict, MacPower{96, 140}, 140, true), level);
            const auto unrated = Meaning::chargerCard(report(60, verdict, std::nullopt), level);
            all += line.title + line.detail + unrated.title + unrated.detail;
          }
        }
        return all + Meaning::chargerCard(report(60, ChargerVerdict::plenty, std::nullopt), kSimple).title;
      },
      [] {
        const auto a = Meaning::weakChargerDrains(30, 25);
        const auto b = Meaning::weakChargerDrains(30, 45);
        const auto c = Meaning::weakChargerSlow(20);
        return a.title + a.detail + b.title + c.title + c.detail;
      },
  };
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::string catalogue;
    std::string defaults;
    {
      UsingLocale english("en_US");
      catalogue = texts[i]();
    }
    {
      UsingLocale root("");
      defaults = texts[i]();
    }
    EXPECT_EQ(defaults, catalogue) << "text group " << i;
  }
}

}  // namespace
}  // namespace batterycore
