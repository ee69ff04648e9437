#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include "BatteryCore/text/MeaningAlerts.hpp"

namespace batterycore {

namespace {

// How far past the limit a charging battery must be before it counts as an
// overshoot; one or two points over is ordinary gauge wobble.
constexpr std::int64_t kOvershootMargin = 3;

using Verdict = LimitWatchdog::Verdict;

}  // namespace

std::optional<Date> Verdict::since() const {
  if (kind_ == Kind::overshootSuspected || kind_ == Kind::notHolding) return since_;
  return std::nullopt;
}

Json Verdict::toJson() const {
  switch (kind_) {
    case Kind::overshootSuspected: return tagged("overshootSuspected", Json{{"since", encode(since_)}});
    case Kind::notHolding: return tagged("notHolding", Json{{"since", encode(since_)}});
    case Kind::holding: return tagged("holding");
    case Kind::charging: return tagged("charging");
    case Kind::ours: return tagged("ours");
  }
  return tagged("holding");
}

Verdict Verdict::fromJson(const Json& json) {
  const auto [name, payload] = singleCase(json);
  try {
    if (name == "overshootSuspected") return overshootSuspected(required<Date>(payload, "since"));
    if (name == "notHolding") return notHolding(required<Date>(payload, "since"));
  } catch (const DecodingError& error) {
    throw error.within(name);
  }
  if (name == "holding") return holding();
  if (name == "charging") return charging();
  if (name == "ours") return ours();
  throwUnknownCase(name);
}

LimitWatchdog::Step LimitWatchdog::step(const LimitWatchdog& previous, const BatterySnapshot& snapshot,
                                        bool ours, Date now) {
  const auto plain = [](Verdict verdict) { return Step{LimitWatchdog{verdict}, {}}; };
  if (ours) return plain(Verdict::ours());

  const auto limit = snapshot.limit.active();
  const bool chargingOnPower = snapshot.pluggedIn && snapshot.charging;
  if (!limit) return plain(chargingOnPower ? Verdict::charging() : Verdict::holding());
  if (!chargingOnPower) return plain(Verdict::holding());
  // Widened first, so a limit near the top of int cannot overflow.
  if (snapshot.percent < static_cast<std::int64_t>(*limit) + kOvershootMargin) {
    return plain(Verdict::charging());
  }

  const Verdict& state = previous.state;
  switch (state.kind()) {
    case Verdict::Kind::overshootSuspected: {
      const Date since = *state.since();
      if (now - since < persistFor) return plain(state);
      auto words = Meaning::notHoldingAlert(snapshot.percent, *limit);
      BatteryAlert alert{BatteryAlert::Kind::limitNotHolding, now, std::move(words.title),
                         std::move(words.detail), std::nullopt};
      return Step{LimitWatchdog{Verdict::notHolding(since)}, {std::move(alert)}};
    }
    case Verdict::Kind::notHolding: return plain(state);
    case Verdict::Kind::holding:
    case Verdict::Kind::charging:
    case Verdict::Kind::ours: break;
  }
  return plain(Verdict::overshootSuspected(now));
}

Json LimitWatchdog::toJson() const { return Json{{"state", state.toJson()}}; }

LimitWatchdog LimitWatchdog::fromJson(const Json& json) {
  return LimitWatchdog{required<Verdict>(json, "state")};
}

}  // namespace batterycore
