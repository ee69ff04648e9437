// answerPendingRequest: the application's side of the Control Center
// control — find the request still waiting, switch the limit, leave the answer.
//
//   // on the control's notification, and on every tick:
//   answerPendingRequest(*group.preferences, now, [&](bool on) -> std::optional<std::string> {
//     if (limit.set(on)) return std::nullopt;                       // applied
//     return Meaning::text("intents.cantSwitch", "Couldn't switch ...");   // refused, with the reason
//   });
//
// The application is the only writer of the answer; a request that is stale
// or already answered is left alone, so a late application never applies an
// old flip and a request is never applied twice.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/SharedPreferences.hpp"

#include <functional>
#include <optional>
#include <string>

namespace kestrin::widget {

// Switches the limit on (true) or off (false); absent when done, otherwise
// the reason it could not, worded for the user.
using LimitSwitch = std::function<std::optional<std::string>(bool on)>;

// The request acted on (applied or refused), or absent when there was
// nothing to do. `apply` is only called for a pending request.
std::optional<ControlRequest> answerPendingRequest(SharedPreferences& preferences, batterycore::Date now,
                                                   const LimitSwitch& apply);

}  // namespace kestrin::widget
