#include "BatteryCore/health/ChargerReport.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::local;
using testing::reading;

const Calendar kUtc = Calendar::utc();
const Date kNow = local(kUtc, 2026, 3, 5, 10, 0);

BatterySnapshot on(int watts, std::optional<std::string> name = std::nullopt) {
  return reading(kNow, 60, true, Adapter{watts, std::move(name), false});
}

ChargerMemory::Seen seen(int watts, std::optional<std::string> name = std::nullopt) {
  return {ChargerMemory::identity(Adapter{watts, std::move(name), false}), watts, kNow, kNow};
}

TEST(ChargerReport, HeaderExampleHolds) {
  const auto report = ChargerReport::make(on(96), {}, "Mac15,9");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->verdict, ChargerVerdict::slow);
  EXPECT_TRUE(ChargerReport::showsCaption(kNow, kNow + Seconds{599}));
}

TEST(ChargerReport, JudgesAgainstTheModelsRating) {
  // Mac14,5 (14-inch M2 Max) ships with a 96 W adapter.
  struct Case {
    int watts;
    ChargerVerdict expected;
  };
  const Case cases[] = {
      {140, ChargerVerdict::plenty}, {96, ChargerVerdict::plenty},  {95, ChargerVerdict::enough},
      {72, ChargerVerdict::enough},  {71, ChargerVerdict::slow},    {48, ChargerVerdict::slow},
      {47, ChargerVerdict::tooSmall}, {1, ChargerVerdict::tooSmall},
  };
  for (const auto& c : cases) {
    const auto report = ChargerReport::make(on(c.watts), {}, "Mac14,5");
    ASSERT_TRUE(report) << c.watts;
    EXPECT_EQ(report->verdict, c.expected) << c.watts << " W: " << chargerVerdictName(report->verdict);
    EXPECT_EQ(report->power, (MacPower{96, 96}));
  }
}

TEST(ChargerReport, WithoutARatingJudgesAgainstTheBiggestOtherCharger) {
  struct Case {
    const char* what;
    int watts;
    std::vector<ChargerMemory::Seen> chargers;
    ChargerVerdict expected;
    std::optional<int> biggestSeenW;
  };
  const Case cases[] = {
      {"no other charger", 30, {}, ChargerVerdict::unknown, std::nullopt},
      {"only this charger remembered", 30, {seen(30)}, ChargerVerdict::unknown, std::nullopt},
      {"100 W next to 140 W", 100, {seen(140), seen(100)}, ChargerVerdict::fallbackSeen, 140},
      {"105 W next to 140 W (exactly 0.75)", 105, {seen(140)}, ChargerVerdict::unknown, 140},
      {"the biggest of several", 60, {seen(30), seen(96), seen(67)}, ChargerVerdict::fallbackSeen, 96},
      {"bigger than any before", 140, {seen(96)}, ChargerVerdict::unknown, 96},
  };
  for (const auto& c : cases) {
    const auto report = ChargerReport::make(on(c.watts), c.chargers, "Mac99,1");
    ASSERT_TRUE(report) << c.what;
    EXPECT_EQ(report->verdict, c.expected) << c.what;
    EXPECT_EQ(report->biggestSeenW, c.biggestSeenW) << c.what;
    EXPECT_EQ(report->power, std::nullopt) << c.what;
  }
}

TEST(ChargerReport, TellsChargersApartByNameAndWatts) {
  // The same watts under another name is another charger.
  const auto report =
      ChargerReport::make(on(30, "30W USB-C Power Adapter"), {seen(30, "pd charger"), seen(30)}, "");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->biggestSeenW, 30);
  EXPECT_EQ(report->verdict, ChargerVerdict::unknown);
}

TEST(ChargerReport, NoReportWithoutAPluggedInAdapter) {
  auto onBattery = on(96);
  onBattery.pluggedIn = false;
  EXPECT_EQ(ChargerReport::make(onBattery, {}, "Mac14,5"), std::nullopt);
  EXPECT_EQ(ChargerReport::make(reading(kNow, 60, true), {}, "Mac14,5"), std::nullopt);
  EXPECT_EQ(ChargerReport::make(on(0), {}, "Mac14,5"), std::nullopt);
  EXPECT_EQ(ChargerReport::make(on(-5), {}, "Mac14,5"), std::nullopt);
}

TEST(ChargerReport, KeepsTheAdapterAsReported) {
  auto wireless = reading(kNow, 60, true, Adapter{15, "MagSafe", true});
  const auto report = ChargerReport::make(wireless, {}, "Mac16,12");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->adapter, (Adapter{15, "MagSafe", true}));
  EXPECT_EQ(report->verdict, ChargerVerdict::slow);  // 15 W is half of the Air's 30 W
}

TEST(ChargerReport, ShowsTheCaptionForTenMinutesAfterPluggingIn) {
  struct Case {
    std::optional<Date> pluggedInAt;
    Date now;
    bool expected;
  };
  const Case cases[] = {
      {kNow, kNow, true},
      {kNow, kNow + Seconds{599}, true},
      {kNow, kNow + Seconds{599.9}, true},
      {kNow, kNow + Seconds{600}, false},
      {kNow, kNow + Seconds{3600}, false},
      {std::nullopt, kNow, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ChargerReport::showsCaption(c.pluggedInAt, c.now), c.expected)
        << (c.pluggedInAt ? secondsBetween(*c.pluggedInAt, c.now) : -1.0);
  }
}

TEST(ChargerVerdict, NamesRoundTrip) {
  for (const auto verdict : kAllChargerVerdicts) {
    EXPECT_EQ(chargerVerdictFromName(chargerVerdictName(verdict)), verdict);
  }
  EXPECT_EQ(chargerVerdictName(ChargerVerdict::fallbackSeen), "fallbackSeen");
  EXPECT_EQ(chargerVerdictFromName("huge"), std::nullopt);
}

}  // namespace
}  // namespace batterycore
