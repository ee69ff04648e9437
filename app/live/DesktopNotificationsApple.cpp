// Built on Apple platforms only; elsewhere this file compiles to nothing.
//
// A command-line service has no application bundle, which the
// UserNotifications framework needs, so banners go through osascript's
// "display notification": the application's name as the title, the alert's
// title as the subtitle, the body below. Such banners carry no buttons; the
// smart top-up's "Not today" stays in the plans card, and process() never
// returns an action.
#ifdef __APPLE__

#include "app/live/DesktopNotifications.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <system_error>
#include <thread>
#include <utility>

extern char** environ;

namespace kestrin::app::live {

using batterycore::BatteryAlert;
using batterycore::DetailLevel;
using batterycore::Seconds;

namespace {

constexpr const char* kOsascript = "/usr/bin/osascript";
constexpr auto kPollInterval = std::chrono::milliseconds(10);

// An AppleScript string literal.
std::string appleScriptString(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '\\' || c == '"') literal += '\\';
    literal += c;
  }
  literal += '"';
  return literal;
}

std::string secondsText(Seconds span) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", span.count());
  return text;
}

bool haveOsascript() { return ::access(kOsascript, X_OK) == 0; }

}  // namespace

struct DesktopNotifications::Impl {
  Seconds callTimeout = defaultCallTimeout;
  std::optional<std::string> problem;
  bool problemTold = false;

  explicit Impl(Seconds timeout) : callTimeout(timeout) {
    if (!haveOsascript()) note(std::string(kOsascript) + " is missing");
  }

  void note(std::string reason) {
    if (!problem) problem = std::move(reason);
  }

  Outcome post(const BatteryAlert& alert, DetailLevel level) {
    if (!haveOsascript()) return Outcome::unavailable;
    std::string script = "display notification " + appleScriptString(bodyFor(alert, level)) + " with title " +
                         appleScriptString(batterycore::AppInfo::name) + " subtitle " + appleScriptString(alert.title);
    std::string name = "osascript";
    std::string option = "-e";
    char* argv[] = {name.data(), option.data(), script.data(), nullptr};
    pid_t pid = -1;
    const int spawned = ::posix_spawn(&pid, kOsascript, nullptr, nullptr, argv, environ);
    if (spawned != 0) {
      note("cannot run osascript: " + std::error_code(spawned, std::generic_category()).message());
      return Outcome::unavailable;
    }
    const auto deadline = std::chrono::steady_clock::now() + callTimeout;
    int status = 0;
    for (;;) {
      const pid_t done = ::waitpid(pid, &status, WNOHANG);
      if (done == pid) break;
      if (done < 0 && errno != EINTR) {
        note("lost track of osascript");
        return Outcome::failed;
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        ::kill(pid, SIGKILL);
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        note("osascript did not post the notification within " + secondsText(callTimeout) + " s");
        return Outcome::failed;
      }
      std::this_thread::sleep_for(kPollInterval);
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return Outcome::shown;
    note("osascript could not post the notification (status " + std::to_string(status) + ")");
    return Outcome::failed;
  }
};

// There is no session bus to choose on Apple platforms; the address is unused.
DesktopNotifications::DesktopNotifications() : impl_(std::make_unique<Impl>(defaultCallTimeout)) {}

DesktopNotifications::DesktopNotifications(std::string, Seconds callTimeout)
    : impl_(std::make_unique<Impl>(callTimeout)) {}

DesktopNotifications::~DesktopNotifications() = default;
DesktopNotifications::DesktopNotifications(DesktopNotifications&&) noexcept = default;
DesktopNotifications& DesktopNotifications::operator=(DesktopNotifications&&) noexcept = default;

bool DesktopNotifications::available() const { return haveOsascript(); }

DesktopNotifications::Outcome DesktopNotifications::post(const BatteryAlert& alert, DetailLevel level) {
  return impl_->post(alert, level);
}

const std::optional<std::string>& DesktopNotifications::problem() const { return impl_->problem; }

std::optional<std::string> DesktopNotifications::newProblem() {
  if (!impl_->problem || impl_->problemTold) return std::nullopt;
  impl_->problemTold = true;
  return impl_->problem;
}

int DesktopNotifications::fd() const { return -1; }
short DesktopNotifications::events() const { return 0; }
std::optional<Seconds> DesktopNotifications::timeout() const { return std::nullopt; }
std::vector<DesktopNotifications::InvokedAction> DesktopNotifications::process() { return {}; }

}  // namespace kestrin::app::live

#endif  // __APPLE__
