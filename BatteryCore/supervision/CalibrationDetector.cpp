#include "BatteryCore/supervision/CalibrationDetector.hpp"

#include "BatteryCore/text/MeaningAlerts.hpp"

namespace batterycore {

namespace {

// A limit failing this close to full is what a gauge calibration looks like.
constexpr std::int64_t kNearFullPercent = 98;
// The battery rests at its limit up to one point above it.
constexpr std::int64_t kRestingMargin = 1;
// Two failing days within the window confirm a calibration.
constexpr std::size_t kDaysToConfirm = 2;

using Verdict = CalibrationDetector::Verdict;

}  // namespace

std::optional<Date> Verdict::moment() const {
  if (kind_ == Kind::normal) return std::nullopt;
  return moment_;
}

Json Verdict::toJson() const {
  switch (kind_) {
    case Kind::suspected: return tagged("suspected", Json{{"since", encode(moment_)}});
    case Kind::confirmed: return tagged("confirmed", Json{{"since", encode(moment_)}});
    case Kind::recovered: return tagged("recovered", Json{{"at", encode(moment_)}});
    case Kind::normal: return tagged("normal");
  }
  return tagged("normal");
}

Verdict Verdict::fromJson(const Json& json) {
  const auto [name, payload] = singleCase(json);
  try {
    if (name == "suspected") return suspected(required<Date>(payload, "since"));
    if (name == "confirmed") return confirmed(required<Date>(payload, "since"));
    if (name == "recovered") return recovered(required<Date>(payload, "at"));
  } catch (const DecodingError& error) {
    throw error.within(name);
  }
  if (name == "normal") return normal();
  throwUnknownCase(name);
}

CalibrationDetector::Step CalibrationDetector::step(const CalibrationDetector& previous,
                                                    const LimitWatchdog::Verdict& watchdog,
                                                    const BatterySnapshot& snapshot, bool logHit, Date now,
                                                    const Calendar& calendar) {
  CalibrationDetector d = previous;
  std::vector<BatteryAlert> alerts;

  if (d.state.kind() == Verdict::Kind::recovered) d.state = Verdict::normal();

  if (watchdog.isNotHolding() && snapshot.limit.isOn() && snapshot.percent >= kNearFullPercent) {
    d.fullWhileLimitedDays.insert(calendar.dayKey(now));
  }

  // Keys sort as dates: keep only the days after the one `dayWindow` back.
  const auto oldest = calendar.dayKey(calendar.addingDays(now, -static_cast<int>(dayWindow.count())));
  d.fullWhileLimitedDays.erase(d.fullWhileLimitedDays.begin(), d.fullWhileLimitedDays.upper_bound(oldest));

  if (!d.state.isConfirmed() && (logHit || d.fullWhileLimitedDays.size() >= kDaysToConfirm)) {
    d.state = Verdict::confirmed(now);
    if (!d.lastAlertAt || now - *d.lastAlertAt >= cooldown) {
      d.lastAlertAt = now;
      auto words = Meaning::calibratingAlert();
      alerts.push_back(BatteryAlert{BatteryAlert::Kind::calibrating, now, std::move(words.title),
                                    std::move(words.detail), std::nullopt});
    }
  } else if (d.state.kind() == Verdict::Kind::normal && !d.fullWhileLimitedDays.empty()) {
    d.state = Verdict::suspected(now);
  }

  // The limit is widened before the margin is added, so it cannot overflow.
  const auto limit = snapshot.limit.active();
  const bool restingAtLimit = d.state.kind() != Verdict::Kind::normal && !logHit &&
                              watchdog.kind() == LimitWatchdog::Verdict::Kind::holding &&
                              snapshot.pluggedIn && limit &&
                              snapshot.percent <= static_cast<std::int64_t>(*limit) + kRestingMargin;
  if (!restingAtLimit) {
    d.restingSince.reset();
    return Step{std::move(d), std::move(alerts)};
  }

  const Date start = d.restingSince.value_or(now);
  d.restingSince = start;
  if (now - start < recoveryAfter) return Step{std::move(d), std::move(alerts)};

  if (d.state.isConfirmed()) {
    d.state = Verdict::recovered(now);
    auto words = Meaning::calibrationOverAlert(*limit);
    alerts.push_back(BatteryAlert{BatteryAlert::Kind::calibrationOver, now, std::move(words.title),
                                  std::move(words.detail), std::nullopt});
  } else {
    d.state = Verdict::normal();
  }
  d.fullWhileLimitedDays.clear();
  d.restingSince.reset();
  return Step{std::move(d), std::move(alerts)};
}

Json CalibrationDetector::toJson() const {
  Json object = Json::object();
  put(object, "state", state);
  put(object, "fullWhileLimitedDays",
      std::vector<std::string>(fullWhileLimitedDays.begin(), fullWhileLimitedDays.end()));
  putIfPresent(object, "lastAlertAt", lastAlertAt);
  putIfPresent(object, "restingSince", restingSince);
  return object;
}

CalibrationDetector CalibrationDetector::fromJson(const Json& json) {
  CalibrationDetector detector(optional<Date>(json, "lastAlertAt"));
  detector.state = valueOr<Verdict>(json, "state", Verdict::normal());
  const auto days = valueOr<std::vector<std::string>>(json, "fullWhileLimitedDays", {});
  detector.fullWhileLimitedDays = std::set<std::string>(days.begin(), days.end());
  detector.restingSince = optional<Date>(json, "restingSince");
  return detector;
}

}  // namespace batterycore
