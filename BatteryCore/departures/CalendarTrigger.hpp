// CalendarTrigger: a full charge the evening before a trip found in the
// person's calendar, so the laptop leaves at 100%; the limit comes back on
// when it is unplugged.
//
//   // "Flight to Lisbon" tomorrow at 08:00, plugged in at 79%, limit 80%:
//   CalendarTrigger::decision(state, events, at79, 80, true, true, keywords, today1759, calendar)  // absent
//   auto start = CalendarTrigger::decision(state, events, at79, 80, true, true, keywords, today1800, calendar);
//   start->session.origin == FullChargeSession::Origin::calendar("Flight to Lisbon")
//   start->alert.title == "Charging to 100% for tomorrow"
//   state = CalendarTrigger::started(state, start->event, today1800, calendar);   // never again for it
//
// A trip is an event whose title holds one of the person's keywords, compared
// without regard to case in the person's language ("FLUG" holds "flug";
// Turkish dotted and dotless i as Turkish writes them), or any all-day event
// while the person counts those.
//
// When: from `eveningHour` (18:00) on the day before the trip until it
// starts. A trip found only on its own day still gets its charge there, as
// long as it has not begun. An all-day trip has no hour to leave at, so it
// counts until `allDayLastHour` (noon) of its first day; after that it is
// taken as under way. Only while plugged in: an unplugged laptop waits, and
// the plans panel asks for the charger. Never without a limit in force to
// put back, and never at 100% already.
//
// Each occurrence (uid and start, `CalendarEvent::key`) gets one charge at
// most, and none once the person said "Not tonight". With several trips
// waiting, the earliest goes first; the next one gets its own charge only
// when it is still ahead after that one ended, the laptop is plugged in
// again and no other full charge is running (the caller decides only then).
//
// The charge is a FullChargeSession with the origin calendar(title) that ends
// when the laptop is unplugged, with no time limit and not when full.
#pragma once

#include "BatteryCore/departures/CalendarEvent.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"

#include <chrono>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>

namespace batterycore {

struct CalendarTrigger {
  // One trip occurrence as the plans panel tells it.
  struct Trip {
    std::string key;  // CalendarEvent::key of the occurrence
    std::string title;
    Date start;
    bool allDay = false;
    // First seen only on its own day, after the evening before had passed.
    bool foundLate = false;

    static Trip of(const CalendarEvent& event, bool foundLate);

    friend bool operator==(const Trip&, const Trip&) = default;
    // {"key", "title", "start", "allDay", "foundLate"}; "key" and "start"
    // are required, the rest may be missing (empty, false).
    Json toJson() const;
    static Trip fromJson(const Json& json);
  };

  // The last trip whose charge ended and put the limit back.
  struct Restored {
    Trip trip;
    int limit = 80;  // the limit that came back on
    Date at;         // when the charge ended

    friend bool operator==(const Restored&, const Restored&) = default;
    // {"trip", "limit", "at"}, all required.
    Json toJson() const;
    static Restored fromJson(const Json& json);
  };

  // What to begin now.
  struct Start {
    FullChargeSession session;  // origin calendar(title), ends on unplug
    BatteryAlert alert;         // calendarFullCharge, raised when the session begins
    CalendarEvent event;        // the trip it is for

    friend bool operator==(const Start&, const Start&) = default;
  };

  // The charge for a trip may begin from this hour on the day before it.
  static constexpr int eveningHour = 18;
  // An all-day trip counts as under way from this hour of its first day.
  static constexpr int allDayLastHour = 12;
  // Keys of occurrences that began this long ago are forgotten.
  static constexpr std::chrono::hours keepKeys{48};

  // Keys of occurrences a charge was started for.
  std::set<std::string> handled;
  // Keys of occurrences the person skipped ("Not tonight").
  std::set<std::string> skipped;
  // The next trip today or tomorrow that has not begun and had no charge yet
  // (it may be a skipped one), as last seen.
  std::optional<Trip> next;
  // The trip the running charge is for.
  std::optional<Trip> current;
  std::optional<Restored> lastRestored;

  // Whether an event is a trip: its title holds a keyword (case folded in
  // `locale`, an ICU locale name; empty and blank keywords never match), or
  // it is an all-day event and `allDayCounts`.
  static bool isTrip(const CalendarEvent& event, std::span<const std::string> keywords, bool allDayCounts,
                     std::string_view locale);

  // When the charge for an occurrence starting at `start` may begin: the day
  // before at eveningHour.
  static Date opens(Date start, const Calendar& calendar);
  // From when it is too late: the start itself, or allDayLastHour on the
  // first day of an all-day event.
  static Date closes(Date start, bool allDay, const Calendar& calendar);

  // Whether to start a full charge now, and for which trip. `canStart` is the
  // limit (percent) to put back, absent when no limit is in force; `enabled`
  // is the person's setting, `allDayCounts` and `keywords` theirs too. No
  // start unless, in order: enabled; a limit; 99% or less; plugged in; a trip
  // among `events` neither handled nor skipped whose time lies within
  // opens ... closes (the earliest such, by start, then uid). The alert says
  // "for tomorrow" while the trip is on a later day, "for today" on its day.
  static std::optional<Start> decision(const CalendarTrigger& state, std::span<const CalendarEvent> events,
                                       const BatterySnapshot& snapshot, std::optional<int> canStart, bool enabled,
                                       bool allDayCounts, std::span<const std::string> keywords, Date now,
                                       const Calendar& calendar);

  // The state after looking at the calendar's events: `next` becomes the
  // earliest trip today or tomorrow that has not begun (before `closes`) and
  // was not handled, keeping what was known of it (found late or not); keys of
  // occurrences that began more than `keepKeys` ago are forgotten. Call it
  // whenever the events or the day may have changed (every tick is fine).
  static CalendarTrigger seen(const CalendarTrigger& state, std::span<const CalendarEvent> events, bool allDayCounts,
                              std::span<const std::string> keywords, Date now, const Calendar& calendar);

  // The caller began the session of a Start for this trip.
  static CalendarTrigger started(const CalendarTrigger& state, const CalendarEvent& event, Date now,
                                 const Calendar& calendar);
  // A session ended and the limit is back; only a calendar session changes
  // the state: its trip becomes `lastRestored`.
  static CalendarTrigger restored(const CalendarTrigger& state, const FullChargeSession& session, Date now);
  // The person chose "Not tonight" for this occurrence. If its charge is
  // running, the caller also stops it.
  static CalendarTrigger skip(const CalendarTrigger& state, const std::string& eventKey);

  // The occurrence "Not tonight" means now: the running charge's trip, else
  // the next trip unless it is already skipped; absent when there is none.
  std::optional<std::string> skippableKey() const;

  // The `calendarFullCharge` alert for a trip, at `now`.
  static BatteryAlert alert(const CalendarEvent& event, Date now, const Calendar& calendar);

  friend bool operator==(const CalendarTrigger&, const CalendarTrigger&) = default;

  // {"handled", "skipped" (arrays of keys), "next", "current", "lastRestored"
  // (left out when absent)}; every key may be missing.
  Json toJson() const;
  static CalendarTrigger fromJson(const Json& json);
};

}  // namespace batterycore
