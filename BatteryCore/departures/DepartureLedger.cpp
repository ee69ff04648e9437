#include "BatteryCore/departures/DepartureLedger.hpp"

#include <algorithm>
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
  if (!previous || !previous->pluggedIn || current.pluggedIn) return ledger;
  // The same unplug seen again, by a run that went on from a point before it,
  // is learned once. So is one learned after the tick before: the tick before
  // is then an older one kept from a run whose last ticks were not saved, and
  // the Mac has been unplugged since.
  if (std::any_of(ledger.unplugs.begin(), ledger.unplugs.end(), [now](const Unplug& u) { return u.at == now; })) {
    return ledger;
  }
  if (lastTick && !ledger.unplugs.empty() && ledger.unplugs.back().at > *lastTick) return ledger;

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
