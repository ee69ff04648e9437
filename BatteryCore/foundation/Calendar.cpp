#include "BatteryCore/foundation/Calendar.hpp"

#include <cmath>
#include <unicode/calendar.h>
#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace batterycore {

namespace {

constexpr double kMillisPerSecond = 1000.0;

UDate toUDate(Date date) { return secondsSince1970(date) * kMillisPerSecond; }
Date fromUDate(UDate millis) { return dateFromSecondsSince1970(millis / kMillisPerSecond); }

int get(icu::Calendar& calendar, UCalendarDateFields field) {
  UErrorCode status = U_ZERO_ERROR;
  const int value = calendar.get(field, status);
  return U_SUCCESS(status) ? value : 0;
}

UDate currentTime(icu::Calendar& calendar) {
  UErrorCode status = U_ZERO_ERROR;
  const UDate millis = calendar.getTime(status);
  if (U_FAILURE(status)) {
    throw std::runtime_error("calendar could not compute a time");
  }
  return millis;
}

}  // namespace

Calendar Calendar::gregorian(std::string_view timeZone, std::string_view locale,
                             std::optional<int> firstWeekday) {
  const icu::UnicodeString zoneId = icu::UnicodeString::fromUTF8(
      icu::StringPiece(timeZone.data(), static_cast<int32_t>(timeZone.size())));
  icu::TimeZone* zone = icu::TimeZone::createTimeZone(zoneId);
  std::string zoneName(timeZone);
  if (*zone == icu::TimeZone::getUnknown()) {
    delete zone;
    zone = icu::TimeZone::createTimeZone("UTC");
    zoneName = "UTC";
  }
  const std::string localeName(locale);
  UErrorCode status = U_ZERO_ERROR;
  auto calendar = std::make_unique<icu::GregorianCalendar>(zone, icu::Locale(localeName.c_str()), status);
  if (U_FAILURE(status)) {
    throw std::runtime_error("unable to create a Gregorian calendar");
  }
  calendar->setLenient(true);
  calendar->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
  calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  if (firstWeekday && *firstWeekday >= 1 && *firstWeekday <= 7) {
    calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(*firstWeekday));
  }
  const int first = static_cast<int>(calendar->getFirstDayOfWeek());
  return Calendar(std::move(zoneName), localeName, first, std::move(calendar));
}

Calendar::Calendar(std::string timeZone, std::string locale, int firstWeekday,
                   std::unique_ptr<icu::Calendar> calendar)
    : timeZone_(std::move(timeZone)),
      locale_(std::move(locale)),
      firstWeekday_(firstWeekday),
      calendar_(std::move(calendar)) {}

Calendar::Calendar(const Calendar& other)
    : timeZone_(other.timeZone_),
      locale_(other.locale_),
      firstWeekday_(other.firstWeekday_),
      calendar_(other.calendar_->clone()) {}

Calendar& Calendar::operator=(const Calendar& other) {
  if (this != &other) {
    timeZone_ = other.timeZone_;
    locale_ = other.locale_;
    firstWeekday_ = other.firstWeekday_;
    calendar_.reset(other.calendar_->clone());
  }
  return *this;
}

Calendar::Calendar(Calendar&&) noexcept = default;
Calendar& Calendar::operator=(Calendar&&) noexcept = default;
Calendar::~Calendar() = default;

const Calendar::Day* Calendar::cachedDay(Date date) const {
  for (const auto& day : days_) {
    if (day && date >= day->start && date < day->end) return &*day;
  }
  return nullptr;
}

const Calendar::Day& Calendar::day(Date date) const {
  if (const Day* cached = cachedDay(date)) return *cached;
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(date), status);
  Day day{};
  day.fields.year = get(*calendar_, UCAL_EXTENDED_YEAR);
  day.fields.month = get(*calendar_, UCAL_MONTH) + 1;
  day.fields.day = get(*calendar_, UCAL_DATE);
  day.fields.weekday = get(*calendar_, UCAL_DAY_OF_WEEK);
  calendar_->clear();
  calendar_->set(day.fields.year, day.fields.month - 1, day.fields.day, 0, 0, 0);
  day.start = fromUDate(currentTime(*calendar_));
  calendar_->clear();
  calendar_->set(day.fields.year, day.fields.month - 1, day.fields.day + 1, 0, 0, 0);
  day.end = fromUDate(currentTime(*calendar_));
  std::snprintf(day.key, sizeof day.key, "%04d-%02d-%02d", day.fields.year, day.fields.month, day.fields.day);
  // A moment ICU puts before its own day's start (not seen, but cheap to
  // rule out) is not cached.
  if (!(date >= day.start && date < day.end)) {
    auto& slot = days_[days_.size() - 1];
    slot = day;
    return *slot;
  }
  auto& slot = days_[nextDay_];
  nextDay_ = (nextDay_ + 1) % days_.size();
  slot = day;
  return *slot;
}

DateComponents Calendar::components(Date date) const {
  if (const Day* cached = cachedDay(date); cached && cached->plain()) {
    const auto seconds = static_cast<int>(std::floor((date - cached->start).count()));
    DateComponents parts = cached->fields;
    parts.hour = seconds / 3600;
    parts.minute = seconds / 60 % 60;
    parts.second = seconds % 60;
    return parts;
  }
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(date), status);
  DateComponents parts;
  parts.year = get(*calendar_, UCAL_EXTENDED_YEAR);
  parts.month = get(*calendar_, UCAL_MONTH) + 1;
  parts.day = get(*calendar_, UCAL_DATE);
  parts.weekday = get(*calendar_, UCAL_DAY_OF_WEEK);
  parts.hour = get(*calendar_, UCAL_HOUR_OF_DAY);
  parts.minute = get(*calendar_, UCAL_MINUTE);
  parts.second = get(*calendar_, UCAL_SECOND);
  return parts;
}

Date Calendar::startOfDay(Date date) const {
  return day(date).start;
}

Date Calendar::onSameDay(Date date, int hour, int minute) const {
  const Day& known = day(date);
  if (known.plain() && hour >= 0 && hour < 24 && minute >= 0 && minute < 60) {
    return known.start + Seconds{hour * 3600 + minute * 60};
  }
  const DateComponents& parts = known.fields;
  calendar_->clear();
  calendar_->set(parts.year, parts.month - 1, parts.day, hour, minute, 0);
  return fromUDate(currentTime(*calendar_));
}

Date Calendar::addingDays(Date date, int days) const {
  if (days == 0) return date;
  // A few days on, from the cached days: whole days from a day start land on
  // a day start; any other moment keeps its time of day when neither day has
  // a clock change. Everything else is ICU's.
  if (days >= -7 && days <= 7) {
    const Day& from = day(date);
    const Seconds into = date - from.start;
    const bool fromPlain = from.plain();
    Date at = from.start;
    for (int left = days; left > 0; --left) at = day(at).end;
    for (int left = days; left < 0; ++left) at = day(at - Seconds{1}).start;
    if (into == Seconds{0}) return at;
    if (fromPlain && day(at).plain()) return at + into;
  }
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(date), status);
  calendar_->add(UCAL_DATE, days, status);
  return fromUDate(currentTime(*calendar_));
}

Date Calendar::addingMonths(Date date, int months) const {
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(date), status);
  calendar_->add(UCAL_MONTH, months, status);
  return fromUDate(currentTime(*calendar_));
}

std::optional<Date> Calendar::date(int year, int month, int day, int hour, int minute,
                                   int second) const {
  if (month < 1 || month > 12 || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59) {
    return std::nullopt;
  }
  using namespace std::chrono;
  const unsigned lastDay = static_cast<unsigned>(
      year_month_day_last{std::chrono::year{year}, month_day_last{std::chrono::month{static_cast<unsigned>(month)}}}
          .day());
  if (day < 1 || static_cast<unsigned>(day) > lastDay) {
    return std::nullopt;
  }
  calendar_->clear();
  calendar_->set(year, month - 1, day, hour, minute, second);
  return fromUDate(currentTime(*calendar_));
}

int Calendar::daysBetween(Date from, Date to) const {
  // The difference of the two dates on the (proleptic Gregorian) calendar.
  using namespace std::chrono;
  const auto civil = [](const DateComponents& f) {
    return sys_days{year_month_day{std::chrono::year{f.year}, std::chrono::month{static_cast<unsigned>(f.month)},
                                   std::chrono::day{static_cast<unsigned>(f.day)}}};
  };
  const DateComponents a = day(from).fields;
  const DateComponents b = day(to).fields;
  if (a.year > 1582 && b.year > 1582) return static_cast<int>((civil(b) - civil(a)).count());
  const Date start = startOfDay(from);
  const Date end = startOfDay(to);
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(start), status);
  const int days = calendar_->fieldDifference(toUDate(end), UCAL_DATE, status);
  return U_SUCCESS(status) ? days : 0;
}

std::string Calendar::dayKey(Date date) const { return day(date).key; }

std::optional<Date> Calendar::startOfDay(std::string_view dayKey) const {
  const auto fields = parseDayKey(dayKey);
  if (!fields) {
    return std::nullopt;
  }
  return date(fields->year, fields->month, fields->day);
}

std::optional<DayKeyFields> parseDayKey(std::string_view key) {
  if (key.size() != 10 || key[4] != '-' || key[7] != '-') {
    return std::nullopt;
  }
  auto number = [&](std::size_t from, std::size_t length) -> std::optional<int> {
    int value = 0;
    const char* first = key.data() + from;
    const char* last = first + length;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc{} || end != last) {
      return std::nullopt;
    }
    return value;
  };
  const auto year = number(0, 4);
  const auto month = number(5, 2);
  const auto day = number(8, 2);
  if (!year || !month || !day || *month < 1 || *month > 12 || *day < 1 || *day > 31) {
    return std::nullopt;
  }
  return DayKeyFields{*year, *month, *day};
}

}  // namespace batterycore
