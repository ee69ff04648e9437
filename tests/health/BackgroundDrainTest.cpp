#include "BatteryCore/health/BackgroundDrain.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"
#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace batterycore {
namespace {

using std::chrono::minutes;
using testing::local;

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin", "de_DE");

// On battery with 4000 mAh when full at 11 V: 44 Wh, so 2.5% is 3960 J.
BatterySnapshot onBattery(Date at, int remainingMilliAh) {
  auto snapshot = testing::reading(at, remainingMilliAh * 100 / 4000, false);
  snapshot.fullChargeCapacity = 4000;
  snapshot.remainingCapacity = remainingMilliAh;
  snapshot.voltageMilliV = 11000;
  return snapshot;
}

struct Ticks {
  BackgroundDrain state;
  std::vector<BatteryAlert> alerts;
  std::vector<BackgroundDrain::Share> shares;

  void tick(const BatterySnapshot& snapshot, const std::vector<ProcessSample>& processes,
            std::optional<double> joules = std::nullopt) {
    auto step = BackgroundDrain::step(state, snapshot, processes, joules, snapshot.at, kBerlin);
    state = step.next;
    alerts.insert(alerts.end(), step.alerts.begin(), step.alerts.end());
    if (!step.shares.empty()) shares = step.shares;
  }
};

ProcessSample process(int pid, const char* name, double cpu, bool foreground = false) {
  return {pid, name, cpu, foreground, false};
}

class BackgroundDrainTest : public ::testing::Test {
 protected:
  const batterycore::testing::UsingLocale english_{"en_US"};
  const Date start_ = local(kBerlin, 2026, 11, 23, 10);
};

TEST_F(BackgroundDrainTest, AlertsAboveTwoAndAHalfPercentInFifteenMinutesNotAtIt) {
  Ticks exactly;
  exactly.tick(onBattery(start_, 3000), {process(7, "indexer", 100)});
  exactly.tick(onBattery(start_ + minutes{15}, 2900), {process(7, "indexer", 400)});  // 75% → 72.5%
  ASSERT_EQ(exactly.shares.size(), 1u);
  EXPECT_DOUBLE_EQ(exactly.shares[0].batteryPercent, 2.5);
  EXPECT_TRUE(exactly.alerts.empty());

  Ticks more;
  more.tick(onBattery(start_, 3000), {process(7, "indexer", 100)});
  more.tick(onBattery(start_ + minutes{15}, 2899), {process(7, "indexer", 400)});
  ASSERT_EQ(more.alerts.size(), 1u);
  EXPECT_EQ(more.alerts[0].kind, BatteryAlert::Kind::backgroundDrain);
  EXPECT_EQ(more.alerts[0].title, "indexer is draining the battery");
  EXPECT_EQ(more.alerts[0].body,
            "It took 3% of the battery in 15 minutes without you using it. Quit it if you don't need it.");
}

TEST_F(BackgroundDrainTest, NothingBeforeTheWindowIsFull) {
  Ticks ticks;
  ticks.tick(onBattery(start_, 3000), {process(7, "indexer", 0)});
  ticks.tick(onBattery(start_ + minutes{14}, 2500), {process(7, "indexer", 800)});
  EXPECT_TRUE(ticks.alerts.empty());
  EXPECT_TRUE(ticks.shares.empty());
}

TEST_F(BackgroundDrainTest, SharesTheDischargeByCpuTimeAndCountsAProgramsProcessesAsOne) {
  Ticks ticks;
  ticks.tick(onBattery(start_, 3000), {process(1, "builder", 0), process(2, "builder", 0), process(3, "player", 0)});
  // 4 points discharged; the builder's two processes used 90 s, the player 30 s.
  ticks.tick(onBattery(start_ + minutes{15}, 2840),
             {process(1, "builder", 60), process(2, "builder", 30), process(3, "player", 30)});
  ASSERT_EQ(ticks.shares.size(), 2u);
  EXPECT_EQ(ticks.shares[0].name, "builder");
  EXPECT_DOUBLE_EQ(ticks.shares[0].batteryPercent, 3.0);
  EXPECT_DOUBLE_EQ(ticks.shares[1].batteryPercent, 1.0);
  ASSERT_EQ(ticks.alerts.size(), 1u);
  EXPECT_EQ(ticks.alerts[0].title, "builder is draining the battery");
}

TEST_F(BackgroundDrainTest, LeavesTheForegroundTheKernelAndReusedPidsOut) {
  Ticks ticks;
  ticks.tick(onBattery(start_, 3000), {process(1, "make", 0), {2, "kworker/0:1", 0, false, true}, process(3, "old", 0)});
  ticks.tick(onBattery(start_ + minutes{15}, 2600),
             {process(1, "make", 500, true), {2, "kworker/0:1", 500, false, true}, process(3, "new", 5000)});
  EXPECT_TRUE(ticks.alerts.empty());
  ASSERT_EQ(ticks.shares.size(), 2u);  // "new" on an old pid is not in the window
  EXPECT_EQ(ticks.shares[0].name, "");  // the kernel's threads, told as one
}

TEST_F(BackgroundDrainTest, AlertsOncePerProgramPerDay) {
  Ticks ticks;
  int remaining = 3000;
  double cpu = 0;
  Date t = start_;
  for (int window = 0; window <= 3; ++window, t += minutes{15}) {
    ticks.tick(onBattery(t, remaining), {process(7, "indexer", cpu)});
    remaining -= 200;
    cpu += 500;
  }
  EXPECT_EQ(ticks.alerts.size(), 1u);

  // The next day it may come again.
  const Date tomorrow = local(kBerlin, 2026, 11, 24, 10);
  ticks.tick(onBattery(tomorrow, 2000), {process(7, "indexer", 0)});
  ticks.tick(onBattery(tomorrow + minutes{15}, 1800), {process(7, "indexer", 500)});
  EXPECT_EQ(ticks.alerts.size(), 2u);
}

TEST_F(BackgroundDrainTest, PluggingInOrALongGapStartsOverWithoutAVerdict) {
  Ticks plugged;
  plugged.tick(onBattery(start_, 3000), {process(7, "indexer", 0)});
  auto charger = onBattery(start_ + minutes{5}, 2950);
  charger.pluggedIn = true;
  plugged.tick(charger, {process(7, "indexer", 100)});
  EXPECT_FALSE(plugged.state.open);
  plugged.tick(onBattery(start_ + minutes{15}, 2600), {process(7, "indexer", 900)});
  EXPECT_TRUE(plugged.alerts.empty());  // a new window opened at 10:15

  Ticks slept;
  slept.tick(onBattery(start_, 3000), {process(7, "indexer", 0)});
  slept.tick(onBattery(start_ + minutes{21}, 2000), {process(7, "indexer", 900)});
  EXPECT_TRUE(slept.alerts.empty());
  EXPECT_EQ(slept.state.open->openedAt, start_ + minutes{21});
}

TEST_F(BackgroundDrainTest, ScalesALongerWindowToFifteenMinutes) {
  Ticks ticks;
  ticks.tick(onBattery(start_, 3000), {process(7, "indexer", 0)});
  ticks.tick(onBattery(start_ + minutes{16}, 2896), {process(7, "indexer", 900)});  // 2.6 points in 16 min
  ASSERT_EQ(ticks.shares.size(), 1u);
  EXPECT_NEAR(ticks.shares[0].batteryPercent, 2.6 * 15 / 16, 1e-9);
  EXPECT_TRUE(ticks.alerts.empty());
}

TEST_F(BackgroundDrainTest, UsesThePackageEnergyWhereItIsReadable) {
  Ticks ticks;
  // The battery fell 10 points (screen and all), but the processor used
  // 4000 J, all of it the indexer's: 2.53% of 44 Wh.
  ticks.tick(onBattery(start_, 3000), {process(7, "indexer", 0)}, 1000.0);
  ticks.tick(onBattery(start_ + minutes{15}, 2600), {process(7, "indexer", 900)}, 5000.0);
  ASSERT_EQ(ticks.alerts.size(), 1u);
  EXPECT_NEAR(ticks.shares[0].batteryPercent, 4000.0 / 158400 * 100, 1e-9);
  EXPECT_EQ(ticks.alerts[0].technicalBody,
            "Took 3% of the battery in 15 minutes in the background, averaging 4.4 W.");

  // A counter that wrapped is not believed; the discharge is shared instead.
  Ticks wrapped;
  wrapped.tick(onBattery(start_, 3000), {process(7, "indexer", 0)}, 5000.0);
  wrapped.tick(onBattery(start_ + minutes{15}, 2990), {process(7, "indexer", 900)}, 10.0);
  EXPECT_DOUBLE_EQ(wrapped.shares[0].batteryPercent, 0.25);
}

TEST_F(BackgroundDrainTest, ReadsBackWhatItWrites) {
  Ticks ticks;
  ticks.tick(onBattery(start_, 3000), {process(7, "indexer", 12.5), process(9, "name with ) and space", 1)}, 3.5);
  ticks.state.alerted["builder"] = "2026-11-23";
  EXPECT_EQ(BackgroundDrain::fromJson(ticks.state.toJson()), ticks.state);
  EXPECT_EQ(BackgroundDrain::fromJson(Json::object()), BackgroundDrain{});
  EXPECT_THROW(BackgroundDrain::fromJson(Json{{"alerted", {{"x", 3}}}}), DecodingError);
  EXPECT_THROW(BackgroundDrain::fromJson(Json{{"open", {{"openedAt", 0}, {"batteryLevel", 1}, {"processes", {{1, 2}}}}}}),
               DecodingError);
  EXPECT_THROW(BackgroundDrain::fromJson(Json::array()), DecodingError);
  // A process id beyond int is refused, not read as another process.
  const Json farPid{{"open",
                     {{"openedAt", "2026-04-16T16:08:00Z"},
                      {"batteryLevel", 76.0},
                      {"processes", Json::array({Json::array({4294967298LL, "indexer", 1.0})})}}}};
  EXPECT_THROW(BackgroundDrain::fromJson(farPid), DecodingError);
}

}  // namespace
}  // namespace batterycore
