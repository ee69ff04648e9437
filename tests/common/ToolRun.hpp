// Running the built kestrin tool with a shell command line and reading what it
// printed (standard output and errors together) and its exit status.
//
//   if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
//   const auto run = runKestrin("alerts --locale en_US");
//   EXPECT_EQ(run.exitCode, 0) << run.out;
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace batterycore::testing {

struct ToolRun {
  int exitCode = -1;
  std::string out;
};

#ifdef KESTRIN_TOOL_PATH
inline constexpr bool kToolBuilt = true;
#else
inline constexpr bool kToolBuilt = false;
#endif

// `redirections` says where the tool's two streams go; the pipe read is its
// standard output.
inline ToolRun runKestrinWith(const std::string& arguments, const char* redirections) {
  ToolRun run;
#ifdef KESTRIN_TOOL_PATH
  const std::string command = std::string("'") + KESTRIN_TOOL_PATH + "' " + arguments + " " + redirections;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer{};
  while (const auto n = std::fread(buffer.data(), 1, buffer.size(), pipe)) run.out.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
  (void)arguments;
  (void)redirections;
#endif
  return run;
}

inline ToolRun runKestrin(const std::string& arguments) { return runKestrinWith(arguments, "2>&1"); }

// The same with standard output thrown away: `out` holds what the tool wrote
// on standard error alone.
inline ToolRun runKestrinForErrors(const std::string& arguments) {
  return runKestrinWith(arguments, "2>&1 >/dev/null");
}

}  // namespace batterycore::testing
