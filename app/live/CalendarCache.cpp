#include "app/live/CalendarCache.hpp"

#include "app/live/ICalendarFiles.hpp"

namespace kestrin::app::live {

CalendarCache::CalendarCache(batterycore::Calendar calendar, Note note)
    : calendar_(std::move(calendar)), note_(std::move(note)) {}

void CalendarCache::follow(const batterycore::Calendar& calendar) {
  if (calendar.timeZone() == calendar_.timeZone() && calendar.locale() == calendar_.locale() &&
      calendar.firstWeekday() == calendar_.firstWeekday()) {
    return;
  }
  calendar_ = calendar;
  readAt_.reset();
}

const std::vector<batterycore::CalendarEvent>& CalendarCache::events(batterycore::Date now, const std::string& path) {
  const std::string day = calendar_.dayKey(now);
  const bool fresh = readAt_ && path == path_ && day == day_ && now >= *readAt_ && now - *readAt_ < readEvery;
  if (fresh) return events_;
  const auto from = calendar_.startOfDay(now);
  auto reading = readCalendarEvents(path, from, calendar_.addingDays(from, daysAhead), calendar_);
  ++reads_;
  for (const auto& problem : reading.errors) {
    if (reported_.insert(problem).second && note_) note_("calendar: " + problem);
  }
  events_ = std::move(reading.events);
  path_ = path;
  day_ = day;
  readAt_ = now;
  return events_;
}

}  // namespace kestrin::app::live
