// Helpers for the departure tests: moments written the way a person reads
// them, Berlin's calendar, readings with only the fields the rules look at,
// ledgers built from local clock times, and a scoped ICU locale.
#pragma once

#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include <unicode/locid.h>
#include "tests/common/UsingLocale.hpp"

namespace batterycore::testing {

inline Date at(std::string_view iso8601) {
  const auto date = parseIso8601(iso8601);
  EXPECT_TRUE(date.has_value()) << iso8601;
  return date.value_or(Date{});
}

// Europe/Berlin, English, the week starting on Sunday.
inline const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin", "en_US");
  return calendar;
}

// A wall-clock time in the calendar's zone.
inline Date local(const Calendar& calendar, int year, int month, int day, int hour, int minute, int second = 0) {
  const auto date = calendar.date(year, month, day, hour, minute, second);
  EXPECT_TRUE(date.has_value());
  return date.value_or(Date{});
}

// A wall-clock time in Berlin in March 2026; the 2nd is a Monday.
inline Date march(int day, int hour, int minute, int second = 0) {
  return local(berlin(), 2026, 3, day, hour, minute, second);
}

inline BatterySnapshot reading(std::int64_t percent, bool pluggedIn, Date when) {
  return BatterySnapshot(when, percent, pluggedIn, pluggedIn && percent < 100, false, std::nullopt, std::nullopt,
                         LimitState::on(80), 0, 0, 0, ThermalLevel::nominal, 4000, 4100, 4500, 3200, 120, 1000,
                         12500, 0);
}

inline DepartureLedger ledgerOf(std::initializer_list<Date> moments) {
  DepartureLedger ledger;
  for (const Date moment : moments) ledger.unplugs.push_back({moment, false});
  return ledger;
}

// Eight weeks of weekday unplugs around 08:20 in Berlin, from Monday
// 2026-01-05: each weekday gets the minutes 08:18 ... 08:30 once, so its
// lower quartile is 08:20. Nothing at the weekend.
inline DepartureLedger eightWeeksOfWeekdays() {
  constexpr std::array<int, 8> kOffsets{-2, 0, 3, 5, 8, 10, 1, 4};
  DepartureLedger ledger;
  const Date firstMonday = local(berlin(), 2026, 1, 5, 12, 0);
  for (int week = 0; week < 8; ++week) {
    for (int day = 0; day < 5; ++day) {
      const DateComponents date = berlin().components(berlin().addingDays(firstMonday, week * 7 + day));
      const int minute = 20 + kOffsets[static_cast<std::size_t>((week + day) % 8)];
      ledger.unplugs.push_back({local(berlin(), date.year, date.month, date.day, 8, minute), week % 3 == 0});
    }
  }
  return ledger;
}

inline bool hasLocaleData(const char* name) {
  int32_t count = 0;
  const icu::Locale* available = icu::Locale::getAvailableLocales(count);
  for (int32_t i = 0; i < count; ++i) {
    if (std::string(available[i].getName()) == name) return true;
  }
  return false;
}

}  // namespace batterycore::testing

#define REQUIRE_LOCALE(name) \
  if (!::batterycore::testing::hasLocaleData(name)) GTEST_SKIP() << "ICU has no data for " << (name)
