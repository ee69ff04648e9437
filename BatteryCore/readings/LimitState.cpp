#include "BatteryCore/readings/LimitState.hpp"

namespace batterycore {

std::optional<int> LimitState::active() const {
  if (const auto* on = std::get_if<On>(&value_)) return on->percent;
  return std::nullopt;
}

std::optional<std::string> LimitState::unavailableReason() const {
  if (const auto* unavailable = std::get_if<Unavailable>(&value_)) return unavailable->reason;
  return std::nullopt;
}

Json LimitState::toJson() const {
  if (const auto* on = std::get_if<On>(&value_)) {
    return tagged("on", Json{{"_0", on->percent}});
  }
  if (const auto* off = std::get_if<Off>(&value_)) {
    Json payload = Json::object();
    putIfPresent(payload, "stored", off->stored);
    return tagged("off", std::move(payload));
  }
  return tagged("unavailable", Json{{"reason", std::get<Unavailable>(value_).reason}});
}

LimitState LimitState::fromJson(const Json& json) {
  const auto [name, payload] = singleCase(json);
  try {
    if (name == "on") return on(required<int>(payload, "_0"));
    if (name == "off") return off(optional<int>(payload, "stored"));
    if (name == "unavailable") return unavailable(required<std::string>(payload, "reason"));
  } catch (const DecodingError& error) {
    throw error.within(name);
  }
  throwUnknownCase(name);
}

}  // namespace batterycore
