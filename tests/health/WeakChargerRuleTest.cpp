#include "BatteryCore/health/WeakChargerRule.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace batterycore {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using testing::local;
using testing::onCharger;
using testing::UsingLocale;

const Calendar kUtc = Calendar::utc();
const Date kNine = local(kUtc, 2026, 3, 5, 9, 0);
const Adapter k30W{30, "30W USB-C Power Adapter", false};

BatterySnapshot draining(Date at, Adapter adapter = k30W) { return onCharger(at, std::move(adapter), -2.0, 25.0); }
BatterySnapshot fine(Date at, Adapter adapter = k30W) { return onCharger(at, std::move(adapter), 5.0, 20.0); }

// Steps the rule once a minute from `from` up to and including `to`; returns
// the moments of the alerts raised.
std::vector<Date> run(WeakChargerRule& rule, Date from, Date to,
                      BatterySnapshot (*reading)(Date, Adapter), Adapter adapter = k30W) {
  std::vector<Date> alerts;
  for (Date t = from; t <= to; t += minutes{1}) {
    auto step = WeakChargerRule::step(rule, reading(t, adapter), t, kUtc);
    if (step.alert) alerts.push_back(t);
    rule = std::move(step.next);
  }
  return alerts;
}

TEST(WeakChargerRule, HeaderExampleHolds) {
  UsingLocale english("en_US");
  WeakChargerRule rule;
  rule = WeakChargerRule::step(rule, draining(kNine), kNine, kUtc).next;
  auto [next, alert] = WeakChargerRule::step(rule, draining(kNine + minutes{5}), kNine + minutes{5}, kUtc);
  ASSERT_TRUE(alert);
  EXPECT_EQ(alert->title, "Draining while plugged in");
  EXPECT_EQ(alert->body,
            "This 30 W charger can't keep up with the 25 W your Mac is using, so the battery is running down.");
  EXPECT_EQ(alert->kind, BatteryAlert::Kind::weakCharger);
  EXPECT_EQ(alert->at, kNine + minutes{5});
  EXPECT_EQ(run(next, kNine + minutes{6}, kNine + hours{6}, draining), std::vector<Date>{});
}

TEST(WeakChargerRule, WaitsUntilTheWarningHasLastedFiveMinutes) {
  WeakChargerRule rule;
  rule = WeakChargerRule::step(rule, draining(kNine), kNine, kUtc).next;
  const Date almost = kNine + Seconds{299};
  auto step = WeakChargerRule::step(rule, draining(almost), almost, kUtc);
  EXPECT_FALSE(step.alert);
  const Date five = kNine + Seconds{300};
  EXPECT_TRUE(WeakChargerRule::step(step.next, draining(five), five, kUtc).alert);
}

TEST(WeakChargerRule, AnInterruptedWarningStartsOver) {
  WeakChargerRule rule;
  EXPECT_TRUE(run(rule, kNine, kNine + minutes{4}, draining).empty());
  EXPECT_TRUE(run(rule, kNine + minutes{5}, kNine + minutes{5}, fine).empty());
  EXPECT_EQ(run(rule, kNine + minutes{6}, kNine + minutes{20}, draining),
            std::vector<Date>{kNine + minutes{11}});
}

TEST(WeakChargerRule, ReadingsAcrossASleepDoNotMakeOneEpisode) {
  WeakChargerRule rule;
  rule = WeakChargerRule::step(rule, draining(kNine), kNine, kUtc).next;
  const Date afterSleep = kNine + hours{1};
  auto step = WeakChargerRule::step(rule, draining(afterSleep), afterSleep, kUtc);
  EXPECT_FALSE(step.alert);
  ASSERT_EQ(step.next.chargers.size(), 1u);
  EXPECT_EQ(step.next.chargers[0].since, afterSleep);
}

TEST(WeakChargerRule, AlertsAgainOnTheNextCalendarDay) {
  WeakChargerRule rule;
  const Date lateEvening = local(kUtc, 2026, 3, 5, 23, 0);
  const auto alerts = run(rule, lateEvening, lateEvening + hours{2}, draining);
  EXPECT_EQ(alerts, (std::vector<Date>{lateEvening + minutes{5}, local(kUtc, 2026, 3, 6, 0, 0)}));
}

TEST(WeakChargerRule, EachChargerHasItsOwnDailyAlert) {
  WeakChargerRule rule;
  EXPECT_EQ(run(rule, kNine, kNine + minutes{10}, draining).size(), 1u);
  const Adapter other{20, "20W USB-C Power Adapter", false};
  const Date later = kNine + hours{1};
  EXPECT_EQ(run(rule, later, later + minutes{10}, draining, other), std::vector<Date>{later + minutes{5}});
  EXPECT_EQ(rule.chargers.size(), 2u);
  // Back on the first charger the same day: already told.
  const Date evening = kNine + hours{8};
  EXPECT_TRUE(run(rule, evening, evening + minutes{10}, draining).empty());
}

TEST(WeakChargerRule, UnpluggingEndsTheEpisode) {
  WeakChargerRule rule;
  run(rule, kNine, kNine + minutes{3}, draining);
  auto onBattery = draining(kNine + minutes{4});
  onBattery.pluggedIn = false;
  rule = WeakChargerRule::step(rule, onBattery, kNine + minutes{4}, kUtc).next;
  ASSERT_EQ(rule.chargers.size(), 1u);
  EXPECT_EQ(rule.chargers[0].since, std::nullopt);
}

TEST(WeakChargerRule, SaysWhatKindOfWeakness) {
  UsingLocale english("en_US");
  struct Case {
    const char* what;
    BatterySnapshot snapshot;
    const char* title;
    const char* body;
  };
  auto slow = onCharger(kNine, Adapter{20, std::nullopt, false}, 4.0, 15.0);
  slow.slowChargingReason = 0x8;
  const Case cases[] = {
      {"draining", onCharger(kNine, k30W, -2.0, 25.0), "Draining while plugged in",
       "This 30 W charger can't keep up with the 25 W your Mac is using, so the battery is running down."},
      {"using more than the rating", onCharger(kNine, k30W, -12.0, 42.0), "Your charger can't keep up",
       "This 30 W charger can't keep up with the 42 W your Mac is using, so the battery is running down."},
      {"charging slowly", slow, "Charging slowly",
       "This 20 W charger is small for your Mac, so the battery fills slowly."},
  };
  for (const auto& c : cases) {
    WeakChargerRule rule;
    std::optional<BatteryAlert> alert;
    for (Date t = kNine; t <= kNine + minutes{5}; t += minutes{1}) {
      auto snapshot = c.snapshot;
      snapshot.at = t;
      auto step = WeakChargerRule::step(rule, snapshot, t, kUtc);
      rule = step.next;
      if (step.alert) alert = step.alert;
    }
    ASSERT_TRUE(alert) << c.what;
    EXPECT_EQ(alert->title, c.title) << c.what;
    EXPECT_EQ(alert->body, c.body) << c.what;
  }
}

TEST(WeakChargerRule, RoundTripsThroughJson) {
  WeakChargerRule rule;
  run(rule, kNine, kNine + minutes{5}, draining);
  const Json json = encode(rule);
  EXPECT_EQ(json.dump(),
            R"({"chargers":[{"identity":"30W USB-C Power Adapter/30","since":"2026-03-05T09:00:00Z",)"
            R"("seenAt":"2026-03-05T09:05:00Z","lastAlert":"2026-03-05T09:05:00Z"}]})");
  EXPECT_EQ(decode<WeakChargerRule>(json), rule);
  EXPECT_EQ(decode<WeakChargerRule>(Json::object()), WeakChargerRule{});
}

}  // namespace
}  // namespace batterycore
