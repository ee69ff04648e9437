// SystemNotifications: a system-wide wake-up call by name, without payload,
// from one process to whoever listens.
//
//   auto listener = notifications.listen("app.kestrin.control");   // the application
//   notifications.post("app.kestrin.control");                      // the control
//   listener->wait(Seconds{1}) == true
//
// Posting with nobody listening is not an error: the call is simply lost,
// as it is on the system's own notification service. Several posts before a
// wait count as one.
#pragma once

#include "BatteryCore/foundation/Date.hpp"

#include <memory>
#include <string_view>

namespace kestrin::widget {

class NotificationListener {
 public:
  virtual ~NotificationListener() = default;
  // Waits up to `timeout` for the notification; true when it came. A signal
  // delivered to the process ends the wait early, with false.
  virtual bool wait(batterycore::Seconds timeout) = 0;
  // For a caller that waits on several things in one poll: a descriptor that
  // turns readable when the notification comes (-1 when there is none), and
  // what to call then so that it stops being readable.
  virtual int descriptor() const { return -1; }
  virtual void consume() {}
};

class SystemNotifications {
 public:
  virtual ~SystemNotifications() = default;
  virtual void post(std::string_view name) = 0;
  // Null when this process cannot listen for `name`.
  virtual std::unique_ptr<NotificationListener> listen(std::string_view name) = 0;
};

}  // namespace kestrin::widget
