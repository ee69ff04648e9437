#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/Situation.hpp"

#include "Readings.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace batterycore {
namespace {

using Kind = Attention::Kind;
using Tone = Attention::Tone;
using Watchdog = LimitWatchdog::Verdict;
using Calibration = CalibrationDetector::Verdict;
using fixtures::charging;
using fixtures::resting;
using fixtures::unplugged;

const Date kNow = fixtures::at("2026-03-02T10:00:00Z");

Situation situation(BatterySnapshot snapshot, Watchdog watchdog = Watchdog::holding(),
                    std::optional<FullChargeSession> session = std::nullopt,
                    Calibration calibration = Calibration::normal(),
                    LimitAvailability control = LimitAvailability::available()) {
  return Situation{std::move(snapshot), watchdog, std::move(session), calibration, std::move(control)};
}

// Our full charge on the charger first, then a confirmed calibration, then a
// limit that is on but not holding, then the phase.
TEST(Attention, PriorityOrder) {
  struct Case {
    const char* what;
    Situation situation;
    Attention attention;
  };
  const auto on80 = LimitState::on(80);
  const auto running = FullChargeSession::start(kNow, 80, true, true, std::nullopt);
  const Watchdog notHolding = Watchdog::notHolding(kNow);
  const Calibration calibrating = Calibration::confirmed(kNow);
  const Attention fullCharge{Kind::fullCharge(), Tone::charging, std::nullopt};
  const Attention recalibrating{Kind::calibrating(), Tone::calibrating, Tone::warning};
  const Attention broken{Kind::notHolding(80), Tone::calibrating, Tone::alert};
  const Attention holding{Kind::phase(ChargePhase::holding(80)), Tone::holding, std::nullopt};
  const Case cases[] = {
      {"full charge alone", situation(charging(60, LimitState::off(80), kNow), Watchdog::ours(), running), fullCharge},
      {"full charge over calibration and notHolding",
       situation(charging(95, on80, kNow), notHolding, running, calibrating), fullCharge},
      {"session unplugged, notHolding", situation(unplugged(90, on80, kNow), notHolding, running), broken},
      {"calibration and notHolding", situation(charging(95, on80, kNow), notHolding, std::nullopt, calibrating),
       recalibrating},
      {"calibration on battery", situation(unplugged(60, on80, kNow), Watchdog::holding(), std::nullopt, calibrating),
       recalibrating},
      {"calibration only suspected",
       situation(charging(95, on80, kNow), notHolding, std::nullopt, Calibration::suspected(kNow)), broken},
      {"calibration just recovered",
       situation(resting(80, on80, kNow), Watchdog::holding(), std::nullopt, Calibration::recovered(kNow)), holding},
      {"notHolding with the limit at 75", situation(charging(90, LimitState::on(75), kNow), notHolding),
       Attention{Kind::notHolding(75), Tone::calibrating, Tone::alert}},
      {"notHolding, limit off", situation(charging(90, LimitState::off(80), kNow), notHolding),
       Attention{Kind::phase(ChargePhase::charging(100)), Tone::charging, std::nullopt}},
      {"notHolding, limit unavailable", situation(resting(90, LimitState::unavailable("gone"), kNow), notHolding),
       Attention{Kind::phase(ChargePhase::full()), Tone::warning, std::nullopt}},
      {"overshoot only suspected", situation(charging(90, on80, kNow), Watchdog::overshootSuspected(kNow)),
       Attention{Kind::phase(ChargePhase::charging(80)), Tone::charging, std::nullopt}},
      {"limit cannot be switched", situation(resting(80, on80, kNow), Watchdog::holding(), std::nullopt,
                                              Calibration::normal(), LimitAvailability::unavailable("no access")),
       holding},
  };
  for (const auto& c : cases) {
    const auto attention = Attention::of(c.situation);
    EXPECT_EQ(attention, c.attention) << c.what << ": got " << attention.description();
  }
}

// On battery the tone warns from 40% and turns low from 20%.
TEST(Attention, ToneFollowsThePhaseAndOnBatteryTheCharge) {
  const auto on80 = LimitState::on(80);
  const std::pair<BatterySnapshot, Tone> cases[] = {
      {charging(50, on80, kNow), Tone::charging},       {resting(81, on80, kNow), Tone::holding},
      {resting(82, on80, kNow), Tone::warning},         {resting(100, LimitState::off(), kNow), Tone::warning},
      {unplugged(20, on80, kNow), Tone::low},           {unplugged(21, on80, kNow), Tone::warning},
      {unplugged(40, on80, kNow), Tone::warning},       {unplugged(41, on80, kNow), Tone::battery},
  };
  for (const auto& [snapshot, tone] : cases) {
    const auto attention = Attention::of(situation(snapshot));
    EXPECT_EQ(attention.tone, tone) << attention.description() << " at " << snapshot.percent << "%";
    EXPECT_EQ(attention.marker, std::nullopt);
  }
}

TEST(Attention, DerivedPropertiesAndDescription) {
  struct Case {
    Attention attention;
    bool isNotHolding;
    bool limitOutOfControl;
    Tone widgetTone;
    const char* description;
  };
  const Case cases[] = {
      {{Kind::notHolding(80), Tone::calibrating, Tone::alert}, true, true, Tone::alert,
       "notHolding(limit: 80), tone calibrating, marker alert"},
      {{Kind::calibrating(), Tone::calibrating, Tone::warning}, false, true, Tone::calibrating,
       "calibrating, tone calibrating, marker warning"},
      {{Kind::fullCharge(), Tone::charging, std::nullopt}, false, false, Tone::charging, "fullCharge, tone charging"},
      {{Kind::phase(ChargePhase::charging(80)), Tone::charging, std::nullopt}, false, false, Tone::charging,
       "phase(charging(to: 80)), tone charging"},
      {{Kind::phase(ChargePhase::holding(75)), Tone::holding, std::nullopt}, false, false, Tone::holding,
       "phase(holding(at: 75)), tone holding"},
      {{Kind::phase(ChargePhase::lowering(80)), Tone::warning, std::nullopt}, false, false, Tone::warning,
       "phase(lowering(to: 80)), tone warning"},
      {{Kind::phase(ChargePhase::full()), Tone::warning, std::nullopt}, false, false, Tone::warning,
       "phase(full), tone warning"},
      {{Kind::phase(ChargePhase::onBattery()), Tone::low, Tone::alert}, false, false, Tone::alert,
       "phase(onBattery), tone low, marker alert"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.attention.description(), c.description);
    EXPECT_EQ(c.attention.isNotHolding(), c.isNotHolding) << c.description;
    EXPECT_EQ(c.attention.limitOutOfControl(), c.limitOutOfControl) << c.description;
    EXPECT_EQ(c.attention.widgetTone(), c.widgetTone) << c.description;
  }
}

}  // namespace
}  // namespace batterycore
