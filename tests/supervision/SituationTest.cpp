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
using fixtures::at;
using fixtures::charging;
using fixtures::resting;
using fixtures::unplugged;

const Date kNow = at("2026-03-02T10:00:00Z");

FullChargeSession running() {
  return *FullChargeSession::start(kNow, 80, true, true, std::nullopt);
}

Situation situation(BatterySnapshot snapshot, Watchdog watchdog = Watchdog::holding(),
                    std::optional<FullChargeSession> session = std::nullopt,
                    Calibration calibration = Calibration::normal(),
                    LimitAvailability control = LimitAvailability::available()) {
  return Situation{std::move(snapshot), watchdog, std::move(session), calibration, std::move(control)};
}

TEST(Attention, HeaderExample) {
  const Situation s{resting(81, LimitState::on(80), kNow), Watchdog::holding(), std::nullopt, Calibration::normal(),
                    LimitAvailability::available()};
  EXPECT_EQ(Attention::of(s), (Attention{Kind::phase(ChargePhase::holding(80)), Tone::holding, std::nullopt}));
}

TEST(Attention, PriorityOrder) {
  struct Case {
    const char* what;
    Situation situation;
    Attention attention;
  };
  const auto on80 = LimitState::on(80);
  const Watchdog notHolding = Watchdog::notHolding(kNow);
  const Calibration calibrating = Calibration::confirmed(kNow);
  const Attention fullCharge{Kind::fullCharge(), Tone::charging, std::nullopt};
  const Attention recalibrating{Kind::calibrating(), Tone::calibrating, Tone::warning};
  const Attention broken{Kind::notHolding(80), Tone::calibrating, Tone::alert};
  const Case cases[] = {
      // 1. Our full charge while plugged in outranks everything.
      {"full charge alone", situation(charging(60, LimitState::off(80), kNow), Watchdog::ours(), running()),
       fullCharge},
      {"full charge over calibration and notHolding",
       situation(charging(95, on80, kNow), notHolding, running(), calibrating), fullCharge},
      {"full charge, resting at 100", situation(resting(100, LimitState::off(80), kNow), Watchdog::ours(), running()),
       fullCharge},
      // A session on battery does not count.
      {"session unplugged, notHolding", situation(unplugged(90, on80, kNow), notHolding, running()), broken},
      {"session unplugged, nothing else", situation(unplugged(90, on80, kNow), Watchdog::holding(), running()),
       Attention{Kind::phase(ChargePhase::onBattery()), Tone::battery, std::nullopt}},
      // 2. A confirmed calibration explains the overshoot.
      {"calibration and notHolding", situation(charging(95, on80, kNow), notHolding, std::nullopt, calibrating),
       recalibrating},
      {"calibration on battery", situation(unplugged(60, on80, kNow), Watchdog::holding(), std::nullopt, calibrating),
       recalibrating},
      {"calibration only suspected", situation(charging(95, on80, kNow), notHolding, std::nullopt,
                                                Calibration::suspected(kNow)),
       broken},
      {"calibration just recovered", situation(resting(80, on80, kNow), Watchdog::holding(), std::nullopt,
                                                Calibration::recovered(kNow)),
       Attention{Kind::phase(ChargePhase::holding(80)), Tone::holding, std::nullopt}},
      // 3. notHolding needs the limit to read as on.
      {"notHolding", situation(charging(90, on80, kNow), notHolding), broken},
      {"notHolding with the limit at 75", situation(charging(90, LimitState::on(75), kNow), notHolding),
       Attention{Kind::notHolding(75), Tone::calibrating, Tone::alert}},
      {"notHolding, limit off", situation(charging(90, LimitState::off(80), kNow), notHolding),
       Attention{Kind::phase(ChargePhase::charging(100)), Tone::charging, std::nullopt}},
      {"notHolding, limit unavailable", situation(resting(90, LimitState::unavailable("gone"), kNow), notHolding),
       Attention{Kind::phase(ChargePhase::full()), Tone::warning, std::nullopt}},
      {"overshoot only suspected", situation(charging(90, on80, kNow), Watchdog::overshootSuspected(kNow)),
       Attention{Kind::phase(ChargePhase::charging(80)), Tone::charging, std::nullopt}},
      // The control does not take part.
      {"limit cannot be switched", situation(resting(80, on80, kNow), Watchdog::holding(), std::nullopt,
                                              Calibration::normal(), LimitAvailability::unavailable("no access")),
       Attention{Kind::phase(ChargePhase::holding(80)), Tone::holding, std::nullopt}},
  };
  for (const auto& c : cases) {
    const auto attention = Attention::of(c.situation);
    EXPECT_EQ(attention, c.attention) << c.what << ": got " << attention.description();
  }
}

TEST(Attention, ToneByPhase) {
  struct Case {
    BatterySnapshot snapshot;
    Tone tone;
  };
  const auto on80 = LimitState::on(80);
  const Case cases[] = {
      {charging(50, on80, kNow), Tone::charging},
      {charging(50, LimitState::off(), kNow), Tone::charging},
      {resting(80, on80, kNow), Tone::holding},
      {resting(81, on80, kNow), Tone::holding},
      {resting(82, on80, kNow), Tone::warning},  // lowering
      {resting(100, LimitState::off(), kNow), Tone::warning},  // full
      {unplugged(0, on80, kNow), Tone::low},
      {unplugged(20, on80, kNow), Tone::low},
      {unplugged(21, on80, kNow), Tone::warning},
      {unplugged(40, on80, kNow), Tone::warning},
      {unplugged(41, on80, kNow), Tone::battery},
      {unplugged(100, on80, kNow), Tone::battery},
  };
  for (const auto& c : cases) {
    const auto attention = Attention::of(situation(c.snapshot));
    EXPECT_EQ(attention.tone, c.tone) << attention.description() << " at " << c.snapshot.percent << "%";
    EXPECT_EQ(attention.marker, std::nullopt);
    EXPECT_EQ(attention.widgetTone(), c.tone);
  }
}

TEST(Attention, DerivedProperties) {
  struct Case {
    Attention attention;
    bool isNotHolding;
    bool limitOutOfControl;
    Tone widgetTone;
  };
  const Case cases[] = {
      {{Kind::notHolding(80), Tone::calibrating, Tone::alert}, true, true, Tone::alert},
      {{Kind::calibrating(), Tone::calibrating, Tone::warning}, false, true, Tone::calibrating},
      {{Kind::fullCharge(), Tone::charging, std::nullopt}, false, false, Tone::charging},
      {{Kind::phase(ChargePhase::full()), Tone::warning, std::nullopt}, false, false, Tone::warning},
      {{Kind::phase(ChargePhase::onBattery()), Tone::low, Tone::alert}, false, false, Tone::alert},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.attention.isNotHolding(), c.isNotHolding) << c.attention.description();
    EXPECT_EQ(c.attention.limitOutOfControl(), c.limitOutOfControl) << c.attention.description();
    EXPECT_EQ(c.attention.widgetTone(), c.widgetTone) << c.attention.description();
  }
}

TEST(Attention, KindPayloadsAndDescriptions) {
  EXPECT_EQ(Kind::notHolding(80).limit(), 80);
  EXPECT_EQ(Kind::notHolding(80).chargePhase(), std::nullopt);
  EXPECT_EQ(Kind::phase(ChargePhase::lowering(80)).chargePhase(), ChargePhase::lowering(80));
  EXPECT_EQ(Kind::fullCharge().limit(), std::nullopt);
  EXPECT_NE(Kind::phase(ChargePhase::holding(80)), Kind::phase(ChargePhase::holding(75)));
  EXPECT_NE(Kind::notHolding(80), Kind::notHolding(75));
  EXPECT_EQ(Kind::notHolding(80).description(), "notHolding(limit: 80)");
  EXPECT_EQ(Kind::phase(ChargePhase::charging(80)).description(), "phase(charging(to: 80))");
  EXPECT_EQ(Kind::phase(ChargePhase::onBattery()).description(), "phase(onBattery)");
  EXPECT_EQ((Attention{Kind::calibrating(), Tone::calibrating, Tone::warning}).description(),
            "calibrating, tone calibrating, marker warning");
}

TEST(Attention, TonesAreStoredByCaseName) {
  const char* const names[] = {"charging", "holding", "warning", "low", "battery", "calibrating", "alert"};
  ASSERT_EQ(Attention::allTones.size(), std::size(names));
  for (std::size_t i = 0; i < std::size(names); ++i) {
    const Tone tone = Attention::allTones[i];
    EXPECT_EQ(Attention::rawValue(tone), names[i]);
    EXPECT_EQ(Attention::toneFromRawValue(names[i]), tone);
    EXPECT_EQ(encode(tone), Json(names[i]));
    EXPECT_EQ(decode<Tone>(Json(names[i])), tone);
  }
  EXPECT_EQ(Attention::toneFromRawValue("lowering"), std::nullopt);
  EXPECT_THROW(decode<Tone>(Json("lowering")), DecodingError);
}

TEST(Situation, ComparesEveryPart) {
  const auto base = situation(resting(80, LimitState::on(80), kNow));
  EXPECT_EQ(base, situation(resting(80, LimitState::on(80), kNow)));
  EXPECT_NE(base, situation(resting(79, LimitState::on(80), kNow)));
  EXPECT_NE(base, situation(resting(80, LimitState::on(80), kNow), Watchdog::charging()));
  EXPECT_NE(base, situation(resting(80, LimitState::on(80), kNow), Watchdog::holding(), running()));
  EXPECT_NE(base, situation(resting(80, LimitState::on(80), kNow), Watchdog::holding(), std::nullopt,
                            Calibration::suspected(kNow)));
  EXPECT_NE(base, situation(resting(80, LimitState::on(80), kNow), Watchdog::holding(), std::nullopt,
                            Calibration::normal(), LimitAvailability::unavailable("no access")));
}

}  // namespace
}  // namespace batterycore
