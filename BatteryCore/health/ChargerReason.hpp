// ChargerReason: the reason behind the charger's raw not-charging or
// slow-charging code, in the few cases the interface can explain.
//
//   ChargerReason::notCharging(0x01000000).kind == ChargerReason::Kind::atLimit()
//   ChargerReason::notCharging(0x400001).kind == ChargerReason::Kind::full()
//   ChargerReason::notCharging(0x80).kind == ChargerReason::Kind::unknown(0x80)
//
// The codes are bit fields the system does not document. Only bits seen on
// real machines are named: bit 24 while a charge limit holds the battery, bit
// 0 once it is full. A slow charge has no bit we can trust, so its reason is
// read from the rest of the reading (heat, a charger too small).
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

namespace batterycore {

struct ChargerReason {
  class Kind {
   public:
    enum class Case { unknown, none, atLimit, full, thermal, weakCharger };

    static constexpr Kind unknown(std::uint64_t code) { return {Case::unknown, code}; }
    static constexpr Kind none() { return {Case::none, 0}; }
    static constexpr Kind atLimit() { return {Case::atLimit, 0}; }
    static constexpr Kind full() { return {Case::full, 0}; }
    static constexpr Kind thermal() { return {Case::thermal, 0}; }
    static constexpr Kind weakCharger() { return {Case::weakCharger, 0}; }

    constexpr Case which() const { return case_; }
    // The payload of `unknown`; absent for every other case.
    constexpr std::optional<std::uint64_t> unknownCode() const {
      return case_ == Case::unknown ? std::optional<std::uint64_t>(code_) : std::nullopt;
    }
    std::string_view name() const;

    friend constexpr bool operator==(const Kind&, const Kind&) = default;

   private:
    constexpr Kind(Case which, std::uint64_t code) : case_(which), code_(code) {}
    Case case_;
    std::uint64_t code_;
  };

  Kind kind = Kind::none();
  std::uint64_t code = 0;

  static constexpr std::uint64_t fullBit = std::uint64_t{1} << 0;
  static constexpr std::uint64_t atLimitBit = std::uint64_t{1} << 24;

  // From the not-charging code alone.
  static ChargerReason notCharging(std::uint64_t code);
  // From the reading's slow-charging code, explained by its heat and charger.
  static ChargerReason slowCharging(const BatterySnapshot& snapshot);

  friend bool operator==(const ChargerReason&, const ChargerReason&) = default;
};

}  // namespace batterycore
