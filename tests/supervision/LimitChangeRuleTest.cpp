#include "BatteryCore/supervision/LimitChangeRule.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Kind = BatteryAlert::Kind;
using fixtures::at;

const Date kNow = at("2026-03-02T10:00:00Z");

TEST(LimitChangeRule, HeaderExample) {
  const auto off = LimitChangeRule::step(LimitState::on(80), LimitState::off(80), false, std::nullopt, kNow);
  ASSERT_TRUE(off);
  EXPECT_EQ(off->kind, Kind::limitTurnedOff);
  const auto on = LimitChangeRule::step(LimitState::off(), LimitState::on(80), true, kNow, kNow);
  ASSERT_TRUE(on);
  EXPECT_EQ(on->kind, Kind::limitTurnedOn);
  EXPECT_EQ(on->body, "Your battery will rest at 80% again.");
}

TEST(LimitChangeRule, AlertsOnlyForTheChangesThatMatter) {
  const auto unavailable = LimitState::unavailable("not supported");
  struct Case {
    const char* what;
    LimitState previous;
    LimitState current;
    bool ours;
    std::optional<Seconds> ownChangeAgo;
    std::optional<Kind> alert;
  };
  const Case cases[] = {
      {"off to on", LimitState::off(), LimitState::on(80), false, std::nullopt, Kind::limitTurnedOn},
      {"off with a stored value to on", LimitState::off(80), LimitState::on(90), false, std::nullopt,
       Kind::limitTurnedOn},
      {"off to on by us", LimitState::off(80), LimitState::on(80), true, 1s, Kind::limitTurnedOn},
      {"on to off, nobody recorded", LimitState::on(80), LimitState::off(80), false, std::nullopt,
       Kind::limitTurnedOff},
      {"on to off 4.9 s after our change", LimitState::on(80), LimitState::off(80), false, 4.9s,
       std::nullopt},
      {"on to off 5.0 s after our change", LimitState::on(80), LimitState::off(80), false, 5s,
       Kind::limitTurnedOff},
      {"on to off an hour after our change", LimitState::on(80), LimitState::off(), false, 1h,
       Kind::limitTurnedOff},
      {"on to off by us", LimitState::on(80), LimitState::off(80), true, std::nullopt, std::nullopt},
      {"on to off by us long ago", LimitState::on(80), LimitState::off(80), true, 1h, std::nullopt},
      {"unavailable to on", unavailable, LimitState::on(80), false, std::nullopt, std::nullopt},
      {"unavailable to off", unavailable, LimitState::off(), false, std::nullopt, std::nullopt},
      {"on to unavailable", LimitState::on(80), unavailable, false, std::nullopt, std::nullopt},
      {"80 to 90", LimitState::on(80), LimitState::on(90), false, std::nullopt, std::nullopt},
      {"on to on", LimitState::on(80), LimitState::on(80), false, std::nullopt, std::nullopt},
      {"off to off", LimitState::off(), LimitState::off(80), false, std::nullopt, std::nullopt},
      {"off to unavailable", LimitState::off(), unavailable, false, std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    const std::optional<Date> lastOwnChangeAt =
        c.ownChangeAgo ? std::optional<Date>(kNow - *c.ownChangeAgo) : std::nullopt;
    const auto alert = LimitChangeRule::step(c.previous, c.current, c.ours, lastOwnChangeAt, kNow);
    EXPECT_EQ(alert ? std::optional<Kind>(alert->kind) : std::nullopt, c.alert) << c.what;
    if (alert) {
      EXPECT_EQ(alert->at, kNow) << c.what;
    }
  }
  static_assert(LimitChangeRule::ownChangeWindow == 5s);
}

TEST(LimitChangeRule, TurnedOnSaysWhereTheBatteryWillRest) {
  const auto alert = LimitChangeRule::step(LimitState::off(), LimitState::on(85), false, std::nullopt, kNow);
  ASSERT_TRUE(alert);
  EXPECT_EQ(*alert, (BatteryAlert{Kind::limitTurnedOn, kNow, "Charge limit back on",
                                  "Your battery will rest at 85% again.", std::nullopt}));
}

TEST(LimitChangeRule, TurnedOffWarnsOfAFullCharge) {
  const auto alert =
      LimitChangeRule::step(LimitState::on(80), LimitState::off(80), false, std::nullopt, kNow);
  ASSERT_TRUE(alert);
  EXPECT_EQ(*alert, (BatteryAlert{Kind::limitTurnedOff, kNow, "Charge limit turned off",
                                  "Your battery will now charge to 100%. Turn it back on if that wasn't you.",
                                  std::nullopt}));
}

}  // namespace
}  // namespace batterycore
