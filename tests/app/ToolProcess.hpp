// Running the built kestrin tool as a separate process, the way a person or
// a service manager runs it.
//
//   const pid_t pid = spawnTool({"watch", "--interval", "1"}, work / "watch.log");
//   ASSERT_TRUE(eventually([&] { return fs::exists(work / "group" / "snapshot.json"); }));
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace kestrin::app::live {

// Polls `done` every 50 ms for up to `limit`; its last answer.
inline bool eventually(const std::function<bool()>& done,
                       std::chrono::milliseconds limit = std::chrono::seconds{15}) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
  }
  return done();
}

#ifdef KESTRIN_TOOL_PATH
// Starts `kestrin ARGS` with this process's environment, its output and
// errors into `log`; -1 when it could not be started.
inline pid_t spawnTool(const std::vector<std::string>& arguments, const std::filesystem::path& log) {
  std::vector<std::string> args{KESTRIN_TOOL_PATH};
  args.insert(args.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = -1;
  if (posix_spawn(&pid, args[0].c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}
#endif

}  // namespace kestrin::app::live
