#include "app/live/PowerSupplyEvents.hpp"

#ifndef __APPLE__

#include <systemd/sd-device.h>
#include <systemd/sd-event.h>

#include <cstring>

namespace kestrin::app::live {

// The monitor lives on its own event loop, whose one descriptor the caller
// polls; running the loop without waiting hands over what arrived.
struct PowerSupplyEvents::Handles {
  sd_event* loop = nullptr;
  sd_device_monitor* monitor = nullptr;
  bool changed = false;

  ~Handles() {
    if (monitor != nullptr) sd_device_monitor_unref(monitor);
    if (loop != nullptr) sd_event_unref(loop);
  }
};

namespace {

int onDevice(sd_device_monitor*, sd_device*, void* userdata) {
  static_cast<PowerSupplyEvents::Handles*>(userdata)->changed = true;
  return 0;
}

std::string failure(const char* what, int error) { return std::string(what) + ": " + std::strerror(-error); }

}  // namespace

std::unique_ptr<PowerSupplyEvents> PowerSupplyEvents::open(std::string& why) {
  auto handles = std::make_unique<Handles>();
  int result = sd_event_new(&handles->loop);
  if (result < 0) {
    why = failure("cannot make an event loop for udev", result);
    return nullptr;
  }
  result = sd_device_monitor_new(&handles->monitor);
  if (result < 0) {
    why = failure("cannot open a udev monitor", result);
    return nullptr;
  }
  result = sd_device_monitor_filter_add_match_subsystem_devtype(handles->monitor, "power_supply", nullptr);
  if (result >= 0) result = sd_device_monitor_attach_event(handles->monitor, handles->loop);
  if (result >= 0) result = sd_device_monitor_start(handles->monitor, onDevice, handles.get());
  if (result < 0) {
    why = failure("cannot watch udev for power-supply changes", result);
    return nullptr;
  }
  return std::unique_ptr<PowerSupplyEvents>(new PowerSupplyEvents(std::move(handles)));
}

PowerSupplyEvents::PowerSupplyEvents(std::unique_ptr<Handles> handles) : handles_(std::move(handles)) {}
PowerSupplyEvents::~PowerSupplyEvents() = default;

int PowerSupplyEvents::descriptor() const { return sd_event_get_fd(handles_->loop); }

bool PowerSupplyEvents::drain() {
  handles_->changed = false;
  while (sd_event_run(handles_->loop, 0) > 0) {
  }
  return handles_->changed;
}

}  // namespace kestrin::app::live

#else  // __APPLE__

namespace kestrin::app::live {

struct PowerSupplyEvents::Handles {};

std::unique_ptr<PowerSupplyEvents> PowerSupplyEvents::open(std::string& why) {
  why = "no udev on this system";
  return nullptr;
}

PowerSupplyEvents::PowerSupplyEvents(std::unique_ptr<Handles> handles) : handles_(std::move(handles)) {}
PowerSupplyEvents::~PowerSupplyEvents() = default;
int PowerSupplyEvents::descriptor() const { return -1; }
bool PowerSupplyEvents::drain() { return false; }

}  // namespace kestrin::app::live

#endif  // __APPLE__
