#include "app/live/ICalendarFiles.hpp"

#include "KestrinWidget/SharedContainer.hpp"

extern "C" {
#include <libical/ical.h>
}

#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>
#include <tuple>
#include <utility>

namespace kestrin::app::live {

namespace {

using batterycore::Calendar;
using batterycore::CalendarEvent;
using batterycore::Date;
namespace fs = std::filesystem;

using Component = std::unique_ptr<icalcomponent, decltype(&icalcomponent_free)>;

// Floating and all-day times reach us through libical as their wall-clock
// fields counted as UTC; the window handed to it is widened by this much so
// that none is cut off before it is placed in its own zone.
constexpr std::chrono::hours kWindowMargin{48};
constexpr double kSecondsPerDay = 86400.0;

std::string lowered(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

bool startsLikeICalendar(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  return lowered(text.substr(0, 15)) == "begin:vcalendar";
}

icaltimetype utcTime(Date date) {
  return icaltime_from_timet_with_zone(static_cast<time_t>(batterycore::secondsSince1970(date)), 0,
                                       icaltimezone_get_utc_timezone());
}

Date fromTimeT(time_t seconds) { return batterycore::dateFromSecondsSince1970(static_cast<double>(seconds)); }

std::optional<std::string> tzidOf(icalproperty* property) {
  if (property == nullptr) return std::nullopt;
  icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
  const char* tzid = parameter != nullptr ? icalparameter_get_tzid(parameter) : nullptr;
  if (tzid == nullptr || *tzid == '\0') return std::nullopt;
  return std::string(tzid);
}

// A calendar in the zone an ICU-known name stands for; absent for any other.
std::optional<Calendar> knownZone(const std::string& name) {
  if (name.empty()) return std::nullopt;
  auto calendar = Calendar::gregorian(name);
  if (calendar.timeZone() == name) return calendar;
  return std::nullopt;
}

// The zone a TZID names when the file has no VTIMEZONE for it and libical
// does not know it: an IANA name, that name behind a vendor prefix
// ("/mozilla.org/20070129_1/Europe/Berlin"), or a Windows name ("W. Europe
// Standard Time").
std::optional<Calendar> zoneNamed(const std::string& tzid) {
  for (std::size_t from = 0; from != std::string::npos;) {
    if (auto zone = knownZone(tzid.substr(from))) return zone;
    const auto slash = tzid.find('/', from);
    from = slash == std::string::npos ? slash : slash + 1;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString iana;
  icu::TimeZone::getIDForWindowsID(icu::UnicodeString::fromUTF8(tzid), nullptr, iana, status);
  if (U_FAILURE(status) || iana.isEmpty()) return std::nullopt;
  std::string name;
  iana.toUTF8String(name);
  return knownZone(name);
}

class FileReader {
 public:
  FileReader(std::string name, Date from, Date to, const Calendar& calendar, CalendarReading& out)
      : name_(std::move(name)), from_(from), to_(to), calendar_(calendar), out_(out) {}

  void read(std::string_view text) {
    const std::string terminated(text);
    Component root(icalparser_parse_string(terminated.c_str()), icalcomponent_free);
    if (!root) {
      problem(startsLikeICalendar(text) ? "damaged: the calendar is cut short or malformed" : "not an iCalendar file");
      return;
    }
    std::vector<icalcomponent*> calendars;
    switch (icalcomponent_isa(root.get())) {
      case ICAL_VCALENDAR_COMPONENT:
      case ICAL_VEVENT_COMPONENT:
        calendars.push_back(root.get());
        break;
      case ICAL_XROOT_COMPONENT:  // several calendars one after another
        for (auto* c = icalcomponent_get_first_component(root.get(), ICAL_VCALENDAR_COMPONENT); c != nullptr;
             c = icalcomponent_get_next_component(root.get(), ICAL_VCALENDAR_COMPONENT)) {
          calendars.push_back(c);
        }
        break;
      default:
        break;
    }
    if (calendars.empty()) {
      problem("not an iCalendar file");
      return;
    }
    if (const int damaged = icalcomponent_count_errors(root.get()); damaged > 0) {
      problem("damaged: " + std::to_string(damaged) + (damaged == 1 ? " line" : " lines") + " could not be read and " +
              (damaged == 1 ? "was" : "were") + " left out");
    }
    for (auto* calendar : calendars) readCalendar(calendar);
  }

 private:
  struct Occurrences;

  void problem(const std::string& what) { out_.errors.push_back(name_ + ": " + what); }

  std::vector<icalcomponent*> eventsOf(icalcomponent* calendar) {
    std::vector<icalcomponent*> events;
    if (icalcomponent_isa(calendar) == ICAL_VEVENT_COMPONENT) {
      events.push_back(calendar);
      return events;
    }
    for (auto* e = icalcomponent_get_first_component(calendar, ICAL_VEVENT_COMPONENT); e != nullptr;
         e = icalcomponent_get_next_component(calendar, ICAL_VEVENT_COMPONENT)) {
      events.push_back(e);
    }
    return events;
  }

  void readCalendar(icalcomponent* calendar) {
    const auto events = eventsOf(calendar);
    // Occurrences changed on their own stand in for the ones they name.
    overridden_.clear();
    for (auto* event : events) {
      icalproperty* property = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY);
      if (property == nullptr) continue;
      if (const auto moment = momentOf(icalproperty_get_datetime_with_component(property, event), property)) {
        overridden_.emplace(uidOf(event), *moment);
      }
    }
    for (auto* event : events) readEvent(event);
  }

  std::string uidOf(icalcomponent* event) const {
    const char* uid = icalcomponent_get_uid(event);
    if (uid != nullptr && *uid != '\0') return uid;
    const char* summary = icalcomponent_get_summary(event);
    return name_ + "#" + (summary != nullptr ? summary : "");
  }

  const Calendar& zoneFor(icalproperty* property) {
    const auto tzid = tzidOf(property);
    if (!tzid) return calendar_;
    auto found = zones_.find(*tzid);
    if (found == zones_.end()) found = zones_.emplace(*tzid, zoneNamed(*tzid)).first;
    return found->second ? *found->second : calendar_;
  }

  // A time from the file as a moment. libical has already placed times with
  // a known zone; the rest are wall-clock times in the zone their TZID names
  // or, floating, in the person's own.
  std::optional<Date> momentOf(icaltimetype time, icalproperty* property) {
    if (icaltime_is_null_time(time) || !icaltime_is_valid_time(time)) return std::nullopt;
    if (time.is_date) return calendar_.date(time.year, time.month, time.day);
    if (time.zone != nullptr) return fromTimeT(icaltime_as_timet_with_zone(time, time.zone));
    return zoneFor(property).date(time.year, time.month, time.day, time.hour, time.minute, time.second);
  }

  void readEvent(icalcomponent* event);

  static bool repeatsTooOften(icalcomponent* event) {
    for (auto* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY); rule != nullptr;
         rule = icalcomponent_get_next_property(event, ICAL_RRULE_PROPERTY)) {
      const auto frequency = icalproperty_get_rrule(rule).freq;
      if (frequency == ICAL_SECONDLY_RECURRENCE || frequency == ICAL_MINUTELY_RECURRENCE) return true;
    }
    return false;
  }

  std::string name_;
  Date from_;
  Date to_;
  const Calendar& calendar_;
  CalendarReading& out_;
  std::map<std::string, std::optional<Calendar>> zones_;
  std::set<std::pair<std::string, Date>> overridden_;
};

// The occurrences of one event as libical finds them.
struct FileReader::Occurrences {
  FileReader& reader;
  icalcomponent* event;
  icalproperty* startProperty;
  icaltimetype start;
  std::string uid;
  std::string title;
  int days = 1;                    // of an all-day event
  batterycore::Seconds length{0};  // of any other
  bool isOverride = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY) != nullptr;

  static void found(icalcomponent*, icaltime_span* span, void* data) {
    auto& self = *static_cast<Occurrences*>(data);
    if (const auto moment = self.startOf(span->start)) self.add(*moment);
  }

  std::optional<Date> startOf(time_t seconds) const {
    if (start.zone != nullptr && !start.is_date) return fromTimeT(seconds);
    // Wall-clock fields counted as UTC: read them back and place them.
    icaltimetype fields = icaltime_from_timet_with_zone(seconds, start.is_date, icaltimezone_get_utc_timezone());
    fields.zone = nullptr;
    return reader.momentOf(fields, startProperty);
  }

  void add(Date begins) {
    if (!isOverride && reader.overridden_.contains({uid, begins})) return;
    CalendarEvent occurrence{uid, title, begins, begins, start.is_date != 0};
    occurrence.end = start.is_date ? reader.calendar_.addingDays(begins, days) : begins + length;
    const bool overlaps =
        occurrence.start < reader.to_ &&
        (occurrence.end > reader.from_ || (occurrence.end == occurrence.start && occurrence.start >= reader.from_));
    if (overlaps) reader.out_.events.push_back(std::move(occurrence));
  }
};

void FileReader::readEvent(icalcomponent* event) {
  const char* summary = icalcomponent_get_summary(event);
  const std::string title = summary != nullptr ? summary : "";
  icalproperty* startProperty = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
  const icaltimetype start = icalcomponent_get_dtstart(event);
  const auto firstStart = momentOf(start, startProperty);
  if (!firstStart) {
    problem("event \"" + title + "\" has no start that can be read; left out");
    return;
  }
  if (icalcomponent_get_status(event) == ICAL_STATUS_CANCELLED) return;

  Occurrences occurrences{*this, event, startProperty, start, uidOf(event), title};
  const icaltimetype end = icalcomponent_get_dtend(event);
  if (start.is_date) {
    // Whole days from the first day to the day after the last; one at least.
    const double days = icaltime_is_null_time(end)
                            ? 1.0
                            : static_cast<double>(icaltime_as_timet(end) - icaltime_as_timet(start)) / kSecondsPerDay;
    occurrences.days = std::max(1, static_cast<int>(days + 0.5));
  } else {
    icalproperty* endProperty = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY);
    const auto lastEnd = momentOf(end, endProperty != nullptr ? endProperty : startProperty);
    occurrences.length = lastEnd ? std::max(batterycore::Seconds{0}, *lastEnd - *firstStart) : batterycore::Seconds{0};
  }
  if (repeatsTooOften(event)) {
    occurrences.add(*firstStart);
    problem("event \"" + title + "\" repeats every minute or second; only its first time is read");
    return;
  }
  icalcomponent_foreach_recurrence(event, utcTime(from_ - kWindowMargin), utcTime(to_ + kWindowMargin),
                                   &Occurrences::found, &occurrences);
}

std::optional<std::string> contentsOf(const fs::path& file, std::string& problem) {
  std::error_code error;
  const auto size = fs::file_size(file, error);
  if (error) {
    problem = "cannot be read (" + error.message() + ")";
    return std::nullopt;
  }
  if (size > kLargestCalendarFile) {
    problem = "too large to be a calendar (" + std::to_string(size) + " bytes); not read";
    return std::nullopt;
  }
  auto text = widget::readWholeFile(file);
  if (!text) problem = "cannot be read";
  return text;
}

bool isHidden(const fs::path& path) { return path.filename().string().starts_with('.'); }

bool isCalendarFile(const fs::path& path) { return lowered(path.extension().string()) == ".ics"; }

// The .ics files under a folder, in name order.
std::vector<fs::path> calendarFilesIn(const fs::path& folder, CalendarReading& out) {
  std::vector<fs::path> files;
  std::error_code error;
  fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error);
  if (error) {
    out.errors.push_back(folder.string() + ": cannot be read (" + error.message() + ")");
    return files;
  }
  for (; it != fs::recursive_directory_iterator(); it.increment(error)) {
    if (error) {
      out.errors.push_back(folder.string() + ": cannot be read to the end (" + error.message() + ")");
      break;
    }
    const auto& entry = *it;
    if (isHidden(entry.path())) {
      std::error_code ignored;
      if (entry.is_directory(ignored)) it.disable_recursion_pending();
      continue;
    }
    std::error_code ignored;
    if (entry.is_regular_file(ignored) && isCalendarFile(entry.path())) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void readFile(const fs::path& file, Date from, Date to, const Calendar& calendar, CalendarReading& out) {
  std::string problem;
  const auto text = contentsOf(file, problem);
  if (!text) {
    out.errors.push_back(file.string() + ": " + problem);
    return;
  }
  FileReader(file.string(), from, to, calendar, out).read(*text);
}

void putInOrder(CalendarReading& reading) {
  auto& events = reading.events;
  const auto order = [](const CalendarEvent& a, const CalendarEvent& b) {
    return std::tie(a.start, a.uid, a.title, a.end) < std::tie(b.start, b.uid, b.title, b.end);
  };
  std::sort(events.begin(), events.end(), order);
  // The same occurrence twice (an RDATE repeating an RRULE time) counts once.
  events.erase(std::unique(events.begin(), events.end(),
                           [](const CalendarEvent& a, const CalendarEvent& b) { return a.key() == b.key(); }),
               events.end());
}

}  // namespace

CalendarReading readCalendarText(std::string_view text, std::string_view name, Date from, Date to,
                                 const Calendar& calendar) {
  CalendarReading reading;
  FileReader(std::string(name), from, to, calendar, reading).read(text);
  putInOrder(reading);
  return reading;
}

CalendarReading readCalendarEvents(const fs::path& path, Date from, Date to, const Calendar& calendar) {
  CalendarReading reading;
  std::error_code error;
  const auto status = fs::status(path, error);
  if (error || !fs::exists(status)) {
    reading.errors.push_back(path.string() + ": no such file or folder");
    return reading;
  }
  if (fs::is_directory(status)) {
    for (const auto& file : calendarFilesIn(path, reading)) readFile(file, from, to, calendar, reading);
  } else {
    readFile(path, from, to, calendar, reading);
  }
  putInOrder(reading);
  return reading;
}

}  // namespace kestrin::app::live
