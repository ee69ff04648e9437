// Calendar: the user's calendar (Gregorian), time zone, first weekday and
// locale, and every question about days that a rule asks.
//
//   const auto berlin = Calendar::gregorian("Europe/Berlin");
//   const Date t = *parseIso8601("2026-03-28T23:30:00Z");   // 00:30 on the 29th in Berlin
//   berlin.dayKey(t) == "2026-03-29";
//   berlin.components(t).weekday == 1;                       // Sunday (1 = Sunday ... 7 = Saturday)
//
// Daylight saving, decided here once for every rule: a clock time that the
// change skips resolves to the next moment that exists (02:15 on a spring-
// forward night in New York becomes 03:00), and a clock time that happens
// twice resolves to its first occurrence.
//
// A Calendar is a value: copy it freely. One object is not meant to be used by
// two threads at once (it keeps a working ICU calendar inside).
#pragma once

#include "BatteryCore/foundation/Date.hpp"

#include <memory>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Calendar;
U_NAMESPACE_END

namespace batterycore {

struct DateComponents {
  int year = 0;
  int month = 0;    // 1 ... 12
  int day = 0;      // 1 ... 31
  int weekday = 0;  // 1 = Sunday ... 7 = Saturday
  int hour = 0;
  int minute = 0;
  int second = 0;

  friend bool operator==(const DateComponents&, const DateComponents&) = default;
};

class Calendar {
 public:
  // A Gregorian calendar in the given IANA zone. The first weekday comes from
  // the locale (Sunday for en_US, Monday for de_DE) unless one is given
  // (1 = Sunday ... 7 = Saturday). An unknown zone falls back to UTC.
  static Calendar gregorian(std::string_view timeZone, std::string_view locale = "en_US",
                            std::optional<int> firstWeekday = std::nullopt);
  static Calendar utc() { return gregorian("UTC"); }

  Calendar(const Calendar& other);
  Calendar& operator=(const Calendar& other);
  Calendar(Calendar&&) noexcept;
  Calendar& operator=(Calendar&&) noexcept;
  ~Calendar();

  const std::string& timeZone() const { return timeZone_; }
  const std::string& locale() const { return locale_; }
  int firstWeekday() const { return firstWeekday_; }

  DateComponents components(Date date) const;
  int weekday(Date date) const { return components(date).weekday; }

  Date startOfDay(Date date) const;
  Date addingDays(Date date, int days) const;
  Date addingMonths(Date date, int months) const;

  // The moment of a wall-clock time, resolved by the daylight-saving policy
  // above. Absent when the fields are out of range (month 13, hour 25 ...).
  std::optional<Date> date(int year, int month, int day, int hour = 0, int minute = 0,
                           int second = 0) const;
  // The same calendar day as `day`, at this hour and minute.
  Date onSameDay(Date day, int hour, int minute) const;

  // Whole calendar days from the day of `from` to the day of `to`
  // (negative when `to` lies on an earlier day).
  int daysBetween(Date from, Date to) const;

  // The day key "%04d-%02d-%02d" of a moment; fixed width, so text order is
  // date order, and its first seven characters select a month.
  std::string dayKey(Date date) const;
  // Start of the day named by a key, or absent when the key is not one.
  std::optional<Date> startOfDay(std::string_view dayKey) const;

 private:
  Calendar(std::string timeZone, std::string locale, int firstWeekday,
           std::unique_ptr<icu::Calendar> calendar);

  // The rules ask about the same few days on every tick: the days asked
  // about last are kept with their bounds, so that most questions need no
  // ICU call. A day of exactly 24 hours (no clock change) also answers for
  // the wall-clock times within it.
  struct Day {
    Date start;
    Date end;  // the next day's start
    DateComponents fields;  // of the start; hour, minute, second 0
    char key[11];
    bool plain() const { return end - start == Seconds{86400}; }
  };
  const Day* cachedDay(Date date) const;
  const Day& day(Date date) const;

  std::string timeZone_;
  std::string locale_;
  int firstWeekday_;
  std::unique_ptr<icu::Calendar> calendar_;
  mutable std::array<std::optional<Day>, 16> days_;
  mutable std::size_t nextDay_ = 0;
};

// Parses a day key "yyyy-MM-dd" into its fields; absent when malformed.
struct DayKeyFields {
  int year;
  int month;
  int day;
};
std::optional<DayKeyFields> parseDayKey(std::string_view key);

}  // namespace batterycore
