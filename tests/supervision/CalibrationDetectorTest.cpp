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
Seen restingAtLimit(Date now, std::int64_t percent = 80) {
  return {WatchdogVerdict::holding(), fixtures::resting(percent, kOn80, now), false};
}
Seen logLine(Date now) { return {WatchdogVerdict::holding(), fixtures::resting(80, kOn80, now), true}; }

CalibrationDetector::Step step(const CalibrationDetector& d, const Seen& seen) {
  return CalibrationDetector::step(d, seen.watchdog, seen.reading, seen.logHit, seen.reading.at, kUtc);
}

// A step of a sequence: what is seen, the verdict's case and the alert after it.
struct Tick {
  Seen seen;
  Verdict::Kind expected;
  std::optional<Kind> alert;
};

std::string kindName(Verdict::Kind kind) {
  switch (kind) {
    case Verdict::Kind::suspected: return "suspected";
    case Verdict::Kind::confirmed: return "confirmed";
    case Verdict::Kind::recovered: return "recovered";
    case Verdict::Kind::normal: return "normal";
  }
  return "?";
}

CalibrationDetector play(CalibrationDetector d, const std::vector<Tick>& ticks) {
  for (const auto& tick : ticks) {
    auto [next, alerts] = step(d, tick.seen);
    const auto when = toIso8601(tick.seen.reading.at);
    EXPECT_EQ(kindName(next.state.kind()), kindName(tick.expected)) << when;
    EXPECT_LE(alerts.size(), 1u) << when;
    EXPECT_EQ(alerts.empty() ? std::nullopt : std::optional<Kind>(alerts.front().kind), tick.alert) << when;
    d = next;
  }
  return d;
}

TEST(CalibrationDetector, HeaderExample) {
  const Date day1 = at("2026-03-02T10:00:00Z");
  const Date day2 = at("2026-03-03T10:00:00Z");
  const auto d = step(CalibrationDetector{}, fullWhileLimited(day1)).next;
  EXPECT_EQ(d.state.kind(), Verdict::Kind::suspected);
  const auto [next, alerts] = step(d, fullWhileLimited(day2));
  EXPECT_TRUE(next.state.isConfirmed());
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts.front().kind, Kind::calibrating);
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
  EXPECT_EQ(d.state, Verdict::confirmed(at("2026-03-03T08:00:00Z")));
  EXPECT_EQ(d.lastAlertAt, at("2026-03-03T08:00:00Z"));
}

TEST(CalibrationDetector, OnlyAFailingLimitNearlyFullCountsAsADay) {
  const Date now = at("2026-03-02T10:00:00Z");
  const Seen cases[] = {
      fullWhileLimited(now, 97),
      {WatchdogVerdict::overshootSuspected(now), fixtures::charging(99, kOn80, now), false},
      {WatchdogVerdict::notHolding(now), fixtures::charging(99, LimitState::off(80), now), false},
      {WatchdogVerdict::ours(), fixtures::charging(100, kOn80, now), false},
  };
  for (const auto& seen : cases) {
    const auto [next, alerts] = step(CalibrationDetector{}, seen);
    EXPECT_TRUE(next.fullWhileLimitedDays.empty())
        << seen.watchdog.toJson().dump() << " " << seen.reading.percent;
    EXPECT_EQ(next.state, Verdict::normal());
    EXPECT_TRUE(alerts.empty());
  }
}

TEST(CalibrationDetector, LogHitConfirmsAtOnceAndHoldsOffRecovery) {
  const Date t = at("2026-03-02T10:00:00Z");
  const auto d = play(CalibrationDetector{}, {
                                                 {logLine(t), Verdict::Kind::confirmed, Kind::calibrating},
                                                 {logLine(t + 3h), Verdict::Kind::confirmed, std::nullopt},
                                                 {logLine(t + 7h), Verdict::Kind::confirmed, std::nullopt},
                                                 {logLine(t + 13h), Verdict::Kind::confirmed, std::nullopt},
                                             });
  EXPECT_TRUE(d.fullWhileLimitedDays.empty());
  EXPECT_EQ(d.restingSince, std::nullopt);
  EXPECT_EQ(d.state, Verdict::confirmed(t));  // confirmed keeps its first moment
}

TEST(CalibrationDetector, SixHoursRestingEndTheCalibrationAndTheNextStepIsNormal) {
  const Date t = at("2026-03-02T10:00:00Z");
  const auto d = play(CalibrationDetector{},
                      {
                          {logLine(t), Verdict::Kind::confirmed, Kind::calibrating},
                          {restingAtLimit(t + 1h), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(t + 4h, 81), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(t + 6h + 59min + 59s), Verdict::Kind::confirmed, std::nullopt},
                          {restingAtLimit(t + 7h), Verdict::Kind::recovered, Kind::calibrationOver},
                          {restingAtLimit(t + 7h + 1min), Verdict::Kind::normal, std::nullopt},
                      });
  EXPECT_EQ(d, CalibrationDetector(t));
}

TEST(CalibrationDetector, RestingMustBeUninterrupted) {
  const Date t = at("2026-03-02T10:00:00Z");
  struct Interruption {
    const char* what;
    Seen seen;
  };
  const Date cut = t + 5h + 59min;
  const Interruption interruptions[] = {
      {"above the limit by two", restingAtLimit(cut, 82)},
      {"unplugged", {WatchdogVerdict::holding(), fixtures::unplugged(80, kOn80, cut), false}},
      {"limit off", {WatchdogVerdict::holding(), fixtures::resting(80, LimitState::off(80), cut), false}},
      {"watchdog not holding", {WatchdogVerdict::charging(), fixtures::charging(80, kOn80, cut), false}},
      {"log hit", logLine(cut)},
  };
  for (const auto& interruption : interruptions) {
    SCOPED_TRACE(interruption.what);
    play(CalibrationDetector{},
         {
             {logLine(t - 1min), Verdict::Kind::confirmed, Kind::calibrating},
             {restingAtLimit(t), Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(t + 5h), Verdict::Kind::confirmed, std::nullopt},
             {interruption.seen, Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(t + 6h), Verdict::Kind::confirmed, std::nullopt},  // a new stretch starts
             {restingAtLimit(t + 11h + 59min), Verdict::Kind::confirmed, std::nullopt},
             {restingAtLimit(t + 12h), Verdict::Kind::recovered, Kind::calibrationOver},
         });
  }
}

TEST(CalibrationDetector, SuspicionEndsSilentlyAfterSixHoursResting) {
  const Date t = at("2026-03-02T10:00:00Z");
  const auto d =
      play(CalibrationDetector{}, {
                                      {fullWhileLimited(t), Verdict::Kind::suspected, std::nullopt},
                                      {restingAtLimit(t + 1h), Verdict::Kind::suspected, std::nullopt},
                                      {restingAtLimit(t + 7h), Verdict::Kind::normal, std::nullopt},
                                  });
  EXPECT_TRUE(d.fullWhileLimitedDays.empty());
  EXPECT_EQ(d.restingSince, std::nullopt);
}

TEST(CalibrationDetector, CalibratingAlertAtMostOnceAWeek) {
  // Confirmed on day 1, again after a recovery on day 5: quiet. On day 8 (7 days on): alert.
  const Date day1 = at("2026-03-02T10:00:00Z");
  const auto calibrationFrom = [](Date start, std::optional<Kind> alert) {
    return std::vector<Tick>{
        {logLine(start), Verdict::Kind::confirmed, alert},
        {restingAtLimit(start + 1h), Verdict::Kind::confirmed, std::nullopt},
        {restingAtLimit(start + 7h), Verdict::Kind::recovered, Kind::calibrationOver},
    };
  };
  auto d = play(CalibrationDetector{}, calibrationFrom(day1, Kind::calibrating));
  d = play(d, calibrationFrom(day1 + std::chrono::days{4}, std::nullopt));
  EXPECT_EQ(d.lastAlertAt, day1);
  play(d, calibrationFrom(day1 + std::chrono::days{7} - 1s, std::nullopt));  // a second too early
  d = play(d, calibrationFrom(day1 + std::chrono::days{7}, Kind::calibrating));
  EXPECT_EQ(d.lastAlertAt, day1 + std::chrono::days{7});
}

TEST(CalibrationDetector, AlertTexts) {
  const Date t = at("2026-03-02T10:00:00Z");
  auto [confirmed, calibrating] = step(CalibrationDetector{}, logLine(t));
  ASSERT_EQ(calibrating.size(), 1u);
  EXPECT_EQ(calibrating.front(), (BatteryAlert{Kind::calibrating, t, "Your Mac is recalibrating its battery",
                                               "It ignores the limit while this runs. Nothing is broken. "
                                               "Click for what helps.",
                                               std::nullopt}));
  confirmed =
      step(confirmed, {WatchdogVerdict::holding(), fixtures::resting(76, LimitState::on(75), t + 1h), false})
          .next;
  const auto over =
      step(confirmed, {WatchdogVerdict::holding(), fixtures::resting(75, LimitState::on(75), t + 7h), false})
          .alerts;
  ASSERT_EQ(over.size(), 1u);
  EXPECT_EQ(over.front(), (BatteryAlert{Kind::calibrationOver, t + 7h, "Calibration finished",
                                        "Your limit is holding again at 75%.", std::nullopt}));
}

TEST(CalibrationDetector, RemembersTodayAndTheThirteenDaysBefore) {
  const Date first = at("2026-03-01T10:00:00Z");
  const auto suspected = step(CalibrationDetector{}, fullWhileLimited(first)).next;

  // 13 days later the first day still counts, so a second day confirms.
  const auto kept = step(suspected, fullWhileLimited(at("2026-03-14T23:00:00Z")));
  EXPECT_EQ(kept.next.fullWhileLimitedDays, (std::set<std::string>{"2026-03-01", "2026-03-14"}));
  EXPECT_TRUE(kept.next.state.isConfirmed());

  // 14 days later it is gone; the suspicion stays (only a recovery ends it).
  const auto dropped = step(suspected, fullWhileLimited(at("2026-03-15T00:00:00Z")));
  EXPECT_EQ(dropped.next.fullWhileLimitedDays, (std::set<std::string>{"2026-03-15"}));
  EXPECT_EQ(dropped.next.state, Verdict::suspected(first));
  EXPECT_TRUE(dropped.alerts.empty());

  const auto forgotten = step(suspected, restingAtLimit(at("2026-03-15T00:00:00Z"), 90));
  EXPECT_TRUE(forgotten.next.fullWhileLimitedDays.empty());
  EXPECT_EQ(forgotten.next.state, Verdict::suspected(first));
}

TEST(CalibrationDetector, DaysAreTheUsersCalendarDays) {
  // 23:30 UTC on 1 March is already 2 March in Berlin.
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Seen seen = fullWhileLimited(at("2026-03-01T23:30:00Z"));
  const auto d =
      CalibrationDetector::step({}, seen.watchdog, seen.reading, false, seen.reading.at, berlin).next;
  EXPECT_EQ(d.fullWhileLimitedDays, (std::set<std::string>{"2026-03-02"}));
}

TEST(CalibrationDetector, RestoredDetectorContinuesExactlyWhereItLeftOff) {
  const Date t = at("2026-03-02T10:00:00Z");
  const std::vector<Seen> seen{
      fullWhileLimited(t),         restingAtLimit(t + 2h),      fullWhileLimited(t + 1h * 24),
      restingAtLimit(t + 1h * 25), restingAtLimit(t + 1h * 30), restingAtLimit(t + 1h * 31),
      restingAtLimit(t + 1h * 32), logLine(t + 1h * 40),        restingAtLimit(t + 1h * 41),
      restingAtLimit(t + 1h * 48),
  };
  for (std::size_t restartAfter = 0; restartAfter < seen.size(); ++restartAfter) {
    CalibrationDetector straight;
    CalibrationDetector restarted;
    for (std::size_t i = 0; i < seen.size(); ++i) {
      auto a = step(straight, seen[i]);
      auto b = step(restarted, seen[i]);
      EXPECT_EQ(a.next, b.next) << "restart after step " << restartAfter << ", step " << i;
      EXPECT_EQ(a.alerts, b.alerts) << "restart after step " << restartAfter << ", step " << i;
      straight = a.next;
      restarted =
          i == restartAfter ? CalibrationDetector::fromJson(Json::parse(b.next.toJson().dump())) : b.next;
    }
  }
}

TEST(CalibrationDetector, JsonForm) {
  CalibrationDetector d(at("2026-03-03T08:00:00Z"));
  d.state = Verdict::confirmed(at("2026-03-03T08:00:00Z"));
  d.fullWhileLimitedDays = {"2026-03-03", "2026-03-02"};
  d.restingSince = at("2026-03-03T12:00:00Z");
  const char* json =
      R"({"state":{"confirmed":{"since":"2026-03-03T08:00:00Z"}},"fullWhileLimitedDays":["2026-03-02","2026-03-03"],)"
      R"("lastAlertAt":"2026-03-03T08:00:00Z","restingSince":"2026-03-03T12:00:00Z"})";
  EXPECT_EQ(d.toJson().dump(), json);
  EXPECT_EQ(CalibrationDetector::fromJson(Json::parse(json)), d);

  EXPECT_EQ(CalibrationDetector{}.toJson().dump(), R"({"state":{"normal":{}},"fullWhileLimitedDays":[]})");
  const Verdict verdicts[] = {Verdict::suspected(at("2026-03-02T10:00:00Z")),
                              Verdict::recovered(at("2026-03-02T10:00:00Z"))};
  EXPECT_EQ(verdicts[0].toJson().dump(), R"({"suspected":{"since":"2026-03-02T10:00:00Z"}})");
  EXPECT_EQ(verdicts[1].toJson().dump(), R"({"recovered":{"at":"2026-03-02T10:00:00Z"}})");
  for (const auto& verdict : verdicts) EXPECT_EQ(Verdict::fromJson(verdict.toJson()), verdict);
}

TEST(CalibrationDetector, MissingKeysTakeDefaultsMalformedValuesFail) {
  EXPECT_EQ(CalibrationDetector::fromJson(Json::object()), CalibrationDetector{});
  EXPECT_EQ(CalibrationDetector::fromJson(Json::parse(R"({"lastAlertAt":"2026-03-02T10:00:00Z"})")),
            CalibrationDetector(at("2026-03-02T10:00:00Z")));
  struct Case {
    const char* json;
    const char* reason;
  };
  const Case cases[] = {
      {R"({"state":{}})", kInvalidNumberOfKeys},
      {R"({"state":{"normal":{},"confirmed":{}}})", kInvalidNumberOfKeys},
      {R"({"state":{"recovered":{"since":"2026-03-02T10:00:00Z"}}})", "missing key \"at\""},
      {R"({"state":{"calibrating":{}}})", "unknown case \"calibrating\""},
      {R"({"fullWhileLimitedDays":"2026-03-02"})", "expected an array"},
      {R"({"restingSince":17})", "expected an ISO 8601 date"},
  };
  for (const auto& c : cases) {
    try {
      CalibrationDetector::fromJson(Json::parse(c.json));
      ADD_FAILURE() << c.json << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), c.reason) << c.json;
    }
  }
}

TEST(CalibrationDetector, Constants) {
  static_assert(CalibrationDetector::cooldown == std::chrono::days{7});
  static_assert(CalibrationDetector::recoveryAfter == 6h);
  static_assert(CalibrationDetector::dayWindow == std::chrono::days{14});
  EXPECT_TRUE(Verdict::confirmed(at("2026-03-02T10:00:00Z")).isConfirmed());
  EXPECT_FALSE(Verdict::suspected(at("2026-03-02T10:00:00Z")).isConfirmed());
}

}  // namespace
}  // namespace batterycore
