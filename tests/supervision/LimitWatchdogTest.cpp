#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <string>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Verdict = LimitWatchdog::Verdict;
using fixtures::charging;
using fixtures::resting;
using fixtures::unplugged;

const Date kTen = fixtures::at("2026-03-02T10:00:00Z");

// The watchdog calls a limit broken after ten minutes of charging three points
// or more past it, and says so once; any other reading ends the episode.
TEST(LimitWatchdog, StateTable) {
  const Date s = kTen;
  struct Row {
    Verdict from;
    BatterySnapshot reading;
    bool ours;
    Seconds after;  // now = s + after
    Verdict to;
    bool alert;
  };
  const auto on80 = LimitState::on(80);
  const Row rows[] = {
      // Ours, whatever else.
      {Verdict::notHolding(s), charging(95, on80, s), true, 1h, Verdict::ours(), false},
      {Verdict::holding(), unplugged(50, on80, s), true, 0s, Verdict::ours(), false},
      // No limit on.
      {Verdict::holding(), charging(95, LimitState::off(80), s), false, 0s, Verdict::charging(), false},
      {Verdict::notHolding(s), resting(95, LimitState::unavailable("not supported"), s), false, 0s,
       Verdict::holding(), false},
      // Limit on, not charging on power.
      {Verdict::overshootSuspected(s), unplugged(90, on80, s), false, 5min, Verdict::holding(), false},
      {Verdict::notHolding(s), resting(90, on80, s), false, 1h, Verdict::holding(), false},
      // Charging under the overshoot threshold.
      {Verdict::holding(), charging(82, on80, s), false, 0s, Verdict::charging(), false},
      {Verdict::notHolding(s), charging(79, on80, s), false, 1h, Verdict::charging(), false},
      // A new overshoot.
      {Verdict::holding(), charging(83, on80, s), false, 0s, Verdict::overshootSuspected(s), false},
      {Verdict::charging(), charging(90, on80, s), false, 2min, Verdict::overshootSuspected(s + 2min), false},
      {Verdict::ours(), charging(100, on80, s), false, 3min, Verdict::overshootSuspected(s + 3min), false},
      // The overshoot goes on.
      {Verdict::overshootSuspected(s), charging(83, on80, s), false, 599s, Verdict::overshootSuspected(s),
       false},
      {Verdict::overshootSuspected(s), charging(83, on80, s), false, 600s, Verdict::notHolding(s), true},
      {Verdict::overshootSuspected(s), charging(99, on80, s), false, 3h, Verdict::notHolding(s), true},
      {Verdict::notHolding(s), charging(90, on80, s), false, 1h, Verdict::notHolding(s), false},
  };
  for (const auto& row : rows) {
    const auto [next, alerts] = LimitWatchdog::step(LimitWatchdog{row.from}, row.reading, row.ours, s + row.after);
    const auto where = row.from.toJson().dump() + " + " + std::to_string(row.reading.percent) + "% after " +
                       std::to_string(row.after.count()) + " s";
    EXPECT_EQ(next.state, row.to) << where << " gave " << next.state.toJson().dump();
    EXPECT_EQ(alerts.size(), row.alert ? 1u : 0u) << where;
  }
}

TEST(LimitWatchdog, AlertSaysWhereTheBatteryIsAndWhereTheLimitIs) {
  const LimitWatchdog suspected{Verdict::overshootSuspected(kTen)};
  const Date now = kTen + 10min;
  EXPECT_EQ(LimitWatchdog::step(suspected, charging(84, LimitState::on(80), now), false, now).alerts,
            (std::vector<BatteryAlert>{{BatteryAlert::Kind::limitNotHolding, now, "Your limit isn't holding",
                                        "The battery is at 84% and still charging past your 80% limit.",
                                        std::nullopt}}));
}

}  // namespace
}  // namespace batterycore
