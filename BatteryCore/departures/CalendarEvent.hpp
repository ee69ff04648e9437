// CalendarEvent: one occurrence of an event in the person's calendar, as the
// calendar trigger looks at it. A repeating event gives one value per
// occurrence.
//
//   CalendarEvent flight{"f81d4fae@example.com", "Flight to Lisbon", at("2026-03-03T07:00:00Z"),
//                        at("2026-03-03T09:45:00Z"), false};
//   flight.key() == "f81d4fae@example.com@2026-03-03T07:00:00Z"
//
// For an all-day event `start` and `end` are the starts of its first day and
// of the day after its last, in the person's calendar (a two-day trip from
// Thursday: Thursday 00:00 to Saturday 00:00). Whoever reads the calendar
// files makes these values; nothing here knows a file format.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

struct CalendarEvent {
  // The event's identifier, shared by all its occurrences.
  std::string uid;
  // Its title as written; may be empty.
  std::string title;
  Date start;
  Date end;
  bool allDay = false;

  // Names this occurrence among every other: the uid, "@", and the start in
  // ISO 8601 UTC. A moved occurrence is a new one.
  std::string key() const;
  // The start written in a key, or absent when the text is not a key.
  static std::optional<Date> startOfKey(std::string_view key);

  friend bool operator==(const CalendarEvent&, const CalendarEvent&) = default;

  // {"uid", "title", "start", "end", "allDay"}; "title" and "allDay" may be
  // missing (empty, false).
  Json toJson() const;
  static CalendarEvent fromJson(const Json& json);
};

}  // namespace batterycore
