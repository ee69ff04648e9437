#include "BatteryCore/supervision/AlertPolicy.hpp"

#include <algorithm>

namespace batterycore {

namespace {

constexpr Seconds kNotHoldingCooldown = std::chrono::hours{12};

}  // namespace

Seconds AlertPolicy::cooldown(Kind kind) {
  return kind == Kind::limitNotHolding ? kNotHoldingCooldown : Seconds{0};
}

bool AlertPolicy::notifies(Kind kind) {
  return kind != Kind::limitTurnedOn && kind != Kind::limitUnavailable;
}

bool AlertPolicy::defaultSwitch(Kind kind) {
  return kind != Kind::fullChargeRestored && kind != Kind::healthMilestone;
}

std::vector<BatteryAlert> AlertPolicy::filter(std::span<const BatteryAlert> alerts, Date now,
                                              std::optional<Date> wokeAt,
                                              const std::function<bool(Kind)>& enabled) {
  for (const auto& alert : alerts) {
    if (!notifies(alert.kind)) continue;
    if (!enabled(alert.kind)) continue;
    // With no cooldown this still drops an alert when the clock was set back
    // behind the kind's last notification.
    if (const auto posted = lastPosted.find(alert.kind); posted != lastPosted.end()) {
      if (now - posted->second < cooldown(alert.kind)) continue;
    }
    const auto sameKind = std::find_if(waiting.begin(), waiting.end(),
                                       [&](const BatteryAlert& w) { return w.kind == alert.kind; });
    if (sameKind != waiting.end()) {
      *sameKind = alert;
    } else {
      waiting.push_back(alert);
    }
  }

  if (wokeAt && now - *wokeAt < afterWake) return {};
  if (lastPostAt && now - *lastPostAt < spacing) return {};
  if (waiting.empty()) return {};

  BatteryAlert next = std::move(waiting.front());
  waiting.erase(waiting.begin());
  lastPosted[next.kind] = now;
  lastPostAt = now;
  return {std::move(next)};
}

Json AlertPolicy::toJson() const {
  Json object = Json::object();
  Json posted = Json::object();
  for (const auto& [kind, at] : lastPosted) put(posted, BatteryAlert::rawValue(kind), at);
  object["lastPosted"] = std::move(posted);
  putIfPresent(object, "lastPostAt", lastPostAt);
  put(object, "waiting", waiting);
  return object;
}

AlertPolicy AlertPolicy::fromJson(const Json& json) {
  AlertPolicy policy;
  if (const auto posted = optional<Json>(json, "lastPosted")) {
    if (!posted->is_object()) throw DecodingError("expected an object", "lastPosted");
    for (const auto& [raw, at] : posted->items()) {
      const auto kind = BatteryAlert::kindFromRawValue(raw);
      if (!kind) throw DecodingError("unknown alert kind \"" + raw + "\"", "lastPosted." + raw);
      try {
        policy.lastPosted[*kind] = decode<Date>(at);
      } catch (const DecodingError& error) {
        throw error.within(raw).within("lastPosted");
      }
    }
  }
  policy.lastPostAt = optional<Date>(json, "lastPostAt");
  policy.waiting = valueOr<std::vector<BatteryAlert>>(json, "waiting", {});
  return policy;
}

}  // namespace batterycore
