#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <charconv>
#include <cmath>

namespace batterycore {

namespace {

constexpr std::array<std::string_view, BatteryAlert::allCases.size()> kRawValues{
    "limitNotHolding", "limitTurnedOff",     "hot",
    "fullChargeDone",  "fullChargeRestored", "limitRestoreFailed",
    "calibrating",     "calibrationOver",    "healthMilestone",
    "weakCharger",     "accessoryLow",       "calendarFullCharge",
    "weeklyNote",      "smartFullCharge",    "backgroundDrain",
    "limitTurnedOn",   "limitUnavailable",
};

// rawValue indexes by the enumerator's number, so the list must follow it.
static_assert([] {
  for (std::size_t i = 0; i < BatteryAlert::allCases.size(); ++i) {
    if (static_cast<std::size_t>(BatteryAlert::allCases[i]) != i) return false;
  }
  return true;
}());

}  // namespace

std::string_view BatteryAlert::rawValue(Kind kind) { return kRawValues.at(static_cast<std::size_t>(kind)); }

std::optional<BatteryAlert::Kind> BatteryAlert::kindFromRawValue(std::string_view raw) {
  for (const auto kind : allCases) {
    if (rawValue(kind) == raw) return kind;
  }
  return std::nullopt;
}

std::string shortestSecondsText(Date date) {
  const double seconds = secondsSince1970(date);
  // Written out in full, never with an exponent: 1.7e9 is "1700000000.0".
  // 400 characters hold any finite double so (310 digits before the point
  // at most, 330 after it for the smallest).
  std::array<char, 400> buffer{};
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), seconds, std::chars_format::fixed);
  std::string text(buffer.data(), error == std::errc{} ? end : buffer.data());
  // A whole number still shows that it is a floating-point value.
  if (std::isfinite(seconds) && text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::string BatteryAlert::id() const {
  std::string text(rawValue(kind));
  text += '-';
  text += shortestSecondsText(at);
  return text;
}

Json BatteryAlert::toJson() const {
  Json object = Json::object();
  put(object, "kind", kind);
  put(object, "at", at);
  put(object, "title", title);
  put(object, "body", body);
  putIfPresent(object, "technicalBody", technicalBody);
  return object;
}

BatteryAlert BatteryAlert::fromJson(const Json& json) {
  return BatteryAlert{required<Kind>(json, "kind"), required<Date>(json, "at"),
                      required<std::string>(json, "title"), required<std::string>(json, "body"),
                      optional<std::string>(json, "technicalBody")};
}

}  // namespace batterycore
