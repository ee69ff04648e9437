#include "BatteryCore/departures/DepartureLedger.hpp"

#include <iterator>

namespace batterycore {

Json DepartureLedger::Unplug::toJson() const {
  Json object = Json::object();
  put(object, "at", at);
  put(object, "afterWake", afterWake);
  return object;
}

DepartureLedger::Unplug DepartureLedger::Unplug::fromJson(const Json& json) {
  return {required<Date>(json, "at"), required<bool>(json, "afterWake")};
}

DepartureLedger DepartureLedger::step(const DepartureLedger& ledger, const std::optional<BatterySnapshot>& previous,
                                      const BatterySnapshot& current, std::optional<Date> lastTick, Date now) {
  // Every plugged-in to unplugged edge is recorded, however close to the one
  // before. A run resumed after a restart must hand in the tick before and
  // the ledger as they were saved together, or it learns an unplug twice.
  if (!previous || !previous->pluggedIn || current.pluggedIn) return ledger;

  const bool afterWake = !lastTick || (now - *lastTick) > maxGap;
  DepartureLedger next = ledger;
  next.unplugs.push_back({now, afterWake});
  if (next.unplugs.size() > keep) {
    const auto excess = static_cast<std::ptrdiff_t>(next.unplugs.size() - keep);
    next.unplugs.erase(next.unplugs.begin(), std::next(next.unplugs.begin(), excess));
  }
  return next;
}

Json DepartureLedger::toJson() const {
  Json object = Json::object();
  put(object, "unplugs", unplugs);
  return object;
}

DepartureLedger DepartureLedger::fromJson(const Json& json) {
  return {valueOr<std::vector<Unplug>>(json, "unplugs", {})};
}

}  // namespace batterycore
