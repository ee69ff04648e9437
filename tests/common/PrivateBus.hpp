// PrivateBus: a D-Bus daemon of a test's own, in a temporary folder, with
// nothing on it but what the test puts there (no service is ever activated).
//
//   if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
//   PrivateBus bus;
//   ASSERT_TRUE(bus.started()) << bus.failure();
//   DesktopNotifications notifications(bus.address());
//
// The daemon is stopped and its folder removed when the object goes, or
// earlier with stop(), which clients see as their connection closing. Where
// setpriv is installed, a test that crashes takes its daemon along.
#pragma once

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace kestrin::app::live {

class PrivateBus {
 public:
  static constexpr const char* missingProgram = "dbus-daemon is not installed (Debian package dbus)";

  // dbus-daemon on the PATH; absent when it is not installed.
  static std::optional<std::filesystem::path> program() {
    std::istringstream folders(std::getenv("PATH") ? std::getenv("PATH") : "/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
      const auto candidate = std::filesystem::path(folder) / "dbus-daemon";
      if (!folder.empty() && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return std::nullopt;
  }

  PrivateBus() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kestrin-bus-XXXXXX").string();
    if (!program() || !::mkdtemp(pattern.data())) {
      failure_ = program() ? "cannot make a folder for the bus" : missingProgram;
      return;
    }
    folder_ = pattern;
    // A session bus that lets everyone talk to everyone and own any name, and
    // lists no service folders, so a call to a missing name fails at once.
    std::ofstream(folder_ / "bus.conf")
        << "<busconfig><type>session</type><listen>unix:path=" << (folder_ / "bus").string()
        << "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
    start();
  }
  ~PrivateBus() {
    stop();
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  bool started() const { return !address_.empty(); }
  // What a client connects to ("unix:path=/tmp/kestrin-bus-.../bus,guid=...").
  // The guid names this daemon; a client that should reach the next one
  // after restart() leaves it out.
  const std::string& address() const { return address_; }
  // Why the daemon did not start; empty when it did.
  const std::string& failure() const { return failure_; }

  void stop() {
    if (!daemon_) return;
    ::kill(pid_, SIGTERM);
    ::pclose(daemon_);
    daemon_ = nullptr;
    std::filesystem::remove(folder_ / "bus");  // a new daemon listens at the same place
  }
  // A new daemon at the same place, as when a session's bus is restarted.
  void restart() {
    stop();
    start();
  }

 private:
  // The daemon prints its address and its pid, a line each, once it listens.
  void start() {
    const std::string daemon = "dbus-daemon --nofork --nopidfile --print-address=1 --print-pid=1 --config-file='" +
                               (folder_ / "bus.conf").string() + "' </dev/null 2>'" +
                               (folder_ / "daemon.log").string() + "'";
    const std::string shell =
        "command -v setpriv >/dev/null && exec setpriv --pdeathsig KILL " + daemon + " || exec " + daemon;
    daemon_ = ::popen(shell.c_str(), "re");
    char address[512] = "";
    char pid[32] = "";
    if (daemon_ && std::fgets(address, sizeof address, daemon_) && std::fgets(pid, sizeof pid, daemon_)) {
      address_ = std::string(address, std::strlen(address) - 1);
      pid_ = std::atoi(pid);
      failure_.clear();
      return;
    }
    std::ostringstream said;
    said << std::ifstream(folder_ / "daemon.log").rdbuf();
    failure_ = "dbus-daemon printed no address: " + said.str();
    address_.clear();
    if (daemon_) ::pclose(daemon_);
    daemon_ = nullptr;
  }

  std::filesystem::path folder_;
  std::FILE* daemon_ = nullptr;
  pid_t pid_ = -1;
  std::string address_;
  std::string failure_;
};

}  // namespace kestrin::app::live
