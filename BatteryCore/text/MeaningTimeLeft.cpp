#include "BatteryCore/text/MeaningTimeLeft.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <algorithm>

namespace batterycore::Meaning {

namespace {

constexpr int kUnder20 = 20;
constexpr int kHalfHourUpTo = 45;
constexpr int kHourUpTo = 75;
constexpr int kHourAndHalfUpTo = 120;
constexpr int kPlentyFromHours = 3;

std::optional<std::string> meeting() { return text("timeLeft.meeting", "Enough for a meeting."); }

}  // namespace

TimeLeft timeLeft(int minutes, DetailLevel level) {
  minutes = std::max(minutes, 0);
  if (level == DetailLevel::technical) {
    const auto duration = Formatting::duration(minutes);
    return {format("timeLeft.technical", "%@ to empty", {duration}),
            format("timeLeft.technical.left", "%@ left", {duration}), std::nullopt};
  }
  if (minutes < kUnder20) {
    return {text("timeLeft.under20", "Under 20 minutes"), text("timeLeft.under20.left", "Under 20 minutes left"),
            text("timeLeft.under20.remark", "Plug in soon.")};
  }
  if (minutes < kHalfHourUpTo) {
    return {text("timeLeft.halfHour", "About half an hour"), text("timeLeft.halfHour.left", "About half an hour left"),
            std::nullopt};
  }
  if (minutes < kHourUpTo) {
    return {text("timeLeft.hour", "About an hour"), text("timeLeft.hour.left", "About an hour left"), meeting()};
  }
  if (minutes < kHourAndHalfUpTo) {
    return {text("timeLeft.hourAndHalf", "About an hour and a half"),
            text("timeLeft.hourAndHalf.left", "About an hour and a half left"), meeting()};
  }
  const std::int64_t hours = Formatting::hoursRounded(minutes);
  return {format("timeLeft.hours", "About %lld hours", {hours}),
          format("timeLeft.hours.left", "About %lld hours left", {hours}),
          hours >= kPlentyFromHours ? text("timeLeft.hours.remark", "Plenty for now.") : meeting()};
}

}  // namespace batterycore::Meaning
