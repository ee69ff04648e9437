// NotificationServer: a desktop notification server of a test's own on a
// private bus. It owns org.freedesktop.Notifications, keeps every Notify call
// it gets, and presses buttons or closes notifications when told to.
//
//   PrivateBus bus;
//   NotificationServer server(bus.address());
//   ASSERT_TRUE(server.ready()) << server.failure();
//   notifications.post(alert, DetailLevel::simple);
//   server.received().at(0).summary == alert.title
//   server.invoke(server.received().at(0).id, "notToday");   // ActionInvoked on the bus
//
// Ids start at `firstId` and go up by one; a Notify that names an id to
// replace gets that id back. The server runs on a thread of its own; every
// call here is safe from the test's thread, and invoke() and close() return
// once the signal has left for the bus.
#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kestrin::app::live {

class NotificationServer {
 public:
  // One Notify call, as the server read it.
  struct Notification {
    std::uint32_t id = 0;  // what the server answered
    std::string appName;
    std::uint32_t replacesId = 0;
    std::string icon;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;     // key, label, key, label ...
    std::optional<std::uint8_t> urgency;  // the "urgency" hint
    std::int32_t expireTimeout = 0;
  };

  explicit NotificationServer(std::string busAddress,
                              std::vector<std::string> capabilities = {"actions", "body"},
                              std::uint32_t firstId = 1);
  ~NotificationServer();
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;

  // Owns the name and answers calls.
  bool ready() const { return failure_.empty(); }
  const std::string& failure() const { return failure_; }

  std::vector<Notification> received() const;
  // The ids callers asked to close with CloseNotification.
  std::vector<std::uint32_t> closeRequests() const;

  // Emits ActionInvoked(id, key), as when the person presses that button.
  void invoke(std::uint32_t id, const std::string& key);
  // Emits NotificationClosed(id, reason): 1 expired, 2 dismissed.
  void close(std::uint32_t id, std::uint32_t reason);
  // false: method calls are kept and never answered, like a hung server.
  void setAnswering(bool answering);

 private:
  struct Signal {
    std::uint32_t id;
    std::string key;  // ActionInvoked's key; empty for NotificationClosed
    std::uint32_t reason;
    bool sent = false;
  };

  void run(std::string busAddress);
  void emit(Signal signal);
  static int onMessage(sd_bus_message* message, void* userdata, sd_bus_error* error);
  int answer(sd_bus_message* message);

  std::vector<std::string> capabilities_;
  std::uint32_t nextId_;
  std::string failure_;
  int wake_ = -1;  // an eventfd that ends the thread's wait
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool started_ = false;
  bool answering_ = true;
  std::vector<Notification> received_;
  std::vector<std::uint32_t> closeRequests_;
  std::vector<Signal*> outbox_;
  std::vector<sd_bus_message*> unanswered_;
  std::thread thread_;
};

}  // namespace kestrin::app::live
