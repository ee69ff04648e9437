#include "BatteryCore/text/MeaningWeekly.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <algorithm>
#include <cmath>

namespace batterycore::Meaning {

WeekTrend weekTrend(const WeeklyNote::Summary& summary) {
  if (!summary.weekBefore) return WeekTrend::first;
  const double now = summary.week.hoursAbove80;
  const double before = summary.weekBefore->hoursAbove80;
  const double difference = std::abs(now - before);
  if (difference < 1.0 || difference <= 0.1 * std::max(now, before)) return WeekTrend::same;
  return now > before ? WeekTrend::up : WeekTrend::down;
}

namespace {

std::string hoursSentence(double hours) {
  if (hours <= 0) return text("weekly.none", "No time above 80%% this week.");
  if (hours < 1.0) return text("weekly.underAnHour", "Under an hour above 80%% this week.");
  return format("weekly.hours", "%@ above 80%% this week.", {Formatting::hours(hours)});
}

std::string simpleNote(const WeeklyNote::Summary& summary) {
  std::optional<std::string> comparison;
  std::optional<std::string> joke;
  switch (weekTrend(summary)) {
    case WeekTrend::first:
      comparison = text("weekly.first", "Your first week of history.");
      break;
    case WeekTrend::same:
      comparison = text("weekly.same", "About the same as last week.");
      break;
    case WeekTrend::up:
      comparison = format("weekly.up", "Up from %@ last week.", {Formatting::hours(summary.weekBefore->hoursAbove80)});
      joke = text("weekly.up.joke", "Your battery would like a word.");
      break;
    case WeekTrend::down:
      comparison =
          format("weekly.down", "Down from %@ last week.", {Formatting::hours(summary.weekBefore->hoursAbove80)});
      joke = text("weekly.down.joke", "Your battery says thanks.");
      break;
  }
  return join({hoursSentence(summary.week.hoursAbove80), comparison, joke});
}

std::string technicalNote(const WeeklyNote::Summary& summary, const Calendar& calendar) {
  const auto span = Formatting::weekSpan(summary.first, summary.last, calendar);
  std::optional<std::string> health;
  if (summary.healthPercent) {
    health = format("weekly.technical.health", "Health %@.", {Formatting::percent(*summary.healthPercent)});
  }
  const std::string before =
      summary.weekBefore
          ? format("weekly.technical.lastWeek", "Last week: %@.", {Formatting::hours(summary.weekBefore->hoursAbove80)})
          : text("weekly.technical.noEarlier", "No earlier week to compare.");
  return join({format("weekly.technical.week", "%@: %@ above 80%%.", {span, Formatting::hours(summary.week.hoursAbove80)}),
               format("weekly.technical.plugged", "Plugged in %@.", {Formatting::hours(summary.week.hoursPlugged)}),
               health, before});
}

}  // namespace

WeeklyWords weeklyNote(const WeeklyNote::Summary& summary, const Calendar& calendar) {
  return {text("weekly.title", "Your week"), simpleNote(summary), technicalNote(summary, calendar)};
}

}  // namespace batterycore::Meaning
