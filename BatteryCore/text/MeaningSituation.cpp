#include "BatteryCore/text/MeaningSituation.hpp"
#include "BatteryCore/text/MeaningTimeLeft.hpp"

#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/readings/PowerFlow.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningFullCharge.hpp"

namespace batterycore::Meaning {

namespace {

constexpr std::int64_t kFullPercent = 100;

// What the display is showing, read off the attention and the reading. Each
// case is something a person can check against the battery menu.
enum class Scene {
  chargingToLimit,       // charging, limit on
  chargingNoLimit,       // charging, limit off
  chargingLimitUnknown,  // charging, limit unreadable
  resting,               // at (or just under) the limit, not charging
  pausedBelowLimit,      // well under the limit, not charging
  settling,              // above the limit, running on the battery down to it
  fullNoLimit,           // full, limit off
  pausedNoLimit,         // not full, not charging, limit off
  fullLimitUnknown,      // full, limit unreadable
  pausedLimitUnknown,    // not full, not charging, limit unreadable
  onBattery,
  fullChargeStarting,  // our full charge, the switch-off not showing yet
  fullChargeCharging,
  fullChargeReady,
  fullChargePaused,
  notHolding,
  calibrating,
};

std::string percentText(std::int64_t value) { return Formatting::percent(value); }

std::string batteryWatts(const BatterySnapshot& snapshot) {
  return Formatting::watts(PowerFlow::from(snapshot).batteryW);
}

// A time estimate of zero or less says nothing.
std::optional<int> estimate(const std::optional<int>& minutes) {
  if (minutes && *minutes > 0) return minutes;
  return std::nullopt;
}

// Full as the battery menu shows it: 100%, the fully-charged flag, or the
// charger saying it stopped because the battery is full.
bool showsFull(const BatterySnapshot& snapshot) {
  return snapshot.percent >= kFullPercent || snapshot.fullyCharged ||
         ChargerReason::notCharging(snapshot.notChargingReason).kind == ChargerReason::Kind::full();
}

// Near the limit, or the charger itself says the limit is why it stopped.
bool restsAtLimit(const BatterySnapshot& snapshot, int limit) {
  return snapshot.percent >= static_cast<std::int64_t>(limit) - kRestingBand ||
         ChargerReason::notCharging(snapshot.notChargingReason).kind == ChargerReason::Kind::atLimit();
}

Scene phaseScene(const ChargePhase& phase, const BatterySnapshot& snapshot) {
  switch (phase.kind()) {
    case ChargePhase::Kind::charging:
      if (snapshot.limit.isOn()) return Scene::chargingToLimit;
      return snapshot.limit.isAvailable() ? Scene::chargingNoLimit : Scene::chargingLimitUnknown;
    case ChargePhase::Kind::holding:
      return restsAtLimit(snapshot, *phase.percent()) ? Scene::resting : Scene::pausedBelowLimit;
    case ChargePhase::Kind::lowering: return Scene::settling;
    case ChargePhase::Kind::full:
      if (snapshot.limit.isAvailable()) return showsFull(snapshot) ? Scene::fullNoLimit : Scene::pausedNoLimit;
      return showsFull(snapshot) ? Scene::fullLimitUnknown : Scene::pausedLimitUnknown;
    case ChargePhase::Kind::onBattery: return Scene::onBattery;
  }
  return Scene::onBattery;
}

Scene sceneOf(const Attention& attention, const BatterySnapshot& snapshot) {
  switch (attention.kind.which()) {
    case Attention::Kind::Case::notHolding: return Scene::notHolding;
    case Attention::Kind::Case::calibrating: return Scene::calibrating;
    case Attention::Kind::Case::fullCharge:
      if (snapshot.limit.isOn()) return Scene::fullChargeStarting;
      if (snapshot.charging) return Scene::fullChargeCharging;
      return showsFull(snapshot) ? Scene::fullChargeReady : Scene::fullChargePaused;
    case Attention::Kind::Case::phase: break;
  }
  return phaseScene(attention.kind.chargePhase().value_or(snapshot.phase()), snapshot);
}

// The limit a scene speaks of: the phase's, the not-holding limit, or the
// limit as read.
int limitOf(const Attention& attention, const BatterySnapshot& snapshot) {
  if (const auto limit = attention.kind.limit()) return *limit;
  if (const auto phase = attention.kind.chargePhase()) {
    if (const auto percent = phase->percent()) return *percent;
  }
  return snapshot.limit.active().value_or(static_cast<int>(kFullPercent));
}

bool technical(DetailLevel level) { return level == DetailLevel::technical; }

// Why charging is slow, when the reading says: a charger too small for this
// Mac, or charging held back for heat.
std::optional<std::string> slowReason(const BatterySnapshot& snapshot) {
  const auto reason = ChargerReason::slowCharging(snapshot);
  if (reason.kind == ChargerReason::Kind::weakCharger() && snapshot.adapter) {
    return format("weakCharger.slow", "This %@ charger is small for your Mac, so the battery fills slowly.",
                  {Formatting::watts(snapshot.adapter->watts)});
  }
  if (reason.kind == ChargerReason::Kind::thermal()) {
    return text("detail.hotWhileCharging",
                "Your Mac is running hot while charging. Heat ages a battery. Give it some air or pause the "
                "heavy work.");
  }
  return std::nullopt;
}

// The plain sentence, then either the reason charging is slow or, when there
// is none, the light-hearted companion.
template <class JokeText>
std::string chargingSentences(std::string plain, const BatterySnapshot& snapshot, DetailLevel level,
                              JokeText&& joke) {
  if (auto slow = slowReason(snapshot)) return join({std::move(plain), std::move(slow)});
  return withJoke(std::move(plain), level, snapshot.thermal, std::forward<JokeText>(joke));
}

std::string chargingToLimitDetail(int limit, const BatterySnapshot& snapshot, DetailLevel level) {
  const std::string limitText = percentText(limit);
  const auto minutes = estimate(snapshot.minutesToFull);
  if (technical(level)) {
    std::string plain =
        minutes ? format("detail.charging.technical",
                         "Charging to the %@ limit, %@ into the battery. macOS estimates %@ to go.",
                         {limitText, batteryWatts(snapshot), Formatting::duration(*minutes)})
                : format("detail.chargingNoEstimate.technical",
                         "Charging to the %@ limit, %@ into the battery. No time estimate from macOS yet.",
                         {limitText, batteryWatts(snapshot)});
    return join({std::move(plain), slowReason(snapshot)});
  }
  if (minutes) {
    return chargingSentences(
        format("detail.charging.simple", "It'll stop at %@ in about %@.",
               {limitText, Formatting::duration(*minutes)}),
        snapshot, level,
        [&] { return format("detail.charging.joke", "Stopping at %@ is the whole trick.", {limitText}); });
  }
  return chargingSentences(format("detail.chargingNoEstimate.simple", "It'll stop at %@ and rest there.", {limitText}),
                           snapshot, level, [] {
                             return text("detail.chargingNoEstimate.joke", "No rush, it knows where to stop.");
                           });
}

std::string chargingNoLimitDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  std::string plain = technical(level)
                          ? format("detail.chargingNoLimit.technical",
                                   "Charging to 100%% with the limit off, %@ into the battery.",
                                   {batteryWatts(snapshot)})
                          : text("detail.chargingNoLimit.simple",
                                 "No limit is on, so it'll charge all the way to 100%%, where a battery ages "
                                 "fastest.");
  return join({std::move(plain), slowReason(snapshot)});
}

std::string chargingLimitUnknownDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  if (technical(level)) {
    return format("detail.unknown.charging.technical",
                  "Charging, %@ into the battery. The limit state is unavailable, so the stop point is unknown.",
                  {batteryWatts(snapshot)});
  }
  return text("detail.unknown.charging.simple",
              "Charging. The limit can't be read right now, so it's unclear where it will stop.");
}

std::string restingDetail(int limit, const BatterySnapshot& snapshot, DetailLevel level) {
  if (technical(level)) {
    return format("detail.holding.technical",
                  "Holding at the %@ limit. The Mac runs on adapter power and the battery is idle.",
                  {percentText(limit)});
  }
  return withJoke(text("detail.holding.simple",
                       "That's the healthiest place for it. Your Mac runs on the charger and the battery rests."),
                  level, snapshot.thermal, [] { return text("detail.holding.joke", "A nap, not a strike."); });
}

std::string pausedSimple() {
  return text("detail.paused.simple",
              "Plugged in, but not charging right now. macOS does this now and then, often to keep the battery "
              "cool.");
}

std::string pausedBelowLimitDetail(int limit, const BatterySnapshot& snapshot, DetailLevel level) {
  if (!technical(level)) return pausedSimple();
  return format("detail.paused.belowLimit.technical",
                "Not charging at %@, below the %@ limit. macOS can pause charging for heat or its own battery "
                "management.",
                {percentText(snapshot.percent), percentText(limit)});
}

std::string pausedNoLimitDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  if (!technical(level)) return pausedSimple();
  return format("detail.paused.noLimit.technical",
                "Plugged in, not charging, at %@ with no limit on. macOS can pause charging for heat or its own "
                "battery management.",
                {percentText(snapshot.percent)});
}

std::string settlingDetail(int limit, const BatterySnapshot& snapshot, DetailLevel level) {
  if (technical(level)) {
    return format("detail.lowering.technical",
                  "At %@, above the %@ limit. Charging is off and the Mac draws on the battery until it reaches "
                  "the limit.",
                  {percentText(snapshot.percent), percentText(limit)});
  }
  return format("detail.lowering.simple",
                "It's above your %@ limit, so your Mac runs on the battery until it gets there. That's on purpose.",
                {percentText(limit)});
}

std::string fullNoLimitDetail() {
  return text("detail.fullNoLimit", "Full at 100%%. With no limit on, it stays there, where a battery ages fastest.");
}

std::string notChargingLimitUnknownTechnical(const BatterySnapshot& snapshot) {
  return format("detail.unknown.notCharging.technical",
                "Plugged in, not charging, at %@. The limit state is unavailable.", {percentText(snapshot.percent)});
}

std::string fullLimitUnknownDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  if (technical(level)) return notChargingLimitUnknownTechnical(snapshot);
  return text("detail.limitUnavailable",
              "The charge limit can't be read right now, so the battery may charge to 100%%.");
}

std::string pausedLimitUnknownDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  if (technical(level)) return notChargingLimitUnknownTechnical(snapshot);
  return text("detail.unknown.notCharging.simple", "Plugged in and not charging. The limit can't be read right now.");
}

std::string onBatteryDetail(const BatterySnapshot& snapshot, DetailLevel level) {
  const bool low = snapshot.percent <= Attention::lowAtOrBelow;
  const auto minutes = estimate(snapshot.minutesToEmpty);
  if (!minutes) {
    std::string first = technical(level)
                            ? text("detail.battery.noEstimate", "No estimate of the time left yet.")
                            : text("detail.battery.workingOut", "Still working out how long it'll last.");
    return join({std::move(first),
                 low ? std::optional(text("detail.battery.findCharger", "Time to find a charger.")) : std::nullopt});
  }
  if (!technical(level) && *minutes >= kCoupleOfHoursMinutes) {
    return text("detail.battery.coupleOfHours", "Good for a couple of hours at least.");
  }
  const bool soon = low || *minutes < kPlugInSoonMinutes;
  const auto plugInSoon = std::optional(text("detail.battery.plugInSoon", "Plug in soon."));
  if (technical(level)) {
    return join({format("detail.battery.aboutLeft", "About %@ left.", {Formatting::duration(*minutes)}),
                 soon ? plugInSoon : std::nullopt});
  }
  // The simple wording tells the pace ("About an hour left.") and what it is
  // good for; the pace's own "Plug in soon." under 20 minutes.
  auto pace = timeLeft(*minutes, level);
  const auto remark = pace.remark && (*minutes < kUnder20Minutes || !soon) ? pace.remark
                      : soon                                               ? plugInSoon
                                                                           : std::nullopt;
  return join({pace.left + Formatting::sentenceEnd(), remark});
}

// A calendar trip without a title is "a trip".
std::string tripName(const FullChargeSession::Origin& origin) {
  auto title = origin.eventTitle().value_or(std::string());
  if (!title.empty()) return title;
  return text("calendar.aTrip", "a trip");
}

std::optional<std::string> comesBack(const std::optional<FullChargeSession>& session, bool includeWhenFull,
                                     Date now, const Calendar& calendar) {
  if (!session) return std::nullopt;
  return limitComesBack(*session, includeWhenFull, now, calendar);
}

std::string fullChargeChargingDetail(const BatterySnapshot& snapshot, const std::optional<FullChargeSession>& session,
                                     DetailLevel level, Date now, const Calendar& calendar) {
  const auto origin = session ? session->origin : FullChargeSession::Origin::user();
  std::optional<std::string> first;
  switch (origin.kind()) {
    case FullChargeSession::Origin::Kind::smart: {
      const std::string departure = departureTime(*origin.departure(), calendar);
      first = technical(level) ? format("detail.smart.toppingUp.technical",
                                        "Timed full charge for the usual %@ departure, %@ into the battery.",
                                        {departure, batteryWatts(snapshot)})
                               : format("detail.smart.toppingUp.simple", "Topping up for your %@ departure.",
                                        {departure});
      break;
    }
    case FullChargeSession::Origin::Kind::calendar:
      first = technical(level) ? format("detail.calendar.charging.technical",
                                        "Limit off for the calendar event %@, %@ into the battery.",
                                        {tripName(origin), batteryWatts(snapshot)})
                               : format("detail.calendar.charging.simple", "Charging to 100%% for %@.",
                                        {tripName(origin)});
      break;
    case FullChargeSession::Origin::Kind::user:
    case FullChargeSession::Origin::Kind::shortcut:
      if (technical(level)) {
        first = format("detail.chargingNoLimit.technical", "Charging to 100%% with the limit off, %@ into the battery.",
                       {batteryWatts(snapshot)});
      } else if (const auto minutes = estimate(snapshot.minutesToFull)) {
        first = format("detail.charging.simple", "It'll stop at %@ in about %@.",
                       {percentText(kFullPercent), Formatting::duration(*minutes)});
      }
      break;
  }
  return join({std::move(first), comesBack(session, /*includeWhenFull=*/true, now, calendar), slowReason(snapshot)});
}

std::string fullChargeReadyDetail(const std::optional<FullChargeSession>& session, DetailLevel level, Date now,
                                  const Calendar& calendar) {
  const auto origin = session ? session->origin : FullChargeSession::Origin::user();
  std::string first;
  switch (origin.kind()) {
    case FullChargeSession::Origin::Kind::smart: {
      const std::string departure = departureTime(*origin.departure(), calendar);
      first = technical(level)
                  ? format("detail.smart.ready.technical", "At 100%% for the usual %@ departure.", {departure})
                  : format("detail.smart.ready.simple", "Ready for your %@ departure.", {departure});
      break;
    }
    case FullChargeSession::Origin::Kind::calendar:
      first = technical(level)
                  ? format("detail.calendar.ready.technical", "At 100%% for the calendar event %@.", {tripName(origin)})
                  : format("detail.calendar.ready.simple", "Ready for %@.", {tripName(origin)});
      break;
    case FullChargeSession::Origin::Kind::user:
    case FullChargeSession::Origin::Kind::shortcut: first = text("detail.readyToGo", "Ready to go."); break;
  }
  // Already full, so "when it's full" is no longer a way back worth naming.
  return join({std::move(first), comesBack(session, /*includeWhenFull=*/false, now, calendar)});
}

std::string fullChargePausedDetail(const BatterySnapshot& snapshot, const std::optional<FullChargeSession>& session,
                                   DetailLevel level, Date now, const Calendar& calendar) {
  return join({pausedNoLimitDetail(snapshot, level), comesBack(session, /*includeWhenFull=*/true, now, calendar)});
}

std::string notHoldingDetail(int limit, const BatterySnapshot& snapshot, DetailLevel level) {
  std::string plain = format("alert.notHolding.body", "The battery is at %@ and still charging past your %@ limit.",
                             {percentText(snapshot.percent), percentText(limit)});
  if (!technical(level)) return plain;
  return join({std::move(plain),
               text("explain.limitNotHolding",
                    "The limit is on, but the battery kept charging past it for more than 10 minutes. If macOS "
                    "isn't recalibrating, turn the limit off and on again in System Settings > Battery.")});
}

std::string calibratingDetail(DetailLevel level) {
  if (technical(level)) {
    return text("explain.calibrating",
                "Now and then macOS charges past your limit to re-learn how much the battery holds. It's normal "
                "and can take a day or two. The limit takes over again by itself.");
  }
  return text("detail.calibrating",
              "macOS is charging past your limit to re-learn the battery. Nothing is broken, and the limit takes "
              "over again by itself.");
}

std::string notHoldingTitle() { return text("banner.notHolding.title", "Limit not holding"); }
std::string calibratingTitle() { return text("banner.calibrating.title", "Recalibrating the battery"); }

}  // namespace

std::string headline(const Attention& attention, const BatterySnapshot& snapshot,
                     const std::optional<FullChargeSession>& /*session*/, DetailLevel /*level*/) {
  const int limit = limitOf(attention, snapshot);
  switch (sceneOf(attention, snapshot)) {
    case Scene::chargingToLimit: return format("headline.chargingTo", "Charging to %@", {percentText(limit)});
    case Scene::chargingNoLimit:
    case Scene::chargingLimitUnknown:
    case Scene::fullChargeStarting:
    case Scene::fullChargeCharging: return text("headline.chargingTo100", "Charging to 100%%");
    case Scene::resting: return format("headline.resting", "Resting at %@", {percentText(snapshot.percent)});
    case Scene::pausedBelowLimit:
    case Scene::pausedNoLimit:
    case Scene::pausedLimitUnknown:
    case Scene::fullChargePaused: return text("headline.paused", "Not charging");
    case Scene::settling: return format("headline.settling", "Settling to %@", {percentText(limit)});
    case Scene::fullNoLimit:
    case Scene::fullLimitUnknown:
    case Scene::fullChargeReady: return text("headline.full", "Fully charged");
    case Scene::onBattery: return text("headline.onBattery", "On battery");
    case Scene::notHolding: return notHoldingTitle();
    case Scene::calibrating: return calibratingTitle();
  }
  return text("headline.onBattery", "On battery");
}

std::string detail(const Attention& attention, const BatterySnapshot& snapshot,
                   const std::optional<FullChargeSession>& session, DetailLevel level, Date now,
                   const Calendar& calendar) {
  const int limit = limitOf(attention, snapshot);
  switch (sceneOf(attention, snapshot)) {
    case Scene::chargingToLimit: return chargingToLimitDetail(limit, snapshot, level);
    case Scene::chargingNoLimit: return chargingNoLimitDetail(snapshot, level);
    case Scene::chargingLimitUnknown: return chargingLimitUnknownDetail(snapshot, level);
    case Scene::resting: return restingDetail(limit, snapshot, level);
    case Scene::pausedBelowLimit: return pausedBelowLimitDetail(limit, snapshot, level);
    case Scene::settling: return settlingDetail(limit, snapshot, level);
    case Scene::fullNoLimit: return fullNoLimitDetail();
    case Scene::pausedNoLimit: return pausedNoLimitDetail(snapshot, level);
    case Scene::fullLimitUnknown: return fullLimitUnknownDetail(snapshot, level);
    case Scene::pausedLimitUnknown: return pausedLimitUnknownDetail(snapshot, level);
    case Scene::onBattery: return onBatteryDetail(snapshot, level);
    case Scene::fullChargeStarting:
      return text("detail.fullCharge.starting", "Getting ready to charge to 100%%. The limit turns off in a moment.");
    case Scene::fullChargeCharging: return fullChargeChargingDetail(snapshot, session, level, now, calendar);
    case Scene::fullChargeReady: return fullChargeReadyDetail(session, level, now, calendar);
    case Scene::fullChargePaused: return fullChargePausedDetail(snapshot, session, level, now, calendar);
    case Scene::notHolding: return notHoldingDetail(limit, snapshot, level);
    case Scene::calibrating: return calibratingDetail(level);
  }
  return {};
}

std::optional<Line> banner(const Attention& attention, DetailLevel /*level*/) {
  switch (attention.kind.which()) {
    case Attention::Kind::Case::notHolding:
      return Line{notHoldingTitle(),
                  format("banner.notHolding.body",
                         "The battery keeps charging past your %@ limit. If it goes on, check System Settings > "
                         "Battery.",
                         {percentText(*attention.kind.limit())})};
    case Attention::Kind::Case::calibrating:
      return Line{calibratingTitle(),
                  text("banner.calibrating.body",
                       "macOS is charging past your limit to re-learn the battery. Nothing is broken, and the limit "
                       "takes over again by itself.")};
    case Attention::Kind::Case::phase:
    case Attention::Kind::Case::fullCharge: break;
  }
  return std::nullopt;
}

std::string whyTitle(const Attention& attention, const BatterySnapshot& snapshot) {
  const auto charging = [] { return text("why.charging", "Why is it charging?"); };
  const auto resting = [] { return text("why.resting", "Why isn't it charging?"); };
  const auto battery = [] { return text("why.battery", "Why is it using the battery?"); };
  switch (sceneOf(attention, snapshot)) {
    case Scene::chargingToLimit:
    case Scene::chargingNoLimit:
    case Scene::chargingLimitUnknown:
    case Scene::fullChargeStarting:
    case Scene::fullChargeCharging: return charging();
    case Scene::resting:
    case Scene::pausedBelowLimit:
    case Scene::pausedNoLimit:
    case Scene::pausedLimitUnknown:
    case Scene::fullNoLimit:
    case Scene::fullLimitUnknown:
    case Scene::fullChargeReady:
    case Scene::fullChargePaused: return resting();
    case Scene::settling:
    case Scene::onBattery: return battery();
    case Scene::notHolding:
    case Scene::calibrating: break;
  }
  // macOS is in charge; ask about what the battery is doing right now.
  if (!snapshot.pluggedIn) return battery();
  return snapshot.charging ? charging() : resting();
}

}  // namespace batterycore::Meaning
