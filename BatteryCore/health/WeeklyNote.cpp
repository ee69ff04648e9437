#include "BatteryCore/health/WeeklyNote.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"
#include "BatteryCore/text/MeaningWeekly.hpp"

namespace batterycore {

Date WeeklyNote::weekStart(Date date, const Calendar& calendar) {
  const Date day = calendar.startOfDay(date);
  const int back = (calendar.weekday(day) - calendar.firstWeekday() + 7) % 7;
  return calendar.addingDays(day, -back);
}

WeeklyNote::Week WeeklyNote::tally(const HighChargeLedger& ledger, Date first, Date end, const Calendar& calendar) {
  // Day keys sort as dates, so the week is a range of keys.
  const std::string from = calendar.dayKey(first);
  const std::string to = calendar.dayKey(end);
  Week week;
  for (const auto& day : ledger.days) {
    if (day.day < from || day.day >= to) continue;
    week.hoursAbove80 += day.minutesAbove80() / 60.0;
    week.hoursPlugged += day.minutesPlugged / 60.0;
    week.hoursSampled += day.minutesSampled / 60.0;
  }
  return week;
}

WeeklyNote::Step WeeklyNote::step(const WeeklyNote& previous, const HighChargeLedger& ledger,
                                  std::optional<int> healthPercent, Date now, const Calendar& calendar) {
  const Date thisWeek = weekStart(now, calendar);
  const std::string key = calendar.dayKey(thisWeek);
  if (previous.week == key) return {previous, std::nullopt};
  const WeeklyNote next{key};
  // The first look only remembers the week; a clock set back to an earlier
  // week moves the memory without a note.
  if (!previous.week || key < *previous.week) return {next, std::nullopt};

  const Date lastWeek = calendar.addingDays(thisWeek, -7);
  const Week week = tally(ledger, lastWeek, thisWeek, calendar);
  if (week.hoursSampled < minSampledHours) return {next, std::nullopt};
  const Week before = tally(ledger, calendar.addingDays(lastWeek, -7), lastWeek, calendar);

  const Summary summary{lastWeek, calendar.addingDays(thisWeek, -1), week,
                        before.hoursSampled >= minSampledHours ? std::optional(before) : std::nullopt,
                        healthPercent};
  auto note = Meaning::weeklyNote(summary, calendar);
  return {next, BatteryAlert{BatteryAlert::Kind::weeklyNote, now, std::move(note.title), std::move(note.simple),
                             std::move(note.technical)}};
}

Json WeeklyNote::toJson() const {
  Json json = Json::object();
  putIfPresent(json, "week", week);
  return json;
}

WeeklyNote WeeklyNote::fromJson(const Json& json) {
  auto week = optional<std::string>(json, "week");
  if (week && !parseDayKey(*week)) throw DecodingError("not a day key: \"" + *week + "\"", "week");
  return WeeklyNote{std::move(week)};
}

}  // namespace batterycore
