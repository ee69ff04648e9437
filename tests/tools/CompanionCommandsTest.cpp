// `kestrin energy` and `kestrin plans`: the ranking of programs by power, and
// what is coming, from the functions behind them to the tool's output.
#include "app/views/EnergyView.hpp"
#include "app/views/Plans.hpp"

#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <filesystem>
#include <fstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::DetailLevel;
using namespace ::testing;

TEST(EnergyView, SharesThePowerByProcessorTimeAndRanksIt) {
  const batterycore::testing::UsingLocale english("en_US");
  // In between: the indexer 3 s, the browser's two processes 0.8 s, the
  // kernel 0.2 s, the editor nothing; pid 6 appeared and is not counted.
  using Processes = std::vector<batterycore::ProcessSample>;
  const Processes before{{1, "indexer", 10, false, false}, {2, "browser", 100, true, false},
                         {3, "browser", 50, true, false}, {4, "kworker/1:0", 1, false, true},
                         {5, "editor", 7, false, false}};
  const Processes after{{1, "indexer", 13, false, false}, {2, "browser", 100.5, true, false},
                        {3, "browser", 50.3, true, false}, {4, "kworker/1:0", 1.2, false, true},
                        {5, "editor", 7, false, false}, {6, "new", 99, false, false}};
  const struct {
    std::optional<double> watts;
    DetailLevel level;
    std::size_t top;
    Matcher<const std::string&> says;
  } cases[] = {
      {8.0, DetailLevel::technical, 8,
       "Energy\n\n  indexer    6 W  Working hard\n  browser  1.6 W  Busy\n  System   0.4 W  Idle\n\n"
       "Processor power in total: 8 W\nindexer is the top user at 6 W.\n\nProcessor energy only, sampled over a few "
       "seconds. The screen, Wi-Fi and Bluetooth aren't counted. Working hard is 5 W and up, busy 1 to 5 W, idle "
       "under 1 W.\n"},
      {2.0, DetailLevel::simple, 1,
       HasSubstr("  indexer          1.5 W  Busy\n  Everything else  0.5 W\n\nAll apps together: 2 W\nNothing is "
                 "working hard right now.\n")},
      {0.05, DetailLevel::simple, 8, HasSubstr("Nothing is using much power right now.")},
      // Without the power, programs are ranked by their share of the time.
      {std::nullopt, DetailLevel::simple, 8,
       AllOf(HasSubstr("  indexer  75%\n  browser  20%\n  System    5%\n"), HasSubstr("can't be read here"))},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(renderEnergy(energyUses(before, after, c.watts), c.watts, c.level, c.top), c.says) << c.top;
  }
}

TEST(Plans, SayWhatIsComingAndWhyNot) {
  const batterycore::testing::UsingLocale english("en_US");
  const auto berlin = batterycore::Calendar::gregorian("Europe/Berlin", "en_US");
  const auto now = *berlin.date(2026, 11, 23, 14, 0);
  const auto reading = [&](bool pluggedIn, std::optional<int> minutesToEmpty = std::nullopt) {
    return batterycore::BatterySnapshot(now, 64, pluggedIn, false, false, minutesToEmpty, std::nullopt,
                                        batterycore::LimitState::on(80), 0, 0, 0, batterycore::ThermalLevel::nominal,
                                        5000, 5100, 5500, 3200, 100, 1000, 11800, pluggedIn ? 0 : -700, std::nullopt,
                                        std::nullopt, pluggedIn ? 0 : -8260, std::nullopt);
  };
  MonitorState state;
  Settings settings;
  const auto plans = [&] { return planLines(state, settings, now, berlin); };
  EXPECT_THAT(plans(), IsEmpty());  // no battery yet
  state.last = reading(true);
  EXPECT_THAT(plans(), IsEmpty());  // nothing switched on
  settings.smartTopUp = true;
  EXPECT_THAT(plans(), ElementsAre("Nothing learned yet. It takes about 4 weeks of unplugging at similar times."));
  state.smartTopUp.skippedDay = "2026-11-23";
  EXPECT_THAT(plans(), ElementsAre("Not today, as you asked. Back for your next usual departure."));
  state.smartTopUp.skippedDay = std::nullopt;
  state.smartTopUp.lastStartedDay = "2026-11-23";
  EXPECT_THAT(plans(), ElementsAre("Topped up before you left. The limit is back at 80%."));

  settings = Settings{};
  settings.calendarFullCharge = true;
  state.last = reading(false);
  EXPECT_THAT(plans(), ElementsAre("Watching your calendar for trips."));
  state.trips.next = batterycore::CalendarTrigger::Trip{"lisbon@2026-11-24T09:30:00Z", "Flight to Lisbon",
                                                        *berlin.date(2026, 11, 24, 10, 30), false, false};
  EXPECT_THAT(plans(), Contains("Flight to Lisbon tomorrow"));

  settings = Settings{};
  state.last = reading(false, 95);
  EXPECT_THAT(plans(), ElementsAre("At this pace, the battery lasts until about 3:35 PM."));
  settings.level = DetailLevel::technical;
  EXPECT_THAT(plans(), ElementsAre("At 8.3 W, the battery lasts about 1 h 35 min."));
}

using CompanionTool = batterycore::testing::ToolTest;

TEST_F(CompanionTool, PlansAndEnergyOverFoldersOfTheirOwn) {
  const fs::path folder = fs::path(::testing::TempDir()) / "kestrin-companion";
  fs::create_directories(folder / "state");
  fs::create_directories(folder / "proc/12");
  std::ofstream(folder / "proc/12/stat") << "12 (idle) S 1 12 12 0 -1 0 0 0 0 0 5 5 0 0 20 0 1 0 1 0 0\n";
  const std::string state = " --state " + (folder / "state").string();
  batterycore::testing::expectRuns({
      {"plans --locale en_US" + state, 0, "Coming up\n\nNothing planned right now.\n"},
      {"plans --state " + (folder / "nowhere").string(), 1, HasSubstr("no state folder at")},
      {"plans --now yesterday" + state, 2, "kestrin: --now yesterday is not an ISO 8601 date-time\n"},
      // A process table that stands still: nothing uses power.
      {"energy --locale en_US --seconds 0.05 --proc " + (folder / "proc").string() + " --powercap " +
           folder.string() + " --sysfs " + folder.string(),
       0, HasSubstr("Nothing is using much power right now.")},
      {"energy --seconds 0", 2, "kestrin: --seconds must be more than 0 and at most 60\n"},
  });
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app
