// `kestrin simulate --state DIR` killed with SIGKILL at random moments. After
// every kill each state file in DIR still decodes; the run that follows goes
// on from where the killed one last saved, and when the weeks are through the
// folder holds what an uninterrupted run leaves, give or take the last ten
// minutes of booked time per kill: no alert, session or learned unplug lost.
#include "app/StoredState.hpp"

#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <set>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;

// Starts the simulation into `folder`; its output goes nowhere.
pid_t startSimulation(const fs::path& folder) {
  return batterycore::testing::spawnKestrin({"simulate", "--days", "10", "--tick", "120", "--locale", "en_US",
                                             "office-worker", "--state", folder.string()},
                                            "/dev/null");
}

int finish(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return status;
}

double bookedMinutes(const MonitorState& state) {
  double minutes = 0;
  for (const auto& day : state.highCharge.days) minutes += day.minutesSampled;
  return minutes;
}

std::set<std::pair<BatteryAlert::Kind, double>> alertsOf(const MonitorState& state) {
  std::set<std::pair<BatteryAlert::Kind, double>> alerts;
  for (const auto& alert : state.alerts) alerts.emplace(alert.kind, batterycore::secondsSince1970(alert.at));
  return alerts;
}

std::vector<std::string> damageIn(const fs::path& folder) {
  std::vector<std::string> damage;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename().string().find(".corrupt") != std::string::npos) {
      damage.push_back(entry.path().filename().string());
    }
  }
  for (const auto& d : readStoredState(folder).damaged) damage.push_back(d.line);
  return damage;
}

TEST(CrashSafety, AKilledSimulationLosesAtMostTheLastTenMinutesAndNoAlert) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const char* chosen = std::getenv("KESTRIN_SEED");
  const auto seed = chosen ? std::strtoull(chosen, nullptr, 10) : std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed) + "; rerun with KESTRIN_SEED=" + std::to_string(seed));
  std::mt19937_64 random(seed);

  const fs::path root = fs::temp_directory_path() / ("kestrin-crash-" + std::to_string(::getpid()));
  fs::remove_all(root);
  const fs::path whole = root / "whole";
  const fs::path killed = root / "killed";

  const auto started = std::chrono::steady_clock::now();
  ASSERT_EQ(finish(startSimulation(whole)), 0);
  const auto span =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started).count();

  // Kill at moments spread over the length of a whole run, until a run gets
  // through; each later run goes on from what the killed one left.
  int kills = 0;
  for (int attempt = 0; attempt < 40; ++attempt) {
    const pid_t pid = startSimulation(killed);
    std::this_thread::sleep_for(
        std::chrono::milliseconds(std::uniform_int_distribution<long long>(span / 20, span / 4 + 1)(random)));
    const bool stopped = ::kill(pid, SIGKILL) == 0;
    const int status = finish(pid);
    if (!stopped || !WIFSIGNALED(status)) {
      ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
      break;
    }
    ++kills;
    if (fs::exists(killed)) {
      const auto damage = damageIn(killed);
      ASSERT_TRUE(damage.empty()) << "after kill " << kills << ": " << damage.front();
    }
  }
  ASSERT_EQ(finish(startSimulation(killed)), 0) << "the run after the last kill";
  EXPECT_GE(kills, 3) << "the kills came too late to test anything";

  const auto expected = readStoredState(whole);
  const auto got = readStoredState(killed);
  ASSERT_TRUE(got.damaged.empty());
  const auto gotAlerts = alertsOf(got.state);
  for (const auto& alert : alertsOf(expected.state)) {
    EXPECT_TRUE(gotAlerts.contains(alert)) << "lost the " << BatteryAlert::rawValue(alert.first) << " alert at "
                                           << alert.second;
  }
  EXPECT_EQ(batterycore::encode(got.state.departures).dump(), batterycore::encode(expected.state.departures).dump())
      << "learned unplugs";
  EXPECT_EQ(got.state.smartTopUp, expected.state.smartTopUp) << "top-up sessions";
  EXPECT_EQ(got.state.session, expected.state.session);
  EXPECT_NEAR(bookedMinutes(got.state), bookedMinutes(expected.state), 10.0 * kills);
  EXPECT_EQ(got.state.highCharge.days.size(), expected.state.highCharge.days.size());
  fs::remove_all(root);
}

}  // namespace
}  // namespace kestrin::app
