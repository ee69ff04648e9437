#include "BatteryCore/health/HighChargeLedger.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace batterycore {

namespace {

constexpr double kSecondsPerMinute = 60.0;
constexpr double kMinutesPerHour = 60.0;
// "yyyy-MM" of a day key.
constexpr std::size_t kMonthPrefixLength = 7;

void add(std::vector<HighChargeLedger::Day>& days, const std::string& key, double minutes,
         bool above, bool plugged) {
  // Only the last record is looked at: the ledger is appended in time order.
  HighChargeLedger::Day record{key};
  if (!days.empty() && days.back().day == key) {
    record = days.back();
    days.pop_back();
  }
  if (above && plugged) record.minutesAbove80Plugged += minutes;
  if (above && !plugged) record.minutesAbove80Unplugged += minutes;
  if (plugged) record.minutesPlugged += minutes;
  record.minutesSampled += minutes;
  days.push_back(std::move(record));
}

Date nextMidnight(Date cursor, Date now, const Calendar& calendar) {
  try {
    const Date next = calendar.addingDays(calendar.startOfDay(cursor), 1);
    // A calendar that cannot move forward would never end the walk.
    return next > cursor ? next : now;
  } catch (const std::runtime_error&) {
    return now;
  }
}

Date monthBefore(Date date, const Calendar& calendar) {
  try {
    return calendar.addingMonths(date, -1);
  } catch (const std::runtime_error&) {
    return date;
  }
}

}  // namespace

void HighChargeLedger::book(const BatterySnapshot& snapshot, std::optional<Date> lastTick, Date now,
                            const Calendar& calendar) {
  if (!lastTick || now <= *lastTick || now - *lastTick > maxGap) return;

  const bool above = snapshot.percent >= abovePercent;
  Date cursor = *lastTick;
  while (cursor < now) {
    const Date segmentEnd = std::min(nextMidnight(cursor, now, calendar), now);
    add(days, calendar.dayKey(cursor), (segmentEnd - cursor).count() / kSecondsPerMinute, above,
        snapshot.pluggedIn);
    cursor = segmentEnd;
  }

  if (days.size() > keepDays) {
    days.erase(days.begin(), days.end() - static_cast<std::ptrdiff_t>(keepDays));
  }
}

std::vector<HighChargeLedger::Day> HighChargeLedger::daysInMonthOf(Date date,
                                                                   const Calendar& calendar) const {
  const std::string key = calendar.dayKey(date);
  const std::string_view month = std::string_view(key).substr(0, kMonthPrefixLength);
  std::vector<Day> result;
  std::copy_if(days.begin(), days.end(), std::back_inserter(result),
               [&](const Day& record) { return record.day.starts_with(month); });
  return result;
}

HighChargeLedger::MonthSummary HighChargeLedger::summary(Date date, const Calendar& calendar) const {
  MonthSummary result;
  const auto thisMonth = daysInMonthOf(date, calendar);
  for (const Day& record : thisMonth) {
    result.hoursAbove80 += record.minutesAbove80() / kMinutesPerHour;
    result.hoursPlugged += record.minutesPlugged / kMinutesPerHour;
    result.hoursSampled += record.minutesSampled / kMinutesPerHour;
  }
  result.daysCovered = static_cast<int>(thisMonth.size());

  const auto lastMonth = daysInMonthOf(monthBefore(date, calendar), calendar);
  if (!lastMonth.empty()) {
    double previous = 0;
    for (const Day& record : lastMonth) previous += record.minutesAbove80() / kMinutesPerHour;
    result.previousHoursAbove80 = previous;
  }
  return result;
}

Json HighChargeLedger::Day::toJson() const {
  Json json = Json::object();
  put(json, "day", day);
  put(json, "minutesAbove80Plugged", minutesAbove80Plugged);
  put(json, "minutesAbove80Unplugged", minutesAbove80Unplugged);
  put(json, "minutesPlugged", minutesPlugged);
  put(json, "minutesSampled", minutesSampled);
  return json;
}

HighChargeLedger::Day HighChargeLedger::Day::fromJson(const Json& json) {
  return Day{required<std::string>(json, "day"), required<double>(json, "minutesAbove80Plugged"),
             required<double>(json, "minutesAbove80Unplugged"), required<double>(json, "minutesPlugged"),
             required<double>(json, "minutesSampled")};
}

Json HighChargeLedger::toJson() const {
  Json json = Json::object();
  put(json, "days", days);
  return json;
}

HighChargeLedger HighChargeLedger::fromJson(const Json& json) {
  return HighChargeLedger{required<std::vector<Day>>(json, "days")};
}

}  // namespace batterycore
