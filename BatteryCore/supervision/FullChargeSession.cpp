#include "BatteryCore/supervision/FullChargeSession.hpp"

#include "BatteryCore/text/MeaningFullCharge.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace batterycore {

namespace {

using RestoreReason = FullChargeSession::RestoreReason;
using Outcome = FullChargeSession::Outcome;

constexpr std::array<std::pair<RestoreReason, std::string_view>, 5> kReasonNames{{
    {RestoreReason::unplugged, "unplugged"},
    {RestoreReason::full, "full"},
    {RestoreReason::timer, "timer"},
    {RestoreReason::userCancelled, "userCancelled"},
    {RestoreReason::limitBackOn, "limitBackOn"},
}};

constexpr std::int64_t kFullPercent = 100;

bool isFull(const BatterySnapshot& snapshot) { return snapshot.percent >= kFullPercent && snapshot.fullyCharged; }

BatteryAlert alertOf(BatteryAlert::Kind kind, Date at, Meaning::Line words) {
  return BatteryAlert{kind, at, std::move(words.title), std::move(words.detail), std::nullopt};
}

}  // namespace

std::optional<std::string> FullChargeSession::Origin::eventTitle() const {
  if (const auto* trip = std::get_if<Trip>(&value_)) return trip->eventTitle;
  return std::nullopt;
}

std::optional<Date> FullChargeSession::Origin::departure() const {
  if (const auto* smart = std::get_if<Smart>(&value_)) return smart->departure;
  return std::nullopt;
}

Json FullChargeSession::Origin::toJson() const {
  switch (kind()) {
    case Kind::calendar: return tagged("calendar", Json{{"eventTitle", *eventTitle()}});
    case Kind::smart: return tagged("smart", Json{{"departure", encode(*departure())}});
    case Kind::user: return tagged("user");
    case Kind::shortcut: return tagged("shortcut");
  }
  return tagged("user");
}

FullChargeSession::Origin FullChargeSession::Origin::fromJson(const Json& json) {
  const auto [name, payload] = singleCase(json);
  try {
    if (name == "calendar") return calendar(required<std::string>(payload, "eventTitle"));
    if (name == "smart") return smart(required<Date>(payload, "departure"));
  } catch (const DecodingError& error) {
    throw error.within(name);
  }
  if (name == "user") return user();
  if (name == "shortcut") return shortcut();
  throwUnknownCase(name);
}

std::string_view FullChargeSession::rawValue(RestoreReason reason) {
  for (const auto& [each, name] : kReasonNames) {
    if (each == reason) return name;
  }
  return "unplugged";
}

std::optional<FullChargeSession::RestoreReason> FullChargeSession::restoreReasonFromRawValue(std::string_view raw) {
  for (const auto& [reason, name] : kReasonNames) {
    if (name == raw) return reason;
  }
  return std::nullopt;
}

Date FullChargeSession::roundedUpToGrid(Date date) {
  const double grid = deadlineGrid.count();
  const double sinceEpoch = secondsBetween(gridEpoch, date);
  // Whole multiples divide exactly, so a moment on the grid stays where it is.
  return gridEpoch + Seconds{std::ceil(sinceEpoch / grid) * grid};
}

std::optional<FullChargeSession> FullChargeSession::start(Date now, int limit, bool untilUnplug, bool whenFull,
                                                          std::optional<int> hours) {
  if (!untilUnplug && !whenFull && !hours) return std::nullopt;
  std::optional<Date> deadline;
  if (hours) {
    const auto span = std::chrono::duration_cast<Seconds>(std::chrono::hours{std::max(*hours, 0)});
    deadline = roundedUpToGrid(now + span);
  }
  FullChargeSession session;
  session.startedAt = now;
  session.deadline = deadline;
  session.origin = Origin::user();
  session.restoreOnUnplug = untilUnplug;
  session.restoreWhenFull = whenFull;
  session.limit = limit;
  return session;
}

Outcome FullChargeSession::evaluate(const FullChargeSession& session, const BatterySnapshot& snapshot, Date now) {
  if (snapshot.limit.isOn() && now - session.startedAt >= settle) return Outcome::restore(RestoreReason::limitBackOn);
  if (session.restoreOnUnplug && !snapshot.pluggedIn) return Outcome::restore(RestoreReason::unplugged);
  if (session.restoreWhenFull && isFull(snapshot)) return Outcome::restore(RestoreReason::full);
  if (!session.deadline) return Outcome::keepGoing();
  return now >= *session.deadline ? Outcome::restore(RestoreReason::timer) : Outcome::keepGoing();
}

FullChargeSession::Step FullChargeSession::step(const FullChargeSession& session, const BatterySnapshot& snapshot,
                                                Date now, const Calendar& calendar) {
  const Outcome outcome = evaluate(session, snapshot, now);
  const auto& reason = outcome.restoreReason();

  // The battery can only have filled on the charger, so the reading that ends
  // the session by unplugging at 100% still counts as reaching full.
  const bool justUnplugged = reason == RestoreReason::unplugged;
  const bool reachesFull = !session.reachedFull && (snapshot.pluggedIn || justUnplugged) && isFull(snapshot);

  Step result;
  if (reachesFull) {
    result.alerts.push_back(alertOf(BatteryAlert::Kind::fullChargeDone, now,
                                    Meaning::fullChargeDoneAlert(session, reason.has_value(), now, calendar)));
  }
  if (reason) {
    result.ended = *reason;
    if (*reason != RestoreReason::limitBackOn) {
      auto restored = stopped(session, now);
      result.alerts.insert(result.alerts.end(), restored.begin(), restored.end());
    }
    return result;
  }
  FullChargeSession kept = session;
  kept.reachedFull = session.reachedFull || reachesFull;
  result.session = std::move(kept);
  return result;
}

std::vector<BatteryAlert> FullChargeSession::stopped(const FullChargeSession& session, Date now) {
  return {alertOf(BatteryAlert::Kind::fullChargeRestored, now, Meaning::limitBackOnAlert(session.limit))};
}

FullChargeSession::RestoreFailure FullChargeSession::restoreFailed(const FullChargeSession& session, Date now) {
  RestoreFailure result{session, std::nullopt};
  const Date since = session.restoreFailingSince.value_or(now);
  result.session.restoreFailingSince = since;
  if (!session.restoreAlertSent && now - since >= restoreGrace) {
    result.session.restoreAlertSent = true;
    result.alert = alertOf(BatteryAlert::Kind::limitRestoreFailed, now, Meaning::restoreFailedAlert());
  }
  return result;
}

Json FullChargeSession::toJson() const {
  Json object = Json::object();
  put(object, "startedAt", startedAt);
  putIfPresent(object, "deadline", deadline);
  put(object, "origin", origin);
  putIfPresent(object, "smartDeparture", origin.departure());
  put(object, "restoreOnUnplug", restoreOnUnplug);
  put(object, "restoreWhenFull", restoreWhenFull);
  put(object, "limit", limit);
  put(object, "reachedFull", reachedFull);
  putIfPresent(object, "restoreFailingSince", restoreFailingSince);
  put(object, "restoreAlertSent", restoreAlertSent);
  return object;
}

FullChargeSession FullChargeSession::fromJson(const Json& json) {
  FullChargeSession session;
  session.startedAt = required<Date>(json, "startedAt");
  session.deadline = optional<Date>(json, "deadline");
  if (auto origin = optional<Origin>(json, "origin")) {
    session.origin = std::move(*origin);
  } else if (const auto departure = optional<Date>(json, "smartDeparture")) {
    session.origin = Origin::smart(*departure);
  } else {
    session.origin = Origin::user();
  }
  session.restoreOnUnplug = required<bool>(json, "restoreOnUnplug");
  session.restoreWhenFull = required<bool>(json, "restoreWhenFull");
  session.limit = required<int>(json, "limit");
  session.reachedFull = valueOr(json, "reachedFull", false);
  session.restoreFailingSince = optional<Date>(json, "restoreFailingSince");
  session.restoreAlertSent = valueOr(json, "restoreAlertSent", false);
  return session;
}

}  // namespace batterycore
