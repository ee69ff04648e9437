// The weekly note's texts: last week's time above 80% against the week before.
//
//   Meaning::weeklyNote(summary, calendar).simple
//       == "12 h above 80% this week. Up from 8 h last week. Your battery would like a word."
//   Meaning::weeklyNote(summary, calendar).technical
//       == "Nov 9–15: 12 h above 80%. Plugged in 40 h. Health 96%. Last week: 8 h."
//
// Every text comes from the catalogue in the current language, with the
// English default given here.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/health/WeeklyNote.hpp"

#include <string>

namespace batterycore::Meaning {

enum class WeekTrend { first, same, up, down };

struct WeeklyWords {
  std::string title;
  std::string simple;
  std::string technical;
};

// How a week compares with the one before: about the same when they differ
// by less than an hour or by at most a tenth of the larger.
WeekTrend weekTrend(const WeeklyNote::Summary& summary);
WeeklyWords weeklyNote(const WeeklyNote::Summary& summary, const Calendar& calendar);

}  // namespace batterycore::Meaning
