#include "KestrinWidget/ControlResponder.hpp"

#include "KestrinWidget/Log.hpp"

namespace kestrin::widget {

std::optional<ControlRequest> answerPendingRequest(SharedPreferences& preferences, batterycore::Date now,
                                                   const LimitSwitch& apply) {
  const auto request = ControlRequest::pending(preferences.dictionary(ControlRequest::requestKey),
                                               preferences.dictionary(ControlRequest::appliedKey), now);
  if (!request) return std::nullopt;
  const auto refusal = apply(request->on);
  if (!preferences.setDictionary(ControlRequest::appliedKey, ControlRequest::answer(*request, refusal))) {
    // The limit did switch; only the control will not hear of it in time.
    logNote("could not store the answer to the control's request");
    return request;
  }
  logNote(std::string("answered the control: limit ") + (request->on ? "on" : "off") +
          (refusal ? ", refused: " + *refusal : ""));
  return request;
}

}  // namespace kestrin::widget
