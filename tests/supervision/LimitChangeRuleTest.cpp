#include "BatteryCore/supervision/LimitChangeRule.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Kind = BatteryAlert::Kind;

const Date kNow = fixtures::at("2026-03-02T10:00:00Z");

// "Off" within five seconds of our own change is ours; "on" is news whoever did it.
TEST(LimitChangeRule, AlertsOnlyForTheChangesThatMatter) {
  const auto unavailable = LimitState::unavailable("not supported");
  const auto on80 = LimitState::on(80);
  struct Case {
    const char* what;
    LimitState previous;
    LimitState current;
    bool ours;
    std::optional<Seconds> ownChangeAgo;
    std::optional<Kind> alert;
  };
  const Case cases[] = {
      {"off to on", LimitState::off(), on80, false, std::nullopt, Kind::limitTurnedOn},
      {"off to on by us", LimitState::off(80), on80, true, 1s, Kind::limitTurnedOn},
      {"on to off, nobody recorded", on80, LimitState::off(80), false, std::nullopt, Kind::limitTurnedOff},
      {"on to off 4.9 s after our change", on80, LimitState::off(80), false, 4.9s, std::nullopt},
      {"on to off 5.0 s after our change", on80, LimitState::off(80), false, 5s, Kind::limitTurnedOff},
      {"on to off by us", on80, LimitState::off(80), true, std::nullopt, std::nullopt},
      {"unavailable to on", unavailable, on80, false, std::nullopt, std::nullopt},
      {"on to unavailable", on80, unavailable, false, std::nullopt, std::nullopt},
      {"80 to 90", on80, LimitState::on(90), false, std::nullopt, std::nullopt},
      {"off to unavailable", LimitState::off(), unavailable, false, std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    const std::optional<Date> lastOwnChangeAt =
        c.ownChangeAgo ? std::optional<Date>(kNow - *c.ownChangeAgo) : std::nullopt;
    const auto alert = LimitChangeRule::step(c.previous, c.current, c.ours, lastOwnChangeAt, kNow);
    EXPECT_EQ(alert ? std::optional<Kind>(alert->kind) : std::nullopt, c.alert) << c.what;
  }
}

TEST(LimitChangeRule, AlertTexts) {
  EXPECT_EQ(LimitChangeRule::step(LimitState::off(), LimitState::on(85), false, std::nullopt, kNow),
            (BatteryAlert{Kind::limitTurnedOn, kNow, "Charge limit back on", "Your battery will rest at 85% again.",
                          std::nullopt}));
  EXPECT_EQ(LimitChangeRule::step(LimitState::on(80), LimitState::off(80), false, std::nullopt, kNow),
            (BatteryAlert{Kind::limitTurnedOff, kNow, "Charge limit turned off",
                          "Your battery will now charge to 100%. Turn it back on if that wasn't you.", std::nullopt}));
}

}  // namespace
}  // namespace batterycore
