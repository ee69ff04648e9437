// PowerSupplyEvents: the kernel's announcements that a power supply changed
// (plugged, unplugged, charging, full), through a udev monitor, for a service
// that sleeps in poll() and wants to tick as soon as something happens.
//
//   std::string why;
//   auto events = PowerSupplyEvents::open(why);   // null where udev cannot be watched: `why` says why
//   poll on events->descriptor() for POLLIN, then
//   if (events->drain()) tick();                  // a power supply changed
//
// Linux only (sd-device from libsystemd); elsewhere open() always gives null.
#pragma once

#include <memory>
#include <string>

namespace kestrin::app::live {

class PowerSupplyEvents {
 public:
  static std::unique_ptr<PowerSupplyEvents> open(std::string& why);

  PowerSupplyEvents(const PowerSupplyEvents&) = delete;
  PowerSupplyEvents& operator=(const PowerSupplyEvents&) = delete;
  ~PowerSupplyEvents();

  int descriptor() const;
  // Takes every event that arrived; true when one was about a power supply.
  bool drain();

  struct Handles;

 private:
  explicit PowerSupplyEvents(std::unique_ptr<Handles> handles);
  std::unique_ptr<Handles> handles_;
};

}  // namespace kestrin::app::live
