#include "BatteryCore/supervision/FullChargeSession.hpp"

#include "Readings.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Origin = FullChargeSession::Origin;
using Outcome = FullChargeSession::Outcome;
using RestoreReason = FullChargeSession::RestoreReason;
using fixtures::at;

const Date kStart = at("2026-03-02T10:00:00Z");

// A session as the tests describe it: which ways back, started at kStart.
FullChargeSession session(bool untilUnplug, bool whenFull, std::optional<Date> deadline = std::nullopt,
                          Origin origin = Origin::user()) {
  FullChargeSession s;
  s.startedAt = kStart;
  s.deadline = deadline;
  s.origin = std::move(origin);
  s.restoreOnUnplug = untilUnplug;
  s.restoreWhenFull = whenFull;
  s.limit = 80;
  return s;
}

struct Reading {
  std::int64_t percent = 90;
  bool pluggedIn = true;
  bool fullyCharged = false;
  LimitState limit = LimitState::off(80);
};

BatterySnapshot reading(const Reading& r, Date when) {
  auto s = fixtures::snapshot({r.percent, r.pluggedIn, r.pluggedIn && !r.fullyCharged, r.limit}, when);
  s.fullyCharged = r.fullyCharged;
  return s;
}

const Reading kFull{100, true, true};
const Reading kFullUnplugged{100, false, true};
const Reading kLimitOn{50, true, false, LimitState::on(80)};

TEST(FullChargeSession, StartNeedsAWayBack) {
  EXPECT_FALSE(FullChargeSession::start(kStart, 80, false, false, std::nullopt));
  auto untilUnplugged = session(true, false);
  untilUnplugged.limit = 75;
  EXPECT_EQ(FullChargeSession::start(kStart, 75, true, false, std::nullopt), untilUnplugged);
  EXPECT_EQ(FullChargeSession::start(kStart, 80, false, true, std::nullopt), session(false, true));
}

TEST(FullChargeSession, DeadlinesRoundUpToFiveMinutes) {
  struct Case {
    const char* now;
    int hours;
    const char* deadline;
  };
  const Case cases[] = {
      {"2026-03-02T10:03:10Z", 2, "2026-03-02T12:05:00Z"},
      {"2026-03-02T10:03:10Z", 0, "2026-03-02T10:05:00Z"},
      {"2026-03-02T10:05:00Z", 0, "2026-03-02T10:05:00Z"},  // on the grid: stays
      {"2026-03-02T10:05:00.250Z", 1, "2026-03-02T11:10:00Z"},
      {"2026-03-02T23:58:00Z", 1, "2026-03-03T01:00:00Z"},
      {"2026-03-02T10:03:10Z", -4, "2026-03-02T10:05:00Z"},  // no hours back in time
  };
  for (const auto& c : cases) {
    const auto s = FullChargeSession::start(at(c.now), 80, false, false, c.hours);
    ASSERT_TRUE(s && s->deadline) << c.now;
    EXPECT_EQ(toIso8601(*s->deadline), c.deadline) << c.now << " + " << c.hours << " h";
  }
}

TEST(FullChargeSession, EvaluateTakesTheFirstRuleThatApplies) {
  struct Case {
    const char* what;
    FullChargeSession session;
    Reading reading;
    Seconds after;
    Outcome outcome;
  };
  const Date deadline = kStart + 2h;
  const Case cases[] = {
      {"limit on just before 30 s", session(true, true), kLimitOn, 29.9s, Outcome::keepGoing()},
      {"limit on at 30 s", session(true, true), kLimitOn, 30s, Outcome::restore(RestoreReason::limitBackOn)},
      {"limit back on outranks unplugging", session(true, true), {90, false, false, LimitState::on(80)}, 1min,
       Outcome::restore(RestoreReason::limitBackOn)},
      {"limit unavailable is not on", session(false, false, deadline),
       {90, true, false, LimitState::unavailable("gone")}, 1min, Outcome::keepGoing()},
      {"unplugged", session(true, false), {90, false}, 1min, Outcome::restore(RestoreReason::unplugged)},
      {"unplugged, not a way back", session(false, true), {90, false}, 1min, Outcome::keepGoing()},
      {"unplugged outranks full", session(true, true), kFullUnplugged, 1min,
       Outcome::restore(RestoreReason::unplugged)},
      {"full", session(true, true), kFull, 1min, Outcome::restore(RestoreReason::full)},
      {"100% but not reported full", session(true, true), {100, true, false}, 1min, Outcome::keepGoing()},
      {"full, not a way back", session(true, false), kFull, 1min, Outcome::keepGoing()},
      {"full outranks the deadline", session(false, true, deadline), kFull, 3h, Outcome::restore(RestoreReason::full)},
      {"before the deadline", session(false, false, deadline), {90}, 2h - 1s, Outcome::keepGoing()},
      {"at the deadline", session(false, false, deadline), {90}, 2h, Outcome::restore(RestoreReason::timer)},
      {"no deadline", session(true, false), {90}, 48h, Outcome::keepGoing()},
  };
  for (const auto& c : cases) {
    const Date now = kStart + c.after;
    EXPECT_EQ(FullChargeSession::evaluate(c.session, reading(c.reading, now), now), c.outcome) << c.what;
  }
}

// "Charged to 100%" once, when the battery fills on the charger; "Limit back
// on" when the session ends, unless somebody else already put the limit back.
TEST(FullChargeSession, StepAnnouncesFullOnceAndTheLimitComingBack) {
  auto announced = session(true, false);
  announced.reachedFull = true;
  const std::string done = "fullChargeDone, Charged to 100%: ";
  const std::string backOn = "fullChargeRestored, Limit back on: Your battery will rest at 80% again.";
  struct Case {
    const char* what;
    FullChargeSession session;
    Reading reading;
    Seconds after;
    std::optional<RestoreReason> ended;
    std::vector<std::string> alerts;  // "kind, title: body"
  };
  const Case cases[] = {
      {"limit put back by somebody else", session(true, true), kLimitOn, 30s, RestoreReason::limitBackOn, {}},
      {"full and unplugged at once", session(true, true), kFullUnplugged, 3h, RestoreReason::unplugged,
       {done + "Ready to go. Your limit is back on.", backOn}},
      {"full on battery, not filled now", session(false, false, kStart + 8h), kFullUnplugged, 1h, std::nullopt, {}},
      {"full, kept until unplugged", session(true, false), kFull, 2h, std::nullopt,
       {done + "Ready to go. The limit comes back on when you unplug."}},
      {"full, already announced", announced, kFull, 3h, std::nullopt, {}},
      {"full ends it", session(false, true), kFull, 2h, RestoreReason::full,
       {done + "Ready to go. Your limit is back on.", backOn}},
      {"timer", session(false, false, kStart + 2h), {95}, 2h, RestoreReason::timer, {backOn}},
  };
  for (const auto& c : cases) {
    const Date now = kStart + c.after;
    const auto result = FullChargeSession::step(c.session, reading(c.reading, now), now, Calendar::utc());
    EXPECT_EQ(result.ended, c.ended) << c.what;
    EXPECT_EQ(result.session.has_value(), !c.ended) << c.what;
    if (result.session) {
      EXPECT_EQ(result.session->reachedFull, c.session.reachedFull || !c.alerts.empty()) << c.what;
    }
    std::vector<std::string> alerts;
    for (const auto& alert : result.alerts) {
      alerts.push_back(std::string(BatteryAlert::rawValue(alert.kind)) + ", " + alert.title + ": " + alert.body);
      EXPECT_EQ(alert.at, now) << c.what;
      EXPECT_EQ(alert.technicalBody, std::nullopt) << c.what;
    }
    EXPECT_EQ(alerts, c.alerts) << c.what;
  }
}

TEST(FullChargeSession, SmartTopUpNamesItsDepartureInTheCalendarsZone) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Date departure = at("2026-03-03T06:30:00Z");  // 7:30 in Berlin
  const auto s = session(true, false, at("2026-03-03T08:00:00Z"), Origin::smart(departure));
  const Date now = at("2026-03-03T06:00:00Z");
  const auto body = [&] { return FullChargeSession::step(s, reading(kFull, now), now, berlin).alerts.at(0).body; };
  EXPECT_EQ(body(), "Ready for your 7:30 AM departure. The limit comes back on when you unplug.");
  const testing::UsingLocale german("de_DE");
  EXPECT_EQ(body(),
            "Bereit für deinen Aufbruch um 07:30. Das Limit wird wieder eingeschaltet, wenn du den Mac vom Strom "
            "trennst.");
}

TEST(FullChargeSession, RestoreFailureAlertsOnceAfterTwoMinutes) {
  auto s = session(true, false);
  const Date first = kStart + 1h;
  const std::pair<Seconds, bool> attempts[] = {{0s, false}, {119s, false}, {120s, true}, {121s, false}, {10min, false}};
  for (const auto& [after, alerts] : attempts) {
    const auto [next, alert] = FullChargeSession::restoreFailed(s, first + after);
    EXPECT_EQ(next.restoreFailingSince, first) << after.count();
    EXPECT_EQ(next.restoreAlertSent, after >= 120s) << after.count();
    if (alerts) {
      EXPECT_EQ(alert, (BatteryAlert{BatteryAlert::Kind::limitRestoreFailed, first + after,
                                     "Couldn't turn the limit back on",
                                     "The battery may charge to 100%. Turn the limit on in System Settings > Battery.",
                                     std::nullopt}));
    } else {
      EXPECT_EQ(alert, std::nullopt) << after.count();
    }
    s = next;
  }
}

}  // namespace
}  // namespace batterycore
