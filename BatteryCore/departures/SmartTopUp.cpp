#include "BatteryCore/departures/SmartTopUp.hpp"

#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"

#include <algorithm>
#include <iterator>

namespace batterycore {

namespace {

constexpr std::size_t kDurationsForLead = 3;
constexpr std::int64_t kMostPercentToTopUp = 99;

// The tests that need no departure, in the decision's order: enabled, a limit
// to put back, room to charge, and no top-up started or skipped today.
bool mayStartToday(const SmartTopUp& state, const BatterySnapshot& snapshot, std::optional<int> canStart,
                   bool enabled, const std::string& today) {
  if (!enabled || !canStart) return false;
  if (snapshot.percent > kMostPercentToTopUp) return false;
  return today != state.lastStartedDay && today != state.skippedDay;
}

}  // namespace

int SmartTopUp::lead() const {
  if (topUpMinutes.size() < kDurationsForLead) return static_cast<int>(defaultLead.count());
  std::vector<int> sorted = topUpMinutes;
  std::sort(sorted.begin(), sorted.end());
  const std::size_t middle = sorted.size() / 2;
  // Halved in 64 bits so two huge durations cannot overflow; truncated toward zero.
  const long long median = sorted.size() % 2 == 1
                               ? sorted[middle]
                               : (static_cast<long long>(sorted[middle - 1]) + sorted[middle]) / 2;
  return static_cast<int>(std::clamp<long long>(median, minLead.count(), maxLead.count()));
}

std::optional<SmartTopUp::Start> SmartTopUp::decision(const SmartTopUp& state, const DepartureLedger& ledger,
                                                      const BatterySnapshot& snapshot, std::optional<int> canStart,
                                                      bool enabled, Date now, const Calendar& calendar) {
  // The ledger is only read once the cheap tests pass.
  if (!mayStartToday(state, snapshot, canStart, enabled, calendar.dayKey(now))) return std::nullopt;
  return decision(state, DepartureModel::nextDeparture(ledger, now, calendar), snapshot, canStart, enabled, now,
                  calendar);
}

std::optional<SmartTopUp::Start> SmartTopUp::decision(const SmartTopUp& state, std::optional<Date> nextDeparture,
                                                      const BatterySnapshot& snapshot, std::optional<int> canStart,
                                                      bool enabled, Date now, const Calendar& calendar) {
  const std::string today = calendar.dayKey(now);
  if (!mayStartToday(state, snapshot, canStart, enabled, today)) return std::nullopt;

  // Only a departure later today: one after midnight belongs to tomorrow's decision.
  if (!nextDeparture || calendar.dayKey(*nextDeparture) != today) return std::nullopt;
  const Date departure = *nextDeparture;
  if (now < departure - std::chrono::minutes{state.lead()}) return std::nullopt;
  if (now > departure - minWindow) return std::nullopt;

  FullChargeSession session;
  session.startedAt = now;
  session.deadline = departure + grace;
  session.origin = FullChargeSession::Origin::smart(departure);
  session.restoreOnUnplug = true;
  session.restoreWhenFull = false;
  session.limit = *canStart;
  session.reachedFull = false;
  session.restoreFailingSince = std::nullopt;
  session.restoreAlertSent = false;
  return Start{departure, session};
}

SmartTopUp SmartTopUp::started(const SmartTopUp& state, std::string day) {
  SmartTopUp next = state;
  next.lastStartedDay = std::move(day);
  return next;
}

SmartTopUp SmartTopUp::reachedFull(const SmartTopUp& state, int minutes) {
  SmartTopUp next = state;
  next.topUpMinutes.push_back(minutes);
  if (next.topUpMinutes.size() > keepTopUps) {
    const auto excess = static_cast<std::ptrdiff_t>(next.topUpMinutes.size() - keepTopUps);
    next.topUpMinutes.erase(next.topUpMinutes.begin(), std::next(next.topUpMinutes.begin(), excess));
  }
  return next;
}

SmartTopUp SmartTopUp::skip(const SmartTopUp& state, std::string day) {
  SmartTopUp next = state;
  next.skippedDay = std::move(day);
  return next;
}

BatteryAlert SmartTopUp::alert(const Start& start, const Calendar& calendar) {
  const auto line = Meaning::Smart::alert(start.departure, calendar);
  return {BatteryAlert::Kind::smartFullCharge, start.session.startedAt, line.title, line.detail, std::nullopt};
}

Json SmartTopUp::toJson() const {
  Json object = Json::object();
  putIfPresent(object, "lastStartedDay", lastStartedDay);
  putIfPresent(object, "skippedDay", skippedDay);
  put(object, "topUpMinutes", topUpMinutes);
  return object;
}

SmartTopUp SmartTopUp::fromJson(const Json& json) {
  return {optional<std::string>(json, "lastStartedDay"), optional<std::string>(json, "skippedDay"),
          valueOr<std::vector<int>>(json, "topUpMinutes", {})};
}

}  // namespace batterycore
