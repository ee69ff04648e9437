#include "app/Monitor.hpp"

#include "BatteryCore/text/Formatting.hpp"

#include "BatteryCore/supervision/CalibrationLog.hpp"
#include "BatteryCore/supervision/LimitChangeRule.hpp"
#include "BatteryCore/supervision/Situation.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningAlerts.hpp"
#include "BatteryCore/text/MeaningHealth.hpp"
#include "BatteryCore/text/MeaningSituation.hpp"
#include "KestrinWidget/ControlResponder.hpp"
#include "app/MonitorRecords.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <type_traits>
#include <utility>
#include <cmath>

namespace kestrin::app {

using namespace batterycore;

namespace {

constexpr std::size_t kAlertsKept = 200;
constexpr std::size_t kHealthSamplesKept = 1000;
constexpr Seconds kFlushEvery = std::chrono::minutes{10};

// The high-charge ledger lives in two files: "highCharge" holds the closed
// days and is written when a day closes, "highChargeToday" the newest day,
// written with the other per-tick states. A year of ledger is then written
// once a day instead of every ten minutes.
HighChargeLedger closedDays(const HighChargeLedger& ledger) {
  HighChargeLedger closed;
  if (!ledger.days.empty()) closed.days.assign(ledger.days.begin(), ledger.days.end() - 1);
  return closed;
}

HighChargeLedger newestDay(const HighChargeLedger& ledger) {
  HighChargeLedger newest;
  if (!ledger.days.empty()) newest.days.push_back(ledger.days.back());
  return newest;
}

bool sameClosedDays(const HighChargeLedger& a, const HighChargeLedger& b) {
  if (a.days.size() != b.days.size() || a.days.empty()) return a.days.size() == b.days.size();
  return std::equal(a.days.begin(), a.days.end() - 1, b.days.begin());
}

// The closed days with the newest day put back. The closed file is written
// before the newest day's, so after a crash between the two the newest file
// may still hold an earlier state of the day the closed file ends with: the
// record that sampled more wins. Any other day is appended, even one whose key
// sorts before the last closed day: after the clock went back across midnight
// or a move west, the ledger books that day again as its newest record.
HighChargeLedger joinedLedger(HighChargeLedger closed, const HighChargeLedger& newest) {
  for (const auto& day : newest.days) {
    if (!closed.days.empty() && closed.days.back().day == day.day) {
      if (day.minutesSampled > closed.days.back().minutesSampled) closed.days.back() = day;
    } else {
      closed.days.push_back(day);
      if (closed.days.size() > HighChargeLedger::keepDays) closed.days.erase(closed.days.begin());
    }
  }
  return closed;
}

// How a rule's state goes to disk.
enum class Written {
  whenChanged,        // at the next save after it changed
  withTheTick,        // with the last reading, at most every ten minutes
  atOnceWithTheTick,  // at once, and the last reading with it: a restart must not meet the same edge again
};

// One persisted state: its file's name, how often it is written, and how
// it goes between the monitor's state and the store.
struct PersistedState {
  std::string_view name;
  Written written;
  void (*load)(StateStore&, std::string_view name, MonitorState&);
  void (*save)(StateStore&, std::string_view name, const MonitorState&);
  bool (*same)(const MonitorState&, const MonitorState&);
  void (*copy)(MonitorState& to, const MonitorState& from);
};

// What a member is stored as: itself, or a record that is null when absent.
template <class T>
struct StoredAs {
  using Type = T;
  static const T& out(const T& value) { return value; }
  static T in(T stored) { return stored; }
};
template <>
struct StoredAs<std::optional<FullChargeSession>> {
  using Type = OptionalSession;
  static Type out(const std::optional<FullChargeSession>& value) { return {value}; }
  static std::optional<FullChargeSession> in(const Type& stored) { return stored.session; }
};
template <>
struct StoredAs<std::optional<HealthMilestone>> {
  using Type = OptionalMilestone;
  static Type out(const std::optional<HealthMilestone>& value) { return {value}; }
  static std::optional<HealthMilestone> in(const Type& stored) { return stored.milestone; }
};

template <auto Member>
constexpr PersistedState persisted(std::string_view name, Written written) {
  using Stored = StoredAs<std::remove_cvref_t<decltype(std::declval<MonitorState&>().*Member)>>;
  using Type = typename Stored::Type;
  return {name, written,
          [](StateStore& store, std::string_view file, MonitorState& state) {
            state.*Member = Stored::in(store.load<Type>(file, Type{}));
          },
          [](StateStore& store, std::string_view file, const MonitorState& state) {
            store.save(file, Stored::out(state.*Member));
          },
          [](const MonitorState& a, const MonitorState& b) { return a.*Member == b.*Member; },
          [](MonitorState& to, const MonitorState& from) { to.*Member = from.*Member; }};
}

// The rules' states, one row each. The last reading (with the other
// per-tick fields), time above 80%, the health samples and the alerts list
// have ways of their own and are not here.
constexpr std::array kPersistedStates = {
    persisted<&MonitorState::watchdog>("watchdog", Written::whenChanged),
    persisted<&MonitorState::calibration>("calibration", Written::whenChanged),
    persisted<&MonitorState::session>("session", Written::whenChanged),
    persisted<&MonitorState::departures>("departures", Written::atOnceWithTheTick),
    persisted<&MonitorState::smartTopUp>("smartTopUp", Written::whenChanged),
    persisted<&MonitorState::trips>("calendarTrigger", Written::whenChanged),
    persisted<&MonitorState::milestone>("milestone", Written::whenChanged),
    persisted<&MonitorState::weekly>("weekly", Written::whenChanged),
    persisted<&MonitorState::drain>("drain", Written::whenChanged),
    persisted<&MonitorState::policy>("alertPolicy", Written::whenChanged),
    persisted<&MonitorState::chargers>("chargers", Written::withTheTick),
    persisted<&MonitorState::weakCharger>("weakCharger", Written::withTheTick),
    persisted<&MonitorState::accessories>("accessories", Written::withTheTick),
};

}  // namespace

Monitor::Monitor(BatterySource& source, LimitController& limit, Calendar calendar)
    : Monitor(source, limit, std::move(calendar), Hooks{}) {}

Monitor::Monitor(BatterySource& source, LimitController& limit, Calendar calendar, Hooks hooks)
    : source_(source), limit_(limit), calendar_(std::move(calendar)), hooks_(std::move(hooks)) {}

void Monitor::setCalendar(Calendar calendar) {
  calendar_ = std::move(calendar);
  departureDay_.clear();  // the next departure is worked out again in the new zone
}

void Monitor::raise(TickReport& report, BatteryAlert alert) {
  report.raised.push_back(std::move(alert));
}

std::optional<Date> Monitor::nextDeparture(Date now) {
  const std::string today = calendar_.dayKey(now);
  const bool passed = departure_ && *departure_ < now;
  if (state_.departures.unplugs.size() != departureLedgerSize_ || today != departureDay_ || passed) {
    departure_ = DepartureModel::nextDeparture(state_.departures, now, calendar_);
    departureLedgerSize_ = state_.departures.unplugs.size();
    departureDay_ = today;
  }
  return departure_;
}

std::optional<std::string> Monitor::switchLimit(bool on, Date now) {
  auto failure = on ? limit_.switchOn() : limit_.switchOff();
  if (!failure) state_.lastOwnChangeAt = now;
  return failure;
}

bool Monitor::startOurs(Tick& t, const FullChargeSession& session) {
  if (auto failure = switchLimit(false, t.now)) {
    t.report.limitFailure = std::move(failure);
    return false;
  }
  state_.session = session;
  t.report.sessionStarted = session;
  return true;
}

void Monitor::endSession(TickReport& report, FullChargeSession::RestoreReason reason,
                         std::vector<BatteryAlert> alerts, Date now) {
  using Reason = FullChargeSession::RestoreReason;
  if (reason != Reason::limitBackOn) {
    if (auto failure = switchLimit(true, now)) {
      // The limit stays off: keep the session and try again next tick.
      report.limitFailure = std::move(failure);
      auto failed = FullChargeSession::restoreFailed(*state_.session, now);
      state_.session = failed.session;
      for (auto& alert : alerts) {
        if (alert.kind != BatteryAlert::Kind::fullChargeRestored) raise(report, std::move(alert));
      }
      if (failed.alert) raise(report, *failed.alert);
      return;
    }
  }
  for (auto& alert : alerts) raise(report, std::move(alert));
  state_.trips = CalendarTrigger::restored(state_.trips, *state_.session, now);
  state_.session.reset();
  report.sessionEnded = reason;
}

// The rules in the order they see each reading; each stage steps one rule
// (or two that share their inputs) and raises what it finds.
const std::array<void (Monitor::*)(Monitor::Tick&), 15> Monitor::stages = {
    &Monitor::limitStage,    &Monitor::calibrationStage, &Monitor::sessionStage,   &Monitor::heatStage,
    &Monitor::departureStage, &Monitor::tripStage,       &Monitor::smartTopUpStage, &Monitor::healthStage,
    &Monitor::chargerStage,  &Monitor::weeklyStage,      &Monitor::drainStage,     &Monitor::accessoryStage,
    &Monitor::alertStage,    &Monitor::attentionStage,   &Monitor::controlStage,
};

TickReport Monitor::tick(Date now, std::optional<Date> wokeAt) {
  TickReport report;
  auto reading = source_.read();
  if (!reading) return report;
  const auto keptOn = keepLimitOn(*reading, now, wokeAt);
  report.snapshot = reading;
  if (keptOn) raise(report, *keptOn);
  for (auto& alert : std::exchange(carried_, {})) raise(report, std::move(alert));

  Tick t{report, *reading, now, wokeAt, state_.session.has_value()};
  for (const auto stage : stages) (this->*stage)(t);
  state_.last = *reading;
  state_.lastTick = now;
  return report;
}

// The limit: does it hold, and did somebody else switch it?
void Monitor::limitStage(Tick& t) {
  auto watchdog = LimitWatchdog::step(state_.watchdog, t.reading, t.ours, t.now);
  state_.watchdog = watchdog.next;
  for (auto& alert : watchdog.alerts) raise(t.report, std::move(alert));
  if (!state_.last) return;
  if (auto alert = LimitChangeRule::step(state_.last->limit, t.reading.limit, t.ours, state_.lastOwnChangeAt, t.now)) {
    raise(t.report, std::move(*alert));
  }
  if (state_.last->limit.isAvailable() && !t.reading.limit.isAvailable()) {
    raise(t.report, BatteryAlert{BatteryAlert::Kind::limitUnavailable, t.now,
                                 Meaning::text("limit.unavailable.title", "Charge limit unavailable"),
                                 Meaning::text("limit.unavailable.simple",
                                               "macOS isn't reporting a charge limit right now, so the "
                                               "battery may charge to 100%%."),
                                 std::nullopt});
  }
}

// Calibration, with whatever the power log said since the last look.
void Monitor::calibrationStage(Tick& t) {
  const bool logHit = hooks_.powerLog && !CalibrationLog::hits(hooks_.powerLog()).empty();
  auto calibration =
      CalibrationDetector::step(state_.calibration, state_.watchdog.state, t.reading, logHit, t.now, calendar_);
  state_.calibration = calibration.next;
  for (auto& alert : calibration.alerts) raise(t.report, std::move(alert));
}

// The running full charge; the limit goes back on when it ends.
void Monitor::sessionStage(Tick& t) {
  if (!state_.session) return;
  const bool wasFull = state_.session->reachedFull;
  auto step = FullChargeSession::step(*state_.session, t.reading, t.now, calendar_);
  const bool smart = state_.session->origin.kind() == FullChargeSession::Origin::Kind::smart;
  const bool nowFull = std::any_of(step.alerts.begin(), step.alerts.end(), [](const BatteryAlert& a) {
    return a.kind == BatteryAlert::Kind::fullChargeDone;
  });
  if (smart && !wasFull && nowFull) {
    const auto minutes = static_cast<int>((t.now - state_.session->startedAt) / std::chrono::minutes{1});
    state_.smartTopUp = SmartTopUp::reachedFull(state_.smartTopUp, minutes);
  }
  if (step.session) {
    state_.session = step.session;
    for (auto& alert : step.alerts) raise(t.report, std::move(alert));
  } else {
    endSession(t.report, step.ended.value_or(FullChargeSession::RestoreReason::limitBackOn), std::move(step.alerts),
               t.now);
  }
}

void Monitor::heatStage(Tick& t) {
  if (!state_.last) return;
  if (auto alert = HeatRule::step(state_.last->thermal, t.reading.thermal, t.reading.pluggedIn, state_.lastHot, t.now)) {
    state_.lastHot = HeatRule::Last{t.now, t.reading.thermal};
    raise(t.report, std::move(*alert));
  }
}

void Monitor::departureStage(Tick& t) {
  state_.departures = DepartureLedger::step(state_.departures, state_.last, t.reading, state_.lastTick, t.now);
}

// A trip in the calendar: a full charge the evening before.
void Monitor::tripStage(Tick& t) {
  if (!settings_.calendarFullCharge || !settings_.calendarPath || !hooks_.calendarEvents) return;
  const auto events = hooks_.calendarEvents(t.now, *settings_.calendarPath);
  state_.trips = CalendarTrigger::seen(state_.trips, events, settings_.calendarAllDay, settings_.calendarKeywords,
                                       t.now, calendar_);
  if (state_.session) return;
  auto start = CalendarTrigger::decision(state_.trips, events, t.reading, t.reading.limit.active(), true,
                                         settings_.calendarAllDay, settings_.calendarKeywords, t.now, calendar_);
  if (start && startOurs(t, start->session)) {
    state_.trips = CalendarTrigger::started(state_.trips, start->event, t.now, calendar_);
    raise(t.report, std::move(start->alert));
  }
}

// Else a top-up before the next usual departure.
void Monitor::smartTopUpStage(Tick& t) {
  if (state_.session) return;
  const auto departure = nextDeparture(t.now);
  auto start = SmartTopUp::decision(state_.smartTopUp, departure, t.reading, t.reading.limit.active(),
                                    settings_.smartTopUp, t.now, calendar_);
  if (start && startOurs(t, start->session)) {
    state_.smartTopUp = SmartTopUp::started(state_.smartTopUp, calendar_.dayKey(t.now));
    raise(t.report, SmartTopUp::alert(*start, calendar_));
  }
}

// Time above 80%, a health sample a day and its milestones.
void Monitor::healthStage(Tick& t) {
  state_.highCharge.book(t.reading, state_.lastTick, t.now, calendar_);
  const std::optional<HealthTrend::Sample> lastSample =
      state_.health.empty() ? std::nullopt : std::optional(state_.health.back());
  if (t.reading.designCapacity <= 0 || !HealthTrend::shouldSample(lastSample, t.now, calendar_)) return;
  state_.health.emplace_back(t.reading, calendar_);
  ++healthEdits_;
  if (state_.health.size() > kHealthSamplesKept) state_.health.erase(state_.health.begin());
  if (const auto percent = HealthTrend::healthPercent(state_.health.back())) {
    auto milestone = HealthMilestone::step(state_.milestone, *percent, t.now, calendar_);
    state_.milestone = milestone.next;
    if (milestone.alert) raise(t.report, std::move(*milestone.alert));
  }
}

void Monitor::chargerStage(Tick& t) {
  auto weak = WeakChargerRule::step(state_.weakCharger, t.reading, t.now, calendar_);
  state_.weakCharger = weak.next;
  if (weak.alert) raise(t.report, std::move(*weak.alert));
  state_.chargers.remember(t.reading, t.now);
}

void Monitor::weeklyStage(Tick& t) {
  const auto healthPercent =
      state_.health.empty() ? std::nullopt : HealthTrend::healthPercent(state_.health.back());
  auto weekly = WeeklyNote::step(state_.weekly, state_.highCharge, healthPercent, t.now, calendar_);
  state_.weekly = std::move(weekly.next);
  if (weekly.alert) raise(t.report, std::move(*weekly.alert));
}

// Programs draining the battery in the background, looked at on battery only.
void Monitor::drainStage(Tick& t) {
  if (!t.reading.pluggedIn && hooks_.processes) {
    const auto processes = hooks_.processes();
    const auto energy = hooks_.packageEnergy ? hooks_.packageEnergy() : std::nullopt;
    auto drain = BackgroundDrain::step(state_.drain, t.reading, processes, energy, t.now, calendar_);
    state_.drain = std::move(drain.next);
    for (auto& alert : drain.alerts) raise(t.report, std::move(alert));
  } else if (state_.drain.open) {
    state_.drain.open.reset();  // plugged in: the window closes without a verdict
  }
}

void Monitor::accessoryStage(Tick& t) {
  if (!hooks_.accessories) return;
  auto accessories = AccessoryRule::step(state_.accessories, hooks_.accessories(), t.now);
  state_.accessories = std::move(accessories.next);
  for (auto& alert : accessories.alerts) raise(t.report, std::move(alert));
}

// Pace the alerts; every one goes to the alerts list.
void Monitor::alertStage(Tick& t) {
  auto& report = t.report;
  report.posted = state_.policy.filter(report.raised, t.now, t.wokeAt,
                                       [this](BatteryAlert::Kind kind) { return settings_.alertEnabled(kind); });
  if (!report.raised.empty()) ++alertsEdits_;
  state_.alerts.insert(state_.alerts.end(), report.raised.begin(), report.raised.end());
  if (state_.alerts.size() > kAlertsKept) {
    state_.alerts.erase(state_.alerts.begin(),
                        state_.alerts.begin() + static_cast<std::ptrdiff_t>(state_.alerts.size() - kAlertsKept));
  }
}

// The one attention of this tick, and the widget that shows it.
void Monitor::attentionStage(Tick& t) {
  const auto& s = t.reading;
  const LimitAvailability control = s.limit.isAvailable()
                                        ? LimitAvailability::available()
                                        : LimitAvailability::unavailable(s.limit.unavailableReason().value_or(""));
  const Attention attention =
      Attention::of(Situation{s, state_.watchdog.state, state_.session, state_.calibration.state, control});
  t.report.attention = attention;
  t.report.attentionChanged = !lastAttention_ || !(*lastAttention_ == attention);
  if (t.report.attentionChanged) t.report.headline = Meaning::headline(attention, s, state_.session, settings_.level);
  lastAttention_ = attention;
  writeWidgetIfDue(t.report, s, attention, t.now);
}

// The charge-limit control's request, if one waits.
void Monitor::controlStage(Tick& t) {
  if (!hooks_.controlPreferences) return;
  const auto answered = widget::answerPendingRequest(
      *hooks_.controlPreferences, t.now, [&](bool on) { return switchLimit(on, t.now); });
  if (answered) t.report.controlAnswered = answered->on;
}

widget::WidgetSnapshot Monitor::widgetSnapshot(const BatterySnapshot& s, const Attention& attention, Date now) const {
  widget::WidgetSnapshot snapshot;
  snapshot.at = now;
  snapshot.percent = s.percent;
  snapshot.limit = s.limit.active();
  snapshot.charging = s.charging;
  snapshot.mood = attention.widgetTone();
  snapshot.headline = Meaning::headline(attention, s, state_.session, settings_.level);
  // The short figures are bare ("96%", "2 h"): the widget words them itself
  // ("96% health", "2 h above 80%").
  if (!state_.health.empty()) {
    const auto percent = HealthTrend::healthPercent(state_.health.back());
    const auto health = Meaning::health(percent, s.cycleCount, settings_.level);
    if (percent) snapshot.health = Formatting::percent(*percent);
    snapshot.healthLine = health.detail;
  }
  const auto summary = state_.highCharge.summary(now, calendar_);
  const auto highCharge = Meaning::highCharge(summary, settings_.level);
  snapshot.highCharge = Formatting::hours(summary.hoursAbove80);
  snapshot.highChargeLine = highCharge.detail;
  return snapshot;
}

void Monitor::writeWidgetIfDue(TickReport& report, const BatterySnapshot& s, const Attention& attention, Date now) {
  // Within the throttle only a new mood or limit is written, so the wording
  // waits until then; past it, any difference (a new headline or health
  // line, more time above 80%) is written. A clock set back behind the last
  // write: its time no longer tells how long ago that was, so the widget is
  // written as if for the first time rather than held back until the clock
  // catches up.
  if (state_.widgetWrittenAt && now < *state_.widgetWrittenAt) state_.widgetWrittenAt.reset();
  const auto& last = state_.widget;
  const bool moodOrLimitChanged =
      !last || last->mood != attention.widgetTone() || last->limit != s.limit.active();
  if (!moodOrLimitChanged && state_.widgetWrittenAt &&
      now - *state_.widgetWrittenAt < widget::WidgetSnapshot::throttle) {
    return;
  }
  auto next = widgetSnapshot(s, attention, now);
  if (!widget::WidgetSnapshot::shouldWrite(next, last, state_.widgetWrittenAt, now)) return;
  if (hooks_.writeWidget) hooks_.writeWidget(next);
  state_.widget = next;
  state_.widgetWrittenAt = now;
  report.widgetWritten = std::move(next);
}

std::optional<BatteryAlert> Monitor::keepLimitOn(BatterySnapshot& reading, Date now, std::optional<Date> wokeAt) {
  const bool waking = !ticked_ || (wokeAt && now - *wokeAt <= AlertPolicy::afterWake);
  ticked_ = true;
  // Only a limit that was on before the sleep or the restart, off now, with
  // no full charge of ours running: the firmware dropped it.
  if (!settings_.keepLimitOn || !waking || state_.session || !state_.last || !reading.limit.isOff()) {
    return std::nullopt;
  }
  const auto was = state_.last->limit.active();
  if (!was || switchLimit(true, now)) return std::nullopt;
  reading.limit = LimitState::on(*was);
  auto words = Meaning::limitOnAlert(*was);
  return BatteryAlert{BatteryAlert::Kind::limitTurnedOn, now, std::move(words.title), std::move(words.detail),
                      std::nullopt};
}

std::optional<std::string> Monitor::startFullCharge(Date now, const FullChargeOptions& options) {
  if (state_.session) return Meaning::text("intents.alreadyRunning", "A full charge is already running.");
  const auto limit = state_.last ? state_.last->limit.active() : std::nullopt;
  if (!limit) return Meaning::text("intents.limitOff", "The charge limit is off, so the battery already charges to 100%%.");
  auto session = FullChargeSession::start(now, *limit, options.untilUnplug, options.whenFull, options.hours);
  if (!session) return Meaning::text("fullCharge.pickOne", "Pick at least one.");
  if (switchLimit(false, now)) {
    return Meaning::text("fullCharge.failed", "Couldn't start the full charge. Use System Settings > Battery for now.");
  }
  state_.session = session;
  return std::nullopt;
}

std::optional<std::string> Monitor::stopFullCharge(Date now) {
  if (!state_.session) return std::nullopt;
  TickReport stopped;
  endSession(stopped, FullChargeSession::RestoreReason::userCancelled, FullChargeSession::stopped(*state_.session, now),
             now);
  // The next tick paces them like any other alert and lists them.
  carried_.insert(carried_.end(), stopped.raised.begin(), stopped.raised.end());
  return stopped.limitFailure;
}

void Monitor::skipToday(Date now) {
  state_.smartTopUp = SmartTopUp::skip(state_.smartTopUp, calendar_.dayKey(now));
  if (state_.session && state_.session->origin.kind() == FullChargeSession::Origin::Kind::smart) {
    (void)stopFullCharge(now);
  }
}

void Monitor::skipTonight(Date now) {
  if (const auto key = state_.trips.skippableKey()) state_.trips = CalendarTrigger::skip(state_.trips, *key);
  if (state_.session && state_.session->origin.kind() == FullChargeSession::Origin::Kind::calendar) {
    (void)stopFullCharge(now);
  }
}

void Monitor::forgetUnplugs() {
  state_.departures = DepartureLedger{};
  departureLedgerSize_ = static_cast<std::size_t>(-1);
}

MonitorState Monitor::readState(StateStore& store) {
  MonitorState state;
  const auto record = store.load<TickRecord>("monitor", TickRecord{});
  state.last = record.last;
  state.lastTick = record.lastTick;
  state.lastOwnChangeAt = record.lastOwnChangeAt;
  state.lastHot = record.lastHot;
  state.widget = record.widget;
  state.widgetWrittenAt = record.widgetWrittenAt;
  for (const auto& row : kPersistedStates) row.load(store, row.name, state);
  state.highCharge = joinedLedger(store.load<HighChargeLedger>("highCharge", HighChargeLedger{}),
                                  store.load<HighChargeLedger>("highChargeToday", HighChargeLedger{}));
  state.health = store.load<std::vector<HealthTrend::Sample>>("health", {});
  state.alerts = store.load<std::vector<BatteryAlert>>("alerts", {});
  return state;
}

void Monitor::load(StateStore& store) {
  settings_ = store.load<Settings>("settings", Settings{});
  state_ = readState(store);
  saved_ = state_;
  savedAlertsEdits_ = alertsEdits_;
  savedHealthEdits_ = healthEdits_;
  savedSettings_ = settings_;
  departureLedgerSize_ = static_cast<std::size_t>(-1);
}

void Monitor::reloadSettings(StateStore& store) {
  settings_ = store.load<Settings>("settings", settings_);
  savedSettings_ = settings_;
}

bool Monitor::flushDue(Date now) const { return !saved_ || !flushedAt_ || now - *flushedAt_ >= kFlushEvery; }

bool Monitor::save(StateStore& store, Date now, bool all) {
  const bool first = !saved_;
  if (first) saved_ = state_;
  MonitorState& saved = *saved_;  // as last written
  const bool everything = all || first;  // at shutdown: every state, changed or not
  auto changed = [&](auto member) { return everything || !(state_.*member == saved.*member); };
  // Writes a row's state if it changed and remembers it as written.
  auto keep = [&](const PersistedState& row) {
    if (!everything && row.same(state_, saved)) return false;
    row.save(store, row.name, state_);
    row.copy(saved, state_);
    return true;
  };

  // The settings belong to the person (kestrin settings writes them): only a
  // change made here is written, never a copy read before theirs.
  if (first || !savedSettings_ || !(*savedSettings_ == settings_)) {
    store.save("settings", settings_);
    savedSettings_ = settings_;
  }
  // An alert goes out with every state that led to it, so that a restart
  // right after it neither loses nor repeats it.
  const bool alertsChanged = everything || alertsEdits_ != savedAlertsEdits_;
  if (changed(&MonitorState::lastOwnChangeAt) || changed(&MonitorState::lastHot) || alertsChanged) all = true;
  for (const auto& row : kPersistedStates) {
    if (row.written != Written::withTheTick && keep(row) && row.written == Written::atOnceWithTheTick) all = true;
  }
  if (everything || healthEdits_ != savedHealthEdits_) {
    store.save("health", state_.health);
    saved.health = state_.health;
    savedHealthEdits_ = healthEdits_;
  }
  if (alertsChanged) {
    store.save("alerts", state_.alerts);
    saved.alerts = state_.alerts;
    savedAlertsEdits_ = alertsEdits_;
  }

  // These change on every tick: at most every ten minutes, or when asked.
  const bool due = all || first || flushDue(now);
  if (due) {
    store.save("monitor", TickRecord{state_.last, state_.lastTick, state_.lastOwnChangeAt, state_.lastHot,
                                     state_.widget, state_.widgetWrittenAt});
    saved.last = state_.last;
    saved.lastTick = state_.lastTick;
    saved.lastOwnChangeAt = state_.lastOwnChangeAt;
    saved.lastHot = state_.lastHot;
    saved.widget = state_.widget;
    saved.widgetWrittenAt = state_.widgetWrittenAt;
    // Only the newest day moves between two flushes; the closed days change
    // when a day closes.
    const auto& days = state_.highCharge.days;
    auto& savedDays = saved.highCharge.days;
    if (everything || !sameClosedDays(state_.highCharge, saved.highCharge)) {
      store.save("highCharge", closedDays(state_.highCharge));
      store.save("highChargeToday", newestDay(state_.highCharge));
      saved.highCharge = state_.highCharge;
    } else if (!days.empty() && !(days.back() == savedDays.back())) {
      store.save("highChargeToday", newestDay(state_.highCharge));
      savedDays.back() = days.back();
    }
    for (const auto& row : kPersistedStates) {
      if (row.written == Written::withTheTick) keep(row);
    }
    flushedAt_ = now;
  }
  return due;
}

}  // namespace kestrin::app
