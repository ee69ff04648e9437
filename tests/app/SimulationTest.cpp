// Simulated weeks of the bundled scenarios, told as the events the monitor
// saw and said; and a monitor that resumes from what a killed one saved.
#include "app/simulation/Simulation.hpp"

#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>

namespace kestrin::app::simulation {
namespace {

using batterycore::Seconds;
using batterycore::toIso8601;
using Kind = SimulationEvent::Kind;

Scenario bundled(const std::string& name) {
  const std::string folder = KESTRIN_SOURCE_DIR "/tools/kestrin/scenarios/";
  std::ifstream file(folder + name + ".json");
  auto scenario = Scenario::fromJson(batterycore::Json::parse(file));
  EXPECT_EQ(Scenario::fromJson(scenario.toJson()).toJson(), scenario.toJson()) << name;
  if (scenario.calendar) scenario.calendar = folder + *scenario.calendar;
  return scenario;
}

class SimulationTest : public ::testing::Test {
 protected:
  // Runs the scenario; `of` then gives its events of a kind whose text holds `containing`.
  void run(const std::string& name, int days = 0) {
    SimulationOptions options;
    if (days > 0) options.days = days;
    last.emplace(bundled(name), options);
    events.clear();
    last->run([&](const SimulationEvent& e) { events.push_back(e); });
  }
  std::vector<SimulationEvent> of(Kind kind, const std::string& containing = "") const {
    std::vector<SimulationEvent> found;
    std::copy_if(events.begin(), events.end(), std::back_inserter(found),
                 [&](const auto& e) { return e.kind == kind && e.text.find(containing) != std::string::npos; });
    return found;
  }
  const batterycore::testing::UsingLocale english_{"en_US"};
  std::optional<Simulation> last;
  std::vector<SimulationEvent> events;
};

TEST_F(SimulationTest, EightWeeksOfAnOfficeWorker) {
  run("office-worker");
  const auto& calendar = last->battery().calendar();
  // Departures are learned in four weeks; top-ups follow on weekday mornings.
  auto started = of(Kind::fullChargeStarted);
  std::erase_if(started, [](const SimulationEvent& e) { return e.text.find("trip") != std::string::npos; });
  ASSERT_GE(started.size(), 10u);
  for (const auto& e : started) {
    const auto parts = calendar.components(e.at);
    EXPECT_TRUE(e.at >= *calendar.date(2026, 3, 30) && parts.weekday >= 2 && parts.weekday <= 6 && parts.hour >= 5 &&
                parts.hour < 9)
        << toIso8601(e.at);
  }
  EXPECT_FALSE(of(Kind::alertPosted, "Topping up before you leave").empty());
  EXPECT_FALSE(of(Kind::fullChargeEnded, "unplugged").empty());

  // The person's weeks start on Sunday (en_US): eight of them after the first days.
  const auto weeks = of(Kind::alertPosted, "Your week");
  ASSERT_EQ(weeks.size(), 8u);
  for (const auto& week : weeks) EXPECT_EQ(calendar.weekday(week.at), 1) << toIso8601(week.at);
  EXPECT_NE(weeks[0].text.find("Your first week of history."), std::string::npos);

  // The flight on Wednesday, April 8: charged from 18:00 the evening before,
  // once. Neither the birthday (all day) nor the stand-up are trips.
  const auto trip = of(Kind::fullChargeStarted, "For your trip");
  ASSERT_EQ(trip.size(), 1u);
  EXPECT_EQ(trip[0].at, *calendar.date(2026, 4, 7, 18, 0));
  EXPECT_EQ(of(Kind::alertPosted, "For Flight to Lisbon tomorrow").size(), 1u);
  EXPECT_TRUE(of(Kind::alertPosted, "birthday").empty());

  // The mouse runs down on March 12, is charged on the 15th and runs down
  // again on April 9; the indexer drains the battery on April 15.
  std::vector<std::string> days;
  for (const auto& e : of(Kind::alertPosted, "MX Master 3 is down to 10%")) days.push_back(calendar.dayKey(e.at));
  for (const auto& e : of(Kind::alertPosted, "tracker-miner-fs is draining")) days.push_back(calendar.dayKey(e.at));
  EXPECT_EQ(days, (std::vector<std::string>{"2026-03-12", "2026-04-09", "2026-04-15"}));

  // The failing limit is told twelve hours apart at most; the recalibration apart from it.
  const auto posted = of(Kind::alertPosted, "Your limit isn't holding");
  ASSERT_GE(posted.size(), 1u);
  EXPECT_FALSE(of(Kind::alertHeldBack, "Your limit isn't holding").empty());
  for (std::size_t i = 1; i < posted.size(); ++i) EXPECT_GE(posted[i].at - posted[i - 1].at, Seconds{12 * 3600});
  EXPECT_EQ(of(Kind::alertPosted, "recalibrating").size(), 1u);
  EXPECT_EQ(of(Kind::alertPosted, "Calibration finished").size(), 1u);
  EXPECT_FALSE(of(Kind::attention, "Recalibrating").empty());
  EXPECT_EQ(of(Kind::alertPosted, "limit turned off").size(), 1u);

  // Notifications are never closer than a minute.
  const auto all = of(Kind::alertPosted);
  for (std::size_t i = 1; i < all.size(); ++i) EXPECT_GE(all[i].at - all[i - 1].at, Seconds{60});
}

TEST_F(SimulationTest, EachScenarioTellsOfItsTroubleAndTheSameStoryTwice) {
  for (const auto& [scenario, alert] : std::initializer_list<std::pair<const char*, const char*>>{
           {"calibration", "recalibrating"}, {"calibration", "Calibration finished"}, {"weak-charger", "20 W"},
           {"travel-week", "Running hot"}}) {
    run(scenario);
    EXPECT_FALSE(of(Kind::alertPosted, alert).empty()) << scenario << ": " << alert;
  }
  EXPECT_EQ(last->battery().calendar().timeZone(), "America/New_York");

  run("weak-charger", 3);
  const auto first = events;
  run("weak-charger", 3);
  ASSERT_EQ(first.size(), events.size());
  for (std::size_t i = 0; i < events.size(); ++i) EXPECT_EQ(first[i].toJson(), events[i].toJson());
}

// A monitor "killed" between two ticks leaves what its last save wrote; the
// next one picks up every rule where it was, and a damaged file loses only
// what it held.
TEST_F(SimulationTest, ANewMonitorResumesFromTheSavedState) {
  const auto folder = std::filesystem::temp_directory_path() / ("kestrin-resume-" + std::to_string(::getpid()));
  std::filesystem::remove_all(folder);
  BatterySimulator battery(bundled("office-worker"));
  Monitor first(battery, battery, battery.calendar(), simulationHooks(battery));
  first.settings().smartTopUp = true;
  {
    StateStore store(folder, {}, false);
    while (battery.now() < battery.start() + Seconds{30 * 86400}) {
      (void)first.tick(battery.now());
      first.save(store, battery.now());
      battery.advance(Seconds{300});
    }
  }
  StateStore store(folder, {}, false);
  Monitor second(battery, battery, battery.calendar());
  second.load(store);
  const auto& a = first.state();
  const auto& b = second.state();
  EXPECT_EQ(b.watchdog, a.watchdog);
  EXPECT_EQ(b.calibration, a.calibration);
  EXPECT_EQ(b.session, a.session);
  EXPECT_EQ(b.departures, a.departures);
  EXPECT_FALSE(b.departures.unplugs.empty());
  EXPECT_EQ(b.smartTopUp, a.smartTopUp);
  EXPECT_EQ(b.health, a.health);
  EXPECT_EQ(b.policy, a.policy);
  EXPECT_EQ(b.alerts, a.alerts);
  EXPECT_EQ(second.settings(), first.settings());
  ASSERT_TRUE(b.lastTick.has_value());
  EXPECT_LE(*a.lastTick - *b.lastTick, Seconds{600}) << "per-tick states are at most ten minutes behind";

  // A damaged file loses only itself, and is kept aside.
  std::ofstream(folder / "departures.json") << "{\"unplugs\": [ {\"at\": ";
  std::vector<std::string> reports;
  StateStore reporting(folder, [&](const std::string& line) { reports.push_back(line); }, false);
  Monitor third(battery, battery, battery.calendar());
  third.load(reporting);
  EXPECT_TRUE(third.state().departures.unplugs.empty());
  EXPECT_EQ(third.state().alerts, b.alerts);
  EXPECT_EQ(third.state().health, b.health);
  EXPECT_EQ(reports.size(), 1u);
  int aside = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    aside += entry.path().filename().string().starts_with("departures.json.corrupt-") ? 1 : 0;
  }
  EXPECT_EQ(aside, 1);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app::simulation
