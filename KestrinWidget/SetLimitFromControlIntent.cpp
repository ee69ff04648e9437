#include "KestrinWidget/SetLimitFromControlIntent.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/ControlRequest.hpp"

namespace kestrin::widget {

std::string SetLimitFromControlIntent::notRunningText() {
  return batterycore::Meaning::text("intents.notRunning",
                                    "Kestrin isn't running yet. Open it once, then try again.");
}

void SetLimitFromControlIntent::perform(SharedPreferences* preferences, SystemNotifications& notifications,
                                        Clock& clock) const {
  if (preferences == nullptr) throw ControlMessage(notRunningText());
  const ControlRequest request{value, clock.now()};
  // Without a stored request no answer can ever come; say so now rather than
  // after three seconds.
  if (!preferences->setDictionary(ControlRequest::requestKey, request.dictionary())) {
    throw ControlMessage(notRunningText());
  }
  notifications.post(ControlRequest::notification);

  for (int poll = 0; poll < answerPolls; ++poll) {
    clock.sleep(pollInterval);
    const auto answer = preferences->dictionary(ControlRequest::appliedKey);
    const auto answered = ControlRequest::from(answer);
    // Only the answer to this very flip counts: same state, same moment.
    if (!answered || answered->on != request.on || answered->at != request.at) continue;
    if (auto refusal = ControlRequest::refusal(*answer)) throw ControlMessage(std::move(*refusal));
    return;
  }
  throw ControlMessage(notRunningText());
}

void SetLimitFromControlIntent::perform(const AppGroup& group, Clock& clock) const {
  perform(group.preferences.get(), *group.notifications, clock);
}

void SetLimitFromControlIntent::perform() const {
  SystemClock clock;
  perform(AppGroup::open(), clock);
}

}  // namespace kestrin::widget
