// The chargers a Mac has seen, why it is not charging, whether the charger
// plugged in now is big enough, and the alert when it cannot keep up.
#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/health/ChargerReport.hpp"
#include "BatteryCore/health/WeakChargerRule.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace batterycore {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using testing::local;
using testing::onCharger;
using testing::reading;
using Kind = ChargerReason::Kind;
using Verdict = ChargerVerdict;

const Calendar kUtc = Calendar::utc();
const Date kNow = local(kUtc, 2026, 3, 2, 9, 0);

BatterySnapshot on(int watts, std::optional<std::string> name = std::nullopt, Date at = kNow) {
  return reading(at, 60, true, Adapter{watts, std::move(name), false});
}
ChargerMemory::Seen seen(int watts, std::optional<std::string> name = std::nullopt) {
  return {ChargerMemory::identity(Adapter{watts, std::move(name), false}), watts, kNow, kNow};
}

TEST(ChargerMemory, RemembersPluggedInChargersByNameAndWattsInTheOrderFirstSeen) {
  EXPECT_EQ(ChargerMemory::identity({96, "96W USB-C Power Adapter", false}), "96W USB-C Power Adapter/96");
  EXPECT_EQ(ChargerMemory::identity({94, "96W USB-C Power Adapter", false}), "96W USB-C Power Adapter/94");
  EXPECT_EQ(ChargerMemory::identity({65, "", false}), "65");
  ChargerMemory memory;
  auto unplugged = on(96);
  unplugged.pluggedIn = false;
  for (const auto& nothing : {unplugged, reading(kNow, 60, true), on(0)}) memory.remember(nothing, kNow);
  EXPECT_TRUE(memory.chargers.empty()) << "unplugged, no adapter reported, or under one watt";
  memory.remember(on(30), kNow);
  memory.remember(on(96, "96W USB-C Power Adapter"), kNow + hours{1});
  memory.remember(on(30), kNow + days{1});
  EXPECT_EQ(memory.chargers, (std::vector<ChargerMemory::Seen>{
                                 {"30", 30, kNow, kNow + days{1}},
                                 {"96W USB-C Power Adapter/96", 96, kNow + hours{1}, kNow + hours{1}}}));
  // Unseen for 400 days, a charger is forgotten.
  const Date almost = kNow + hours{1} + days{400} - Seconds{1};
  memory.remember(on(30, std::nullopt, almost), almost);
  EXPECT_EQ(memory.chargers.size(), 2u);
  memory.remember(on(30, std::nullopt, almost + Seconds{1}), almost + Seconds{1});
  EXPECT_EQ(memory.chargers.size(), 1u);
}

TEST(ChargerMemory, KeepsTheTwentyMostRecentlySeen) {
  ChargerMemory memory;
  for (int i = 0; i < 20; ++i) memory.remember(on(30 + i, std::nullopt, kNow + hours{i}), kNow + hours{i});
  // The first one is seen again, so the second is now the stalest.
  memory.remember(on(30, std::nullopt, kNow + hours{30}), kNow + hours{30});
  memory.remember(on(140, std::nullopt, kNow + hours{31}), kNow + hours{31});
  ASSERT_EQ(memory.chargers.size(), 20u);
  EXPECT_EQ(memory.chargers[0].watts, 30);
  EXPECT_EQ(memory.chargers[1].watts, 32);
  EXPECT_EQ(memory.chargers.back().watts, 140);
}

TEST(ChargerReason, DecodesTheNotChargingCodesSeenOnRealMacsAndExplainsASlowCharge) {
  const std::pair<std::uint64_t, Kind> codes[] = {
      {0, Kind::none()},              // charging
      {1, Kind::full()},              // plugged, 100%, done
      {0x400001, Kind::full()},       // fully charged
      {0x01000000, Kind::atLimit()},  // held at 80%
      {0x01000001, Kind::atLimit()},  // held and full at once
      {128, Kind::unknown(128)},      // on battery
      {36028797018964096u, Kind::unknown(36028797018964096u)},  // on battery, macOS 26.5
  };
  for (const auto& [code, kind] : codes) {
    EXPECT_EQ(ChargerReason::notCharging(code), (ChargerReason{kind, code})) << code << ": " << kind.name();
  }
  EXPECT_EQ(Kind::unknown(7).unknownCode(), 7u);
  EXPECT_EQ(Kind::full().unknownCode(), std::nullopt);
  EXPECT_EQ(Kind::unknown(7).name(), "unknown");
  EXPECT_EQ(Kind::weakCharger().name(), "weakCharger");

  auto small = onCharger(kNow, Adapter{20, std::nullopt, false}, 5, 5);
  EXPECT_EQ(ChargerReason::slowCharging(small).kind, Kind::none());
  small.slowChargingReason = 0x8;
  EXPECT_EQ(ChargerReason::slowCharging(small).kind, Kind::weakCharger());
  small.thermallyLimitedSeconds = 120;
  EXPECT_EQ(ChargerReason::slowCharging(small).kind, Kind::thermal());
  auto bigEnough = onCharger(kNow, Adapter{96, std::nullopt, false}, 20, 10);
  bigEnough.slowChargingReason = 0x8;
  EXPECT_EQ(ChargerReason::slowCharging(bigEnough), (ChargerReason{Kind::unknown(0x8), 0x8}));
}

// Mac14,5 (14-inch M2 Max) ships with a 96 W adapter; the rating comes before any charger seen.
TEST(ChargerReport, JudgesAgainstTheModelsRating) {
  const std::pair<int, Verdict> cases[] = {
      {140, Verdict::plenty}, {96, Verdict::plenty}, {95, Verdict::enough},   {72, Verdict::enough},
      {71, Verdict::slow},    {48, Verdict::slow},   {47, Verdict::tooSmall}, {1, Verdict::tooSmall},
  };
  for (const auto& [watts, verdict] : cases) {
    EXPECT_EQ(ChargerReport::make(on(watts), {seen(140, "Studio Display")}, "Mac14,5"),
              (ChargerReport{Adapter{watts, std::nullopt, false}, verdict, MacPower{96, 96}, 140}))
        << watts << " W";
  }
  EXPECT_EQ(ChargerReport::make(reading(kNow, 60, true, Adapter{15, "MagSafe", true}), {}, "Mac16,12"),
            (ChargerReport{Adapter{15, "MagSafe", true}, Verdict::slow, MacPower{30, 70}, std::nullopt}));
  auto onBattery = on(96);
  onBattery.pluggedIn = false;
  for (const auto& none : {onBattery, reading(kNow, 60, true), on(0), on(-5)}) {
    EXPECT_EQ(ChargerReport::make(none, {}, "Mac14,5"), std::nullopt);
  }
}

TEST(ChargerReport, WithoutARatingJudgesAgainstTheBiggestOtherCharger) {
  const struct { const char* what; int watts; std::vector<ChargerMemory::Seen> chargers; Verdict verdict;
                 std::optional<int> biggestSeenW; } cases[] = {
      {"no other charger", 30, {}, Verdict::unknown, std::nullopt},
      {"only this charger remembered", 30, {seen(30)}, Verdict::unknown, std::nullopt},
      {"the same watts under another name", 30, {seen(30, "pd charger")}, Verdict::unknown, 30},
      {"100 W next to 140 W", 100, {seen(140), seen(100)}, Verdict::fallbackSeen, 140},
      {"105 W next to 140 W (exactly 0.75)", 105, {seen(140)}, Verdict::unknown, 140},
      {"the biggest of several", 60, {seen(30), seen(96), seen(67)}, Verdict::fallbackSeen, 96},
      {"a remembered 0 W cannot be measured against", 30, {seen(0)}, Verdict::unknown, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ChargerReport::make(on(c.watts), c.chargers, "Mac99,1"),
              (ChargerReport{Adapter{c.watts, std::nullopt, false}, c.verdict, std::nullopt, c.biggestSeenW}))
        << c.what;
  }
}

TEST(ChargerReport, ShowsTheCaptionForTenMinutesAfterPluggingIn) {
  EXPECT_TRUE(ChargerReport::showsCaption(kNow, kNow));
  EXPECT_TRUE(ChargerReport::showsCaption(kNow, kNow + Seconds{599.9}));
  EXPECT_FALSE(ChargerReport::showsCaption(kNow, kNow + Seconds{600}));
  EXPECT_FALSE(ChargerReport::showsCaption(std::nullopt, kNow));
  for (const auto verdict : kAllChargerVerdicts) {
    EXPECT_EQ(chargerVerdictFromName(chargerVerdictName(verdict)), verdict);
  }
  EXPECT_EQ(chargerVerdictFromName("huge"), std::nullopt);
}

// Each laptop's rating is the charger it ships with (the smaller where it was
// sold with two) and the one Apple names for fast charging.
TEST(MacPower, RatesAppleSiliconLaptopsAndNothingElse) {
  EXPECT_EQ(MacPower::forModel("MacBookAir10,1"), (MacPower{30, 30}));
  EXPECT_EQ(MacPower::forModel("Mac14,9"), (MacPower{67, 96}));
  EXPECT_EQ(MacPower::forModel("Mac17,2"), (MacPower{70, 96}));
  for (const auto& entry : macPowerTable()) EXPECT_EQ(MacPower::forModel(entry.model), entry.power) << entry.model;
  // Desktops, Intel laptops and near misses have no rating.
  for (const char* model : {"", "Mac14,3", "Mac13,1", "MacBookPro16,1", "mac14,2", "Mac14,2 ", "Mac14"}) {
    EXPECT_EQ(MacPower::forModel(model), std::nullopt) << '"' << model << '"';
  }
}

const Date kNine = local(kUtc, 2026, 3, 5, 9, 0);
const Adapter k30W{30, "30W USB-C Power Adapter", false};
const Adapter k20W{20, "20W USB-C Power Adapter", false};

BatterySnapshot draining(Date at) { return onCharger(at, k30W, -2.0, 25.0); }
BatterySnapshot drainingOn20W(Date at) { return onCharger(at, k20W, -2.0, 25.0); }
BatterySnapshot fine(Date at) { return onCharger(at, k30W, 5.0, 20.0); }

// Steps the rule once a minute from `from` up to and including `to`; returns
// the alerts raised.
std::vector<BatteryAlert> run(WeakChargerRule& rule, Date from, Date to,
                              const std::function<BatterySnapshot(Date)>& reading) {
  std::vector<BatteryAlert> alerts;
  for (Date t = from; t <= to; t += minutes{1}) {
    auto step = WeakChargerRule::step(rule, reading(t), t, kUtc);
    if (step.alert) alerts.push_back(*step.alert);
    rule = std::move(step.next);
  }
  return alerts;
}

std::vector<Date> times(const std::vector<BatteryAlert>& alerts) {
  std::vector<Date> at;
  for (const auto& alert : alerts) at.push_back(alert.at);
  return at;
}

TEST(WeakChargerRule, AlertsOnceADayPerChargerAfterFiveMinutesOfWarning) {
  const testing::UsingLocale english("en_US");
  WeakChargerRule rule = WeakChargerRule::step({}, draining(kNine), kNine, kUtc).next;
  EXPECT_FALSE(WeakChargerRule::step(rule, draining(kNine + Seconds{299}), kNine + Seconds{299}, kUtc).alert);
  EXPECT_EQ(run(rule, kNine + minutes{5}, kNine + hours{2}, draining),
            (std::vector<BatteryAlert>{{BatteryAlert::Kind::weakCharger, kNine + minutes{5},
                                        "Draining while plugged in",
                                        "This 30 W charger can't keep up with the 25 W your Mac is using, so the "
                                        "battery is running down.",
                                        std::nullopt}}));
  // Another charger has its own alert; back on the first the same day, it is already told.
  EXPECT_EQ(times(run(rule, kNine + hours{3}, kNine + hours{3} + minutes{10}, drainingOn20W)),
            std::vector<Date>{kNine + hours{3} + minutes{5}});
  EXPECT_EQ(rule.chargers.size(), 2u);
  EXPECT_TRUE(run(rule, kNine + hours{8}, kNine + hours{8} + minutes{10}, draining).empty());
  // The next calendar day it may come again, even within one episode.
  const Date lateEvening = local(kUtc, 2026, 3, 5, 23, 0);
  EXPECT_EQ(times(run(rule, lateEvening, lateEvening + hours{2}, drainingOn20W)),
            std::vector<Date>{local(kUtc, 2026, 3, 6, 0, 0)});
}

// An interruption, unplugging, a sleep of more than five minutes between
// readings or a clock set back starts the five minutes over.
TEST(WeakChargerRule, AnInterruptedWarningStartsOver) {
  WeakChargerRule rule;
  EXPECT_TRUE(run(rule, kNine, kNine + minutes{4}, draining).empty());
  EXPECT_TRUE(run(rule, kNine + minutes{5}, kNine + minutes{5}, fine).empty());
  EXPECT_EQ(times(run(rule, kNine + minutes{6}, kNine + minutes{20}, draining)),
            std::vector<Date>{kNine + minutes{11}});

  rule = {};
  run(rule, kNine, kNine + minutes{3}, draining);
  auto onBattery = draining(kNine + minutes{4});
  onBattery.pluggedIn = false;
  rule = WeakChargerRule::step(rule, onBattery, kNine + minutes{4}, kUtc).next;
  EXPECT_EQ(rule.chargers.at(0).since, std::nullopt);
  for (const Date later : {kNine + hours{1}, kNine + hours{1} + minutes{6}, kNine + hours{1}}) {
    auto step = WeakChargerRule::step(rule, draining(later), later, kUtc);
    EXPECT_FALSE(step.alert);
    EXPECT_EQ(step.next.chargers.at(0).since, later) << toIso8601(later);
    rule = step.next;
  }
  // A charger not seen for 400 days is forgotten.
  const Date muchLater = kNine + days{400} + hours{1};
  EXPECT_EQ(WeakChargerRule::step(rule, drainingOn20W(muchLater), muchLater, kUtc).next.chargers.size(), 1u);
}

TEST(WeakChargerRule, SaysWhatKindOfWeakness) {
  const testing::UsingLocale english("en_US");
  const auto overRating = [](Date at) { return onCharger(at, k30W, -12.0, 42.0); };
  const auto slow = [](Date at) {
    auto snapshot = onCharger(at, Adapter{20, std::nullopt, false}, 4.0, 15.0);
    snapshot.slowChargingReason = 0x8;
    return snapshot;
  };
  WeakChargerRule rule;
  const auto over = run(rule, kNine, kNine + minutes{5}, overRating).at(0);
  EXPECT_EQ(over.title, "Your charger can't keep up");
  EXPECT_EQ(over.body,
            "This 30 W charger can't keep up with the 42 W your Mac is using, so the battery is running down.");
  rule = {};
  const auto slowly = run(rule, kNine, kNine + minutes{5}, slow).at(0);
  EXPECT_EQ(slowly.title, "Charging slowly");
  EXPECT_EQ(slowly.body, "This 20 W charger is small for your Mac, so the battery fills slowly.");
}

}  // namespace
}  // namespace batterycore
