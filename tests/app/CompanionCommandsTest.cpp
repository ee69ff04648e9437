// `kestrin energy` and `kestrin plans`: the ranking of programs by power, and
// what is coming, from the functions behind them to the tool's output.
#include "app/EnergyView.hpp"
#include "app/Plans.hpp"

#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::DetailLevel;
using batterycore::LimitState;
using batterycore::ProcessSample;
using batterycore::testing::runKestrin;
using batterycore::testing::UsingLocale;
using ::testing::HasSubstr;

const std::vector<ProcessSample> kBefore{{1, "indexer", 10, false, false},
                                         {2, "browser", 100, true, false},
                                         {3, "browser", 50, true, false},
                                         {4, "kworker/1:0", 1, false, true},
                                         {5, "editor", 7, false, false}};
// In between: the indexer 3 s, the browser's two processes 0.8 s, the
// kernel 0.2 s, the editor nothing; pid 6 appeared and is not counted.
const std::vector<ProcessSample> kAfter{{1, "indexer", 13, false, false},
                                        {2, "browser", 100.5, true, false},
                                        {3, "browser", 50.3, true, false},
                                        {4, "kworker/1:0", 1.2, false, true},
                                        {5, "editor", 7, false, false},
                                        {6, "new", 99, false, false}};

class EnergyViewTest : public ::testing::Test {
 protected:
  const UsingLocale english_{"en_US"};
};

TEST_F(EnergyViewTest, SharesThePowerByCpuTimePerProgram) {
  const auto uses = energyUses(kBefore, kAfter, 8.0);
  ASSERT_EQ(uses.size(), 3u);
  EXPECT_EQ(uses[0].name, "indexer");
  EXPECT_NEAR(*uses[0].watts, 6.0, 1e-9);
  EXPECT_EQ(uses[1].name, "browser");
  EXPECT_NEAR(*uses[1].watts, 1.6, 1e-9);
  EXPECT_TRUE(uses[2].system);
  EXPECT_NEAR(*uses[2].watts, 0.4, 1e-9);
  EXPECT_FALSE(energyUses(kBefore, kAfter, std::nullopt)[0].watts);
}

TEST_F(EnergyViewTest, RanksWithLevelsTotalAndTopUser) {
  const auto text = renderEnergy(energyUses(kBefore, kAfter, 8.0), 8.0, DetailLevel::technical, 8);
  EXPECT_EQ(text,
            "Energy\n\n"
            "  indexer    6 W  Working hard\n"
            "  browser  1.6 W  Busy\n"
            "  System   0.4 W  Idle\n"
            "\n"
            "Processor power in total: 8 W\n"
            "indexer is the top user at 6 W.\n"
            "\n"
            "Processor energy only, sampled over a few seconds. The screen, Wi-Fi and Bluetooth aren't counted. "
            "Working hard is 5 W and up, busy 1 to 5 W, idle under 1 W.\n");
}

TEST_F(EnergyViewTest, GathersTheRestAndSaysWhenNothingWorksHard) {
  const auto text = renderEnergy(energyUses(kBefore, kAfter, 2.0), 2.0, DetailLevel::simple, 1);
  EXPECT_THAT(text, HasSubstr("  indexer          1.5 W  Busy\n  Everything else  0.5 W\n"));
  EXPECT_THAT(text, HasSubstr("All apps together: 2 W\nNothing is working hard right now.\n"));
  EXPECT_THAT(renderEnergy({}, 3.0, DetailLevel::simple, 8), HasSubstr("Nothing is using much power right now."));
  EXPECT_THAT(renderEnergy(energyUses(kBefore, kAfter, 0.05), 0.05, DetailLevel::simple, 8),
              HasSubstr("Nothing is using much power right now."));
}

TEST_F(EnergyViewTest, WithoutPowerRanksByShareOfTime) {
  const auto text = renderEnergy(energyUses(kBefore, kAfter, std::nullopt), std::nullopt, DetailLevel::simple, 8);
  EXPECT_THAT(text, HasSubstr("  indexer  75%\n  browser  20%\n  System    5%\n"));
  EXPECT_THAT(text, HasSubstr("can't be read here"));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("watts")));
}

TEST_F(EnergyViewTest, SpeaksGerman) {
  const UsingLocale german("de_DE");
  const auto text = renderEnergy(energyUses(kBefore, kAfter, 8.0), 8.0, DetailLevel::simple, 8);
  EXPECT_THAT(text, HasSubstr("Energie"));
  EXPECT_THAT(text, HasSubstr("1,6 W"));
  EXPECT_THAT(text, HasSubstr("System"));
}

// --- Plans ---

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin", "en_US");

BatterySnapshot reading(batterycore::Date at, bool pluggedIn, std::optional<int> minutesToEmpty = std::nullopt) {
  BatterySnapshot s(at, 64, pluggedIn, false, false, minutesToEmpty, std::nullopt, LimitState::on(80), 0, 0, 0,
                    batterycore::ThermalLevel::nominal, 5000, 5100, 5500, 3200, 100, 1000, 11800,
                    pluggedIn ? 0 : -700, std::nullopt, std::nullopt, pluggedIn ? 0 : -8260, std::nullopt);
  return s;
}

class PlansTest : public ::testing::Test {
 protected:
  const UsingLocale english_{"en_US"};
  const batterycore::Date now_ = *kBerlin.date(2026, 11, 23, 14, 0);
};

TEST_F(PlansTest, NothingPlannedWithoutFeaturesOrBattery) {
  MonitorState state;
  EXPECT_TRUE(planLines(state, Settings{}, now_, kBerlin).empty());
  state.last = reading(now_, true);
  EXPECT_TRUE(planLines(state, Settings{}, now_, kBerlin).empty());
}

TEST_F(PlansTest, TellsWhyThereIsNoTopUpAndTodaysSkip) {
  MonitorState state;
  state.last = reading(now_, true);
  Settings settings;
  settings.smartTopUp = true;
  EXPECT_THAT(planLines(state, settings, now_, kBerlin),
              ::testing::ElementsAre("Nothing learned yet. It takes about 4 weeks of unplugging at similar times."));
  state.smartTopUp.skippedDay = "2026-11-23";
  EXPECT_THAT(planLines(state, settings, now_, kBerlin),
              ::testing::ElementsAre("Not today, as you asked. Back for your next usual departure."));
  state.smartTopUp.skippedDay = std::nullopt;
  state.smartTopUp.lastStartedDay = "2026-11-23";
  EXPECT_THAT(planLines(state, settings, now_, kBerlin),
              ::testing::ElementsAre("Topped up before you left. The limit is back at 80%."));
}

TEST_F(PlansTest, TellsTheTripFoundInTheCalendar) {
  MonitorState state;
  state.last = reading(now_, false);
  Settings settings;
  settings.calendarFullCharge = true;
  EXPECT_THAT(planLines(state, settings, now_, kBerlin), ::testing::ElementsAre("Watching your calendar for trips."));
  state.trips.next = batterycore::CalendarTrigger::Trip{"lisbon@2026-11-24T09:30:00Z", "Flight to Lisbon",
                                                        *kBerlin.date(2026, 11, 24, 10, 30), false, false};
  const auto lines = planLines(state, settings, now_, kBerlin);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], "Flight to Lisbon tomorrow");
}

TEST_F(PlansTest, TellsHowLongTheBatteryLastsOnBattery) {
  MonitorState state;
  state.last = reading(now_, false, 95);
  Settings settings;
  EXPECT_THAT(planLines(state, settings, now_, kBerlin),
              ::testing::ElementsAre("At this pace, the battery lasts until about 3:35 PM."));
  settings.level = DetailLevel::technical;
  EXPECT_THAT(planLines(state, settings, now_, kBerlin),
              ::testing::ElementsAre("At 8.3 W, the battery lasts about 1 h 35 min."));
}

// --- The tool ---

class CompanionTool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
    folder_ = fs::temp_directory_path() / ("kestrin-companion-" + std::to_string(::getpid()));
    fs::remove_all(folder_);
    fs::create_directories(folder_ / "state");
  }
  void TearDown() override { fs::remove_all(folder_); }
  fs::path folder_;
};

TEST_F(CompanionTool, PlansOfAFreshFolderSayNothingIsPlanned) {
  const auto run = runKestrin("plans --locale en_US --state '" + (folder_ / "state").string() + "'");
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out, "Coming up\n\nNothing planned right now.\n");
  const auto german = runKestrin("plans --locale de_DE --state '" + (folder_ / "state").string() + "'");
  EXPECT_EQ(german.out, "Demnächst\n\nGerade ist nichts geplant.\n");
}

TEST_F(CompanionTool, PlansRefuseAMissingFolderAndABadMoment) {
  const auto missing = runKestrin("plans --state '" + (folder_ / "nowhere").string() + "'");
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_THAT(missing.out, HasSubstr("no state folder at"));
  const auto bad = runKestrin("plans --now yesterday --state '" + (folder_ / "state").string() + "'");
  EXPECT_EQ(bad.exitCode, 2);
  EXPECT_THAT(bad.out, HasSubstr("--now yesterday is not an ISO 8601 date-time"));
}

TEST_F(CompanionTool, EnergyOverAStillProcessTableFindsNothing) {
  fs::create_directories(folder_ / "proc/12");
  std::ofstream(folder_ / "proc/12/stat") << "12 (idle) S 1 12 12 0 -1 0 0 0 0 0 5 5 0 0 20 0 1 0 1 0 0\n";
  const auto run = runKestrin("energy --locale en_US --seconds 0.05 --proc '" + (folder_ / "proc").string() +
                              "' --powercap '" + folder_.string() + "' --sysfs '" + folder_.string() + "'");
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_THAT(run.out, HasSubstr("Nothing is using much power right now."));
  EXPECT_EQ(runKestrin("energy --seconds 0").exitCode, 2);
  EXPECT_EQ(runKestrin("energy --proc '" + (folder_ / "none").string() + "'").exitCode, 1);
}

}  // namespace
}  // namespace kestrin::app
