// WeeklyNote: on the first tick of a new week in the person's calendar, one
// note on last week's hours above 80%, against the week before.
//
//   // Monday-first calendar; the note last looked at the week of Nov 9.
//   auto step = WeeklyNote::step(WeeklyNote{"2026-11-09"}, ledger, 96, mondayNov16At0900, berlin);
//   step.next.week == "2026-11-16"
//   step.alert->title == "Your week"
//   step.alert->body == "12 h above 80% this week. Up from 8 h last week. Your battery would like a word."
//   step.alert->technicalBody == "Nov 9–15: 12 h above 80%. Plugged in 40 h. Health 96%. Last week: 8 h."
//
// The week starts on the calendar's first weekday (Monday in most of Europe,
// Sunday in the United States). The rule remembers the first day of the week
// it last looked at, so there is at most one note a week; the very first look
// only remembers the week. A week counts only when the ledger sampled at
// least a day of it: a laptop that was off or asleep gets no note, and a week
// before that sampled less is "your first week". The two weeks are "about
// the same" when they differ by less than an hour or by at most a tenth of
// the larger. The light-hearted second sentence goes only with the simple
// wording, and only when the week went up or down.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <optional>
#include <string>

namespace batterycore {

struct WeeklyNote {
  // Day key of the first day of the week the rule last looked at.
  std::optional<std::string> week;

  static constexpr double minSampledHours = 24;

  // One week's totals from the ledger.
  struct Week {
    double hoursAbove80 = 0;
    double hoursPlugged = 0;
    double hoursSampled = 0;
    friend bool operator==(const Week&, const Week&) = default;
  };
  // What a note says: the week just over and the one before it.
  struct Summary {
    Date first;                      // the week's first day
    Date last;                       // its last day
    Week week;
    std::optional<Week> weekBefore;  // absent: it sampled less than a day
    std::optional<int> healthPercent;
  };
  struct Step;

  // The start of the week that contains `date`.
  static Date weekStart(Date date, const Calendar& calendar);
  // The ledger's totals for the days from `first` up to, not including, `end`.
  static Week tally(const HighChargeLedger& ledger, Date first, Date end, const Calendar& calendar);

  // `healthPercent` is the latest health (HealthTrend::healthPercent), for
  // the technical wording.
  static Step step(const WeeklyNote& previous, const HighChargeLedger& ledger, std::optional<int> healthPercent,
                   Date now, const Calendar& calendar);

  friend bool operator==(const WeeklyNote&, const WeeklyNote&) = default;
  // {"week": "yyyy-MM-dd"}; the key may be missing.
  Json toJson() const;
  static WeeklyNote fromJson(const Json& json);
};

struct WeeklyNote::Step {
  WeeklyNote next;
  std::optional<BatteryAlert> alert;
};

}  // namespace batterycore
