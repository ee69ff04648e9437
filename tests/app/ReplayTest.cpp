#include "app/simulation/Replay.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace kestrin::app::simulation {
namespace {

using batterycore::Json;
using batterycore::Seconds;

// Three days of a desk laptop, as a recorded trace would hold them.
std::string recordedTrace() {
  BatterySimulator battery(Scenario::fromJson(Json{
      {"name", "desk"},
      {"start", "2026-03-02"},
      {"days", 3},
      {"seed", 5},
      {"week", {{"weekday", Json::array({{{"from", "08:20"}, {"to", "09:00"}, {"spread", 10}}})}}},
      {"events", Json::parse(R"([{"kind": "limitFails", "day": 1, "from": "10:00", "to": "14:00"}])")}}));
  std::string trace;
  while (battery.now() < battery.end()) {
    trace += batterycore::encode(*battery.read()).dump() + "\n";
    battery.advance(Seconds{120});
  }
  return trace;
}

TEST(Replay, ReadsOneReadingPerLineAndNamesTheDamagedOnes) {
  std::istringstream trace(recordedTrace() + "\nnot json\n{\"percent\": 3}\n");
  std::vector<std::string> problems;
  const auto readings = readTrace(trace, problems);
  EXPECT_EQ(readings.size(), 3u * 24 * 30);
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(problems[0], "line " + std::to_string(3 * 24 * 30 + 2) + ": not JSON");
  EXPECT_NE(problems[1].find("missing key"), std::string::npos) << problems[1];
}

TEST(Replay, TellsTheSameRulesOverARecordedTrace) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale previous = icu::Locale::getDefault();
  icu::Locale::setDefault(icu::Locale("en_US"), status);
  std::istringstream trace(recordedTrace());
  std::vector<std::string> problems;
  const auto readings = readTrace(trace, problems);
  std::vector<SimulationEvent> events;
  const auto state = replay(readings, batterycore::Calendar::utc(), Settings{},
                            [&](const SimulationEvent& e) { events.push_back(e); });
  icu::Locale::setDefault(previous, status);
  bool notHolding = false;
  for (const auto& e : events) notHolding |= e.kind == SimulationEvent::Kind::alertPosted && e.text.find("isn't holding") != std::string::npos;
  EXPECT_TRUE(notHolding);
  EXPECT_FALSE(state.departures.unplugs.empty());
  EXPECT_FALSE(state.session.has_value()) << "a replay never switches the limit";
}

TEST(Replay, TheToolReplaysATraceFile) {
#ifndef KESTRIN_TOOL_PATH
  GTEST_SKIP() << "the kestrin tool is not part of this build";
#else
  const std::string path = ::testing::TempDir() + "kestrin-trace-" + std::to_string(::getpid()) + ".jsonl";
  std::ofstream(path) << recordedTrace();
  const std::string command = std::string(KESTRIN_TOOL_PATH) + " replay '" + path + "' --locale en_US 2>&1";
  FILE* pipe = ::popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string out;
  char buffer[4096];
  while (const auto n = std::fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  const int status = ::pclose(pipe);
  std::remove(path.c_str());
  EXPECT_EQ(status, 0) << out;
  EXPECT_NE(out.find("Kestrin over 2160 recorded readings"), std::string::npos) << out;
  EXPECT_NE(out.find("Your limit isn't holding"), std::string::npos) << out;
  EXPECT_NE(out.find("Time above 80%"), std::string::npos) << out;
#endif
}

}  // namespace
}  // namespace kestrin::app::simulation
