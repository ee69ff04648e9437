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

const Date kStart = fixtures::at("2026-03-02T09:00:00Z");

// An alert raised `after` past the start; the label (its body) tells it apart.
BatteryAlert raised(Kind kind, Seconds after = 0s, std::string label = {}) {
  return BatteryAlert{kind, kStart + after, std::string(BatteryAlert::rawValue(kind)), std::move(label), std::nullopt};
}

bool everyKind(Kind) { return true; }

// One call of `filter`: what the rules raised at `after` past the start, and
// the label of what leaves, or "" for nothing.
struct Call {
  Seconds after;
  std::vector<BatteryAlert> alerts;
  std::string posts;
};

void play(AlertPolicy& policy, const std::vector<Call>& calls, std::optional<Date> wokeAt = std::nullopt) {
  for (const auto& call : calls) {
    const auto posted = policy.filter(call.alerts, kStart + call.after, wokeAt, everyKind);
    ASSERT_LE(posted.size(), 1u);
    EXPECT_EQ(posted.empty() ? std::string() : posted.front().body, call.posts) << "at +" << call.after.count() << " s";
  }
}

TEST(AlertPolicy, LetsOneOutPerCallAMinuteApartFirstComeFirstServed) {
  AlertPolicy policy;
  play(policy, {
                   {0s, {raised(Kind::hot, 0s, "hot"), raised(Kind::weakCharger, 0s, "weak"),
                         raised(Kind::accessoryLow, 0s, "mouse")}, "hot"},
                   {30s, {}, ""},
                   {59.9s, {}, ""},
                   {60s, {}, "weak"},  // exactly the spacing is enough
                   {119s, {}, ""},
                   {120s, {}, "mouse"},
                   {600s, {}, ""},
               });
  EXPECT_TRUE(policy.waiting.empty());
  EXPECT_EQ(policy.lastPostAt, kStart + 120s);
  EXPECT_EQ(policy.lastPosted.at(Kind::weakCharger), kStart + 60s);
}

TEST(AlertPolicy, NewerAlertOfAKindTakesTheWaitingOnesPlace) {
  AlertPolicy policy;
  play(policy, {
                   {0s, {raised(Kind::hot, 0s, "hot 1"), raised(Kind::hot, 0s, "hot 2")}, "hot 2"},
                   {10s, {raised(Kind::weakCharger, 10s, "weak 1"), raised(Kind::accessoryLow, 10s, "mouse")}, ""},
                   {20s, {raised(Kind::weakCharger, 20s, "weak 2")}, ""},
                   {60s, {}, "weak 2"},
                   {120s, {}, "mouse"},
                   {180s, {}, ""},
               });
}

TEST(AlertPolicy, LimitNotHoldingAtMostOnceInTwelveHoursAfterItsNotification) {
  // Raised at 09:00 just after a wake, it goes out at 09:02; twelve hours
  // after the alert but not after the notification, a new one is refused.
  AlertPolicy policy;
  const auto notHolding = [](Seconds after, std::string label) { return raised(Kind::limitNotHolding, after, label); };
  play(policy, {{0s, {notHolding(0s, "09:00")}, ""}, {2min, {}, "09:00"}}, kStart);
  play(policy, {{12h + 1min, {notHolding(12h + 1min, "21:01")}, ""},
                {12h + 2min, {notHolding(12h + 2min, "21:02")}, "21:02"}});
}

TEST(AlertPolicy, WaitsTwoMinutesAfterAWakeAndKeepsTheSpacingToo) {
  AlertPolicy policy;
  play(policy, {{30s, {raised(Kind::hot, 30s, "hot")}, ""}, {119s, {}, ""}, {120s, {}, "hot"}}, kStart);
  play(policy, {{140s, {raised(Kind::weakCharger, 140s, "weak")}, ""}, {179s, {}, ""}, {180s, {}, "weak"}},
       kStart + 10s);
}

TEST(AlertPolicy, DropsWhatMayNotNotifyForGood) {
  AlertPolicy policy;
  policy.lastPosted[Kind::hot] = kStart + 1h;  // the clock was set back since
  bool weakOn = false;
  const auto enabled = [&weakOn](Kind kind) { return kind != Kind::weakCharger || weakOn; };
  const std::vector<BatteryAlert> dropped{raised(Kind::limitTurnedOn), raised(Kind::limitUnavailable),
                                          raised(Kind::weakCharger), raised(Kind::hot)};
  EXPECT_TRUE(policy.filter(dropped, kStart, std::nullopt, enabled).empty());
  EXPECT_TRUE(policy.waiting.empty());
  weakOn = true;
  EXPECT_EQ(policy.filter(std::vector{raised(Kind::accessoryLow, 0s, "mouse")}, kStart, std::nullopt, enabled),
            std::vector{raised(Kind::accessoryLow, 0s, "mouse")});
  EXPECT_TRUE(policy.filter({}, kStart + 1h, std::nullopt, enabled).empty());
}

TEST(AlertPolicy, OnlyAFewKindsHaveRulesOfTheirOwn) {
  for (const auto kind : BatteryAlert::allCases) {
    SCOPED_TRACE(BatteryAlert::rawValue(kind));
    EXPECT_EQ(AlertPolicy::cooldown(kind), kind == Kind::limitNotHolding ? Seconds{12h} : Seconds{0});
    EXPECT_EQ(AlertPolicy::notifies(kind), kind != Kind::limitTurnedOn && kind != Kind::limitUnavailable);
    EXPECT_EQ(AlertPolicy::defaultSwitch(kind), kind != Kind::fullChargeRestored && kind != Kind::healthMilestone);
  }
}

}  // namespace
}  // namespace batterycore
