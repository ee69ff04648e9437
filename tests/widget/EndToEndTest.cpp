// The control and the application as two processes talking through a real
// group folder (socket and preference files): the built tool flips the limit
// and shows what the widget shows; this process plays the application.
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/ControlResponder.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include "WidgetFakes.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using std::chrono::steady_clock;
using testing::kMorning;

constexpr const char* kNotRunning = "Kestrin isn't running yet. Open it once, then try again.";

struct ToolRun {
  int exitCode = -1;
  std::string out, err;
  steady_clock::duration took{};
};

#ifdef KESTRIN_TOOL_PATH
#define SKIP_WITHOUT_TOOL() (void)0
// Runs `kestrin ARGUMENTS` in English with its group in `group`.
ToolRun runTool(const std::string& arguments, const std::filesystem::path& group) {
  const std::string folder = "'" + group.string() + "'";
  const std::string command = "KESTRIN_GROUP_DIR=" + folder + " XDG_STATE_HOME=" + folder + "/state " +
                              "LANG=en_US.UTF-8 LC_ALL=en_US.UTF-8 '" KESTRIN_TOOL_PATH "' " + arguments + " 2>" +
                              folder + "/err";
  ToolRun run;
  const auto start = steady_clock::now();
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer{};
  while (const auto n = std::fread(buffer.data(), 1, buffer.size(), pipe)) run.out.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  run.took = steady_clock::now() - start;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = readWholeFile(group / "err").value_or("");
  return run;
}
#else
#define SKIP_WITHOUT_TOOL() GTEST_SKIP() << "the kestrin tool is not built"
ToolRun runTool(const std::string&, const std::filesystem::path&) { return {}; }
#endif

// The application, a thread of this process: it listens before the control
// can post, then answers the one request it finds, applying it or refusing
// with `refusal`, and says in `answered` whether it did.
std::thread application(const std::filesystem::path& folder, std::optional<std::string> refusal, bool& answered) {
  const AppGroup group = AppGroup::inFolder(folder);
  std::shared_ptr<NotificationListener> listener = group.notifications->listen(ControlRequest::notification);
  EXPECT_NE(listener, nullptr);
  return std::thread([group, listener, refusal, &answered] {
    const auto giveUp = steady_clock::now() + std::chrono::seconds{10};
    while (listener && !answered && steady_clock::now() < giveUp) {
      if (!listener->wait(Seconds{0.5})) continue;
      answered = answerPendingRequest(*group.preferences, SystemClock().now(), [&](bool) { return refusal; })
                     .has_value();
    }
  });
}

TEST(ControlEndToEnd, ToolFlipsTheLimitAndTheApplicationAnswers) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  bool answered = false;
  std::thread answering = application(group.path(), std::nullopt, answered);
  const auto run = runTool("limit off", group.path());
  answering.join();
  EXPECT_TRUE(answered);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "Charge limit off\n");
  EXPECT_LT(run.took, std::chrono::seconds{3});
  const auto applied =
      ControlRequest::from(AppGroup::inFolder(group.path()).preferences->dictionary("control.applied"));
  ASSERT_TRUE(applied);
  EXPECT_FALSE(applied->on);
}

TEST(ControlEndToEnd, ToolReportsTheApplicationsRefusal) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  bool answered = false;
  std::thread answering = application(group.path(), "Couldn't switch the charge limit. Try System Settings > Battery.",
                                      answered);
  const auto run = runTool("limit on", group.path());
  answering.join();
  EXPECT_TRUE(answered);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "Couldn't switch the charge limit. Try System Settings > Battery.\n");
  EXPECT_EQ(run.out, "");
}

TEST(ControlEndToEnd, WithoutAnApplicationTheToolGivesUpAfterThreeSeconds) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  const auto run = runTool("limit off", group.path());
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, std::string(kNotRunning) + "\n");
  EXPECT_GE(run.took, std::chrono::milliseconds{2900});
  EXPECT_LT(run.took, std::chrono::seconds{8});
  // The request stays for an application that starts within the next moments.
  const AppGroup shared = AppGroup::inFolder(group.path());
  EXPECT_TRUE(ControlRequest::from(shared.preferences->dictionary("control.request")));
  EXPECT_EQ(shared.preferences->dictionary("control.applied"), std::nullopt);
  // Toggling needs a snapshot to know the state: without one, no service runs.
  EXPECT_EQ(runTool("limit toggle", group.path()).err, std::string(kNotRunning) + "\n");
}

TEST(StatusCommand, ShowsWhatTheWidgetShowsInEachFormat) {
  SKIP_WITHOUT_TOOL();
  const std::string placeholder = "Open Kestrin once to see your battery here.\n";
  const WidgetSnapshot resting{kMorning, 82,    80,   false, batterycore::Attention::Tone::holding, "Resting at 80%",
                               "96%",    "Your battery is in good shape.", "2 h", "Less than most days."};
  const WidgetSnapshot charging{kMorning, 64, std::nullopt, true, batterycore::Attention::Tone::charging,
                                "Charging to 80% \"soon\"", "96%", "Your battery is in good shape.", "2 h",
                                std::nullopt};
  struct Case {
    const WidgetSnapshot* snapshot;
    std::string arguments;
    std::string out;
    int exitCode = 0;
  };
  const Case cases[] = {
      {&resting, "--now 2026-01-01T10:00:00Z",
       "82%\nCharge limit on · 80%\nResting at 80%\nMood: holding\n96% health\n  Your battery is in good shape.\n"
       "2 h above 80%\n  Less than most days.\n"},
      {&charging, "--now 2026-01-01T10:00:00Z",
       "64% · Charging\nCharge limit off\nCharging to 80% \"soon\"\nMood: charging\n96% health\n"
       "  Your battery is in good shape.\n2 h above 80%\n"},
      {&charging, "--format line --now 2026-01-01T10:00:00Z", "64% ⚡ · Charging to 80% \"soon\"\n"},
      {nullptr, "", placeholder},
      {&resting, "--format line --now 2026-01-01T12:00:00Z", "82% · Resting at 80%\n"},  // three hours old
      {&resting, "--now 2026-01-01T12:00:01Z", placeholder},
      {&resting, "--now noon", "", 2},
  };
  for (const auto& c : cases) {
    testing::TemporaryFolder folder;
    const AppGroup group = AppGroup::inFolder(folder.path());
    ASSERT_TRUE(!c.snapshot || c.snapshot->write(*group.container, *group.preferences));
    const auto run = runTool("status " + c.arguments, folder.path());
    EXPECT_EQ(run.exitCode, c.exitCode) << c.arguments << run.err;
    EXPECT_EQ(run.out, c.out) << c.arguments;
  }

  // A status bar's object, on one line.
  testing::TemporaryFolder folder;
  const auto waybar = [&] {
    const auto out = runTool("status --format waybar --now 2026-01-01T10:00:00Z", folder.path()).out;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << out;
    return batterycore::Json::parse(out);
  };
  EXPECT_EQ(waybar().at("class"), "placeholder");
  const AppGroup group = AppGroup::inFolder(folder.path());
  ASSERT_TRUE(charging.write(*group.container, *group.preferences));
  EXPECT_EQ(waybar(), batterycore::Json::parse(R"({"text": "64% ⚡",
      "tooltip": "Charging to 80% \"soon\"\nYour battery is in good shape.", "class": "charging", "percentage": 64})"));
}

TEST(StatusCommand, TellsTheTimeLeftOnBatteryFromTheServicesLastReading) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot snapshot{kMorning,     64,           80,           false, batterycore::Attention::Tone::battery,
                                "On battery", std::nullopt, std::nullopt, std::nullopt, std::nullopt};
  ASSERT_TRUE(snapshot.write(*group.container, *group.preferences));
  // The service's last reading, ten minutes before: 70 minutes to empty.
  const auto states = folder.path() / "state" / "kestrin" / "state";
  std::filesystem::create_directories(states);
  const batterycore::BatterySnapshot reading(kMorning - std::chrono::minutes{10}, 64, false, false, false, 70,
                                             std::nullopt, batterycore::LimitState::on(80), 0, 0, 0,
                                             batterycore::ThermalLevel::nominal, 5000, 5100, 5500, 3200, 100, 1000,
                                             11800, -700, std::nullopt, std::nullopt, -8260, std::nullopt);
  std::ofstream(states / "monitor.json") << batterycore::Json{{"last", reading.toJson()}}.dump();

  EXPECT_EQ(runTool("status --format line --now 2026-01-01T09:00:00Z", folder.path()).out,
            "64% · On battery · About an hour left\n");
  const auto text = runTool("status --now 2026-01-01T09:00:00Z", folder.path()).out;
  EXPECT_NE(text.find("On battery\nAbout an hour left\n"), std::string::npos) << text;
  // A reading older than a quarter of an hour says nothing about now.
  EXPECT_EQ(runTool("status --format line --now 2026-01-01T09:06:00Z", folder.path()).out, "64% · On battery\n");
}

}  // namespace
}  // namespace kestrin::widget
