#include "tests/app/NotificationServer.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

namespace kestrin::app::live {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kInterface = "org.freedesktop.Notifications";
constexpr auto kPatience = std::chrono::seconds(10);
constexpr int kLongestWaitMilliseconds = 1000;
constexpr std::uint32_t kClosedByCall = 3;

std::string errnoText(int negativeErrno) { return std::error_code(-negativeErrno, std::generic_category()).message(); }

std::vector<std::string> takeStrv(char** strings) {
  std::vector<std::string> taken;
  if (!strings) return taken;
  for (char** each = strings; *each; ++each) {
    taken.emplace_back(*each);
    std::free(*each);
  }
  std::free(strings);
  return taken;
}

// How long sd-bus may wait before it must be called again, capped so the
// thread also looks at its stop flag now and then.
int waitMilliseconds(sd_bus* bus) {
  std::uint64_t due = 0;
  if (sd_bus_get_timeout(bus, &due) < 0 || due == UINT64_MAX) return kLongestWaitMilliseconds;
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const auto nowMicroseconds = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 +
                               static_cast<std::uint64_t>(now.tv_nsec) / 1000;
  if (due <= nowMicroseconds) return 0;
  return static_cast<int>(std::min<std::uint64_t>((due - nowMicroseconds + 999) / 1000, kLongestWaitMilliseconds));
}

}  // namespace

NotificationServer::NotificationServer(std::string busAddress, std::vector<std::string> capabilities,
                                       std::uint32_t firstId)
    : capabilities_(std::move(capabilities)), nextId_(firstId) {
  wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake_ < 0) {
    failure_ = "cannot make an eventfd";
    return;
  }
  thread_ = std::thread([this, address = std::move(busAddress)] { run(address); });
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [this] { return started_; })) {
    failure_ = "the notification server did not start in time";
  }
}

NotificationServer::~NotificationServer() {
  stopping_ = true;
  if (wake_ >= 0) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto ignored = ::write(wake_, &one, sizeof one);
  }
  if (thread_.joinable()) thread_.join();
  if (wake_ >= 0) ::close(wake_);
}

void NotificationServer::run(std::string busAddress) {
  sd_bus* bus = nullptr;
  int r = sd_bus_new(&bus);
  if (r >= 0) r = sd_bus_set_address(bus, busAddress.c_str());
  if (r >= 0) r = sd_bus_set_bus_client(bus, 1);
  if (r >= 0) r = sd_bus_start(bus);
  if (r >= 0) r = sd_bus_add_object(bus, nullptr, kPath, onMessage, this);
  if (r >= 0) r = sd_bus_request_name(bus, kService, 0);
  {
    std::lock_guard lock(mutex_);
    if (r < 0) failure_ = "the notification server cannot take its name on the bus: " + errnoText(r);
    started_ = true;
  }
  changed_.notify_all();
  if (r < 0) {
    if (bus) sd_bus_close_unref(bus);
    return;
  }

  while (!stopping_) {
    while ((r = sd_bus_process(bus, nullptr)) > 0) {
    }
    if (r < 0) break;
    std::vector<Signal*> due;
    {
      std::lock_guard lock(mutex_);
      due.swap(outbox_);
    }
    for (Signal* signal : due) {
      if (signal->key.empty()) {
        sd_bus_emit_signal(bus, kPath, kInterface, "NotificationClosed", "uu", signal->id, signal->reason);
      } else {
        sd_bus_emit_signal(bus, kPath, kInterface, "ActionInvoked", "us", signal->id, signal->key.c_str());
      }
    }
    sd_bus_flush(bus);
    if (!due.empty()) {
      {
        std::lock_guard lock(mutex_);
        for (Signal* signal : due) signal->sent = true;
      }
      changed_.notify_all();
    }
    pollfd waits[2] = {{sd_bus_get_fd(bus), static_cast<short>(std::max(0, sd_bus_get_events(bus))), 0},
                       {wake_, POLLIN, 0}};
    ::poll(waits, 2, waitMilliseconds(bus));
    if (waits[1].revents & POLLIN) {
      std::uint64_t count = 0;
      [[maybe_unused]] const auto ignored = ::read(wake_, &count, sizeof count);
    }
  }

  {
    std::lock_guard lock(mutex_);
    for (sd_bus_message* message : unanswered_) sd_bus_message_unref(message);
    unanswered_.clear();
  }
  sd_bus_flush_close_unref(bus);
}

int NotificationServer::onMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
  return static_cast<NotificationServer*>(userdata)->answer(message);
}

int NotificationServer::answer(sd_bus_message* message) {
  std::uint8_t type = 0;
  if (sd_bus_message_get_type(message, &type) < 0 || type != SD_BUS_MESSAGE_METHOD_CALL) return 0;
  {
    std::lock_guard lock(mutex_);
    if (!answering_) {
      unanswered_.push_back(sd_bus_message_ref(message));
      return 1;
    }
  }

  if (sd_bus_message_is_method_call(message, kInterface, "Notify") > 0) {
    Notification notification;
    const char* appName = nullptr;
    const char* icon = nullptr;
    const char* summary = nullptr;
    const char* body = nullptr;
    int r = sd_bus_message_read(message, "susss", &appName, &notification.replacesId, &icon, &summary, &body);
    if (r < 0) return r;
    notification.appName = appName;
    notification.icon = icon;
    notification.summary = summary;
    notification.body = body;
    char** actions = nullptr;
    r = sd_bus_message_read_strv(message, &actions);
    if (r < 0) return r;
    notification.actions = takeStrv(actions);
    r = sd_bus_message_enter_container(message, 'a', "{sv}");
    if (r < 0) return r;
    while ((r = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
      const char* key = nullptr;
      r = sd_bus_message_read(message, "s", &key);
      if (r < 0) return r;
      std::uint8_t urgency = 0;
      if (std::string_view(key) == "urgency" && sd_bus_message_enter_container(message, 'v', "y") > 0) {
        r = sd_bus_message_read(message, "y", &urgency);
        if (r < 0) return r;
        notification.urgency = urgency;
        r = sd_bus_message_exit_container(message);
      } else {
        r = sd_bus_message_skip(message, "v");
      }
      if (r < 0) return r;
      r = sd_bus_message_exit_container(message);
      if (r < 0) return r;
    }
    if (r < 0) return r;
    r = sd_bus_message_exit_container(message);
    if (r < 0) return r;
    r = sd_bus_message_read(message, "i", &notification.expireTimeout);
    if (r < 0) return r;
    {
      std::lock_guard lock(mutex_);
      notification.id = notification.replacesId != 0 ? notification.replacesId : nextId_++;
      received_.push_back(notification);
    }
    return sd_bus_reply_method_return(message, "u", notification.id);
  }

  if (sd_bus_message_is_method_call(message, kInterface, "GetCapabilities") > 0) {
    sd_bus_message* reply = nullptr;
    int r = sd_bus_message_new_method_return(message, &reply);
    std::vector<char*> strings;
    for (auto& capability : capabilities_) strings.push_back(capability.data());
    strings.push_back(nullptr);
    if (r >= 0) r = sd_bus_message_append_strv(reply, strings.data());
    if (r >= 0) r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r < 0 ? r : 1;
  }

  if (sd_bus_message_is_method_call(message, kInterface, "GetServerInformation") > 0) {
    return sd_bus_reply_method_return(message, "ssss", "kestrin-test-server", "Kestrin", "1.0", "1.2");
  }

  if (sd_bus_message_is_method_call(message, kInterface, "CloseNotification") > 0) {
    std::uint32_t id = 0;
    const int r = sd_bus_message_read(message, "u", &id);
    if (r < 0) return r;
    {
      std::lock_guard lock(mutex_);
      closeRequests_.push_back(id);
    }
    sd_bus_emit_signal(sd_bus_message_get_bus(message), kPath, kInterface, "NotificationClosed", "uu", id,
                       kClosedByCall);
    return sd_bus_reply_method_return(message, "");
  }
  return 0;
}

std::vector<NotificationServer::Notification> NotificationServer::received() const {
  std::lock_guard lock(mutex_);
  return received_;
}

std::vector<std::uint32_t> NotificationServer::closeRequests() const {
  std::lock_guard lock(mutex_);
  return closeRequests_;
}

void NotificationServer::emit(Signal signal) {
  std::unique_lock lock(mutex_);
  outbox_.push_back(&signal);
  lock.unlock();
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto ignored = ::write(wake_, &one, sizeof one);
  lock.lock();
  if (!changed_.wait_for(lock, kPatience, [&] { return signal.sent; })) {
    outbox_.erase(std::remove(outbox_.begin(), outbox_.end(), &signal), outbox_.end());
  }
}

void NotificationServer::invoke(std::uint32_t id, const std::string& key) { emit({id, key, 0}); }

void NotificationServer::close(std::uint32_t id, std::uint32_t reason) { emit({id, "", reason}); }

void NotificationServer::setAnswering(bool answering) {
  std::lock_guard lock(mutex_);
  answering_ = answering;
}

}  // namespace kestrin::app::live
