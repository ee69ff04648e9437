#include "BatteryCore/supervision/Attention.hpp"

namespace batterycore {

namespace {

using Tone = Attention::Tone;
using Kind = Attention::Kind;

constexpr std::array<std::string_view, Attention::allTones.size()> kToneNames{
    "charging", "holding", "warning", "low", "battery", "calibrating", "alert"};

std::string phaseDescription(const ChargePhase& phase) {
  const auto payload = [&](std::string_view label) {
    return "(" + std::string(label) + ": " + std::to_string(phase.percent().value_or(0)) + ")";
  };
  switch (phase.kind()) {
    case ChargePhase::Kind::charging: return "charging" + payload("to");
    case ChargePhase::Kind::holding: return "holding" + payload("at");
    case ChargePhase::Kind::lowering: return "lowering" + payload("to");
    case ChargePhase::Kind::onBattery: return "onBattery";
    case ChargePhase::Kind::full: return "full";
  }
  return "full";
}

}  // namespace

std::optional<int> Kind::limit() const {
  if (const auto* notHolding = std::get_if<NotHolding>(&value_)) return notHolding->limit;
  return std::nullopt;
}

std::optional<ChargePhase> Kind::chargePhase() const {
  if (const auto* phase = std::get_if<ChargePhase>(&value_)) return *phase;
  return std::nullopt;
}

std::string Kind::description() const {
  switch (which()) {
    case Case::notHolding: return "notHolding(limit: " + std::to_string(*limit()) + ")";
    case Case::phase: return "phase(" + phaseDescription(*chargePhase()) + ")";
    case Case::fullCharge: return "fullCharge";
    case Case::calibrating: return "calibrating";
  }
  return "calibrating";
}

std::string_view Attention::rawValue(Tone tone) { return kToneNames[static_cast<std::size_t>(tone)]; }

std::optional<Tone> Attention::toneFromRawValue(std::string_view raw) {
  for (const Tone tone : allTones) {
    if (rawValue(tone) == raw) return tone;
  }
  return std::nullopt;
}

Tone Attention::toneOf(const ChargePhase& phase, std::int64_t percent) {
  switch (phase.kind()) {
    case ChargePhase::Kind::charging: return Tone::charging;
    case ChargePhase::Kind::holding: return Tone::holding;
    // Above the limit, or at 100% with none: the battery sits where it ages.
    case ChargePhase::Kind::lowering:
    case ChargePhase::Kind::full: return Tone::warning;
    case ChargePhase::Kind::onBattery:
      if (percent <= lowAtOrBelow) return Tone::low;
      if (percent <= warningAtOrBelow) return Tone::warning;
      return Tone::battery;
  }
  return Tone::battery;
}

Attention Attention::of(const Situation& situation) {
  const BatterySnapshot& snapshot = situation.snapshot;
  if (situation.session && snapshot.pluggedIn) return {Kind::fullCharge(), Tone::charging, std::nullopt};
  if (situation.calibration.isConfirmed()) return {Kind::calibrating(), Tone::calibrating, Tone::warning};
  if (situation.watchdog.isNotHolding()) {
    // A verdict whose reading no longer shows the limit on falls through.
    if (const auto limit = snapshot.limit.active()) return {Kind::notHolding(*limit), Tone::calibrating, Tone::alert};
  }
  const ChargePhase phase = snapshot.phase();
  return {Kind::phase(phase), toneOf(phase, snapshot.percent), std::nullopt};
}

std::string Attention::description() const {
  std::string text = kind.description() + ", tone " + std::string(rawValue(tone));
  if (marker) text += ", marker " + std::string(rawValue(*marker));
  return text;
}

}  // namespace batterycore
