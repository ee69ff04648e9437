// SmartTopUp: charges past the limit to 100% just before the person's usual
// departure, so the Mac leaves full, and puts the limit back when it is
// unplugged.
//
//   // Mondays usually at 08:20, no top-up durations known yet (lead 90 min):
//   SmartTopUp::decision(state, ledger, at79Percent, 80, true, monday0649, calendar)   // absent
//   auto start = SmartTopUp::decision(state, ledger, at79Percent, 80, true, monday0650, calendar);
//   start->departure == monday0820
//   start->session.origin == FullChargeSession::Origin::smart(monday0820)
//   start->session.deadline == monday0920                   // an hour's grace after it
//   state = SmartTopUp::started(state, "2026-03-02");       // no second top-up that day
//
// The charge itself is a FullChargeSession with the origin smart(departure),
// ended by unplugging or by its deadline. This state only remembers the day a
// top-up last started or was skipped, and how long recent top-ups took to
// fill the battery; from those it learns how early to start (`lead`).
#pragma once

#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {

struct SmartTopUp {
  // What to begin now.
  struct Start {
    Date departure;             // the departure the top-up prepares for
    FullChargeSession session;  // to begin, origin smart(departure)

    friend bool operator==(const Start&, const Start&) = default;
  };

  // Lead until three top-up durations are known.
  static constexpr std::chrono::minutes defaultLead{90};
  static constexpr std::chrono::minutes minLead{45};
  static constexpr std::chrono::minutes maxLead{180};
  // A top-up that could only run for less than this is not begun.
  static constexpr std::chrono::minutes minWindow{20};
  // The session's deadline lies this long after the departure.
  static constexpr std::chrono::minutes grace{60};
  // Durations kept in `topUpMinutes`.
  static constexpr std::size_t keepTopUps = 10;

  // Day key ("2026-03-02") of the day a top-up last started.
  std::optional<std::string> lastStartedDay;
  // Day key of a day the person skipped ("Not today").
  std::optional<std::string> skippedDay;
  // Minutes recent top-ups took from start to full, oldest first.
  std::vector<int> topUpMinutes;

  // How many minutes before the departure a top-up starts: the median of the
  // recorded durations (the two middle ones averaged, truncated), kept within
  // minLead ... maxLead; defaultLead until three are known.
  int lead() const;

  // Whether to start a top-up now, and for which departure. `canStart` is the
  // limit (percent) to put back afterwards, absent when no limit is in force;
  // `enabled` is the person's setting. In order, no start unless: enabled; a
  // limit; the battery at 99% or less; today neither started nor skipped; the
  // next departure is today; now is at least `lead` and at most `minWindow`
  // before it. Being unplugged does not stop it: the session waits.
  static std::optional<Start> decision(const SmartTopUp& state, const DepartureLedger& ledger,
                                       const BatterySnapshot& snapshot, std::optional<int> canStart, bool enabled,
                                       Date now, const Calendar& calendar);
  // The same decision for a next departure already worked out (absent: none
  // expected), as the plans card has it at hand.
  static std::optional<Start> decision(const SmartTopUp& state, std::optional<Date> nextDeparture,
                                       const BatterySnapshot& snapshot, std::optional<int> canStart, bool enabled,
                                       Date now, const Calendar& calendar);

  // The caller began the session of a Start on this day.
  static SmartTopUp started(const SmartTopUp& state, std::string day);
  // A top-up reached full after this many minutes; the last `keepTopUps` are kept.
  static SmartTopUp reachedFull(const SmartTopUp& state, int minutes);
  // The person chose "Not today" on this day.
  static SmartTopUp skip(const SmartTopUp& state, std::string day);

  // The `smartFullCharge` alert for a started top-up, raised when its session begins.
  static BatteryAlert alert(const Start& start, const Calendar& calendar);

  friend bool operator==(const SmartTopUp&, const SmartTopUp&) = default;

  // {"lastStartedDay", "skippedDay" (left out when absent), "topUpMinutes"};
  // every key may be missing.
  Json toJson() const;
  static SmartTopUp fromJson(const Json& json);
};

}  // namespace batterycore
