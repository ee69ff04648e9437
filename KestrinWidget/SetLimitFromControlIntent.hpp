// SetLimitFromControlIntent: what flipping the Control Center toggle does.
// The widget extension cannot switch the limit itself, so it asks the
// application and waits up to three seconds for its answer.
//
//   SetLimitFromControlIntent{.value = false}.perform(group, clock);
//   // stores {"on": false, "at": now} under "control.request", posts
//   // "app.kestrin.control", then looks for the matching answer under
//   // "control.applied" 30 times, 0.1 s apart.
//   // Returns when the application applied it; throws ControlMessage with the
//   // application's refusal, or with "Kestrin isn't running yet. ..." when no
//   // answer came.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/ControlMessage.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/SystemNotifications.hpp"

#include <chrono>
#include <string>
#include <string_view>

namespace kestrin::widget {

struct SetLimitFromControlIntent {
  static constexpr std::string_view title = "Set Charge Limit from Control Center";
  // 30 looks 0.1 s apart: the three seconds a request stays fresh.
  static constexpr int answerPolls = 30;
  static constexpr batterycore::Seconds pollInterval = std::chrono::milliseconds{100};

  bool value = false;  // the toggle's new state: the limit on or off

  // Throws ControlMessage unless the application applied the request. Null
  // preferences are preferences that could not be opened.
  void perform(SharedPreferences* preferences, SystemNotifications& notifications, Clock& clock) const;
  void perform(const AppGroup& group, Clock& clock) const;
  // The platform's own group and clock.
  void perform() const;

  // "Kestrin isn't running yet. Open it once, then try again."
  static std::string notRunningText();
};

}  // namespace kestrin::widget
