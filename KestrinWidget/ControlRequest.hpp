// ControlRequest: the Control Center control's request to switch the charge
// limit, left in the group's preferences for the application, and the
// answer the application leaves beside it.
//
//   ControlRequest flip{false, dateFromSecondsSince1970(1767225600.25)};
//   flip.dictionary() == PreferenceDictionary{{"on", false}, {"at", 1767225600.25}}
//   ControlRequest::pending(flip.dictionary(), std::nullopt, flip.at + 3s) == flip   // fresh, unanswered
//   ControlRequest::pending(flip.dictionary(), ControlRequest::answer(flip), flip.at) == std::nullopt
//
// An answer repeats the exact `at` of its request, so an old answer never
// satisfies a new flip; a request further than `freshFor` from the
// application's clock is never applied late.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/Identifiers.hpp"
#include "KestrinWidget/SharedPreferences.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::widget {

struct ControlRequest {
  bool on = false;        // the limit should be on
  batterycore::Date at;   // when the user flipped the control

  static constexpr std::string_view requestKey = "control.request";
  static constexpr std::string_view appliedKey = "control.applied";
  static constexpr std::string_view refusalKey = "refusal";
  static constexpr std::string_view notification = "app.kestrin.control";
  static constexpr std::string_view controlKind = "app.kestrin.limit";
  static constexpr batterycore::Seconds freshFor = std::chrono::seconds{3};

  // Both names are the bundle identifier with a suffix.
  static_assert(notification.starts_with(kBundleIdentifier) &&
                notification.substr(kBundleIdentifier.size()) == ".control");
  static_assert(controlKind.starts_with(kBundleIdentifier) &&
                controlKind.substr(kBundleIdentifier.size()) == ".limit");

  // Present only when there is a dictionary whose "on" is a boolean and whose
  // "at" is a number (seconds since 1970); other entries are ignored.
  static std::optional<ControlRequest> from(const std::optional<PreferenceDictionary>& dictionary);

  // {"on": bool, "at": seconds since 1970 as a double}.
  PreferenceDictionary dictionary() const;

  // The application's answer to `request`: its own "on" and "at", plus
  // "refusal" with the reason when it could not switch the limit.
  static PreferenceDictionary answer(const ControlRequest& request,
                                     const std::optional<std::string>& refusal = std::nullopt);
  // The refusal text an answer carries, if any.
  static std::optional<std::string> refusal(const PreferenceDictionary& answer);

  // At most `freshFor` away from `now`, before or after.
  bool isFresh(batterycore::Date now) const;

  // The request the application still has to act on: a fresh request that
  // the applied answer does not repeat exactly.
  static std::optional<ControlRequest> pending(const std::optional<PreferenceDictionary>& request,
                                               const std::optional<PreferenceDictionary>& applied,
                                               batterycore::Date now);

  friend bool operator==(const ControlRequest&, const ControlRequest&) = default;
};

}  // namespace kestrin::widget
