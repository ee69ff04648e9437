// ChargePhase: which charging phase the battery is in, decided from four
// readings, and the ambient mood the interface shows for it.
//
//   ChargePhase::from(81, true, false, 80) == ChargePhase::holding(80)   // one point over still holds
//   ChargePhase::from(82, true, false, 80) == ChargePhase::lowering(80)
//   ChargePhase::from(50, true, true, std::nullopt) == ChargePhase::charging(100)
//   ChargePhase::full().ambient() == std::nullopt
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace batterycore {

// The moods the interface can show; `alert` and `full` are chosen directly by
// callers, never derived from a phase.
enum class AmbientMood { charging, holding, lowering, battery, alert, full };

inline constexpr AmbientMood kAllAmbientMoods[] = {AmbientMood::charging, AmbientMood::holding,
                                                   AmbientMood::lowering, AmbientMood::battery,
                                                   AmbientMood::alert,    AmbientMood::full};

std::string_view ambientMoodName(AmbientMood mood);
std::optional<AmbientMood> ambientMoodFromName(std::string_view name);

class ChargePhase {
 public:
  enum class Kind { charging, holding, lowering, onBattery, full };

  static constexpr ChargePhase charging(int to) { return {Kind::charging, to}; }
  static constexpr ChargePhase holding(int at) { return {Kind::holding, at}; }
  static constexpr ChargePhase lowering(int to) { return {Kind::lowering, to}; }
  static constexpr ChargePhase onBattery() { return {Kind::onBattery, 0}; }
  static constexpr ChargePhase full() { return {Kind::full, 0}; }

  // `limit` is the percentage of a limit that is on, absent otherwise.
  static ChargePhase from(std::int64_t percent, bool pluggedIn, bool charging, std::optional<int> limit);

  constexpr Kind kind() const { return kind_; }
  // The payload: the target of charging/lowering, the level of holding;
  // absent for onBattery and full.
  constexpr std::optional<int> percent() const {
    return kind_ == Kind::onBattery || kind_ == Kind::full ? std::nullopt : std::optional<int>(percent_);
  }

  std::optional<AmbientMood> ambient() const;

  friend constexpr bool operator==(const ChargePhase&, const ChargePhase&) = default;

 private:
  constexpr ChargePhase(Kind kind, int percent) : kind_(kind), percent_(percent) {}
  Kind kind_;
  int percent_;
};

}  // namespace batterycore
