// PrivateBus: a D-Bus daemon of a test's own, in a temporary folder, with
// nothing on it but what the test puts there (no service is ever activated).
//
//   if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
//   PrivateBus bus;
//   ASSERT_TRUE(bus.started()) << bus.failure();
//   DesktopNotifications notifications(bus.address());
//
// The daemon is stopped and its folder removed when the object goes, or
// earlier with stop(), which clients see as their connection closing. A test
// that crashes takes its daemon along (it is killed when the thread that made
// the bus ends), so a daemon is never left behind holding a pipe open.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

namespace kestrin::app::live {

class PrivateBus {
 public:
  static constexpr const char* missingProgram = "dbus-daemon is not installed (Debian package dbus)";

  // dbus-daemon on the PATH; absent when it is not installed.
  static std::optional<std::filesystem::path> program();

  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  bool started() const { return !address_.empty(); }
  // What a client connects to ("unix:path=/tmp/kestrin-bus-.../bus,guid=...").
  // The guid names this daemon; a client that should reach the next one
  // after restart() leaves it out.
  const std::string& address() const { return address_; }
  // Why the daemon did not start; empty when it did.
  const std::string& failure() const { return failure_; }

  void stop();
  // A new daemon at the same place, as when a session's bus is restarted.
  void restart();

 private:
  void start(const std::filesystem::path& daemon);

  std::filesystem::path folder_;
  pid_t pid_ = -1;
  std::string address_;
  std::string failure_;
};

}  // namespace kestrin::app::live
