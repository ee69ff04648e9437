// DesktopNotifications: the alerts the policy lets out, shown by the desktop's
// notification server, and the buttons the person presses on them.
//
//   DesktopNotifications notifications;                   // the user's session bus
//   notifications.post(alert, DetailLevel::simple);       // Outcome::shown
//   if (auto warning = notifications.newProblem()) log(*warning);   // once, ever
//
//   pollfd bus{notifications.fd(), notifications.events(), 0};       // in the wait
//   ::poll(&bus, 1, millisecondsOf(notifications.timeout()));
//   for (const auto& action : notifications.process())
//     if (action.kind == BatteryAlert::Kind::smartFullCharge &&
//         action.key == DesktopNotifications::notToday) skip today's top-up;
//
// On Linux each alert is a freedesktop notification (org.freedesktop.Notifications
// on the session bus): the title as summary, the body of the detail level, the
// smart top-up's "Not today" button, and a later alert of the same kind
// replacing the earlier one on screen instead of piling up. Alerts that mean
// the battery is being worn right now and only the person can stop it
// (limitNotHolding, hot, limitRestoreFailed) are critical, which servers keep
// on screen until dismissed; every other kind is normal.
//
// Nothing here throws or waits long. Without a session bus the object still
// exists and says why; a server that does not answer gives up after
// `callTimeout`; a server that is missing or went away is tried again at the
// next post. The first thing that goes wrong is kept as `problem()` so the
// caller can log it once; later failures only show in the outcome.
//
// No threads: the caller waits on fd() with events() and timeout() and calls
// process() when it is due. post() reads whatever arrives during its call, so
// after a post, timeout() may be zero with nothing left on the socket. A
// moved-from object may only be destroyed or assigned to.
//
// On Apple platforms the same interface posts a banner through osascript;
// banners there carry no buttons, so process() never returns an action.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/text/DetailLevel.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app::live {

class DesktopNotifications {
 public:
  // The key of the smart top-up's "Not today" button.
  static constexpr std::string_view notToday = "notToday";
  // The key of the calendar trip's "Not tonight" button.
  static constexpr std::string_view notTonight = "notTonight";
  // Longest wait for the notification server's answer to one call.
  static constexpr batterycore::Seconds defaultCallTimeout{2};

  enum class Outcome {
    shown,        // the server took it
    failed,       // the server refused it, failed or did not answer in time
    unavailable,  // no session bus, or nothing on it shows notifications
  };

  // A button pressed on one of our notifications.
  struct InvokedAction {
    batterycore::BatteryAlert::Kind kind;  // the alert the notification showed
    std::string key;                       // notToday, notTonight
    friend bool operator==(const InvokedAction&, const InvokedAction&) = default;
  };

  // The freedesktop urgency of a kind's notifications: 1 normal, 2 critical.
  static std::uint8_t urgency(batterycore::BatteryAlert::Kind kind);
  // The text a notification shows under the title: technicalBody at the
  // technical level when the alert has one, else body.
  static const std::string& bodyFor(const batterycore::BatteryAlert& alert, batterycore::DetailLevel level);

  // The user's session bus.
  DesktopNotifications();
  // The bus at `address` ("unix:path=/run/user/1000/bus"); for tests and for
  // a service told its bus explicitly. An empty address is no bus.
  explicit DesktopNotifications(std::string address,
                                batterycore::Seconds callTimeout = defaultCallTimeout);
  ~DesktopNotifications();
  DesktopNotifications(DesktopNotifications&&) noexcept;
  DesktopNotifications& operator=(DesktopNotifications&&) noexcept;
  DesktopNotifications(const DesktopNotifications&) = delete;
  DesktopNotifications& operator=(const DesktopNotifications&) = delete;

  // Connected to a bus (whether a server is on it shows at the first post).
  bool available() const;

  // Shows `alert` with the body of `level` (bodyFor).
  Outcome post(const batterycore::BatteryAlert& alert, batterycore::DetailLevel level);

  // Why notifications did not show, the first time it happened; kept. A
  // phrase for a log line: "nothing on the session bus shows notifications (...)".
  const std::optional<std::string>& problem() const;
  // The problem, at the first call after it arose; absent before and after.
  std::optional<std::string> newProblem();

  // For the caller's poll: one descriptor for the object's whole life, ready
  // when the bus has something for process() (it stays the same when the bus
  // is lost or comes back, and is never ready without a bus; -1 only if the
  // system refused to make it); the poll events to wait for; and how long
  // until process() is due regardless (absent: no deadline; zero: now).
  int fd() const;
  short events() const;
  std::optional<batterycore::Seconds> timeout() const;

  // Handles everything that arrived, without waiting, and returns the buttons
  // pressed on our notifications since the last call, in order.
  std::vector<InvokedAction> process();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kestrin::app::live
