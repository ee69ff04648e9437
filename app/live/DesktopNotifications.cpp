#include "app/live/DesktopNotifications.hpp"

namespace kestrin::app::live {

using batterycore::BatteryAlert;
using batterycore::DetailLevel;

std::uint8_t DesktopNotifications::urgency(BatteryAlert::Kind kind) {
  constexpr std::uint8_t kNormal = 1;
  constexpr std::uint8_t kCritical = 2;
  switch (kind) {
    // The battery is being worn right now and only the person can stop it.
    case BatteryAlert::Kind::limitNotHolding:
    case BatteryAlert::Kind::hot:
    case BatteryAlert::Kind::limitRestoreFailed:
      return kCritical;
    default:
      return kNormal;
  }
}

const std::string& DesktopNotifications::bodyFor(const BatteryAlert& alert, DetailLevel level) {
  if (level == DetailLevel::technical && alert.technicalBody) return *alert.technicalBody;
  return alert.body;
}

}  // namespace kestrin::app::live

// The freedesktop implementation; Apple platforms have their own file.
#ifndef __APPLE__

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"
#include "BatteryCore/text/MeaningTrips.hpp"

#include <systemd/sd-bus.h>

#include <poll.h>
#include <sys/epoll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <system_error>
#include <utility>

namespace kestrin::app::live {

using batterycore::Seconds;

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kInterface = "org.freedesktop.Notifications";
constexpr std::int32_t kServerDecidesExpiry = -1;
constexpr const char* kNoUserBus =
    "no session bus address (neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set)";
constexpr double kMicrosecondsPerSecond = 1e6;

struct UnrefMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, UnrefMessage>;

std::string errnoText(int negativeErrno) { return std::error_code(-negativeErrno, std::generic_category()).message(); }

// A body that the server reads as markup (a small HTML subset) must not open
// a tag or an entity where the text means a plain "<" or "&".
std::string escapedMarkup(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

std::string secondsText(Seconds span) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", span.count());
  return text;
}

// One method call's result: the reply, or why there is none.
struct Answer {
  Message reply;
  int result = 0;
  std::string errorName;
  std::string errorMessage;
};

}  // namespace

struct DesktopNotifications::Impl {
  // A notification of ours on the server's screen (or in its history).
  struct Shown {
    std::uint32_t id = 0;
    bool open = true;  // false once the server closed it: the next one is new
  };

  std::optional<std::string> address;  // absent: the user's session bus
  Seconds callTimeout = defaultCallTimeout;
  sd_bus* bus = nullptr;
  // What the caller polls: an epoll set holding the bus socket of the moment,
  // so the caller's descriptor stays the same when the bus is lost or
  // reconnected (a closed socket in a poll set would wake it forever).
  int watch = -1;
  int watched = -1;  // the bus socket in `watch`
  std::string server;  // the unique bus name of the server the ids below came from
  std::map<BatteryAlert::Kind, Shown> shown;
  std::vector<InvokedAction> invoked;
  std::optional<std::string> problem;
  bool problemTold = false;

  Impl(std::optional<std::string> busAddress, Seconds timeout)
      : address(std::move(busAddress)), callTimeout(timeout), watch(::epoll_create1(EPOLL_CLOEXEC)) {}
  ~Impl() {
    disconnect();
    if (watch >= 0) ::close(watch);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void note(std::string reason) {
    if (!problem) problem = std::move(reason);
  }

  bool connected() const { return bus != nullptr && sd_bus_is_open(bus) > 0; }

  void disconnect() {
    if (watched >= 0) ::epoll_ctl(watch, EPOLL_CTL_DEL, watched, nullptr);
    watched = -1;
    if (bus) bus = sd_bus_close_unref(bus);
    server.clear();
    shown.clear();
  }

  // Makes `watch` ready when the bus socket is ready for what sd-bus waits
  // for now; called after everything that may change that.
  void rearm() {
    if (watch < 0 || !bus) return;
    const int socket = sd_bus_get_fd(bus);
    const int wanted = sd_bus_get_events(bus);
    if (socket < 0 || wanted < 0) return;
    epoll_event event{};
    event.events = ((wanted & POLLIN) ? EPOLLIN : 0u) | ((wanted & POLLOUT) ? EPOLLOUT : 0u);
    event.data.fd = socket;
    if (watched == socket) {
      ::epoll_ctl(watch, EPOLL_CTL_MOD, socket, &event);
    } else {
      if (watched >= 0) ::epoll_ctl(watch, EPOLL_CTL_DEL, watched, nullptr);
      watched = ::epoll_ctl(watch, EPOLL_CTL_ADD, socket, &event) == 0 ? socket : -1;
    }
  }

  bool connect() {
    disconnect();
    sd_bus* opened = nullptr;
    int r = 0;
    if (!address) {
      r = sd_bus_open_user(&opened);
    } else if (address->empty()) {
      note("no session bus address");
      return false;
    } else {
      r = sd_bus_new(&opened);
      if (r >= 0) r = sd_bus_set_address(opened, address->c_str());
      if (r >= 0) r = sd_bus_set_bus_client(opened, 1);
      if (r >= 0) r = sd_bus_start(opened);
    }
    if (r < 0) {
      if (opened) sd_bus_close_unref(opened);
      // sd-bus says "No medium found" when the environment names no bus.
      note(r == -ENOMEDIUM ? std::string(kNoUserBus) : "cannot reach the session bus (" + errnoText(r) + ")");
      return false;
    }
    bus = opened;
    // Installed without waiting for the bus's answer, so a slow bus cannot
    // hold up the service; the bus handles them before any later call.
    r = sd_bus_match_signal_async(bus, nullptr, nullptr, kPath, kInterface, "ActionInvoked", onActionInvoked,
                                  nullptr, this);
    if (r >= 0) {
      r = sd_bus_match_signal_async(bus, nullptr, nullptr, kPath, kInterface, "NotificationClosed", onClosed,
                                    nullptr, this);
    }
    if (r < 0) {
      note("cannot listen on the session bus (" + errnoText(r) + ")");
      disconnect();
      return false;
    }
    rearm();
    return true;
  }

  Message newCall(const char* member, int& r) const {
    sd_bus_message* request = nullptr;
    r = sd_bus_message_new_method_call(bus, &request, kService, kPath, kInterface, member);
    return Message(request);
  }

  Answer call(const Message& request) {
    const auto microseconds =
        static_cast<std::uint64_t>(std::max(1.0, std::ceil(callTimeout.count() * kMicrosecondsPerSecond)));
    sd_bus_error error{};  // SD_BUS_ERROR_NULL, without the C compound literal
    sd_bus_message* reply = nullptr;
    Answer answer;
    answer.result = sd_bus_call(bus, request.get(), microseconds, &error, &reply);
    answer.reply.reset(reply);
    if (answer.result < 0) {
      answer.errorName = error.name ? error.name : "";
      answer.errorMessage = error.message ? error.message : errnoText(answer.result);
    }
    sd_bus_error_free(&error);
    return answer;
  }

  // What a failed call means, noted once.
  Outcome judge(const Answer& answer) {
    if (answer.errorName == SD_BUS_ERROR_SERVICE_UNKNOWN || answer.errorName == SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
      note("nothing on the session bus shows notifications (" + answer.errorMessage + ")");
      return Outcome::unavailable;
    }
    if (!connected()) {
      note("the session bus connection closed (" + answer.errorMessage + ")");
      disconnect();
      return Outcome::unavailable;
    }
    if (answer.result == -ETIMEDOUT || answer.errorName == SD_BUS_ERROR_NO_REPLY) {
      note("the notification server did not answer within " + secondsText(callTimeout) + " s");
      return Outcome::failed;
    }
    note("the notification server refused a notification: " +
         (answer.errorName.empty() ? answer.errorMessage : answer.errorName + ": " + answer.errorMessage));
    return Outcome::failed;
  }

  // The ids we hold belong to one server; a new one starts afresh.
  void answeredBy(const char* sender) {
    const std::string name = sender ? sender : "";
    if (name == server) return;
    server = name;
    shown.clear();
  }

  std::optional<BatteryAlert::Kind> kindShowing(std::uint32_t id, const char* sender) const {
    if (id == 0 || !sender || server != sender) return std::nullopt;
    for (const auto& [kind, notification] : shown) {
      if (notification.id == id) return kind;
    }
    return std::nullopt;
  }

  static int onActionInvoked(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto& self = *static_cast<Impl*>(userdata);
    std::uint32_t id = 0;
    const char* key = nullptr;
    if (sd_bus_message_read(message, "us", &id, &key) < 0 || !key) return 0;
    if (const auto kind = self.kindShowing(id, sd_bus_message_get_sender(message))) {
      self.invoked.push_back({*kind, key});
    }
    return 0;
  }

  // A closed notification is not replaced but shown anew; its buttons still
  // count, since some servers keep closed banners in a list that offers them.
  static int onClosed(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto& self = *static_cast<Impl*>(userdata);
    std::uint32_t id = 0;
    std::uint32_t reason = 0;
    if (sd_bus_message_read(message, "uu", &id, &reason) < 0) return 0;
    if (const auto kind = self.kindShowing(id, sd_bus_message_get_sender(message))) self.shown[*kind].open = false;
    return 0;
  }

  // Whether the server reads markup in bodies; absent when the call failed
  // (`failure` says how). A server without the method gets plain text.
  std::optional<bool> bodyMarkup(Outcome& failure) {
    int r = 0;
    const auto request = newCall("GetCapabilities", r);
    if (r < 0) {
      note("cannot build a notification call (" + errnoText(r) + ")");
      failure = Outcome::failed;
      return std::nullopt;
    }
    const auto answer = call(request);
    if (answer.result < 0) {
      if (answer.errorName == SD_BUS_ERROR_UNKNOWN_METHOD) return false;
      failure = judge(answer);
      return std::nullopt;
    }
    answeredBy(sd_bus_message_get_sender(answer.reply.get()));
    char** capabilities = nullptr;
    bool markup = false;
    if (sd_bus_message_read_strv(answer.reply.get(), &capabilities) >= 0 && capabilities) {
      for (char** each = capabilities; *each; ++each) {
        if (std::string_view(*each) == "body-markup") markup = true;
        std::free(*each);
      }
      std::free(capabilities);
    }
    return markup;
  }

  Outcome post(const BatteryAlert& alert, DetailLevel level) {
    const Outcome outcome = show(alert, level);
    rearm();
    return outcome;
  }

  Outcome show(const BatteryAlert& alert, DetailLevel level) {
    if (!connected() && !connect()) return Outcome::unavailable;
    // Asked every time: the answer also names the server of the moment, and
    // ids from a server that has since been replaced mean nothing to the new one.
    Outcome failure = Outcome::failed;
    const auto markup = bodyMarkup(failure);
    if (!markup) return failure;

    const auto previous = shown.find(alert.kind);
    const std::uint32_t replaces =
        previous != shown.end() && previous->second.open ? previous->second.id : 0;
    const std::string& plainBody = bodyFor(alert, level);
    const std::string body = *markup ? escapedMarkup(plainBody) : plainBody;

    int r = 0;
    const auto request = newCall("Notify", r);
    sd_bus_message* m = request.get();
    if (r >= 0) {
      r = sd_bus_message_append(m, "susss", batterycore::AppInfo::name, replaces, "", alert.title.c_str(),
                                body.c_str());
    }
    if (r >= 0) r = sd_bus_message_open_container(m, 'a', "s");
    if (r >= 0 && alert.kind == BatteryAlert::Kind::smartFullCharge) {
      const std::string key(notToday);
      r = sd_bus_message_append(m, "ss", key.c_str(), batterycore::Meaning::Smart::notToday().c_str());
    }
    if (r >= 0 && alert.kind == BatteryAlert::Kind::calendarFullCharge) {
      const std::string key(notTonight);
      r = sd_bus_message_append(m, "ss", key.c_str(), batterycore::Meaning::Trips::notTonight().c_str());
    }
    if (r >= 0) r = sd_bus_message_close_container(m);
    if (r >= 0) r = sd_bus_message_open_container(m, 'a', "{sv}");
    if (r >= 0) r = sd_bus_message_append(m, "{sv}", "urgency", "y", urgency(alert.kind));
    if (r >= 0) r = sd_bus_message_close_container(m);
    if (r >= 0) r = sd_bus_message_append(m, "i", kServerDecidesExpiry);
    if (r < 0) {
      note("cannot build a notification call (" + errnoText(r) + ")");
      return Outcome::failed;
    }

    const auto answer = call(request);
    if (answer.result < 0) return judge(answer);
    std::uint32_t id = 0;
    r = sd_bus_message_read(answer.reply.get(), "u", &id);
    if (r < 0) {
      note("the notification server answered with something other than an id (" + errnoText(r) + ")");
      return Outcome::failed;
    }
    answeredBy(sd_bus_message_get_sender(answer.reply.get()));
    if (id != 0) shown[alert.kind] = Shown{id, true};
    return Outcome::shown;
  }

  std::vector<InvokedAction> process() {
    while (bus) {
      const int r = sd_bus_process(bus, nullptr);
      if (r < 0) {
        note("the session bus connection closed (" + errnoText(r) + ")");
        disconnect();
      }
      if (r <= 0) break;
    }
    rearm();
    return std::exchange(invoked, {});
  }
};

DesktopNotifications::DesktopNotifications() : impl_(std::make_unique<Impl>(std::nullopt, defaultCallTimeout)) {
  impl_->connect();
}

DesktopNotifications::DesktopNotifications(std::string address, Seconds callTimeout)
    : impl_(std::make_unique<Impl>(std::move(address), callTimeout)) {
  impl_->connect();
}

DesktopNotifications::~DesktopNotifications() = default;
DesktopNotifications::DesktopNotifications(DesktopNotifications&&) noexcept = default;
DesktopNotifications& DesktopNotifications::operator=(DesktopNotifications&&) noexcept = default;

bool DesktopNotifications::available() const { return impl_->connected(); }

DesktopNotifications::Outcome DesktopNotifications::post(const BatteryAlert& alert, DetailLevel level) {
  return impl_->post(alert, level);
}

const std::optional<std::string>& DesktopNotifications::problem() const { return impl_->problem; }

std::optional<std::string> DesktopNotifications::newProblem() {
  if (!impl_->problem || impl_->problemTold) return std::nullopt;
  impl_->problemTold = true;
  return impl_->problem;
}

int DesktopNotifications::fd() const { return impl_->watch; }

short DesktopNotifications::events() const { return impl_->watch >= 0 ? POLLIN : 0; }

std::optional<Seconds> DesktopNotifications::timeout() const {
  if (!impl_->bus) return std::nullopt;
  std::uint64_t due = 0;  // CLOCK_MONOTONIC, in microseconds
  if (sd_bus_get_timeout(impl_->bus, &due) < 0 || due == UINT64_MAX) return std::nullopt;
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const double nowMicroseconds =
      static_cast<double>(now.tv_sec) * kMicrosecondsPerSecond + static_cast<double>(now.tv_nsec) / 1000.0;
  return Seconds{std::max(0.0, (static_cast<double>(due) - nowMicroseconds) / kMicrosecondsPerSecond)};
}

std::vector<DesktopNotifications::InvokedAction> DesktopNotifications::process() { return impl_->process(); }

}  // namespace kestrin::app::live

#endif  // __APPLE__
