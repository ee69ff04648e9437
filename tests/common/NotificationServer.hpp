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

#include <poll.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
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

  explicit NotificationServer(std::string busAddress, std::vector<std::string> capabilities = {"actions", "body"},
                              std::uint32_t firstId = 1)
      : capabilities_(std::move(capabilities)), nextId_(firstId) {
    thread_ = std::thread([this, address = std::move(busAddress)] { run(address); });
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, [this] { return started_; })) {
      failure_ = "the notification server did not start in time";
    }
  }
  ~NotificationServer() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
  }
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;

  // Owns the name and answers calls.
  bool ready() const { return failure_.empty(); }
  const std::string& failure() const { return failure_; }

  std::vector<Notification> received() const {
    std::lock_guard lock(mutex_);
    return received_;
  }

  // Emits ActionInvoked(id, key), as when the person presses that button.
  void invoke(std::uint32_t id, const std::string& key) { emit({id, key, 0}); }
  // Emits NotificationClosed(id, reason): 1 expired, 2 dismissed.
  void close(std::uint32_t id, std::uint32_t reason) { emit({id, "", reason}); }
  // false: method calls are kept and never answered, like a hung server.
  void setAnswering(bool answering) {
    std::lock_guard lock(mutex_);
    answering_ = answering;
  }

 private:
  static constexpr const char* kName = "org.freedesktop.Notifications";
  static constexpr const char* kPath = "/org/freedesktop/Notifications";
  static constexpr auto kPatience = std::chrono::seconds(10);

  struct Signal {
    std::uint32_t id;
    std::string key;  // ActionInvoked's key; empty for NotificationClosed
    std::uint32_t reason;
    bool sent = false;
  };

  void run(const std::string& busAddress) {
    sd_bus* bus = nullptr;
    int r = sd_bus_new(&bus);
    if (r >= 0) r = sd_bus_set_address(bus, busAddress.c_str());
    if (r >= 0) r = sd_bus_set_bus_client(bus, 1);
    if (r >= 0) r = sd_bus_start(bus);
    if (r >= 0) r = sd_bus_add_object(bus, nullptr, kPath, onMessage, this);
    if (r >= 0) r = sd_bus_request_name(bus, kName, 0);
    {
      std::lock_guard lock(mutex_);
      if (r < 0) failure_ = "the notification server cannot take its name: " + std::system_category().message(-r);
      started_ = true;
      changed_.notify_all();
    }
    // A short wait between looks keeps the signals the test asks for prompt.
    while (r >= 0 && !stopping_) {
      while ((r = sd_bus_process(bus, nullptr)) > 0) {
      }
      std::vector<Signal*> due;
      {
        std::lock_guard lock(mutex_);
        due.swap(outbox_);
      }
      for (Signal* s : due) {
        if (s->key.empty()) sd_bus_emit_signal(bus, kPath, kName, "NotificationClosed", "uu", s->id, s->reason);
        else sd_bus_emit_signal(bus, kPath, kName, "ActionInvoked", "us", s->id, s->key.c_str());
      }
      sd_bus_flush(bus);
      {
        std::lock_guard lock(mutex_);
        for (Signal* s : due) s->sent = true;
        changed_.notify_all();
      }
      pollfd wait{sd_bus_get_fd(bus), static_cast<short>(std::max(0, sd_bus_get_events(bus))), 0};
      ::poll(&wait, 1, 10);
    }
    for (sd_bus_message* message : unanswered_) sd_bus_message_unref(message);
    if (bus) sd_bus_flush_close_unref(bus);
  }

  void emit(Signal signal) {
    std::unique_lock lock(mutex_);
    outbox_.push_back(&signal);
    if (!changed_.wait_for(lock, kPatience, [&] { return signal.sent; })) std::erase(outbox_, &signal);
  }

  static int onMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
    return static_cast<NotificationServer*>(userdata)->answer(message);
  }

  int answer(sd_bus_message* message) {
    {
      std::lock_guard lock(mutex_);
      if (!answering_) {
        unanswered_.push_back(sd_bus_message_ref(message));
        return 1;
      }
    }
    if (sd_bus_message_is_method_call(message, kName, "GetCapabilities") > 0) {
      std::vector<char*> strings;
      for (auto& capability : capabilities_) strings.push_back(capability.data());
      strings.push_back(nullptr);
      sd_bus_message* reply = nullptr;
      int r = sd_bus_message_new_method_return(message, &reply);
      if (r >= 0) r = sd_bus_message_append_strv(reply, strings.data());
      if (r >= 0) r = sd_bus_send(nullptr, reply, nullptr);
      sd_bus_message_unref(reply);
      return r;
    }
    if (sd_bus_message_is_method_call(message, kName, "Notify") <= 0) return 0;
    // Kestrin gives one hint, the urgency.
    Notification n;
    const char* text[5] = {};  // app name, icon, summary, body, the hint's name
    char** actions = nullptr;
    std::uint8_t urgency = 0;
    int r = sd_bus_message_read(message, "susss", &text[0], &n.replacesId, &text[1], &text[2], &text[3]);
    if (r >= 0) r = sd_bus_message_read_strv(message, &actions);
    if (r >= 0) r = sd_bus_message_read(message, "a{sv}i", 1, &text[4], "y", &urgency, &n.expireTimeout);
    for (char** each = actions; each && *each; ++each) {
      n.actions.emplace_back(*each);
      std::free(*each);
    }
    std::free(actions);
    if (r < 0) return r;
    n.appName = text[0];
    n.icon = text[1];
    n.summary = text[2];
    n.body = text[3];
    if (std::string(text[4]) == "urgency") n.urgency = urgency;
    {
      std::lock_guard lock(mutex_);
      n.id = n.replacesId != 0 ? n.replacesId : nextId_++;
      received_.push_back(n);
    }
    return sd_bus_reply_method_return(message, "u", n.id);
  }

  std::vector<std::string> capabilities_;
  std::uint32_t nextId_;
  std::string failure_;
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool started_ = false;
  bool answering_ = true;
  std::vector<Notification> received_;
  std::vector<Signal*> outbox_;
  std::vector<sd_bus_message*> unanswered_;  // touched on the server's thread only
  std::thread thread_;
};

}  // namespace kestrin::app::live
