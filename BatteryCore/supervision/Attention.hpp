// Attention: the one thing the menu bar, the panel and the widget show first —
// the battery's phase, or something that needs the person more — with its
// colour family (tone) and an optional warning badge (marker).
//
//   Situation s{resting(81, LimitState::on(80)), Verdict::holding(), std::nullopt,
//               CalibrationDetector::Verdict::normal(), LimitAvailability::available()};
//   Attention::of(s) == Attention{Attention::Kind::phase(ChargePhase::holding(80)),
//                                 Attention::Tone::holding, std::nullopt}
//
// The choice is a strict order, decided afresh on every tick (no memory):
//   1. a full charge of ours while plugged in: its overshoot is wanted;
//   2. a confirmed calibration: it explains an overshoot, so it outranks 3;
//   3. a limit that is on but not holding;
//   4. the charge phase.
// Whether the limit can be switched (`control`) takes no part in the choice.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/ChargePhase.hpp"
#include "BatteryCore/supervision/Situation.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace batterycore {

struct Attention {
  // What the attention is about.
  class Kind {
   public:
    enum class Case { notHolding, phase, fullCharge, calibrating };

    // The limit (this percent) is on but the battery charges past it.
    static Kind notHolding(int limit) { return Kind(NotHolding{limit}); }
    // The ordinary state of the battery.
    static Kind phase(ChargePhase phase) { return Kind(phase); }
    // A full charge of ours is running and the Mac is plugged in.
    static Kind fullCharge() { return Kind(FullCharge{}); }
    // macOS is recalibrating the battery.
    static Kind calibrating() { return Kind(Calibrating{}); }

    Case which() const { return static_cast<Case>(value_.index()); }
    // The payloads; absent for the other cases.
    std::optional<int> limit() const;
    std::optional<ChargePhase> chargePhase() const;

    // "notHolding(limit: 80)", "phase(charging(to: 80))", "fullCharge", "calibrating".
    std::string description() const;

    friend bool operator==(const Kind&, const Kind&) = default;

   private:
    struct NotHolding {
      int limit;
      friend bool operator==(const NotHolding&, const NotHolding&) = default;
    };
    struct FullCharge {
      friend bool operator==(const FullCharge&, const FullCharge&) = default;
    };
    struct Calibrating {
      friend bool operator==(const Calibrating&, const Calibrating&) = default;
    };
    // In the order of Case.
    using Value = std::variant<NotHolding, ChargePhase, FullCharge, Calibrating>;
    explicit Kind(Value value) : value_(value) {}
    Value value_;
  };

  // The colour family, shared with the widget (which stores it by raw value,
  // the case name).
  enum class Tone { charging, holding, warning, low, battery, calibrating, alert };
  static constexpr std::array<Tone, 7> allTones{Tone::charging, Tone::holding,     Tone::warning, Tone::low,
                                                Tone::battery,  Tone::calibrating, Tone::alert};
  static std::string_view rawValue(Tone tone);
  static std::optional<Tone> toneFromRawValue(std::string_view raw);

  // On battery, the tone warns from 40% and turns low from 20%.
  static constexpr std::int64_t lowAtOrBelow = 20;
  static constexpr std::int64_t warningAtOrBelow = 40;

  Kind kind;
  Tone tone;
  // An extra badge in this tone, or none.
  std::optional<Tone> marker;

  bool isNotHolding() const { return kind.which() == Kind::Case::notHolding; }
  // macOS, not the limit, decides where charging stops.
  bool limitOutOfControl() const {
    return kind.which() == Kind::Case::notHolding || kind.which() == Kind::Case::calibrating;
  }
  // The widget's mood: an alert badge colours the whole widget.
  Tone widgetTone() const { return marker == Tone::alert ? Tone::alert : tone; }

  // The one attention for this moment.
  static Attention of(const Situation& situation);
  // The tone of an ordinary phase at this state of charge.
  static Tone toneOf(const ChargePhase& phase, std::int64_t percent);

  // "phase(holding(at: 80)), tone holding" and ", marker alert" when there is one.
  std::string description() const;

  friend bool operator==(const Attention&, const Attention&) = default;
};

template <>
struct JsonCoding<Attention::Tone> {
  static Json encode(Attention::Tone tone) { return std::string(Attention::rawValue(tone)); }
  static Attention::Tone decode(const Json& json) {
    const auto raw = JsonCoding<std::string>::decode(json);
    const auto tone = Attention::toneFromRawValue(raw);
    if (!tone) throw DecodingError("unknown tone \"" + raw + "\"");
    return *tone;
  }
};

}  // namespace batterycore
