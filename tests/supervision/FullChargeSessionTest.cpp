#include "BatteryCore/supervision/FullChargeSession.hpp"

#include "BatteryCore/text/MeaningFullCharge.hpp"
#include "Readings.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <chrono>
#include <string>
#include <vector>
#include "tests/common/UsingLocale.hpp"

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Origin = FullChargeSession::Origin;
using Outcome = FullChargeSession::Outcome;
using RestoreReason = FullChargeSession::RestoreReason;
using Kind = BatteryAlert::Kind;
using fixtures::at;

const Date kStart = at("2026-03-02T10:00:00Z");
const Calendar kUtc = Calendar::utc();

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

std::vector<Kind> kinds(const std::vector<BatteryAlert>& alerts) {
  std::vector<Kind> result;
  for (const auto& alert : alerts) result.push_back(alert.kind);
  return result;
}

std::string describe(const Outcome& outcome) {
  if (outcome.isKeepGoing()) return "keepGoing";
  return "restore(" + std::string(FullChargeSession::rawValue(*outcome.restoreReason())) + ")";
}

using batterycore::testing::UsingLocale;

TEST(FullChargeSession, HeaderExample) {
  const auto s = FullChargeSession::start(at("2026-03-02T10:03:10Z"), 80, false, false, 2);
  ASSERT_TRUE(s);
  EXPECT_EQ(s->deadline, at("2026-03-02T12:05:00Z"));
  const auto stillLimited = reading({50, true, false, LimitState::on(80)}, s->startedAt);
  EXPECT_TRUE(FullChargeSession::evaluate(*s, stillLimited, s->startedAt + 10s).isKeepGoing());
  EXPECT_EQ(FullChargeSession::evaluate(*s, stillLimited, s->startedAt + 30s),
            Outcome::restore(RestoreReason::limitBackOn));
}

TEST(FullChargeSession, StartNeedsAWayBack) {
  EXPECT_FALSE(FullChargeSession::start(kStart, 80, false, false, std::nullopt));

  const auto s = FullChargeSession::start(kStart, 75, true, false, std::nullopt);
  ASSERT_TRUE(s);
  EXPECT_EQ(s->startedAt, kStart);
  EXPECT_EQ(s->deadline, std::nullopt);
  EXPECT_EQ(s->origin, Origin::user());
  EXPECT_TRUE(s->restoreOnUnplug);
  EXPECT_FALSE(s->restoreWhenFull);
  EXPECT_EQ(s->limit, 75);
  EXPECT_FALSE(s->reachedFull);
  EXPECT_EQ(s->restoreFailingSince, std::nullopt);
  EXPECT_FALSE(s->restoreAlertSent);

  EXPECT_TRUE(FullChargeSession::start(kStart, 80, false, true, std::nullopt));
  EXPECT_TRUE(FullChargeSession::start(kStart, 80, false, false, 0));
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
      {"2026-03-02T10:05:00Z", 3, "2026-03-02T13:05:00Z"},
      {"2026-03-02T10:05:00.250Z", 1, "2026-03-02T11:10:00Z"},
      {"2026-03-02T23:58:00Z", 1, "2026-03-03T01:00:00Z"},
      {"2026-03-02T10:03:10Z", -4, "2026-03-02T10:05:00Z"},  // no hours back in time
  };
  for (const auto& c : cases) {
    const auto s = FullChargeSession::start(at(c.now), 80, false, false, c.hours);
    ASSERT_TRUE(s) << c.now;
    ASSERT_TRUE(s->deadline) << c.now;
    EXPECT_EQ(toIso8601(*s->deadline), c.deadline) << c.now << " + " << c.hours << " h";
  }
}

TEST(FullChargeSession, GridCountsFromTheReferenceEpoch) {
  EXPECT_EQ(FullChargeSession::roundedUpToGrid(FullChargeSession::gridEpoch), FullChargeSession::gridEpoch);
  EXPECT_EQ(FullChargeSession::roundedUpToGrid(FullChargeSession::gridEpoch + 1s), FullChargeSession::gridEpoch + 300s);
  EXPECT_EQ(FullChargeSession::roundedUpToGrid(FullChargeSession::gridEpoch - 299s), FullChargeSession::gridEpoch);
  EXPECT_EQ(toIso8601(FullChargeSession::gridEpoch), "2001-01-01T00:00:00Z");
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
      {"limit on within the settle time", session(true, true), {90, true, false, LimitState::on(80)}, 10s,
       Outcome::keepGoing()},
      {"limit on just before 30 s", session(true, true), {90, true, false, LimitState::on(80)}, 29.9s,
       Outcome::keepGoing()},
      {"limit on at 30 s", session(true, true), {90, true, false, LimitState::on(80)}, 30s,
       Outcome::restore(RestoreReason::limitBackOn)},
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
      {"full outranks the deadline", session(false, true, deadline), kFull, 3h,
       Outcome::restore(RestoreReason::full)},
      {"before the deadline", session(false, false, deadline), {90}, 2h - 1s, Outcome::keepGoing()},
      {"at the deadline", session(false, false, deadline), {90}, 2h, Outcome::restore(RestoreReason::timer)},
      {"past the deadline", session(false, false, deadline), {90}, 5h, Outcome::restore(RestoreReason::timer)},
      {"no deadline", session(true, false), {90}, 48h, Outcome::keepGoing()},
  };
  for (const auto& c : cases) {
    const auto outcome = FullChargeSession::evaluate(c.session, reading(c.reading, kStart + c.after), kStart + c.after);
    EXPECT_EQ(outcome, c.outcome) << c.what << ": got " << describe(outcome);
  }
}

TEST(FullChargeSession, LimitBackOnEndsQuietly) {
  const auto s = session(true, true);
  const auto early = FullChargeSession::step(s, reading({50, true, false, LimitState::on(80)}, kStart), kStart + 10s, kUtc);
  EXPECT_TRUE(early.session);
  EXPECT_EQ(early.ended, std::nullopt);

  const auto settled = FullChargeSession::step(s, reading({50, true, false, LimitState::on(80)}, kStart), kStart + 30s, kUtc);
  EXPECT_FALSE(settled.session);
  EXPECT_EQ(settled.ended, RestoreReason::limitBackOn);
  EXPECT_TRUE(settled.alerts.empty()) << "somebody else put the limit back; no \"Limit back on\"";
}

TEST(FullChargeSession, FullAndUnpluggedInOneStep) {
  const auto s = session(true, true);
  const Date now = kStart + 3h;
  const auto result = FullChargeSession::step(s, reading(kFullUnplugged, now), now, kUtc);
  EXPECT_FALSE(result.session);
  EXPECT_EQ(result.ended, RestoreReason::unplugged);
  ASSERT_EQ(kinds(result.alerts), (std::vector{Kind::fullChargeDone, Kind::fullChargeRestored}));
  EXPECT_EQ(result.alerts[0].title, "Charged to 100%");
  EXPECT_EQ(result.alerts[0].body, "Ready to go. Your limit is back on.");
  EXPECT_EQ(result.alerts[0].at, now);
  EXPECT_EQ(result.alerts[0].technicalBody, std::nullopt);
  EXPECT_EQ(result.alerts[1].title, "Limit back on");
  EXPECT_EQ(result.alerts[1].body, "Your battery will rest at 80% again.");
}

TEST(FullChargeSession, FullOnBatteryInAKeptSessionIsNotAnnounced) {
  // Unplugging is not a way back here, and the battery did not fill now.
  const auto s = session(false, false, kStart + 8h);
  const auto result = FullChargeSession::step(s, reading(kFullUnplugged, kStart + 1h), kStart + 1h, kUtc);
  ASSERT_TRUE(result.session);
  EXPECT_FALSE(result.session->reachedFull);
  EXPECT_TRUE(result.alerts.empty());
}

TEST(FullChargeSession, ReachingFullIsAnnouncedOnce) {
  auto s = session(true, false);
  const auto first = FullChargeSession::step(s, reading(kFull, kStart + 2h), kStart + 2h, kUtc);
  ASSERT_TRUE(first.session);
  EXPECT_TRUE(first.session->reachedFull);
  EXPECT_EQ(first.ended, std::nullopt);
  ASSERT_EQ(kinds(first.alerts), std::vector{Kind::fullChargeDone});
  EXPECT_EQ(first.alerts[0].body, "Ready to go. The limit comes back on when you unplug.");

  const auto second = FullChargeSession::step(*first.session, reading(kFull, kStart + 3h), kStart + 3h, kUtc);
  ASSERT_TRUE(second.session);
  EXPECT_TRUE(second.session->reachedFull);
  EXPECT_TRUE(second.alerts.empty());
}

TEST(FullChargeSession, FullWithRestoreWhenFullPutsTheLimitBack) {
  const auto result = FullChargeSession::step(session(false, true), reading(kFull, kStart + 2h), kStart + 2h, kUtc);
  EXPECT_EQ(result.ended, RestoreReason::full);
  ASSERT_EQ(kinds(result.alerts), (std::vector{Kind::fullChargeDone, Kind::fullChargeRestored}));
  EXPECT_EQ(result.alerts[0].body, "Ready to go. Your limit is back on.");
}

TEST(FullChargeSession, TimerEndsWithLimitBackOnAlert) {
  const auto s = session(false, false, kStart + 2h);
  const auto result = FullChargeSession::step(s, reading({95}, kStart + 2h), kStart + 2h, kUtc);
  EXPECT_FALSE(result.session);
  EXPECT_EQ(result.ended, RestoreReason::timer);
  ASSERT_EQ(kinds(result.alerts), std::vector{Kind::fullChargeRestored});
  EXPECT_EQ(result.alerts[0].at, kStart + 2h);
}

TEST(FullChargeSession, StoppedAnnouncesTheLimit) {
  auto s = session(true, false);
  s.limit = 85;
  const auto alerts = FullChargeSession::stopped(s, kStart + 1h);
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_EQ(alerts[0].kind, Kind::fullChargeRestored);
  EXPECT_EQ(alerts[0].at, kStart + 1h);
  EXPECT_EQ(alerts[0].title, "Limit back on");
  EXPECT_EQ(alerts[0].body, "Your battery will rest at 85% again.");
  EXPECT_EQ(alerts[0].technicalBody, std::nullopt);
}

TEST(FullChargeSession, SmartTopUpNamesItsDeparture) {
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Date departure = at("2026-03-03T06:30:00Z");  // 7:30 in Berlin
  const auto s = session(true, false, at("2026-03-03T08:00:00Z"), Origin::smart(departure));
  const Date now = at("2026-03-03T06:00:00Z");

  const auto english = FullChargeSession::step(s, reading(kFull, now), now, berlin);
  ASSERT_EQ(english.alerts.size(), 1u);
  EXPECT_EQ(english.alerts[0].title, "Charged to 100%");
  EXPECT_EQ(english.alerts[0].body, "Ready for your 7:30 AM departure. The limit comes back on when you unplug.");
  EXPECT_EQ(english.alerts[0].body.find("\u202F"), std::string::npos);

  UsingLocale german("de_DE");
  const auto deutsch = FullChargeSession::step(s, reading(kFull, now), now, berlin);
  ASSERT_EQ(deutsch.alerts.size(), 1u);
  EXPECT_EQ(deutsch.alerts[0].body,
            "Bereit für deinen Aufbruch um 07:30. Das Limit wird wieder eingeschaltet, wenn du den Mac vom Strom "
            "trennst.");
}

TEST(FullChargeSession, ComesBackSentenceNamesEveryWayBack) {
  const Date now = at("2026-03-02T10:03:00Z");
  const Date noon = at("2026-03-02T12:05:00Z");
  const Date tomorrow = at("2026-03-03T09:00:00Z");
  struct Case {
    FullChargeSession session;
    bool includeWhenFull;
    const char* sentence;
  };
  const Case cases[] = {
      {session(false, false), true, "The limit comes back on when you stop it."},
      {session(true, false), true, "The limit comes back on when you unplug."},
      {session(false, true), true, "The limit comes back on when it's full."},
      {session(false, true), false, "The limit comes back on when you stop it."},
      {session(false, false, noon), true, "The limit comes back on at 12:05 PM."},
      {session(false, false, tomorrow), true, "The limit comes back on tomorrow at 9:00 AM."},
      {session(true, true), true, "The limit comes back on when it's full or when you unplug."},
      {session(true, false, noon), true, "The limit comes back on when you unplug or at 12:05 PM."},
      {session(true, true, noon), true, "The limit comes back on when it's full, when you unplug or at 12:05 PM."},
      {session(true, true, noon), false, "The limit comes back on when you unplug or at 12:05 PM."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::limitComesBack(c.session, c.includeWhenFull, now, kUtc), c.sentence);
  }
}

TEST(FullChargeSession, RestoreFailureAlertsOnceAfterTwoMinutes) {
  auto s = session(true, false);
  const Date first = kStart + 1h;
  struct Case {
    Seconds after;
    bool alert;
  };
  const Case cases[] = {{0s, false}, {60s, false}, {119s, false}, {120s, true}, {121s, false}, {10min, false}};
  for (const auto& c : cases) {
    const auto [next, alert] = FullChargeSession::restoreFailed(s, first + c.after);
    EXPECT_EQ(next.restoreFailingSince, first) << c.after.count();
    EXPECT_EQ(alert.has_value(), c.alert) << c.after.count();
    if (alert) {
      EXPECT_EQ(alert->kind, Kind::limitRestoreFailed);
      EXPECT_EQ(alert->at, first + c.after);
      EXPECT_EQ(alert->title, "Couldn't turn the limit back on");
      EXPECT_EQ(alert->body, "The battery may charge to 100%. Turn the limit on in System Settings > Battery.");
      EXPECT_EQ(alert->technicalBody, std::nullopt);
      EXPECT_TRUE(next.restoreAlertSent);
    }
    s = next;
  }
  EXPECT_TRUE(s.restoreAlertSent);
}

TEST(FullChargeSession, RestoreReasonsAreStoredByName) {
  const std::pair<RestoreReason, const char*> names[] = {
      {RestoreReason::unplugged, "unplugged"}, {RestoreReason::full, "full"},
      {RestoreReason::timer, "timer"},         {RestoreReason::userCancelled, "userCancelled"},
      {RestoreReason::limitBackOn, "limitBackOn"},
  };
  for (const auto& [reason, name] : names) {
    EXPECT_EQ(encode(reason), Json(name));
    EXPECT_EQ(decode<RestoreReason>(Json(name)), reason);
  }
  EXPECT_THROW(decode<RestoreReason>(Json("cancelled")), DecodingError);
}

TEST(FullChargeSession, WritesKeysInOrderWithSmartDepartureForOlderReaders) {
  auto s = session(true, false, at("2026-03-03T08:00:00Z"), Origin::smart(at("2026-03-03T07:30:00Z")));
  s.restoreFailingSince = at("2026-03-03T08:00:30Z");
  EXPECT_EQ(s.toJson().dump(),
            R"({"startedAt":"2026-03-02T10:00:00Z","deadline":"2026-03-03T08:00:00Z",)"
            R"("origin":{"smart":{"departure":"2026-03-03T07:30:00Z"}},"smartDeparture":"2026-03-03T07:30:00Z",)"
            R"("restoreOnUnplug":true,"restoreWhenFull":false,"limit":80,"reachedFull":false,)"
            R"("restoreFailingSince":"2026-03-03T08:00:30Z","restoreAlertSent":false})");

  EXPECT_EQ(session(false, true).toJson().dump(),
            R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"user":{}},"restoreOnUnplug":false,)"
            R"("restoreWhenFull":true,"limit":80,"reachedFull":false,"restoreAlertSent":false})");
}

TEST(FullChargeSession, RoundTripsEveryOrigin) {
  const Origin origins[] = {Origin::calendar("Flight to Lisbon"), Origin::calendar(""),
                            Origin::smart(at("2026-03-03T07:30:00Z")), Origin::user(), Origin::shortcut()};
  for (const auto& origin : origins) {
    auto s = session(true, true, kStart + 2h, origin);
    s.reachedFull = true;
    s.restoreAlertSent = true;
    EXPECT_EQ(FullChargeSession::fromJson(s.toJson()), s) << s.toJson().dump();
  }
  EXPECT_EQ(Origin::calendar("Trip").toJson(), Json::parse(R"({"calendar":{"eventTitle":"Trip"}})"));
  EXPECT_EQ(Origin::shortcut().toJson(), Json::parse(R"({"shortcut":{}})"));
}

TEST(FullChargeSession, ReadsTheOlderLayout) {
  const auto old = FullChargeSession::fromJson(Json::parse(
      R"({"startedAt":"2026-03-02T10:00:00Z","smartDeparture":"2026-03-03T07:30:00Z",)"
      R"("restoreOnUnplug":true,"restoreWhenFull":false,"limit":80})"));
  EXPECT_EQ(old.origin, Origin::smart(at("2026-03-03T07:30:00Z")));
  EXPECT_FALSE(old.reachedFull);
  EXPECT_FALSE(old.restoreAlertSent);
  EXPECT_EQ(old.deadline, std::nullopt);
  EXPECT_EQ(old.restoreFailingSince, std::nullopt);

  const auto plain = FullChargeSession::fromJson(Json::parse(
      R"({"startedAt":"2026-03-02T10:00:00Z","restoreOnUnplug":false,"restoreWhenFull":true,"limit":75})"));
  EXPECT_EQ(plain.origin, Origin::user());
  EXPECT_EQ(plain.limit, 75);

  // "origin" wins over the older key.
  const auto both = FullChargeSession::fromJson(Json::parse(
      R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"shortcut":{}},"smartDeparture":"2026-03-03T07:30:00Z",)"
      R"("restoreOnUnplug":true,"restoreWhenFull":false,"limit":80})"));
  EXPECT_EQ(both.origin, Origin::shortcut());
}

TEST(FullChargeSession, DecodingFailures) {
  const Json complete = session(true, false).toJson();
  for (const char* key : {"startedAt", "restoreOnUnplug", "restoreWhenFull", "limit"}) {
    Json missing = complete;
    missing.erase(key);
    EXPECT_THROW(FullChargeSession::fromJson(missing), DecodingError) << key;
  }
  Json twoOrigins = complete;
  twoOrigins["origin"] = Json::parse(R"({"user":{},"shortcut":{}})");
  try {
    FullChargeSession::fromJson(twoOrigins);
    ADD_FAILURE() << "two origin keys decoded";
  } catch (const DecodingError& error) {
    EXPECT_NE(std::string(error.what()).find(kInvalidNumberOfKeys), std::string::npos) << error.what();
  }
  Json unknown = complete;
  unknown["origin"] = Json::parse(R"({"robot":{}})");
  EXPECT_THROW(FullChargeSession::fromJson(unknown), DecodingError);
  Json noTitle = complete;
  noTitle["origin"] = Json::parse(R"({"calendar":{}})");
  EXPECT_THROW(FullChargeSession::fromJson(noTitle), DecodingError);
}

}  // namespace
}  // namespace batterycore
