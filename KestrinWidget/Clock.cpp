#include "KestrinWidget/Clock.hpp"

#include <chrono>
#include <thread>

namespace kestrin::widget {

batterycore::Date SystemClock::now() const {
  return std::chrono::time_point_cast<batterycore::Seconds>(std::chrono::system_clock::now());
}

void SystemClock::sleep(batterycore::Seconds span) {
  // sleep_until on the steady clock: immune to wall-clock changes.
  const auto until = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::steady_clock::duration>(span);
  std::this_thread::sleep_until(until);
}

}  // namespace kestrin::widget
