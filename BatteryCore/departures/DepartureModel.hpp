// DepartureModel: the usual unplug time of each weekday, learned from the
// departure ledger, and from those the next expected departure.
//
//   // Five Mondays of the last eight weeks, first unplugs at 08:10, 08:20,
//   // 08:25, 08:30 and 08:40 (local time):
//   DepartureModel::predict(ledger, 2, now, calendar)
//       == Prediction{.weekday = 2, .minuteOfDay = 500, .basedOn = 5}    // 08:20
//   DepartureModel::nextDeparture(ledger, sundayEvening, calendar)      // Monday 08:20
//
// A sample is the earliest unplug of a day, from 05:00 on, within the last
// `window`; earlier unplugs are the Mac being moved around, not a departure.
// The prediction is the lower quartile of a weekday's samples, so a top-up
// aimed at it is done before most of the person's departures; a weekday with
// fewer than `minDays` samples, or samples more than `maxSpread` apart, has
// no usual time.
//
// Pure functions of the ledger, `now` and the calendar (its time zone decides
// what a day and a clock time are); nothing is kept between calls.
#pragma once

#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"

#include <chrono>
#include <optional>
#include <span>
#include <vector>

namespace batterycore {

struct DepartureModel {
  struct Prediction {
    int weekday = 0;      // 1 = Sunday ... 7 = Saturday
    int minuteOfDay = 0;  // 0 ... 1439, after local midnight
    int basedOn = 0;      // sample days behind it

    friend bool operator==(const Prediction&, const Prediction&) = default;
  };

  // What was learned about one weekday, as the settings and plans show it.
  struct Day {
    int weekday = 0;
    std::vector<int> minutes;  // sample minutes of the day, ascending
    int spanDays = 0;          // whole days from the oldest unplug in the ledger to now
    std::optional<Prediction> prediction;

    friend bool operator==(const Day&, const Day&) = default;
  };

  // Fewest sample days before a weekday gets a usual time.
  static constexpr int minDays = 4;
  // Only unplugs this recent are samples: eight weeks.
  static constexpr Seconds window{4838400.0};
  // Samples further apart than this are too scattered to call usual.
  static constexpr std::chrono::minutes maxSpread{45};
  // Unplugs before this hour of the day are never samples.
  static constexpr int earliestHour = 5;

  // The sample minutes of one weekday, ascending: one per day, the earliest
  // unplug of that day.
  static std::vector<int> samples(const DepartureLedger& ledger, int weekday, Date now,
                                  const Calendar& calendar);
  // The usual time behind a weekday's sample minutes (in any order); absent
  // for too few or too scattered samples.
  static std::optional<Prediction> prediction(int weekday, std::vector<int> minutes);

  static std::optional<Prediction> predict(const DepartureLedger& ledger, int weekday, Date now,
                                           const Calendar& calendar);
  // Every weekday that has a usual time, Sunday to Saturday.
  static std::vector<Prediction> predictions(const DepartureLedger& ledger, Date now,
                                             const Calendar& calendar);
  // One Day per weekday, Sunday to Saturday.
  static std::vector<Day> learned(const DepartureLedger& ledger, Date now, const Calendar& calendar);

  // The first predicted moment not before `now`, looking from today to the
  // same weekday a week on. A clock time that a daylight-saving change skips
  // becomes the next moment that exists; one that happens twice, its first.
  static std::optional<Date> nextDeparture(const DepartureLedger& ledger, Date now,
                                           const Calendar& calendar);
  static std::optional<Date> nextDeparture(std::span<const Prediction> predictions, Date now,
                                           const Calendar& calendar);
};

}  // namespace batterycore
