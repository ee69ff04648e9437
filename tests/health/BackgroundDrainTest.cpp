#include "BatteryCore/health/BackgroundDrain.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using std::chrono::minutes;

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin", "de_DE");
const Date kStart = testing::local(kBerlin, 2026, 11, 23, 10);

ProcessSample indexer(double cpu, int pid = 7) { return {pid, "indexer", cpu, false, false}; }

struct Ticks {
  BackgroundDrain state;
  std::vector<BatteryAlert> alerts;
  std::vector<BackgroundDrain::Share> shares;  // of the last window that closed

  // On battery with 4000 mAh when full at 11 V: 44 Wh, so 2.5% is 3960 J.
  Ticks& tick(Date at, int remainingMilliAh, const std::vector<ProcessSample>& processes,
              std::optional<double> joules = std::nullopt, bool pluggedIn = false) {
    auto snapshot = testing::reading(at, remainingMilliAh * 100 / 4000, pluggedIn);
    snapshot.fullChargeCapacity = 4000;
    snapshot.remainingCapacity = remainingMilliAh;
    snapshot.voltageMilliV = 11000;
    auto step = BackgroundDrain::step(state, snapshot, processes, joules, at, kBerlin);
    state = step.next;
    alerts.insert(alerts.end(), step.alerts.begin(), step.alerts.end());
    if (!step.shares.empty()) shares = step.shares;
    return *this;
  }
};

TEST(BackgroundDrain, AlertsOncePerProgramPerDayAboveTwoAndAHalfPercentInFifteenMinutes) {
  const testing::UsingLocale english("en_US");
  Ticks exactly;  // 75% → 72.5%
  exactly.tick(kStart, 3000, {indexer(100)}).tick(kStart + minutes{15}, 2900, {indexer(400)});
  ASSERT_EQ(exactly.shares.size(), 1u);
  EXPECT_DOUBLE_EQ(exactly.shares[0].batteryPercent, 2.5);
  EXPECT_TRUE(exactly.alerts.empty());

  Ticks more;
  for (int window = 0; window <= 3; ++window) {
    more.tick(kStart + minutes{15 * window}, 3000 - 101 * window, {indexer(500.0 * window)});
  }
  ASSERT_EQ(more.alerts.size(), 1u);
  EXPECT_EQ(more.alerts[0].kind, BatteryAlert::Kind::backgroundDrain);
  EXPECT_EQ(more.alerts[0].title, "indexer is draining the battery");
  EXPECT_EQ(more.alerts[0].body,
            "It took 3% of the battery in 15 minutes without you using it. Quit it if you don't need it.");
  const Date tomorrow = testing::local(kBerlin, 2026, 11, 24, 10);
  more.tick(tomorrow, 2000, {indexer(0)}).tick(tomorrow + minutes{15}, 1800, {indexer(500)});
  EXPECT_EQ(more.alerts.size(), 2u) << "the next day it may come again";

  // A longer window is scaled to fifteen minutes: 2.6 points in 16 minutes is under the line.
  Ticks longer;
  longer.tick(kStart, 3000, {indexer(0)}).tick(kStart + minutes{16}, 2896, {indexer(900)});
  EXPECT_NEAR(longer.shares.at(0).batteryPercent, 2.6 * 15 / 16, 1e-9);
  EXPECT_TRUE(longer.alerts.empty());
}

// Before fifteen minutes, after more than twenty (the Mac slept), with the
// clock set back, once plugged in, or with no CPU time used, there is no verdict.
TEST(BackgroundDrain, OnlyAWholeWindowOnBatteryIsJudged) {
  Ticks early, slept, back, plugged, idle;
  early.tick(kStart, 3000, {indexer(0)}).tick(kStart + minutes{14}, 2500, {indexer(800)});
  slept.tick(kStart, 3000, {indexer(0)}).tick(kStart + minutes{21}, 2000, {indexer(900)});
  back.tick(kStart, 3000, {indexer(0)}).tick(kStart - minutes{30}, 2000, {indexer(900)});
  idle.tick(kStart, 3000, {indexer(50)}).tick(kStart + minutes{15}, 2000, {indexer(50)});
  plugged.tick(kStart, 3000, {indexer(0)}).tick(kStart + minutes{5}, 2950, {indexer(100)}, std::nullopt, true);
  EXPECT_FALSE(plugged.state.open);
  plugged.tick(kStart + minutes{15}, 2600, {indexer(900)});  // a new window opens at 10:15
  for (const auto* ticks : {&early, &slept, &back, &plugged, &idle}) EXPECT_TRUE(ticks->shares.empty());
  EXPECT_EQ(slept.state.open->openedAt, kStart + minutes{21});
  EXPECT_EQ(back.state.open->openedAt, kStart - minutes{30});
  EXPECT_EQ(idle.state.open->openedAt, kStart + minutes{15});
}

TEST(BackgroundDrain, SharesTheDischargeByCpuTimeOfBackgroundPrograms) {
  const testing::UsingLocale english("en_US");
  const auto named = [](int pid, const char* name, double cpu, bool foreground = false, bool kernel = false) {
    return ProcessSample{pid, name, cpu, foreground, kernel};
  };
  Ticks ticks;  // 4 points discharged; the builder's two processes used 90 s, the player 30 s.
  ticks.tick(kStart, 3000, {named(1, "builder", 0), named(2, "builder", 0), named(3, "player", 0)});
  ticks.tick(kStart + minutes{15}, 2840, {named(1, "builder", 60), named(2, "builder", 30), named(3, "player", 30)});
  ASSERT_EQ(ticks.shares.size(), 2u);
  EXPECT_EQ(ticks.shares[0].name, "builder");
  EXPECT_DOUBLE_EQ(ticks.shares[0].batteryPercent, 3.0);
  EXPECT_DOUBLE_EQ(ticks.shares[1].batteryPercent, 1.0);
  ASSERT_EQ(ticks.alerts.size(), 1u);
  EXPECT_EQ(ticks.alerts[0].title, "builder is draining the battery");

  // The foreground and the kernel's threads take a share but never alert; a pid reused by another name is new.
  Ticks others;
  others.tick(kStart, 3000, {named(1, "make", 0), named(2, "kworker/0:1", 0, false, true), named(3, "old", 0)});
  others.tick(kStart + minutes{15}, 2600,
              {named(1, "make", 500, true), named(2, "kworker/0:1", 500, false, true), named(3, "new", 5000)});
  EXPECT_TRUE(others.alerts.empty());
  ASSERT_EQ(others.shares.size(), 2u);
  EXPECT_EQ(others.shares[0].name, "");  // the kernel's threads, told as one
}

TEST(BackgroundDrain, UsesThePackageEnergyWhereItIsReadable) {
  const testing::UsingLocale english("en_US");
  // The battery fell 10 points (screen and all), but the processor used
  // 4000 J, all of it the indexer's: 2.53% of 44 Wh.
  Ticks ticks;
  ticks.tick(kStart, 3000, {indexer(0)}, 1000.0).tick(kStart + minutes{15}, 2600, {indexer(900)}, 5000.0);
  ASSERT_EQ(ticks.alerts.size(), 1u);
  EXPECT_NEAR(ticks.shares[0].batteryPercent, 4000.0 / 158400 * 100, 1e-9);
  EXPECT_EQ(ticks.alerts[0].technicalBody, "Took 3% of the battery in 15 minutes in the background, averaging 4.4 W.");

  // A counter that wrapped is not believed; the discharge is shared instead.
  Ticks wrapped;
  wrapped.tick(kStart, 3000, {indexer(0)}, 5000.0).tick(kStart + minutes{15}, 2990, {indexer(900)}, 10.0);
  EXPECT_DOUBLE_EQ(wrapped.shares[0].batteryPercent, 0.25);
}

}  // namespace
}  // namespace batterycore
