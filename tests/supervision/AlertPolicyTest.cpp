#include "BatteryCore/supervision/AlertPolicy.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Kind = BatteryAlert::Kind;
using fixtures::at;

const Date kStart = at("2026-03-02T09:00:00Z");

BatteryAlert raised(Kind kind, Date when, std::string label = {}) {
  return BatteryAlert{kind, when, std::string(BatteryAlert::rawValue(kind)), std::move(label), std::nullopt};
}

bool everyKind(Kind) { return true; }

// One call of `filter`: what the rules raised at `after` past the start, and
// the label (the body) of what leaves, or "" for nothing.
struct Call {
  Seconds after;
  std::vector<BatteryAlert> alerts;
  std::string posts;
};

void play(AlertPolicy& policy, const std::vector<Call>& calls, std::optional<Date> wokeAt = std::nullopt) {
  for (const auto& call : calls) {
    const auto posted = policy.filter(call.alerts, kStart + call.after, wokeAt, everyKind);
    ASSERT_LE(posted.size(), 1u);
    EXPECT_EQ(posted.empty() ? std::string() : posted.front().body, call.posts)
        << "at +" << call.after.count() << " s";
  }
}

TEST(AlertPolicy, HeaderExample) {
  AlertPolicy policy;
  const std::vector<BatteryAlert> two{raised(Kind::hot, kStart), raised(Kind::weakCharger, kStart)};
  const auto first = policy.filter(two, kStart, std::nullopt, everyKind);
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(first.front().kind, Kind::hot);
  const auto second = policy.filter({}, kStart + 60s, std::nullopt, everyKind);
  ASSERT_EQ(second.size(), 1u);
  EXPECT_EQ(second.front().kind, Kind::weakCharger);
}

TEST(AlertPolicy, LetsOneOutPerCallAMinuteApartFirstComeFirstServed) {
  AlertPolicy policy;
  play(policy, {
                   {0s,
                    {raised(Kind::hot, kStart, "hot"), raised(Kind::weakCharger, kStart, "weak"),
                     raised(Kind::accessoryLow, kStart, "mouse")},
                    "hot"},
                   {30s, {}, ""},
                   {59.9s, {}, ""},
                   {60s, {}, "weak"},  // exactly the spacing is enough
                   {61s, {}, ""},
                   {119s, {}, ""},
                   {120s, {}, "mouse"},
                   {600s, {}, ""},
               });
  EXPECT_TRUE(policy.waiting.empty());
  EXPECT_EQ(policy.lastPostAt, kStart + 120s);
  EXPECT_EQ(policy.lastPosted.at(Kind::hot), kStart);
  EXPECT_EQ(policy.lastPosted.at(Kind::weakCharger), kStart + 60s);
}

TEST(AlertPolicy, NewerAlertOfAKindTakesTheWaitingOnesPlace) {
  AlertPolicy policy;
  play(policy, {
                   {0s, {raised(Kind::hot, kStart, "hot")}, "hot"},
                   {10s,
                    {raised(Kind::weakCharger, kStart + 10s, "weak 1"),
                     raised(Kind::accessoryLow, kStart + 10s, "mouse")},
                    ""},
                   {20s, {raised(Kind::weakCharger, kStart + 20s, "weak 2")}, ""},
               });
  ASSERT_EQ(policy.waiting.size(), 2u);
  EXPECT_EQ(policy.waiting[0].body, "weak 2");
  EXPECT_EQ(policy.waiting[1].body, "mouse");
  play(policy, {{60s, {}, "weak 2"}, {120s, {}, "mouse"}, {180s, {}, ""}});
}

TEST(AlertPolicy, SameKindRaisedTwiceInOneCallKeepsTheLater) {
  AlertPolicy policy;
  play(policy, {{0s, {raised(Kind::hot, kStart, "first"), raised(Kind::hot, kStart, "second")}, "second"},
                {60s, {}, ""}});
}

TEST(AlertPolicy, LimitNotHoldingAtMostOnceInTwelveHours) {
  AlertPolicy policy;
  const auto notHolding = [](Seconds after, std::string label) {
    return raised(Kind::limitNotHolding, kStart + after, std::move(label));
  };
  play(policy, {
                   {0s, {notHolding(0s, "09:00")}, "09:00"},  // 09:00
                   {11h + 59min, {notHolding(11h + 59min, "20:59")}, ""},
                   {12h, {notHolding(12h, "21:00")}, "21:00"},
               });
  EXPECT_TRUE(policy.waiting.empty());
}

TEST(AlertPolicy, CooldownCountsFromTheNotificationNotFromTheAlert) {
  // Raised at 09:00 just after a wake, it goes out at 09:02; twelve hours
  // after the alert but not after the notification, a new one is refused.
  AlertPolicy policy;
  const Date woke = kStart;
  play(policy, {{0s, {raised(Kind::limitNotHolding, kStart, "09:00")}, ""}, {2min, {}, "09:00"}}, woke);
  play(policy, {{12h + 1min, {raised(Kind::limitNotHolding, kStart + 12h + 1min, "21:01")}, ""},
                {12h + 2min, {raised(Kind::limitNotHolding, kStart + 12h + 2min, "21:02")}, "21:02"}});
}

TEST(AlertPolicy, NothingLeavesWithinTwoMinutesAfterWake) {
  const Date woke = kStart;
  AlertPolicy policy;
  play(policy,
       {
           {30s, {raised(Kind::hot, kStart + 30s, "hot")}, ""},
           {60s, {}, ""},
           {119s, {}, ""},
           {120s, {}, "hot"},  // exactly two minutes after the wake
       },
       woke);
}

TEST(AlertPolicy, AfterWakeTheSpacingStillCounts) {
  AlertPolicy policy;
  play(policy, {{0s, {raised(Kind::hot, kStart, "hot")}, "hot"}});
  const Date woke = kStart + 10s;
  play(policy,
       {
           {20s, {raised(Kind::weakCharger, kStart + 20s, "weak")}, ""},
           {129s, {}, ""},
           {130s, {}, "weak"},
       },
       woke);
}

TEST(AlertPolicy, ListOnlyKindsNeverWaitEvenWhenSwitchedOn) {
  AlertPolicy policy;
  const std::vector<BatteryAlert> alerts{raised(Kind::limitTurnedOn, kStart),
                                         raised(Kind::limitUnavailable, kStart)};
  EXPECT_TRUE(policy.filter(alerts, kStart, std::nullopt, everyKind).empty());
  EXPECT_TRUE(policy.waiting.empty());
  EXPECT_TRUE(policy.lastPosted.empty());
  EXPECT_EQ(policy.lastPostAt, std::nullopt);
}

TEST(AlertPolicy, SwitchedOffKindIsDroppedNotKept) {
  AlertPolicy policy;
  bool hotOn = false;
  const auto enabled = [&](Kind kind) { return kind != Kind::hot || hotOn; };
  EXPECT_TRUE(policy.filter(std::vector{raised(Kind::hot, kStart)}, kStart, std::nullopt, enabled).empty());
  hotOn = true;
  EXPECT_TRUE(policy.filter({}, kStart + 60s, std::nullopt, enabled).empty());
  EXPECT_TRUE(policy.waiting.empty());
}

TEST(AlertPolicy, ClockSetBackDropsAKindPostedInTheFuture) {
  AlertPolicy policy;
  policy.lastPosted[Kind::hot] = kStart + 1h;
  EXPECT_TRUE(policy.filter(std::vector{raised(Kind::hot, kStart)}, kStart, std::nullopt, everyKind).empty());
  EXPECT_TRUE(policy.waiting.empty());
  // Another kind is not held back by it.
  EXPECT_EQ(
      policy.filter(std::vector{raised(Kind::weakCharger, kStart)}, kStart, std::nullopt, everyKind).size(),
      1u);
}

TEST(AlertPolicy, CooldownNotifiesAndDefaultSwitchPerKind) {
  struct Case {
    Kind kind;
    Seconds cooldown;
    bool notifies;
    bool switchOnAtFirst;
  };
  const Case cases[] = {
      {Kind::limitNotHolding, 12h, true, true},
      {Kind::limitTurnedOff, 0s, true, true},
      {Kind::hot, 0s, true, true},
      {Kind::fullChargeDone, 0s, true, true},
      {Kind::fullChargeRestored, 0s, true, false},
      {Kind::limitRestoreFailed, 0s, true, true},
      {Kind::calibrating, 0s, true, true},
      {Kind::calibrationOver, 0s, true, true},
      {Kind::healthMilestone, 0s, true, false},
      {Kind::weakCharger, 0s, true, true},
      {Kind::accessoryLow, 0s, true, true},
      {Kind::calendarFullCharge, 0s, true, true},
      {Kind::weeklyNote, 0s, true, true},
      {Kind::smartFullCharge, 0s, true, true},
      {Kind::backgroundDrain, 0s, true, true},
      {Kind::limitTurnedOn, 0s, false, true},
      {Kind::limitUnavailable, 0s, false, true},
  };
  ASSERT_EQ(std::size(cases), BatteryAlert::allCases.size());
  for (const auto& c : cases) {
    const auto name = BatteryAlert::rawValue(c.kind);
    EXPECT_EQ(AlertPolicy::cooldown(c.kind), c.cooldown) << name;
    EXPECT_EQ(AlertPolicy::notifies(c.kind), c.notifies) << name;
    EXPECT_EQ(AlertPolicy::defaultSwitch(c.kind), c.switchOnAtFirst) << name;
  }
  static_assert(AlertPolicy::spacing == 60s);
  static_assert(AlertPolicy::afterWake == 2min);
}

TEST(AlertPolicy, EmptyObjectDecodesToAnEmptyPolicy) {
  EXPECT_EQ(AlertPolicy::fromJson(Json::object()), AlertPolicy{});
  EXPECT_EQ(AlertPolicy{}.toJson().dump(), R"({"lastPosted":{},"waiting":[]})");
}

TEST(AlertPolicy, RestoredPolicyContinuesWhereItLeftOff) {
  AlertPolicy policy;
  play(policy, {{0s,
                 {raised(Kind::limitNotHolding, kStart, "not holding"), raised(Kind::hot, kStart, "hot")},
                 "not holding"}});
  const auto json = policy.toJson();
  EXPECT_EQ(json["lastPosted"].dump(), R"({"limitNotHolding":"2026-03-02T09:00:00Z"})");
  EXPECT_EQ(json["lastPostAt"], "2026-03-02T09:00:00Z");

  AlertPolicy restored = AlertPolicy::fromJson(Json::parse(json.dump()));
  EXPECT_EQ(restored, policy);
  play(restored,
       {{59s, {}, ""}, {60s, {raised(Kind::limitNotHolding, kStart + 60s, "again")}, "hot"}, {120s, {}, ""}});
}

TEST(AlertPolicy, DecodingRejectsUnknownKindsAndBadDates) {
  EXPECT_THROW(AlertPolicy::fromJson(Json::parse(R"({"lastPosted":{"meltdown":"2026-03-02T09:00:00Z"}})")),
               DecodingError);
  EXPECT_THROW(AlertPolicy::fromJson(Json::parse(R"({"lastPosted":{"hot":"yesterday"}})")), DecodingError);
  EXPECT_THROW(AlertPolicy::fromJson(Json::parse(R"({"lastPostAt":12})")), DecodingError);
  EXPECT_THROW(AlertPolicy::fromJson(Json::parse(R"({"waiting":[{"kind":"hot"}]})")), DecodingError);
  EXPECT_THROW(AlertPolicy::fromJson(Json::array()), DecodingError);
}

}  // namespace
}  // namespace batterycore
