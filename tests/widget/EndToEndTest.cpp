// The control and a stand-in application as two real processes talking through
// the group folder: the built tool flips the limit, a forked responder answers.
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/ControlResponder.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include "WidgetFakes.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using std::chrono::steady_clock;

constexpr const char* kNotRunning = "Kestrin isn't running yet. Open it once, then try again.";
constexpr auto kResponderPatience = std::chrono::seconds{10};

struct ToolRun {
  int exitCode = -1;
  std::string out;
  std::string err;
  steady_clock::duration took{};
};

// Runs the built tool with the group in `group`, in English.
ToolRun runTool(const std::vector<std::string>& args, const std::filesystem::path& group) {
#ifndef KESTRIN_TOOL_PATH
  (void)args;
  (void)group;
  return {};
#else
  testing::TemporaryFolder outputs;
  const auto outPath = (outputs.path() / "out").string();
  const auto errPath = (outputs.path() / "err").string();

  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view variable(*entry);
    if (variable.starts_with("KESTRIN_GROUP_DIR=") || variable.starts_with("XDG_STATE_HOME=") ||
        variable.starts_with("LC_ALL=") ||
        variable.starts_with("LANG=")) {
      continue;
    }
    environment.emplace_back(variable);
  }
  environment.push_back("KESTRIN_GROUP_DIR=" + group.string());
  environment.push_back("XDG_STATE_HOME=" + (group / "state").string());
  environment.push_back("LANG=en_US.UTF-8");
  environment.push_back("LC_ALL=en_US.UTF-8");

  std::vector<std::string> argv{KESTRIN_TOOL_PATH};
  argv.insert(argv.end(), args.begin(), args.end());
  auto pointers = [](std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& s : strings) result.push_back(s.data());
    result.push_back(nullptr);
    return result;
  };
  auto argvPointers = pointers(argv);
  auto envPointers = pointers(environment);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ToolRun run;
  const auto start = steady_clock::now();
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, argv[0].c_str(), &actions, nullptr, argvPointers.data(), envPointers.data());
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) {
    ADD_FAILURE() << "cannot start " << argv[0] << ": " << std::strerror(spawned);
    return run;
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  run.took = steady_clock::now() - start;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.out = readWholeFile(outPath).value_or("");
  run.err = readWholeFile(errPath).value_or("");
  return run;
#endif
}

// A stand-in application in its own process: it listens for the control's
// notification and answers the one request it finds, applying it or refusing
// with `refusal`. Its exit code says whether it answered (0) or gave up (3).
class Responder {
 public:
  Responder(const std::filesystem::path& group, std::optional<std::string> refusal) {
    int ready[2];
    if (::pipe(ready) != 0) throw std::runtime_error("pipe failed");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(ready[0]);
      ::_exit(answerOnce(group, refusal, ready[1]));
    }
    ::close(ready[1]);
    char byte = 0;
    // Only once it listens may the control post.
    const bool listening = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
    if (!listening) ADD_FAILURE() << "the responder could not listen";
  }

  // The responder's exit code.
  int finish() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  static int answerOnce(const std::filesystem::path& folder, const std::optional<std::string>& refusal, int ready) {
    const AppGroup group = AppGroup::inFolder(folder);
    const auto listener = group.notifications->listen(ControlRequest::notification);
    if (!listener) return 2;
    const char byte = 1;
    if (::write(ready, &byte, 1) != 1) return 2;
    ::close(ready);
    const auto giveUp = steady_clock::now() + kResponderPatience;
    SystemClock clock;
    while (steady_clock::now() < giveUp) {
      listener->wait(Seconds{0.5});
      const auto answered = answerPendingRequest(*group.preferences, clock.now(),
                                                 [&refusal](bool) { return refusal; });
      if (answered) return 0;
    }
    return 3;
  }

  pid_t pid_ = -1;
};

#ifndef KESTRIN_TOOL_PATH
#define SKIP_WITHOUT_TOOL() GTEST_SKIP() << "the kestrin tool is not built"
#else
#define SKIP_WITHOUT_TOOL() (void)0
#endif

TEST(ControlEndToEnd, ToolFlipsTheLimitAndTheApplicationAnswers) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  Responder application(group.path(), std::nullopt);
  const auto run = runTool({"limit", "off"}, group.path());
  EXPECT_EQ(application.finish(), 0);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "Charge limit off\n");
  EXPECT_LT(run.took, std::chrono::seconds{3});
  const auto applied = ControlRequest::from(AppGroup::inFolder(group.path()).preferences->dictionary("control.applied"));
  ASSERT_TRUE(applied);
  EXPECT_FALSE(applied->on);
}

TEST(ControlEndToEnd, ToolReportsTheApplicationsRefusal) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  Responder application(group.path(), "Couldn't switch the charge limit. Try System Settings > Battery.");
  const auto run = runTool({"limit", "on"}, group.path());
  EXPECT_EQ(application.finish(), 0);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "Couldn't switch the charge limit. Try System Settings > Battery.\n");
  EXPECT_EQ(run.out, "");
}

TEST(ControlEndToEnd, WithoutAnApplicationTheToolGivesUpAfterThreeSeconds) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  const auto run = runTool({"limit", "off"}, group.path());
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, std::string(kNotRunning) + "\n");
  EXPECT_GE(run.took, std::chrono::milliseconds{2900});
  EXPECT_LT(run.took, std::chrono::seconds{8});
  // The request is still there for an application that starts within the
  // next moments; nobody answered it.
  const AppGroup shared = AppGroup::inFolder(group.path());
  EXPECT_TRUE(ControlRequest::from(shared.preferences->dictionary("control.request")));
  EXPECT_EQ(shared.preferences->dictionary("control.applied"), std::nullopt);
}

TEST(ControlEndToEnd, ToolRejectsAnUnknownState) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder group;
  EXPECT_NE(runTool({"limit", "sideways"}, group.path()).exitCode, 0);
}

// The action with the real clock and real sleeps, answered by a thread.
TEST(ControlEndToEnd, ActionWaitsForRealForAnAnswer) {
  testing::TemporaryFolder folder;
  const AppGroup application = AppGroup::inFolder(folder.path());
  auto listener = application.notifications->listen(ControlRequest::notification);
  ASSERT_NE(listener, nullptr);
  std::thread answering([&] {
    if (!listener->wait(Seconds{5})) return;
    // Answer late on purpose: after a few of the control's polls.
    std::this_thread::sleep_for(std::chrono::milliseconds{350});
    answerPendingRequest(*application.preferences, SystemClock().now(),
                         [](bool) { return std::optional<std::string>(); });
  });
  const AppGroup control = AppGroup::inFolder(folder.path());
  SystemClock clock;
  const auto start = steady_clock::now();
  EXPECT_NO_THROW(SetLimitFromControlIntent{.value = true}.perform(control, clock));
  const auto took = steady_clock::now() - start;
  answering.join();
  EXPECT_GE(took, std::chrono::milliseconds{350});
  EXPECT_LT(took, std::chrono::seconds{3});
}

TEST(StatusCommand, ShowsWhatTheWidgetShows) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot snapshot{testing::kMorning, 82, 80, false, batterycore::Attention::Tone::holding,
                                "Resting at 80%", "96%", "Your battery is in good shape.", "2 h",
                                "Less than most days."};
  ASSERT_TRUE(snapshot.write(*group.container, *group.preferences));
  const auto run = runTool({"status", "--now", "2026-01-01T10:00:00Z"}, folder.path());
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "82%\n"
            "Charge limit on · 80%\n"
            "Resting at 80%\n"
            "Mood: holding\n"
            "96% health\n"
            "  Your battery is in good shape.\n"
            "2 h above 80%\n"
            "  Less than most days.\n");
}

TEST(StatusCommand, FeedsAStatusBar) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot snapshot{testing::kMorning, 64, std::nullopt, true, batterycore::Attention::Tone::charging,
                                "Charging to 80% \"soon\"", "96%", "Your battery is in good shape.", "2 h",
                                std::nullopt};
  ASSERT_TRUE(snapshot.write(*group.container, *group.preferences));

  const auto waybar = runTool({"status", "--format", "waybar", "--now", "2026-01-01T10:00:00Z"}, folder.path());
  EXPECT_EQ(waybar.exitCode, 0) << waybar.err;
  ASSERT_EQ(std::count(waybar.out.begin(), waybar.out.end(), '\n'), 1) << "one object on one line";
  const auto object = batterycore::Json::parse(waybar.out);
  EXPECT_EQ(object, batterycore::Json::parse(R"({"text": "64% ⚡",
      "tooltip": "Charging to 80% \"soon\"\nYour battery is in good shape.",
      "class": "charging", "percentage": 64})"));

  const auto line = runTool({"status", "--format", "line", "--now", "2026-01-01T10:00:00Z"}, folder.path());
  EXPECT_EQ(line.out, "64% ⚡ · Charging to 80% \"soon\"\n");

  // Stale: the placeholder, still exit status 0 so the bar shows it.
  const auto stale = runTool({"status", "--format", "waybar", "--now", "2026-01-02T10:00:00Z"}, folder.path());
  EXPECT_EQ(stale.exitCode, 0);
  EXPECT_EQ(batterycore::Json::parse(stale.out).at("class"), "placeholder");
}

TEST(StatusCommand, TellsTheTimeLeftOnBatteryFromTheServicesLastReading) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot snapshot{testing::kMorning, 64, 80, false, batterycore::Attention::Tone::battery,
                                "On battery", std::nullopt, std::nullopt, std::nullopt, std::nullopt};
  ASSERT_TRUE(snapshot.write(*group.container, *group.preferences));
  // The service's last reading, ten minutes before: 70 minutes to empty.
  const auto states = folder.path() / "state" / "kestrin" / "state";
  std::filesystem::create_directories(states);
  const batterycore::BatterySnapshot reading(testing::kMorning - std::chrono::minutes{10}, 64, false, false, false,
                                             70, std::nullopt, batterycore::LimitState::on(80), 0, 0, 0,
                                             batterycore::ThermalLevel::nominal, 5000, 5100, 5500, 3200, 100, 1000,
                                             11800, -700, std::nullopt, std::nullopt, -8260, std::nullopt);
  std::ofstream(states / "monitor.json") << batterycore::Json{{"last", reading.toJson()}}.dump();

  const auto line = runTool({"status", "--format", "line", "--now", "2026-01-01T09:00:00Z"}, folder.path());
  EXPECT_EQ(line.out, "64% · On battery · About an hour left\n");
  const auto text = runTool({"status", "--now", "2026-01-01T09:00:00Z"}, folder.path());
  EXPECT_NE(text.out.find("On battery\nAbout an hour left\n"), std::string::npos) << text.out;
  // A reading older than a quarter of an hour says nothing about now.
  const auto later = runTool({"status", "--format", "line", "--now", "2026-01-01T09:06:00Z"}, folder.path());
  EXPECT_EQ(later.out, "64% · On battery\n");
}

TEST(StatusCommand, ToggleWithoutAServiceSaysItIsNotRunning) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const auto run = runTool({"limit", "toggle"}, folder.path());
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "Kestrin isn't running yet. Open it once, then try again.\n");
}

TEST(StatusCommand, ShowsThePlaceholderWithoutAFreshSnapshot) {
  SKIP_WITHOUT_TOOL();
  testing::TemporaryFolder folder;
  const std::string placeholder = "Open Kestrin once to see your battery here.\n";
  EXPECT_EQ(runTool({"status"}, folder.path()).out, placeholder);

  const AppGroup group = AppGroup::inFolder(folder.path());
  ASSERT_TRUE(testing::restingSnapshot().write(*group.container, *group.preferences));
  EXPECT_NE(runTool({"status", "--now", "2026-01-01T12:00:00Z"}, folder.path()).out, placeholder);
  EXPECT_EQ(runTool({"status", "--now", "2026-01-01T12:00:01Z"}, folder.path()).out, placeholder);
  EXPECT_EQ(runTool({"status", "--now", "noon"}, folder.path()).exitCode, 2);
}

}  // namespace
}  // namespace kestrin::widget
