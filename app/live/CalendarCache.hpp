// CalendarCache: the person's calendar events as the service needs them on
// every tick, read from disk only every 15 minutes, when the calendar's path
// changes, on a new day, when the clock went back or the time zone changed.
//
//   CalendarCache cache(calendar, [](const std::string& line) { log(line); });
//   const auto& events = cache.events(now, "/home/ana/.calendars");   // today to the day after tomorrow
//
// A file that cannot be read is reported once, not on every reading.
#pragma once

#include "BatteryCore/departures/CalendarEvent.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kestrin::app::live {

class CalendarCache {
 public:
  using Note = std::function<void(const std::string&)>;
  static constexpr batterycore::Seconds readEvery{15 * 60};
  // Today, tomorrow and the day after: a trip tomorrow is found the evening before.
  static constexpr int daysAhead = 3;

  CalendarCache(batterycore::Calendar calendar, Note note);

  const std::vector<batterycore::CalendarEvent>& events(batterycore::Date now, const std::string& path);
  // Reads the days of `calendar` from now on (the monitor's, which follows
  // the system's time zone); the next look reads the files again if it differs.
  void follow(const batterycore::Calendar& calendar);
  // How many times the files were read; for tests.
  int reads() const { return reads_; }

 private:
  batterycore::Calendar calendar_;
  Note note_;
  std::string path_;
  std::optional<batterycore::Date> readAt_;
  std::string day_;
  std::vector<batterycore::CalendarEvent> events_;
  std::set<std::string> reported_;
  int reads_ = 0;
};

}  // namespace kestrin::app::live
