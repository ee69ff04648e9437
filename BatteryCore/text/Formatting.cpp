#include "BatteryCore/text/Formatting.hpp"

#include "BatteryCore/text/Meaning.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <optional>

#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace batterycore::Formatting {
namespace {

constexpr int kMinutesPerHour = 60;
constexpr int kMinutesPerDay = 24 * kMinutesPerHour;
constexpr int kDaysPerWeek = 7;
constexpr int kMonthsPerYear = 12;
constexpr double kMillisecondsPerMinute = 60'000.0;
// Beyond this many days ahead a weekday name would be ambiguous.
constexpr int kLastDayNamedByWeekday = 6;
constexpr int kLastDayCountedBack = 6;
// Below this many months a span is told in months.
constexpr std::int64_t kMostMonthsInMonths = 23;
constexpr double kWattsWithDecimalBelow = 10.0;
constexpr int kMaxFractionDigits = 15;
constexpr std::int64_t kCentsPerDollar = 100;
// 2026-01-01T00:00:00Z: any day without a clock change serves for a bare time of day.
constexpr double kPlainDayMillis = 1767225600000.0;

constexpr char16_t kNarrowNoBreakSpace = u'\u202F';

constexpr std::array<std::string_view, kDaysPerWeek> kPluralWeekdayKeys = {
    "weekday.plural.sun", "weekday.plural.mon", "weekday.plural.tue", "weekday.plural.wed",
    "weekday.plural.thu", "weekday.plural.fri", "weekday.plural.sat"};
constexpr std::array<std::string_view, kDaysPerWeek> kPluralWeekdayDefaults = {
    "Sundays", "Mondays", "Tuesdays", "Wednesdays", "Thursdays", "Fridays", "Saturdays"};

std::string toText(icu::UnicodeString text) {
  text.findAndReplace(icu::UnicodeString(kNarrowNoBreakSpace), icu::UnicodeString(u' '));
  std::string out;
  text.toUTF8String(out);
  return out;
}

// Rounds halves away from zero and saturates, so a huge or undefined value
// never reaches an integer conversion it cannot survive.
std::int64_t roundedInteger(double value) {
  if (std::isnan(value)) return 0;
  constexpr double kLimit = 9.0e18;
  if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (value <= -kLimit) return std::numeric_limits<std::int64_t>::min();
  return std::llround(value);
}

int positiveModulo(int value, int divisor) {
  const int remainder = value % divisor;
  return remainder < 0 ? remainder + divisor : remainder;
}

icu::Locale gregorian(const icu::Locale& locale) {
  icu::Locale copy(locale);
  UErrorCode status = U_ZERO_ERROR;
  copy.setKeywordValue("calendar", "gregorian", status);
  return U_SUCCESS(status) ? copy : locale;
}

// ICU formatters are costly to build; each thread keeps the ones of the
// current locale and starts afresh when the locale changes.
class FormatterCache {
 public:
  static FormatterCache& current() {
    thread_local FormatterCache cache;
    const char* name = icu::Locale::getDefault().getName();
    if (cache.localeName_ != name) cache.reset(name);
    return cache;
  }

  const icu::Locale& locale() const { return locale_; }

  const icu::number::LocalizedNumberFormatter& decimal(int digits) {
    const auto found = decimals_.find(digits);
    if (found != decimals_.end()) return found->second;
    auto formatter = icu::number::NumberFormatter::withLocale(locale_)
                         .precision(icu::number::Precision::fixedFraction(digits))
                         .grouping(UNUM_GROUPING_OFF)
                         .roundingMode(UNUM_ROUND_HALFUP)
                         .sign(UNUM_SIGN_NEGATIVE);
    return decimals_.emplace(digits, std::move(formatter)).first->second;
  }

  const icu::number::LocalizedNumberFormatter& percent() {
    if (!percent_) {
      percent_ = icu::number::NumberFormatter::withLocale(locale_)
                     .unit(icu::NoUnit::percent())
                     .precision(icu::number::Precision::integer())
                     .sign(UNUM_SIGN_NEGATIVE);
    }
    return *percent_;
  }

  const icu::number::LocalizedNumberFormatter& usd(bool whole) {
    auto& slot = whole ? usdWhole_ : usdCents_;
    if (!slot) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::CurrencyUnit dollar(u"USD", status);
      slot = icu::number::NumberFormatter::withLocale(locale_)
                 .unit(dollar)
                 .precision(whole ? icu::number::Precision::integer()
                                  : icu::number::Precision::fixedFraction(2))
                 .roundingMode(UNUM_ROUND_HALFUP)
                 .sign(UNUM_SIGN_NEGATIVE);
    }
    return *slot;
  }

  // A date format for an ICU skeleton ("jmm", "MMMd"), in the locale's own
  // order and punctuation; null when ICU cannot make one.
  icu::SimpleDateFormat* skeleton(const char16_t* skeleton) {
    UErrorCode status = U_ZERO_ERROR;
    if (!generator_) {
      generator_.reset(icu::DateTimePatternGenerator::createInstance(dateLocale_, status));
      if (U_FAILURE(status)) {
        generator_.reset();
        return nullptr;
      }
    }
    const icu::UnicodeString best = generator_->getBestPattern(skeleton, status);
    if (U_FAILURE(status)) return nullptr;
    return pattern(best);
  }

  // A date format for a literal pattern, for the few fields whose form the
  // sentence decides (a weekday name inside a phrase is in the format context).
  icu::SimpleDateFormat* pattern(const icu::UnicodeString& text) {
    std::u16string key(text.getBuffer(), static_cast<std::size_t>(text.length()));
    const auto found = dates_.find(key);
    if (found != dates_.end()) return found->second.get();
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(text, dateLocale_, status);
    if (U_FAILURE(status)) return nullptr;
    return dates_.emplace(std::move(key), std::move(format)).first->second.get();
  }

  const icu::DateFormatSymbols* symbols() {
    if (!symbols_) {
      UErrorCode status = U_ZERO_ERROR;
      symbols_ = std::make_unique<icu::DateFormatSymbols>(dateLocale_, "gregorian", status);
      if (U_FAILURE(status)) symbols_.reset();
    }
    return symbols_.get();
  }

 private:
  void reset(const char* name) {
    localeName_ = name;
    locale_ = icu::Locale(name);
    dateLocale_ = gregorian(locale_);
    decimals_.clear();
    percent_.reset();
    usdWhole_.reset();
    usdCents_.reset();
    generator_.reset();
    dates_.clear();
    symbols_.reset();
  }

  std::string localeName_;
  icu::Locale locale_;
  icu::Locale dateLocale_;
  std::map<int, icu::number::LocalizedNumberFormatter> decimals_;
  std::optional<icu::number::LocalizedNumberFormatter> percent_;
  std::optional<icu::number::LocalizedNumberFormatter> usdWhole_;
  std::optional<icu::number::LocalizedNumberFormatter> usdCents_;
  std::unique_ptr<icu::DateTimePatternGenerator> generator_;
  std::map<std::u16string, std::unique_ptr<icu::SimpleDateFormat>> dates_;
  std::unique_ptr<icu::DateFormatSymbols> symbols_;
};

std::optional<std::string> formatNumber(const icu::number::LocalizedNumberFormatter& formatter,
                                        double value) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString text = formatter.formatDouble(value, status).toString(status);
  if (U_FAILURE(status)) return std::nullopt;
  return toText(text);
}

UDate toUDate(Date date) { return secondsSince1970(date) * 1000.0; }

// Formats a moment with a date format in the calendar's time zone.
std::optional<std::string> formatDate(icu::SimpleDateFormat* format, UDate moment,
                                      const std::string& timeZone) {
  if (format == nullptr) return std::nullopt;
  icu::UnicodeString zoneId;
  format->getTimeZone().getID(zoneId);
  if (zoneId != icu::UnicodeString::fromUTF8(timeZone)) {
    format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone)));
  }
  icu::UnicodeString text;
  format->format(moment, text);
  return toText(text);
}

constexpr const char* kUtc = "UTC";

std::string wholeNumber(std::int64_t value) {
  return decimal(static_cast<double>(value), 0);
}

// The day part of a dated phrase: "Mar 12" in the current year, else "Mar 12, 2025".
std::string dateOfYear(Date date, Date now, const Calendar& calendar) {
  const bool thisYear = calendar.components(date).year == calendar.components(now).year;
  auto& cache = FormatterCache::current();
  if (auto text = formatDate(cache.skeleton(thisYear ? u"MMMd" : u"yMMMd"), toUDate(date),
                             calendar.timeZone())) {
    return *text;
  }
  return calendar.dayKey(date);
}

std::string weekdayName(Date date, const Calendar& calendar) {
  auto& cache = FormatterCache::current();
  if (auto text = formatDate(cache.pattern(u"EEEE"), toUDate(date), calendar.timeZone())) {
    return *text;
  }
  return weekdayShort(calendar.weekday(date));
}

// today (0), tomorrow (1), later this week (2 ... 6) or a dated day.
enum class DayAhead { today, tomorrow, thisWeek, dated };

DayAhead dayAhead(Date date, Date now, const Calendar& calendar) {
  const int days = calendar.daysBetween(now, date);
  if (days == 0) return DayAhead::today;
  if (days == 1) return DayAhead::tomorrow;
  if (days >= 2 && days <= kLastDayNamedByWeekday) return DayAhead::thisWeek;
  return DayAhead::dated;
}

}  // namespace

std::string localeName() { return icu::Locale::getDefault().getName(); }

std::string day(Date date, const Calendar& calendar) { return calendar.dayKey(date); }

std::string duration(int minutes) {
  const std::int64_t m = std::max(minutes, 0);
  if (minutes < kMinutesPerHour) return Meaning::format("unit.min", "%lld min", {m});
  if (m % kMinutesPerHour != 0) {
    return Meaning::format("unit.hMin", "%lld h %lld min",
                           {m / kMinutesPerHour, m % kMinutesPerHour});
  }
  return Meaning::format("unit.h", "%lld h", {m / kMinutesPerHour});
}

std::string clock(int minutes) {
  const int m = std::max(minutes, 0);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%d:%02d", m / kMinutesPerHour, m % kMinutesPerHour);
  return buffer;
}

int hoursRounded(int minutes) {
  return static_cast<int>(std::lround(std::max(minutes, 0) / static_cast<double>(kMinutesPerHour)));
}

std::string hours(double h) {
  const std::int64_t m = roundedInteger(h * kMinutesPerHour);
  if (m >= 1 && m < kMinutesPerHour) return Meaning::format("unit.min", "%lld min", {m});
  return Meaning::format("unit.h", "%lld h", {roundedInteger(h)});
}

std::string span(double months) {
  const std::int64_t n = roundedInteger(months);
  if (n > kMostMonthsInMonths) {
    const double years = static_cast<double>(roundedInteger(months / kMonthsPerYear * 10.0)) / 10.0;
    const std::string number =
        years == std::floor(years) ? decimal(years, 0) : decimal(years, 1);
    return Meaning::format("span.years", "about %@ years", {number});
  }
  return Meaning::format("span.months", "about %lld months", {std::max<std::int64_t>(n, 1)});
}

std::string decimal(double value, int digits) {
  const int fractionDigits = std::clamp(digits, 0, kMaxFractionDigits);
  if (auto text = formatNumber(FormatterCache::current().decimal(fractionDigits), value)) {
    return *text;
  }
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", fractionDigits, value);
  return buffer;
}

std::string watts(double w) {
  const double a = std::fabs(w);
  const double tenths = static_cast<double>(roundedInteger(a * 10.0)) / 10.0;
  const std::string number = a < kWattsWithDecimalBelow && tenths != std::floor(tenths)
                                 ? decimal(tenths, 1)
                                 : wholeNumber(roundedInteger(a));
  return number + " W";
}

std::string percent(double value) { return percent(roundedInteger(value)); }

std::string percent(std::int64_t value) {
  if (auto text = formatNumber(FormatterCache::current().percent(), static_cast<double>(value))) {
    return *text;
  }
  return std::to_string(value) + "%";
}

std::string relativeDate(Date date, Date now, const Calendar& calendar) {
  const int days = calendar.daysBetween(date, now);
  if (days == 0) return Meaning::text("date.today", "today");
  if (days == 1) return Meaning::text("date.yesterday", "yesterday");
  if (days >= 2 && days <= kLastDayCountedBack) {
    return Meaning::format("date.daysAgo", "%lld days ago", {days});
  }
  return dateOfYear(date, now, calendar);
}

std::string weekdayShort(int weekday) {
  // ICU's symbols run 1 = Sunday ... 7 = Saturday, with nothing at index 0.
  const int index = positiveModulo(weekday + kDaysPerWeek - 1, kDaysPerWeek) + 1;
  if (const auto* symbols = FormatterCache::current().symbols()) {
    int32_t count = 0;
    const icu::UnicodeString* names = symbols->getWeekdays(
        count, icu::DateFormatSymbols::FORMAT, icu::DateFormatSymbols::ABBREVIATED);
    if (names != nullptr && index < count) return toText(names[index]);
  }
  return std::string(kPluralWeekdayDefaults[static_cast<std::size_t>(index - 1)].substr(0, 3));
}

std::string weekdays(std::span<const int> weekdays) {
  std::vector<std::string> names;
  for (const int weekday : weekdays) {
    if (weekday < 1 || weekday > kDaysPerWeek) continue;
    const auto index = static_cast<std::size_t>(weekday - 1);
    names.push_back(Meaning::text(kPluralWeekdayKeys[index], kPluralWeekdayDefaults[index]));
  }
  return listOr(names);
}

std::string time(int minuteOfDay) {
  const int minute = positiveModulo(minuteOfDay, kMinutesPerDay);
  const UDate moment = kPlainDayMillis + minute * kMillisecondsPerMinute;
  if (auto text = formatDate(FormatterCache::current().skeleton(u"jmm"), moment, kUtc)) {
    return *text;
  }
  return clock(minute);
}

std::string time(Date date, const Calendar& calendar) {
  if (auto text = formatDate(FormatterCache::current().skeleton(u"jmm"), toUDate(date),
                             calendar.timeZone())) {
    return *text;
  }
  const DateComponents parts = calendar.components(date);
  return clock(parts.hour * kMinutesPerHour + parts.minute);
}

std::string at(Date date, Date now, const Calendar& calendar) {
  const std::string clockTime = time(date, calendar);
  switch (dayAhead(date, now, calendar)) {
    case DayAhead::today:
      return Meaning::format("date.atTime", "at %@", {clockTime});
    case DayAhead::tomorrow:
      return Meaning::format("date.tomorrowAt", "tomorrow at %@", {clockTime});
    case DayAhead::thisWeek:
      return Meaning::format("date.onDayAt", "%@ at %@", {weekdayName(date, calendar), clockTime});
    case DayAhead::dated:
      break;
  }
  return Meaning::format("date.onDayAt", "%@ at %@", {dateOfYear(date, now, calendar), clockTime});
}

std::string when(Date date, Date now, const Calendar& calendar) {
  const std::string clockTime = time(date, calendar);
  switch (dayAhead(date, now, calendar)) {
    case DayAhead::today:
      return clockTime;
    case DayAhead::tomorrow:
      return Meaning::format("date.tomorrowAt", "tomorrow at %@", {clockTime});
    case DayAhead::thisWeek:
      return Meaning::format("date.onDayAt", "%@ at %@", {weekdayName(date, calendar), clockTime});
    case DayAhead::dated:
      break;
  }
  return Meaning::format("date.dayAndTime", "%@, %@", {dateOfYear(date, now, calendar), clockTime});
}

std::string weekSpan(Date first, Date last, const Calendar& calendar) {
  const DateComponents from = calendar.components(first);
  const DateComponents to = calendar.components(last);
  auto& cache = FormatterCache::current();
  if (from.year == to.year && from.month == to.month) {
    // The month stands beside day numbers, so it takes the format form ("März", not "Mär").
    if (auto month = formatDate(cache.pattern(u"MMM"), toUDate(first), calendar.timeZone())) {
      return Meaning::format("date.weekSpan.sameMonth", "%@ %lld\u2013%lld",
                             {*month, from.day, to.day});
    }
  }
  auto dayAndMonth = [&](Date date) {
    return formatDate(cache.skeleton(u"MMMd"), toUDate(date), calendar.timeZone())
        .value_or(calendar.dayKey(date));
  };
  return Meaning::format("date.weekSpan", "%@ \u2013 %@", {dayAndMonth(first), dayAndMonth(last)});
}

std::string monthYear(std::string_view dayKey) {
  constexpr std::size_t kMonthKeyLength = 7;
  const auto fields = dayKey.size() == kMonthKeyLength
                          ? parseDayKey(std::string(dayKey) + "-01")
                          : parseDayKey(dayKey);
  if (!fields) return std::string(dayKey);
  const auto first = Calendar::utc().date(fields->year, fields->month, 1);
  if (!first) return std::string(dayKey);
  return formatDate(FormatterCache::current().skeleton(u"yMMMM"), toUDate(*first), kUtc)
      .value_or(std::string(dayKey));
}

std::string capitalizedFirst(std::string_view text) {
  icu::UnicodeString s = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  if (s.isEmpty()) return std::string(text);
  const int32_t end = s.moveIndex32(0, 1);
  icu::UnicodeString head = s.tempSubString(0, end);
  head.toTitle(nullptr, FormatterCache::current().locale(),
               U_TITLECASE_NO_LOWERCASE | U_TITLECASE_NO_BREAK_ADJUSTMENT);
  head.append(s, end, s.length() - end);
  return toText(head);
}

std::string usd(double amount) {
  const std::int64_t cents = roundedInteger(amount * kCentsPerDollar);
  const bool whole = cents % kCentsPerDollar == 0;
  if (auto text = formatNumber(FormatterCache::current().usd(whole), amount)) return *text;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, whole ? "$%.0f" : "$%.2f", amount);
  return buffer;
}

std::string listOr(std::span<const std::string> items) {
  if (items.empty()) return {};
  if (items.size() == 1) return items.front();
  const std::size_t count = items.size();
  if (count == 2) return Meaning::format("list.or.2", "%@ or %@", {items[0], items[1]});
  const std::string separator = Meaning::text("list.separator", ", ");
  std::string head = items[0];
  for (std::size_t i = 1; i + 2 < count; ++i) head += separator + items[i];
  return Meaning::format("list.or.3", "%@, %@ or %@", {head, items[count - 2], items[count - 1]});
}

std::string sentenceEnd() { return Meaning::text("sentence.end", "."); }

}  // namespace batterycore::Formatting
