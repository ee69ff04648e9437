// systemNow: the wall clock in whole seconds, the service's and the readers'
// "now" on a live machine. Tests hand in their own clock instead.
//
//   const batterycore::Date now = systemNow();
#pragma once

#include "BatteryCore/foundation/Date.hpp"

#include <chrono>

namespace kestrin::app::live {

inline batterycore::Date systemNow() {
  return std::chrono::time_point_cast<batterycore::Seconds>(std::chrono::system_clock::now());
}

}  // namespace kestrin::app::live
