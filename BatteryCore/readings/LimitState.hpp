// LimitState: the operating system's charge limit as one reading saw it.
//
//   LimitState::on(80).active() == 80
//   LimitState::off(80).active() == std::nullopt     // off, last set to 80
//   LimitState::unavailable("not supported").isAvailable() == false
//   encode(LimitState::on(80)) == {"on": {"_0": 80}}
//   encode(LimitState::off())  == {"off": {}}
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <optional>
#include <string>
#include <variant>

namespace batterycore {

class LimitState {
 public:
  struct Unavailable {
    std::string reason;
    friend bool operator==(const Unavailable&, const Unavailable&) = default;
  };
  struct Off {
    std::optional<int> stored;
    friend bool operator==(const Off&, const Off&) = default;
  };
  struct On {
    int percent;
    friend bool operator==(const On&, const On&) = default;
  };
  using Value = std::variant<Unavailable, Off, On>;

  static LimitState unavailable(std::string reason) { return LimitState(Unavailable{std::move(reason)}); }
  static LimitState off(std::optional<int> stored = std::nullopt) { return LimitState(Off{stored}); }
  static LimitState on(int percent) { return LimitState(On{percent}); }

  const Value& value() const { return value_; }
  bool isOn() const { return std::holds_alternative<On>(value_); }
  bool isOff() const { return std::holds_alternative<Off>(value_); }

  // The percentage of a limit that is on; absent when off or unavailable.
  std::optional<int> active() const;
  bool isAvailable() const { return !std::holds_alternative<Unavailable>(value_); }
  // The reason text of an unavailable limit.
  std::optional<std::string> unavailableReason() const;

  friend bool operator==(const LimitState&, const LimitState&) = default;

  Json toJson() const;
  static LimitState fromJson(const Json& json);

 private:
  explicit LimitState(Value value) : value_(std::move(value)) {}
  Value value_;
};

// Whether the application can change the limit. Not persisted.
class LimitAvailability {
 public:
  static LimitAvailability available() { return LimitAvailability(std::nullopt); }
  static LimitAvailability unavailable(std::string reason) { return LimitAvailability(std::move(reason)); }

  bool isAvailable() const { return !reason_.has_value(); }
  const std::optional<std::string>& reason() const { return reason_; }

  friend bool operator==(const LimitAvailability&, const LimitAvailability&) = default;

 private:
  explicit LimitAvailability(std::optional<std::string> reason) : reason_(std::move(reason)) {}
  std::optional<std::string> reason_;
};

}  // namespace batterycore
