#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Verdict = LimitWatchdog::Verdict;
using fixtures::at;
using fixtures::charging;
using fixtures::resting;
using fixtures::unplugged;

const Date kTen = at("2026-03-02T10:00:00Z");

std::string describe(const Verdict& verdict) { return verdict.toJson().dump(); }

TEST(LimitWatchdog, HeaderExample) {
  LimitWatchdog w;
  EXPECT_EQ(w.state, Verdict::holding());
  w = LimitWatchdog::step(w, charging(83, LimitState::on(80), kTen), false, kTen).next;
  EXPECT_EQ(w.state, Verdict::overshootSuspected(kTen));
  const auto [next, alerts] =
      LimitWatchdog::step(w, charging(84, LimitState::on(80), kTen + 600s), false, kTen + 600s);
  EXPECT_EQ(next.state, Verdict::notHolding(kTen));
  EXPECT_EQ(alerts.size(), 1u);
}

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
      {Verdict::notHolding(s), resting(95, LimitState::off(), s), false, 0s, Verdict::holding(), false},
      {Verdict::holding(), charging(95, LimitState::unavailable("not supported"), s), false, 0s,
       Verdict::charging(), false},
      {Verdict::charging(), unplugged(95, LimitState::unavailable("not supported"), s), false, 0s,
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
    const auto [next, alerts] =
        LimitWatchdog::step(LimitWatchdog{row.from}, row.reading, row.ours, s + row.after);
    const auto where = describe(row.from) + " + " + std::to_string(row.reading.percent) + "% after " +
                       std::to_string(row.after.count()) + " s";
    EXPECT_EQ(next.state, row.to) << where << " gave " << describe(next.state);
    EXPECT_EQ(alerts.size(), row.alert ? 1u : 0u) << where;
  }
}

TEST(LimitWatchdog, TenMinutesOfOvershootMakeOneAlertPerEpisode) {
  // percent, plugged in and charging, seconds after 10:00, verdict, alert
  struct Reading {
    std::int64_t percent;
    bool chargingOnPower;
    Seconds after;
    Verdict expected;
    bool alert;
  };
  const Reading readings[] = {
      {82, true, 0s, Verdict::charging(), false},  // 82 over a limit of 80: never a suspicion
      {83, true, 0s, Verdict::overshootSuspected(kTen), false},
      {84, true, 9min + 59s, Verdict::overshootSuspected(kTen), false},
      {85, true, 10min, Verdict::notHolding(kTen), true},
      {86, true, 20min, Verdict::notHolding(kTen), false},
      {87, true, 3h, Verdict::notHolding(kTen), false},
      {79, true, 3h + 1min, Verdict::charging(), false},  // one reading below ends the episode
      {83, true, 3h + 2min, Verdict::overshootSuspected(kTen + 3h + 2min), false},
      {83, false, 3h + 5min, Verdict::holding(), false},  // so does a pause
      {84, true, 3h + 6min, Verdict::overshootSuspected(kTen + 3h + 6min), false},
      {85, true, 3h + 16min, Verdict::notHolding(kTen + 3h + 6min), true},
  };
  LimitWatchdog watchdog;
  for (const auto& r : readings) {
    const Date now = kTen + r.after;
    const auto reading = r.chargingOnPower ? charging(r.percent, LimitState::on(80), now)
                                           : resting(r.percent, LimitState::on(80), now);
    auto [next, alerts] = LimitWatchdog::step(watchdog, reading, false, now);
    EXPECT_EQ(next.state, r.expected) << r.percent << "% at +" << r.after.count() << " s";
    EXPECT_EQ(alerts.size(), r.alert ? 1u : 0u) << r.percent << "% at +" << r.after.count() << " s";
    watchdog = next;
  }
}

TEST(LimitWatchdog, AlertSaysWhereTheBatteryIsAndWhereTheLimitIs) {
  const LimitWatchdog suspected{Verdict::overshootSuspected(kTen)};
  const auto [next, alerts] =
      LimitWatchdog::step(suspected, charging(84, LimitState::on(80), kTen + 10min), false, kTen + 10min);
  ASSERT_EQ(alerts.size(), 1u);
  const auto& alert = alerts.front();
  EXPECT_EQ(alert.kind, BatteryAlert::Kind::limitNotHolding);
  EXPECT_EQ(alert.at, kTen + 10min);
  EXPECT_EQ(alert.title, "Your limit isn't holding");
  EXPECT_EQ(alert.body, "The battery is at 84% and still charging past your 80% limit.");
  EXPECT_EQ(alert.technicalBody, std::nullopt);
}

TEST(LimitWatchdog, OursDuringAnOvershootStartsAFreshSuspicionAfterwards) {
  const auto on80 = LimitState::on(80);
  LimitWatchdog w;
  w = LimitWatchdog::step(w, charging(85, on80, kTen), false, kTen).next;
  w = LimitWatchdog::step(w, charging(90, on80, kTen + 5min), true, kTen + 5min).next;
  EXPECT_EQ(w.state, Verdict::ours());
  w = LimitWatchdog::step(w, charging(95, on80, kTen + 20min), false, kTen + 20min).next;
  EXPECT_EQ(w.state, Verdict::overshootSuspected(kTen + 20min));
  const auto [next, alerts] = LimitWatchdog::step(w, charging(96, on80, kTen + 29min), false, kTen + 29min);
  EXPECT_TRUE(alerts.empty());
}

TEST(LimitWatchdog, RestoredOldSuspicionAlertsOnFirstOvershootAfterStartUp) {
  const auto stored = Json::parse(R"({"state":{"overshootSuspected":{"since":"2026-03-02T10:00:00Z"}}})");
  const auto restored = LimitWatchdog::fromJson(stored);
  EXPECT_EQ(restored.state, Verdict::overshootSuspected(kTen));
  const auto [next, alerts] =
      LimitWatchdog::step(restored, charging(90, LimitState::on(80), kTen + 25min), false, kTen + 25min);
  EXPECT_EQ(next.state, Verdict::notHolding(kTen));
  EXPECT_EQ(alerts.size(), 1u);
}

TEST(LimitWatchdog, RestoredWatchdogContinuesExactlyWhereItLeftOff) {
  const auto on80 = LimitState::on(80);
  const std::vector<std::pair<std::int64_t, Seconds>> readings{
      {83, 0s}, {84, 4min}, {85, 8min}, {86, 10min}, {87, 12min}, {79, 13min}, {83, 14min}, {84, 24min}};
  for (std::size_t restartAfter = 0; restartAfter < readings.size(); ++restartAfter) {
    LimitWatchdog straight;
    LimitWatchdog restarted;
    for (std::size_t i = 0; i < readings.size(); ++i) {
      const auto [percent, after] = readings[i];
      const Date now = kTen + after;
      auto a = LimitWatchdog::step(straight, charging(percent, on80, now), false, now);
      auto b = LimitWatchdog::step(restarted, charging(percent, on80, now), false, now);
      EXPECT_EQ(a.next, b.next) << "restart after reading " << restartAfter << ", reading " << i;
      EXPECT_EQ(a.alerts, b.alerts) << "restart after reading " << restartAfter << ", reading " << i;
      straight = a.next;
      restarted = i == restartAfter ? LimitWatchdog::fromJson(Json::parse(b.next.toJson().dump())) : b.next;
    }
  }
}

TEST(LimitWatchdog, JsonFormOfEveryVerdict) {
  struct Case {
    Verdict verdict;
    const char* json;
  };
  const Case cases[] = {
      {Verdict::overshootSuspected(kTen),
       R"({"state":{"overshootSuspected":{"since":"2026-03-02T10:00:00Z"}}})"},
      {Verdict::notHolding(kTen), R"({"state":{"notHolding":{"since":"2026-03-02T10:00:00Z"}}})"},
      {Verdict::holding(), R"({"state":{"holding":{}}})"},
      {Verdict::charging(), R"({"state":{"charging":{}}})"},
      {Verdict::ours(), R"({"state":{"ours":{}}})"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LimitWatchdog{c.verdict}.toJson().dump(), c.json);
    EXPECT_EQ(LimitWatchdog::fromJson(Json::parse(c.json)), LimitWatchdog{c.verdict}) << c.json;
  }
}

TEST(LimitWatchdog, DecodingFailsOnAMissingOrMalformedState) {
  struct Case {
    const char* json;
    const char* reason;
  };
  const Case cases[] = {
      {R"({})", "missing key \"state\""},
      {R"({"state":{}})", kInvalidNumberOfKeys},
      {R"({"state":{"holding":{},"charging":{}}})", kInvalidNumberOfKeys},
      {R"({"state":{"broken":{}}})", "unknown case \"broken\""},
      {R"({"state":{"notHolding":{}}})", "missing key \"since\""},
      {R"({"state":{"notHolding":{"since":"soon"}}})", "not an ISO 8601 date: \"soon\""},
  };
  for (const auto& c : cases) {
    try {
      LimitWatchdog::fromJson(Json::parse(c.json));
      ADD_FAILURE() << c.json << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), c.reason) << c.json;
    }
  }
}

TEST(LimitWatchdog, OnlyNotHoldingIsNotHolding) {
  EXPECT_TRUE(Verdict::notHolding(kTen).isNotHolding());
  for (const auto& verdict :
       {Verdict::overshootSuspected(kTen), Verdict::holding(), Verdict::charging(), Verdict::ours()}) {
    EXPECT_FALSE(verdict.isNotHolding()) << describe(verdict);
  }
  EXPECT_NE(Verdict::notHolding(kTen), Verdict::notHolding(kTen + 1s));
  static_assert(LimitWatchdog::persistFor == 10min);
}

}  // namespace
}  // namespace batterycore
