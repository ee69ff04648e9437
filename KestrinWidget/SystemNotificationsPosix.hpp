// SocketNotifications: system-wide notifications as empty datagrams on a UNIX
// socket named after the notification, inside a shared folder.
//
//   SocketNotifications notifications(group);
//   auto listener = notifications.listen("app.kestrin.control");   // binds group/app.kestrin.control
//   notifications.post("app.kestrin.control");                      // one empty datagram
//   listener->wait(Seconds{1}) == true
//
// One listener per name: a second listen() while the first lives gets null.
// A socket left behind by a listener that died is taken over. A name longer
// than a socket path allows cannot be listened for, and posts to it are lost.
#pragma once

#include "KestrinWidget/SystemNotifications.hpp"

#include <filesystem>

namespace kestrin::widget {

class SocketNotifications final : public SystemNotifications {
 public:
  explicit SocketNotifications(std::filesystem::path folder) : folder_(std::move(folder)) {}

  void post(std::string_view name) override;
  std::unique_ptr<NotificationListener> listen(std::string_view name) override;

 private:
  std::filesystem::path folder_;
};

}  // namespace kestrin::widget
