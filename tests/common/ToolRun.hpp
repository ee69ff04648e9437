// Running the built kestrin tool with a shell command line and reading what it
// printed (standard output and errors together) and its exit status; a table
// of such runs; and any other shell command.
//
//   using AlertsCommand = ToolTest;            // skips, and says so, without the tool
//   TEST_F(AlertsCommand, ...) {
//     expectRuns({{"alerts --locale en_US", 0, HasSubstr("limitNotHolding  [On]")},
//                 {"alerts --level expert", 2, "kestrin: --level: expert not in {simple,technical}\n"}});
//   }
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace batterycore::testing {

struct ToolRun {
  int exitCode = -1;
  std::string out;
};

#ifdef KESTRIN_TOOL_PATH
inline constexpr bool kToolBuilt = true;
inline const std::string kTool = std::string("'") + KESTRIN_TOOL_PATH + "'";  // as a shell word
#else
inline constexpr bool kToolBuilt = false;
inline const std::string kTool = "false";
#endif

// A shell command line's exit status and what it wrote on standard output.
inline ToolRun runShell(const std::string& command) {
  ToolRun run;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer{};
  while (const auto n = std::fread(buffer.data(), 1, buffer.size(), pipe)) run.out.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// `redirections` says where the tool's two streams go; the pipe read is its
// standard output.
inline ToolRun runKestrinWith(const std::string& arguments, const char* redirections) {
  return kToolBuilt ? runShell(kTool + " " + arguments + " " + redirections) : ToolRun{};
}

inline ToolRun runKestrin(const std::string& arguments) { return runKestrinWith(arguments, "2>&1"); }

// The same with standard output thrown away: `out` holds what the tool wrote
// on standard error alone.
inline ToolRun runKestrinForErrors(const std::string& arguments) {
  return runKestrinWith(arguments, "2>&1 >/dev/null");
}

inline long lineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

// One run of the tool in a table: its arguments, the status it ends with and
// what it prints (standard output and errors together).
struct ToolCase {
  std::string arguments;
  int exitCode;
  ::testing::Matcher<const std::string&> says;
};

inline void expectRuns(const std::vector<ToolCase>& cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE("kestrin " + c.arguments);
    const auto run = runKestrin(c.arguments);
    EXPECT_EQ(run.exitCode, c.exitCode) << run.out;
    EXPECT_THAT(run.out, c.says);
  }
}

// The fixture of the tool's tests: skipped, and saying so, without the tool.
class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  }
};

// Asks `done` every 50 ms for up to `limit`; its last answer.
inline bool eventually(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds{15}) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
  }
  return done();
}

// Starts `kestrin ARGS` with this process's environment, its output and
// errors into `log`; -1 when it could not be started (or there is no tool).
inline pid_t spawnKestrin(const std::vector<std::string>& arguments, const std::filesystem::path& log) {
  pid_t pid = -1;
#ifdef KESTRIN_TOOL_PATH
  std::vector<std::string> args{KESTRIN_TOOL_PATH};
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  if (posix_spawn(&pid, args[0].c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
#else
  (void)arguments;
  (void)log;
#endif
  return pid;
}

}  // namespace batterycore::testing
