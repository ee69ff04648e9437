// BatteryAlert: what a rule wants the user to hear about — a kind, a moment
// and ready-made texts in the user's language.
//
//   BatteryAlert alert{BatteryAlert::Kind::hot, dateFromSecondsSince1970(0.5),
//                      "Running hot while charging", "Heat ages a battery. ...", std::nullopt};
//   alert.id() == "hot-0.5"
//   BatteryAlert::rawValue(BatteryAlert::Kind::limitTurnedOff) == "limitTurnedOff"
//
// The texts are finished when the rule raises the alert, so the alerts list
// shows them as they were, whatever the language is later.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

struct BatteryAlert {
  // The order is the order of the alert settings.
  enum class Kind {
    limitNotHolding,
    limitTurnedOff,
    hot,
    fullChargeDone,
    fullChargeRestored,
    limitRestoreFailed,
    calibrating,
    calibrationOver,
    healthMilestone,
    weakCharger,
    accessoryLow,
    calendarFullCharge,
    weeklyNote,
    smartFullCharge,
    backgroundDrain,
    limitTurnedOn,
    limitUnavailable,
  };

  static constexpr std::array<Kind, 17> allCases{
      Kind::limitNotHolding, Kind::limitTurnedOff,     Kind::hot,
      Kind::fullChargeDone,  Kind::fullChargeRestored, Kind::limitRestoreFailed,
      Kind::calibrating,     Kind::calibrationOver,    Kind::healthMilestone,
      Kind::weakCharger,     Kind::accessoryLow,       Kind::calendarFullCharge,
      Kind::weeklyNote,      Kind::smartFullCharge,    Kind::backgroundDrain,
      Kind::limitTurnedOn,   Kind::limitUnavailable,
  };

  // The case name, which is also how a kind is stored.
  static std::string_view rawValue(Kind kind);
  static std::optional<Kind> kindFromRawValue(std::string_view raw);

  Kind kind;
  Date at;
  std::string title;
  std::string body;
  // The body for the technical detail level; absent when the rule has none.
  std::optional<std::string> technicalBody;

  // The raw kind, "-", and `at` in seconds since 1970 in the shortest
  // decimal form that reads back exactly ("limitTurnedOff-1767225600.0").
  std::string id() const;

  friend bool operator==(const BatteryAlert&, const BatteryAlert&) = default;

  Json toJson() const;
  static BatteryAlert fromJson(const Json& json);
};

// Seconds since 1970 in the shortest decimal form that reads back to the same
// double, never with an exponent and always with a fraction: 0.5 -> "0.5",
// 1e9 -> "1000000000.0". Ids saved in the exponent form of earlier versions
// ("hot-1.7e+09") are still read and compared as they are.
std::string shortestSecondsText(Date date);

// A kind is stored as its raw value; an unknown one fails the decoding.
template <>
struct JsonCoding<BatteryAlert::Kind> {
  static Json encode(BatteryAlert::Kind kind) { return std::string(BatteryAlert::rawValue(kind)); }
  static BatteryAlert::Kind decode(const Json& json) {
    const auto raw = JsonCoding<std::string>::decode(json);
    const auto kind = BatteryAlert::kindFromRawValue(raw);
    if (!kind) throw DecodingError("unknown alert kind \"" + raw + "\"");
    return *kind;
  }
};

}  // namespace batterycore
