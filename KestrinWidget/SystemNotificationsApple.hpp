// DarwinNotifications: system-wide notifications through notify_post and
// notify_register_dispatch.
//
//   DarwinNotifications notifications;
//   auto listener = notifications.listen("app.kestrin.control");
//   notifications.post("app.kestrin.control");
//   listener->wait(Seconds{1}) == true
#pragma once

#ifdef __APPLE__

#include "KestrinWidget/SystemNotifications.hpp"

namespace kestrin::widget {

class DarwinNotifications final : public SystemNotifications {
 public:
  void post(std::string_view name) override;
  std::unique_ptr<NotificationListener> listen(std::string_view name) override;
};

}  // namespace kestrin::widget

#endif  // __APPLE__
