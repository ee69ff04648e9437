#ifdef __APPLE__

#include "KestrinWidget/SystemNotificationsApple.hpp"

#include <dispatch/dispatch.h>
#include <notify.h>

#include <cstdint>
#include <string>

namespace kestrin::widget {

namespace {

class DarwinListener final : public NotificationListener {
 public:
  DarwinListener()
      : queue_(dispatch_queue_create("app.kestrin.control-listener", DISPATCH_QUEUE_SERIAL)),
        arrived_(dispatch_semaphore_create(0)) {}

  DarwinListener(const DarwinListener&) = delete;
  DarwinListener& operator=(const DarwinListener&) = delete;

  ~DarwinListener() override {
    if (registered_) notify_cancel(token_);
    // A handler already queued must finish before the semaphore goes.
    dispatch_sync(queue_, ^{
                  });
    dispatch_release(arrived_);
    dispatch_release(queue_);
  }

  bool start(const std::string& name) {
    dispatch_semaphore_t arrived = arrived_;
    registered_ = notify_register_dispatch(name.c_str(), &token_, queue_, ^(int) {
                    dispatch_semaphore_signal(arrived);
                  }) == NOTIFY_STATUS_OK;
    return registered_;
  }

  bool wait(batterycore::Seconds timeout) override {
    const auto nanoseconds = static_cast<std::int64_t>(timeout.count() * NSEC_PER_SEC);
    if (dispatch_semaphore_wait(arrived_, dispatch_time(DISPATCH_TIME_NOW, nanoseconds)) != 0) return false;
    // Posts that piled up since the last wait count as one.
    while (dispatch_semaphore_wait(arrived_, DISPATCH_TIME_NOW) == 0) {
    }
    return true;
  }

 private:
  dispatch_queue_t queue_;
  dispatch_semaphore_t arrived_;
  int token_ = 0;
  bool registered_ = false;
};

}  // namespace

void DarwinNotifications::post(std::string_view name) { notify_post(std::string(name).c_str()); }

std::unique_ptr<NotificationListener> DarwinNotifications::listen(std::string_view name) {
  auto listener = std::make_unique<DarwinListener>();
  if (!listener->start(std::string(name))) return nullptr;
  return listener;
}

}  // namespace kestrin::widget

#endif  // __APPLE__
