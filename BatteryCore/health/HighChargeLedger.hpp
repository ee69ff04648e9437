// HighChargeLedger: minutes spent above 80% per calendar day, split into
// plugged-in and unplugged time, and the month summary built from them.
//
//   HighChargeLedger ledger;
//   // plugged in at 90%, ticks at 10:00 and 10:30 the same day
//   ledger.book(reading, tenOClock, halfPastTen, calendar);
//   ledger.days[0].minutesAbove80Plugged == 30.0
//   ledger.summary(halfPastTen, calendar).hoursAbove80 == 0.5
//
// The whole interval since the previous tick takes the state of the current
// reading; nothing is interpolated. Time above 80% counts whatever limit is
// set. Minutes stay fractional.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {

struct HighChargeLedger {
  struct Day {
    std::string day;  // day key "yyyy-MM-dd"
    double minutesAbove80Plugged = 0;
    double minutesAbove80Unplugged = 0;
    double minutesPlugged = 0;
    double minutesSampled = 0;

    double minutesAbove80() const { return minutesAbove80Plugged + minutesAbove80Unplugged; }

    friend bool operator==(const Day&, const Day&) = default;
    Json toJson() const;
    static Day fromJson(const Json& json);
  };

  struct MonthSummary {
    double hoursAbove80 = 0;
    double hoursPlugged = 0;
    // Absent when the ledger holds no day of the month before.
    std::optional<double> previousHoursAbove80;
    int daysCovered = 0;
    double hoursSampled = 0;

    friend bool operator==(const MonthSummary&, const MonthSummary&) = default;
  };

  // A longer tick interval means the Mac slept or the app was not running:
  // the whole interval is dropped, not clipped.
  static constexpr Seconds maxGap{3900};
  static constexpr std::size_t keepDays = 400;
  // A reading counts as above 80% from this percent on.
  static constexpr std::int64_t abovePercent = 81;

  std::vector<Day> days;  // oldest first

  // Books the interval from `lastTick` to `now` with the state `snapshot`
  // shows; an interval across midnight is split between the two days.
  void book(const BatterySnapshot& snapshot, std::optional<Date> lastTick, Date now,
            const Calendar& calendar);

  // The records of the month that contains `date`, in stored order.
  std::vector<Day> daysInMonthOf(Date date, const Calendar& calendar) const;

  // The month that contains `date`, compared with the month before.
  MonthSummary summary(Date date, const Calendar& calendar) const;

  friend bool operator==(const HighChargeLedger&, const HighChargeLedger&) = default;
  Json toJson() const;
  static HighChargeLedger fromJson(const Json& json);
};

}  // namespace batterycore
