#include "tests/app/PrivateBus.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

namespace kestrin::app::live {

namespace fs = std::filesystem;

namespace {

// The daemon writes its address here, and closes it when it exits.
constexpr int kAddressFd = 3;
constexpr int kStartMilliseconds = 10'000;

// A session bus that lets everyone talk to everyone and own any name, and
// lists no service folders, so a call to a missing name fails at once.
std::string configuration(const fs::path& socket) {
  return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)" +
         socket.string() + R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
}

std::string errnoText(int error) { return std::error_code(error, std::generic_category()).message(); }

}  // namespace

std::optional<fs::path> PrivateBus::program() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (folder.empty()) continue;
    const fs::path candidate = fs::path(folder) / "dbus-daemon";
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return std::nullopt;
}

PrivateBus::PrivateBus() {
  const auto daemon = program();
  if (!daemon) {
    failure_ = missingProgram;
    return;
  }
  std::string pattern = (fs::temp_directory_path() / "kestrin-bus-XXXXXX").string();
  if (!::mkdtemp(pattern.data())) {
    failure_ = "cannot make a folder for the bus: " + errnoText(errno);
    return;
  }
  folder_ = pattern;
  std::ofstream(folder_ / "bus.conf") << configuration(folder_ / "bus");
  start(*daemon);
}

void PrivateBus::start(const fs::path& daemon) {
  address_.clear();
  failure_.clear();
  const fs::path config = folder_ / "bus.conf";
  std::array<int, 2> pipe{-1, -1};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
    failure_ = "cannot make a pipe: " + errnoText(errno);
    return;
  }
  // dup2 onto the same number would keep close-on-exec set.
  if (pipe[1] == kAddressFd) {
    const int moved = ::fcntl(pipe[1], F_DUPFD_CLOEXEC, kAddressFd + 1);
    ::close(pipe[1]);
    pipe[1] = moved;
  }
  // Everything the child needs is made before the fork: after it, only
  // async-signal-safe calls until exec.
  const fs::path log = folder_ / "daemon.log";
  const std::string configArgument = "--config-file=" + config.string();
  const std::string printArgument = "--print-address=" + std::to_string(kAddressFd);
  std::vector<std::string> arguments{daemon.string(), configArgument, "--nofork", "--nopidfile", printArgument};
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ == 0) {
    // A test that crashes or is killed takes its daemon along.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    // The daemon's output stays out of the test's: a daemon run as root
    // complains that it cannot raise its file limit. The log is shown only
    // when the daemon fails.
    const int quiet = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int logFd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (quiet < 0 || logFd < 0 || ::dup2(quiet, STDIN_FILENO) < 0 || ::dup2(quiet, STDOUT_FILENO) < 0 ||
        ::dup2(logFd, STDERR_FILENO) < 0 || ::dup2(pipe[1], kAddressFd) < 0) {
      ::_exit(127);
    }
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  const int forkError = errno;
  ::close(pipe[1]);
  if (pid_ < 0) {
    ::close(pipe[0]);
    failure_ = "cannot start dbus-daemon: " + errnoText(forkError);
    return;
  }

  // The address is one line, written once the daemon listens.
  std::string printed;
  pollfd readable{pipe[0], POLLIN, 0};
  while (printed.find('\n') == std::string::npos) {
    if (::poll(&readable, 1, kStartMilliseconds) <= 0) break;
    std::array<char, 512> chunk{};
    const ssize_t got = ::read(pipe[0], chunk.data(), chunk.size());
    if (got <= 0) break;
    printed.append(chunk.data(), static_cast<std::size_t>(got));
  }
  ::close(pipe[0]);
  const auto end = printed.find('\n');
  if (end == std::string::npos || end == 0) {
    std::ostringstream said;
    said << std::ifstream(log).rdbuf();
    failure_ = "dbus-daemon printed no address: " + said.str();
    stop();
    return;
  }
  address_ = printed.substr(0, end);
}

void PrivateBus::stop() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  // A new daemon listens at the same place.
  std::error_code ignored;
  fs::remove(folder_ / "bus", ignored);
}

void PrivateBus::restart() {
  stop();
  if (const auto daemon = program()) start(*daemon);
}

PrivateBus::~PrivateBus() {
  stop();
  if (!folder_.empty()) {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
}

}  // namespace kestrin::app::live
