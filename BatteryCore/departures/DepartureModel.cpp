#include "BatteryCore/departures/DepartureModel.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace batterycore {

namespace {

constexpr int kDaysPerWeek = 7;
constexpr int kMinutesPerHour = 60;
// Today and the seven days after it, so today's weekday is tried again a week on.
constexpr int kLastDayOffset = 7;

bool isWeekday(int weekday) { return weekday >= 1 && weekday <= kDaysPerWeek; }

// The earliest unplug of one calendar day.
struct DaySample {
  Date day;
  Date at;
  int minuteOfDay;
};

using SamplesByWeekday = std::array<std::vector<int>, kDaysPerWeek>;

// One pass over the ledger: the sample minutes of every weekday (or of `only`),
// ascending.
SamplesByWeekday collect(const DepartureLedger& ledger, Date now, const Calendar& calendar,
                         std::optional<int> only = std::nullopt) {
  std::array<std::vector<DaySample>, kDaysPerWeek> days;
  for (const auto& unplug : ledger.unplugs) {
    if (unplug.at > now || now - unplug.at > DepartureModel::window) continue;
    const DateComponents parts = calendar.components(unplug.at);
    if (!isWeekday(parts.weekday) || (only && parts.weekday != *only)) continue;
    if (parts.hour < DepartureModel::earliestHour) continue;

    const Date day = calendar.startOfDay(unplug.at);
    const int minute = parts.hour * kMinutesPerHour + parts.minute;
    auto& list = days[static_cast<std::size_t>(parts.weekday - 1)];
    const auto same = std::find_if(list.begin(), list.end(), [&](const DaySample& s) { return s.day == day; });
    if (same == list.end()) {
      list.push_back({day, unplug.at, minute});
    } else if (unplug.at < same->at) {
      *same = {day, unplug.at, minute};
    }
  }

  SamplesByWeekday minutes;
  for (std::size_t i = 0; i < days.size(); ++i) {
    for (const auto& sample : days[i]) minutes[i].push_back(sample.minuteOfDay);
    std::sort(minutes[i].begin(), minutes[i].end());
  }
  return minutes;
}

}  // namespace

std::vector<int> DepartureModel::samples(const DepartureLedger& ledger, int weekday, Date now,
                                         const Calendar& calendar) {
  if (!isWeekday(weekday)) return {};
  return collect(ledger, now, calendar, weekday)[static_cast<std::size_t>(weekday - 1)];
}

std::optional<DepartureModel::Prediction> DepartureModel::prediction(int weekday, std::vector<int> minutes) {
  std::sort(minutes.begin(), minutes.end());
  const auto n = static_cast<int>(minutes.size());
  if (n < minDays) return std::nullopt;
  if (minutes.back() - minutes.front() > maxSpread.count()) return std::nullopt;
  // The lower quartile by truncation: floor((n - 1) * 0.25), in whole numbers.
  const int index = (n - 1) / 4;
  return Prediction{weekday, minutes[static_cast<std::size_t>(index)], n};
}

std::optional<DepartureModel::Prediction> DepartureModel::predict(const DepartureLedger& ledger, int weekday,
                                                                  Date now, const Calendar& calendar) {
  return prediction(weekday, samples(ledger, weekday, now, calendar));
}

std::vector<DepartureModel::Prediction> DepartureModel::predictions(const DepartureLedger& ledger, Date now,
                                                                    const Calendar& calendar) {
  const SamplesByWeekday all = collect(ledger, now, calendar);
  std::vector<Prediction> result;
  for (int weekday = 1; weekday <= kDaysPerWeek; ++weekday) {
    if (auto p = prediction(weekday, all[static_cast<std::size_t>(weekday - 1)])) result.push_back(*p);
  }
  return result;
}

std::vector<DepartureModel::Day> DepartureModel::learned(const DepartureLedger& ledger, Date now,
                                                         const Calendar& calendar) {
  int spanDays = 0;
  if (!ledger.unplugs.empty()) {
    const auto oldest = std::min_element(ledger.unplugs.begin(), ledger.unplugs.end(),
                                         [](const auto& a, const auto& b) { return a.at < b.at; });
    spanDays = std::max(0, calendar.daysBetween(oldest->at, now));
  }

  const SamplesByWeekday all = collect(ledger, now, calendar);
  std::vector<Day> days;
  for (int weekday = 1; weekday <= kDaysPerWeek; ++weekday) {
    const auto& minutes = all[static_cast<std::size_t>(weekday - 1)];
    days.push_back({weekday, minutes, spanDays, prediction(weekday, minutes)});
  }
  return days;
}

std::optional<Date> DepartureModel::nextDeparture(const DepartureLedger& ledger, Date now,
                                                  const Calendar& calendar) {
  const auto known = predictions(ledger, now, calendar);
  return nextDeparture(known, now, calendar);
}

std::optional<Date> DepartureModel::nextDeparture(std::span<const Prediction> predictions, Date now,
                                                  const Calendar& calendar) {
  if (predictions.empty()) return std::nullopt;
  const Date today = calendar.startOfDay(now);
  for (int offset = 0; offset <= kLastDayOffset; ++offset) {
    const DateComponents day = calendar.components(calendar.addingDays(today, offset));
    const auto found = std::find_if(predictions.begin(), predictions.end(),
                                    [&](const Prediction& p) { return p.weekday == day.weekday; });
    if (found == predictions.end()) continue;
    // The calendar resolves a skipped clock time forward and a repeated one to
    // its first occurrence.
    const auto candidate = calendar.date(day.year, day.month, day.day, found->minuteOfDay / kMinutesPerHour,
                                         found->minuteOfDay % kMinutesPerHour);
    if (candidate && *candidate >= now) return candidate;
  }
  return std::nullopt;
}

}  // namespace batterycore
