#include "BatteryCore/supervision/LimitChangeRule.hpp"

#include "BatteryCore/text/MeaningAlerts.hpp"

namespace batterycore {

std::optional<BatteryAlert> LimitChangeRule::step(const LimitState& previous, const LimitState& current,
                                                  bool ours, std::optional<Date> lastOwnChangeAt, Date now) {
  // Back on is worth a line in the alerts list whoever turned it on.
  if (previous.isOff()) {
    if (const auto limit = current.active()) {
      auto words = Meaning::limitOnAlert(*limit);
      return BatteryAlert{BatteryAlert::Kind::limitTurnedOn, now, std::move(words.title),
                          std::move(words.detail), std::nullopt};
    }
    return std::nullopt;
  }
  if (previous.isOn() && current.isOff() && !ours) {
    if (lastOwnChangeAt && now - *lastOwnChangeAt < ownChangeWindow) return std::nullopt;
    auto words = Meaning::limitOffAlert();
    return BatteryAlert{BatteryAlert::Kind::limitTurnedOff, now, std::move(words.title),
                        std::move(words.detail), std::nullopt};
  }
  return std::nullopt;
}

}  // namespace batterycore
