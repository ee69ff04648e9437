#include "app/simulation/Replay.hpp"

#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>

namespace kestrin::app::simulation {
namespace {

using batterycore::Json;

// Three days of a desk laptop whose limit fails on the second, as a recorded trace holds them.
std::string recordedTrace() {
  BatterySimulator battery(Scenario::fromJson(Json{
      {"name", "desk"},
      {"start", "2026-03-02"},
      {"days", 3},
      {"seed", 5},
      {"week", {{"weekday", Json::array({{{"from", "08:20"}, {"to", "09:00"}, {"spread", 10}}})}}},
      {"events", Json::parse(R"([{"kind": "limitFails", "day": 1, "from": "10:00", "to": "14:00"}])")}}));
  std::string trace;
  for (; battery.now() < battery.end(); battery.advance(batterycore::Seconds{120})) {
    trace += batterycore::encode(*battery.read()).dump() + "\n";
  }
  return trace;
}

TEST(Replay, TellsTheSameRulesOverARecordedTraceAndNamesItsDamagedLines) {
  const batterycore::testing::UsingLocale english("en_US");
  std::istringstream trace(recordedTrace() + "\nnot json\n{\"percent\": 3}\n");
  std::vector<std::string> problems;
  const auto readings = readTrace(trace, problems);
  EXPECT_EQ(readings.size(), 3u * 24 * 30);
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0], "line " + std::to_string(3 * 24 * 30 + 2) + ": not JSON");
  EXPECT_NE(problems[1].find("missing key"), std::string::npos) << problems[1];

  std::vector<SimulationEvent> events;
  const auto state = replay(readings, batterycore::Calendar::utc(), Settings{},
                            [&](const SimulationEvent& e) { events.push_back(e); });
  EXPECT_TRUE(std::ranges::any_of(events, [](const SimulationEvent& e) {
    return e.kind == SimulationEvent::Kind::alertPosted && e.text.find("isn't holding") != std::string::npos;
  }));
  EXPECT_FALSE(state.departures.unplugs.empty());
  EXPECT_FALSE(state.session.has_value()) << "a replay never switches the limit";
}

TEST(Replay, TheToolReplaysATraceFile) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const std::string path = ::testing::TempDir() + "kestrin-trace-" + std::to_string(::getpid()) + ".jsonl";
  std::ofstream(path) << recordedTrace();
  const auto run = batterycore::testing::runKestrin("replay '" + path + "' --locale en_US");
  std::remove(path.c_str());
  EXPECT_EQ(run.exitCode, 0) << run.out;
  for (const char* line : {"Kestrin over 2160 recorded readings", "Your limit isn't holding", "Time above 80%"}) {
    EXPECT_NE(run.out.find(line), std::string::npos) << line << " in\n" << run.out;
  }
}

}  // namespace
}  // namespace kestrin::app::simulation
