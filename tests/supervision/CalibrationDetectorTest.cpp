#include "BatteryCore/supervision/CalibrationDetector.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Kind = BatteryAlert::Kind;
using Verdict = CalibrationDetector::Verdict;
using WatchdogVerdict = LimitWatchdog::Verdict;
using fixtures::at;

const Calendar kUtc = Calendar::utc();
const auto kOn80 = LimitState::on(80);
const Date kT = at("2026-03-02T10:00:00Z");

// What the detector is shown in one step.
struct Seen {
  WatchdogVerdict watchdog;
  BatterySnapshot reading;
  bool logHit;
};

// The limit failing at a nearly full battery.
Seen fullWhileLimited(Date now, std::int64_t percent = 98) {
  return {WatchdogVerdict::notHolding(now - 15min), fixtures::charging(percent, kOn80, now), false};
}
// Plugged in and resting at the limit, as after a calibration.
Seen restingAtLimit(Date now, std::int64_t percent = 80, LimitState limit = kOn80) {
  return {WatchdogVerdict::holding(), fixtures::resting(percent, std::move(limit), now), false};
}
Seen logLine(Date now) { return {WatchdogVerdict::holding(), fixtures::resting(80, kOn80, now), true}; }

CalibrationDetector::Step step(const CalibrationDetector& d, const Seen& seen, const Calendar& calendar = kUtc) {
  return CalibrationDetector::step(d, seen.watchdog, seen.reading, seen.logHit, seen.reading.at, calendar);
}

// One step of a story: what is seen, the verdict's case and the alert after it.
struct Tick {
  Seen seen;
  Verdict::Kind expected;
  std::optional<Kind> alert;
};

CalibrationDetector play(CalibrationDetector d, const std::vector<Tick>& ticks) {
  for (const auto& tick : ticks) {
    auto [next, alerts] = step(d, tick.seen);
    const auto when = toIso8601(tick.seen.reading.at);
    EXPECT_EQ(next.state.kind(), tick.expected) << when << " gave " << next.state.toJson().dump();
    EXPECT_LE(alerts.size(), 1u) << when;
    EXPECT_EQ(alerts.empty() ? std::nullopt : std::optional<Kind>(alerts.front().kind), tick.alert) << when;
    d = next;
  }
  return d;
}

TEST(CalibrationDetector, TwoFullWhileLimitedDaysConfirm) {
  const auto d = play(
      CalibrationDetector{},
      {
          {fullWhileLimited(at("2026-03-02T09:00:00Z")), Verdict::Kind::suspected, std::nullopt},
          {fullWhileLimited(at("2026-03-02T21:00:00Z"), 100), Verdict::Kind::suspected, std::nullopt},
          {fullWhileLimited(at("2026-03-03T08:00:00Z"), 99), Verdict::Kind::confirmed, Kind::calibrating},
          {fullWhileLimited(at("2026-03-04T08:00:00Z")), Verdict::Kind::confirmed, std::nullopt},
      });
  EXPECT_EQ(d.fullWhileLimitedDays, (std::set<std::string>{"2026-03-02", "2026-03-03", "2026-03-04"}));
  EXPECT_EQ(d.state, Verdict::confirmed(at("2026-03-03T08:00:00Z")));  // keeps its first moment
  EXPECT_EQ(d.lastAlertAt, at("2026-03-03T08:00:00Z"));
}

TEST(CalibrationDetector, OnlyAFailingLimitNearlyFullCountsAsADay) {
  const Seen cases[] = {
      fullWhileLimited(kT, 97),
      {WatchdogVerdict::overshootSuspected(kT), fixtures::charging(99, kOn80, kT), false},
      {WatchdogVerdict::notHolding(kT), fixtures::charging(99, LimitState::off(80), kT), false},
      {WatchdogVerdict::ours(), fixtures::charging(100, kOn80, kT), false},
  };
  for (const auto& seen : cases) {
    EXPECT_EQ(step(CalibrationDetector{}, seen).next, CalibrationDetector{})
        << seen.watchdog.toJson().dump() << " " << seen.reading.percent;
  }
}

TEST(CalibrationDetector, SixHoursRestingEndTheCalibrationAndTheNextStepIsNormal) {
  const auto d = play(CalibrationDetector{},
                      {
                          {logLine(kT), Verdict::Kind::confirmed, Kind::calibrating},
                          {restingAtLimit(kT + 1h), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(kT + 4h, 81), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(kT + 6h + 59min + 59s), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(kT + 7h), Verdict::Kind::recovered, Kind::calibrationOver},
                          {restingAtLimit(kT + 7h + 1min), Verdict::Kind::normal, std::nullopt},
                      });
  EXPECT_EQ(d, CalibrationDetector(kT));
}

TEST(CalibrationDetector, RestingMustBeUninterrupted) {
  const Date cut = kT + 5h + 59min;
  const std::pair<const char*, Seen> interruptions[] = {
      {"above the limit by two", restingAtLimit(cut, 82)},
      {"unplugged", {WatchdogVerdict::holding(), fixtures::unplugged(80, kOn80, cut), false}},
      {"limit off", restingAtLimit(cut, 80, LimitState::off(80))},
      {"watchdog not holding", {WatchdogVerdict::charging(), fixtures::charging(80, kOn80, cut), false}},
      {"log hit", logLine(cut)},
  };
  for (const auto& [what, seen] : interruptions) {
    SCOPED_TRACE(what);
    play(CalibrationDetector{},
         {
             {logLine(kT - 1min), Verdict::Kind::confirmed, Kind::calibrating},
             {restingAtLimit(kT), Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(kT + 5h), Verdict::Kind::confirmed, std::nullopt},
             {seen, Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(kT + 6h), Verdict::Kind::confirmed, std::nullopt},  // a new stretch starts
             {restingAtLimit(kT + 11h + 59min), Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(kT + 12h), Verdict::Kind::recovered, Kind::calibrationOver},
         });
  }
}

TEST(CalibrationDetector, SuspicionEndsSilentlyAfterSixHoursResting) {
  const auto d = play(CalibrationDetector{}, {
                                                 {fullWhileLimited(kT), Verdict::Kind::suspected, std::nullopt},
                                                 {restingAtLimit(kT + 1h), Verdict::Kind::suspected, std::nullopt},
                                                 {restingAtLimit(kT + 7h), Verdict::Kind::normal, std::nullopt},
                                             });
  EXPECT_EQ(d, CalibrationDetector{});
}

TEST(CalibrationDetector, CalibratingAlertAtMostOnceAWeek) {
  // Confirmed on day 1, again after a recovery on day 5: quiet. On day 8 (7 days on): alert.
  const auto calibrationFrom = [](Date start, std::optional<Kind> alert) {
    return std::vector<Tick>{
        {logLine(start), Verdict::Kind::confirmed, alert},
        {restingAtLimit(start + 1h), Verdict::Kind::confirmed, std::nullopt},
        {restingAtLimit(start + 7h), Verdict::Kind::recovered, Kind::calibrationOver},
    };
  };
  auto d = play(CalibrationDetector{}, calibrationFrom(kT, Kind::calibrating));
  d = play(d, calibrationFrom(kT + std::chrono::days{4}, std::nullopt));
  EXPECT_EQ(d.lastAlertAt, kT);
  play(d, calibrationFrom(kT + std::chrono::days{7} - 1s, std::nullopt));  // a second too early
  d = play(d, calibrationFrom(kT + std::chrono::days{7}, Kind::calibrating));
  EXPECT_EQ(d.lastAlertAt, kT + std::chrono::days{7});
}

TEST(CalibrationDetector, AlertTexts) {
  auto [confirmed, calibrating] = step(CalibrationDetector{}, logLine(kT));
  EXPECT_EQ(calibrating, (std::vector<BatteryAlert>{
                             {Kind::calibrating, kT, "Your Mac is recalibrating its battery",
                              "It ignores the limit while this runs. Nothing is broken. Click for what helps.",
                              std::nullopt}}));
  confirmed = step(confirmed, restingAtLimit(kT + 1h, 76, LimitState::on(75))).next;
  EXPECT_EQ(step(confirmed, restingAtLimit(kT + 7h, 75, LimitState::on(75))).alerts,
            (std::vector<BatteryAlert>{{Kind::calibrationOver, kT + 7h, "Calibration finished",
                                        "Your limit is holding again at 75%.", std::nullopt}}));
}

// Days are the person's calendar days: 23:30 UTC on 14 March is already the
// 15th in Berlin.
TEST(CalibrationDetector, RemembersTodayAndTheThirteenDaysBefore) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Date first = at("2026-03-01T10:00:00Z");
  const auto suspected = step(CalibrationDetector{}, fullWhileLimited(first), berlin).next;

  // 13 days later the first day still counts, so a second day confirms.
  const auto kept = step(suspected, fullWhileLimited(at("2026-03-14T22:30:00Z")), berlin);
  EXPECT_EQ(kept.next.fullWhileLimitedDays, (std::set<std::string>{"2026-03-01", "2026-03-14"}));
  EXPECT_TRUE(kept.next.state.isConfirmed());

  // 14 days later it is gone; the suspicion stays (only a recovery ends it).
  const auto dropped = step(suspected, fullWhileLimited(at("2026-03-14T23:30:00Z")), berlin);
  EXPECT_EQ(dropped.next.fullWhileLimitedDays, (std::set<std::string>{"2026-03-15"}));
  EXPECT_EQ(dropped.next.state, Verdict::suspected(first));
  EXPECT_TRUE(dropped.alerts.empty());
}

}  // namespace
}  // namespace batterycore
