#include "app/simulation/Simulation.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <unistd.h>

#include <fstream>

namespace kestrin::app::simulation {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::Json;
using batterycore::Seconds;
using Kind = SimulationEvent::Kind;

SimulationOptions forDays(int days) {
  SimulationOptions options;
  options.days = days;
  return options;
}

Scenario bundled(const std::string& name) {
  const std::string folder = std::string(KESTRIN_SOURCE_DIR) + "/tools/kestrin/scenarios/";
  std::ifstream file(folder + name + ".json");
  auto scenario = Scenario::fromJson(Json::parse(file));
  if (scenario.calendar) scenario.calendar = folder + *scenario.calendar;
  return scenario;
}

struct Story {
  std::vector<SimulationEvent> events;

  std::vector<SimulationEvent> of(Kind kind, const std::string& containing = "") const {
    std::vector<SimulationEvent> found;
    for (const auto& e : events) {
      if (e.kind == kind && e.text.find(containing) != std::string::npos) found.push_back(e);
    }
    return found;
  }
};

class SimulationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous = icu::Locale::getDefault();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
  }
  void TearDown() override {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(previous, status);
  }
  Story run(const std::string& name, SimulationOptions options = {}) {
    Simulation simulation(bundled(name), options);
    Story story;
    simulation.run([&](const SimulationEvent& e) { story.events.push_back(e); });
    last.emplace(std::move(simulation));
    return story;
  }
  icu::Locale previous;
  std::optional<Simulation> last;
};

TEST_F(SimulationTest, OfficeWorkerLearnsDeparturesAndTopsUpFromTheFifthWeek) {
  const Story story = run("office-worker");
  const auto& calendar = last->battery().calendar();
  auto started = story.of(Kind::fullChargeStarted);
  std::erase_if(started, [](const SimulationEvent& e) { return e.text.find("trip") != std::string::npos; });
  ASSERT_GE(started.size(), 10u);
  const auto fifthWeek = calendar.date(2026, 3, 30).value();
  for (const auto& e : started) {
    EXPECT_GE(e.at, fifthWeek) << batterycore::toIso8601(e.at);
    const auto parts = calendar.components(e.at);
    EXPECT_TRUE(parts.weekday >= 2 && parts.weekday <= 6) << "top-ups happen before weekday departures";
    EXPECT_TRUE(parts.hour >= 5 && parts.hour < 9) << batterycore::toIso8601(e.at);
  }
  EXPECT_FALSE(story.of(Kind::alertPosted, "Topping up before you leave").empty());
  EXPECT_FALSE(story.of(Kind::fullChargeEnded, "unplugged").empty());
}

TEST_F(SimulationTest, OfficeWorkerHearsOfTheWeekTheTripAndTheRunaway) {
  const Story story = run("office-worker");
  const auto& calendar = last->battery().calendar();
  // The person's weeks start on Sunday (en_US): eight of them after the first days.
  const auto weeks = story.of(Kind::alertPosted, "Your week");
  ASSERT_EQ(weeks.size(), 8u);
  for (const auto& week : weeks) EXPECT_EQ(calendar.weekday(week.at), 1) << batterycore::toIso8601(week.at);
  EXPECT_NE(weeks[0].text.find("Your first week of history."), std::string::npos);

  // The flight on Wednesday, April 8: charged from 18:00 the evening before,
  // once, and put back when the laptop leaves the next morning.
  const auto trip = story.of(Kind::fullChargeStarted, "For your trip");
  ASSERT_EQ(trip.size(), 1u);
  EXPECT_EQ(trip[0].at, calendar.date(2026, 4, 7, 18, 0).value());
  EXPECT_EQ(story.of(Kind::alertPosted, "For Flight to Lisbon tomorrow").size(), 1u);
  // Neither the birthday (all day) nor the stand-up and the dentist are trips.
  EXPECT_TRUE(story.of(Kind::alertPosted, "birthday").empty());

  // The mouse: down to 10% on March 12, charged on the 15th, down again on April 9.
  const auto mouse = story.of(Kind::alertPosted, "MX Master 3 is down to 10%");
  ASSERT_EQ(mouse.size(), 2u);
  EXPECT_EQ(calendar.dayKey(mouse[0].at), "2026-03-12");
  EXPECT_EQ(calendar.dayKey(mouse[1].at), "2026-04-09");

  const auto drain = story.of(Kind::alertPosted, "tracker-miner-fs is draining the battery");
  ASSERT_EQ(drain.size(), 1u);
  EXPECT_EQ(calendar.dayKey(drain[0].at), "2026-04-15");
}

TEST_F(SimulationTest, OfficeWorkerHearsOfTheFailingLimitPacedAndOfTheRecalibrationApart) {
  const Story story = run("office-worker");
  const auto posted = story.of(Kind::alertPosted, "Your limit isn't holding");
  const auto held = story.of(Kind::alertHeldBack, "Your limit isn't holding");
  ASSERT_GE(posted.size(), 1u);
  EXPECT_FALSE(held.empty()) << "the twelve-hour cooldown holds repeats back";
  for (std::size_t i = 1; i < posted.size(); ++i) {
    EXPECT_GE(posted[i].at - posted[i - 1].at, Seconds{12 * 3600});
  }
  const auto calibrating = story.of(Kind::alertPosted, "recalibrating");
  ASSERT_EQ(calibrating.size(), 1u);
  EXPECT_EQ(story.of(Kind::alertPosted, "Calibration finished").size(), 1u);
  EXPECT_FALSE(story.of(Kind::attention, "Recalibrating").empty());
  EXPECT_EQ(story.of(Kind::alertPosted, "limit turned off").size(), 1u);
}

TEST_F(SimulationTest, NotificationsNeverCloserThanAMinute) {
  const Story story = run("office-worker", forDays(21));
  const auto posted = story.of(Kind::alertPosted);
  for (std::size_t i = 1; i < posted.size(); ++i) EXPECT_GE(posted[i].at - posted[i - 1].at, Seconds{60});
}

TEST_F(SimulationTest, CalibrationScenarioConfirmsFromTheLogAndFromTwoFullDays) {
  const Story story = run("calibration");
  EXPECT_FALSE(story.of(Kind::alertPosted, "recalibrating").empty());
  EXPECT_FALSE(story.of(Kind::alertPosted, "Calibration finished").empty());
}

TEST_F(SimulationTest, WeakChargerScenarioWarnsAboutTheCharger) {
  const Story story = run("weak-charger");
  EXPECT_FALSE(story.of(Kind::alertPosted, "20 W").empty());
}

TEST_F(SimulationTest, TravelWeekGetsHot) {
  const Story story = run("travel-week");
  EXPECT_FALSE(story.of(Kind::alertPosted, "hot").empty() && story.of(Kind::alertPosted, "Hot").empty());
  EXPECT_EQ(last->battery().calendar().timeZone(), "America/New_York");
}

TEST_F(SimulationTest, SameScenarioSameStory) {
  const Story a = run("weak-charger", forDays(3));
  const Story b = run("weak-charger", forDays(3));
  ASSERT_EQ(a.events.size(), b.events.size());
  for (std::size_t i = 0; i < a.events.size(); ++i) EXPECT_EQ(a.events[i].toJson(), b.events[i].toJson());
}

class ResumeTest : public SimulationTest {
 protected:
  void SetUp() override {
    SimulationTest::SetUp();
    folder = fs::temp_directory_path() / ("kestrin-resume-" + std::to_string(::getpid()));
    fs::remove_all(folder);
  }
  void TearDown() override {
    fs::remove_all(folder);
    SimulationTest::TearDown();
  }
  fs::path folder;
};

// A process killed between two ticks leaves exactly what the last save wrote;
// the next run picks up every rule where it was.
TEST_F(ResumeTest, ANewMonitorResumesFromTheSavedState) {
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
  }  // "killed" here: no final save

  StateStore store(folder, {}, false);
  Monitor second(battery, battery, battery.calendar());
  second.load(store);
  const auto& a = first.state();
  const auto& b = second.state();
  EXPECT_EQ(b.watchdog, a.watchdog);
  EXPECT_EQ(b.calibration, a.calibration);
  EXPECT_EQ(b.session, a.session);
  EXPECT_EQ(b.departures, a.departures);
  EXPECT_EQ(b.smartTopUp, a.smartTopUp);
  EXPECT_EQ(b.health, a.health);
  EXPECT_EQ(b.policy, a.policy);
  EXPECT_EQ(b.alerts, a.alerts);
  EXPECT_EQ(second.settings(), first.settings());
  ASSERT_TRUE(b.lastTick.has_value());
  EXPECT_LE(*a.lastTick - *b.lastTick, Seconds{600}) << "per-tick states are at most ten minutes behind";
  EXPECT_FALSE(b.departures.unplugs.empty());
}

TEST_F(ResumeTest, ADamagedFileLosesOnlyItselfAndIsKeptAside) {
  BatterySimulator battery(bundled("office-worker"));
  Monitor first(battery, battery, battery.calendar());
  {
    StateStore store(folder, {}, false);
    for (int i = 0; i < 12 * 24 * 10; ++i) {
      (void)first.tick(battery.now());
      first.save(store, battery.now());
      battery.advance(Seconds{300});
    }
    first.save(store, battery.now(), true);
  }
  std::ofstream(folder / "departures.json") << "{\"unplugs\": [ {\"at\": ";

  std::vector<std::string> reports;
  StateStore store(folder, [&](const std::string& line) { reports.push_back(line); }, false);
  Monitor second(battery, battery, battery.calendar());
  second.load(store);
  EXPECT_TRUE(second.state().departures.unplugs.empty());
  EXPECT_EQ(second.state().highCharge, first.state().highCharge);
  EXPECT_EQ(second.state().alerts, first.state().alerts);
  ASSERT_EQ(reports.size(), 1u);
  int aside = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename().string().starts_with("departures.json.corrupt-")) ++aside;
  }
  EXPECT_EQ(aside, 1);
}

}  // namespace
}  // namespace kestrin::app::simulation
