// Clock: the time and the pause the control's action needs, kept apart so a
// test can run the three-second wait without waiting.
//
//   SystemClock clock;
//   const Date flipped = clock.now();          // the wall clock, for the request
//   clock.sleep(Seconds{0.1});                 // a pause on the monotonic clock
//
// `now` is the calendar time that both processes compare; `sleep` must not
// stretch or shrink when someone sets the wall clock meanwhile.
#pragma once

#include "BatteryCore/foundation/Date.hpp"

namespace kestrin::widget {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual batterycore::Date now() const = 0;
  virtual void sleep(batterycore::Seconds span) = 0;
};

class SystemClock final : public Clock {
 public:
  batterycore::Date now() const override;
  void sleep(batterycore::Seconds span) override;
};

}  // namespace kestrin::widget
