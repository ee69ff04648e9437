#include "BatteryCore/foundation/Date.hpp"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>

namespace batterycore {

std::string toIso8601(Date date) {
  using namespace std::chrono;
  // Round to the millisecond first, so 10:00:00.9996 becomes 10:00:01.
  const auto ms = sys_time<milliseconds>{milliseconds{
      static_cast<long long>(std::llround(secondsSince1970(date) * 1000.0))}};
  const auto day = floor<days>(ms);
  const year_month_day ymd{day};
  const hh_mm_ss<milliseconds> time{ms - day};
  const long long millis = time.subseconds().count();
  const int year = static_cast<int>(ymd.year());
  if (year < 0 || year > 9999) {
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02lld:%02lld:%02lld.%03lldZ", year,
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                  static_cast<long long>(time.hours().count()), static_cast<long long>(time.minutes().count()),
                  static_cast<long long>(time.seconds().count()), millis);
    std::string text = buffer;
    if (millis == 0) text.erase(text.size() - 5, 4);
    return text;
  }
  // Written digit by digit: the state files hold many of these.
  std::string text = millis == 0 ? "0000-00-00T00:00:00Z" : "0000-00-00T00:00:00.000Z";
  auto digits = [&text](std::size_t at, long long value, int count) {
    for (int i = count - 1; i >= 0; --i, value /= 10) text[at + static_cast<std::size_t>(i)] = static_cast<char>('0' + value % 10);
  };
  digits(0, year, 4);
  digits(5, static_cast<unsigned>(ymd.month()), 2);
  digits(8, static_cast<unsigned>(ymd.day()), 2);
  digits(11, time.hours().count(), 2);
  digits(14, time.minutes().count(), 2);
  digits(17, time.seconds().count(), 2);
  if (millis != 0) digits(20, millis, 3);
  return text;
}

namespace {

// ICU's SimpleDateFormat does the parsing: "S" accepts any number of fraction
// digits and scales them to milliseconds; "XXX" accepts "Z" and "+01:00",
// "XX" accepts "+0100". A formatter is not safe to share while parsing, and
// costly to build, so each thread keeps its own four.
class Iso8601Parsers {
 public:

  // Built when first needed: a program that reads only "Z" times (all of
  // ours) never pays for the other forms.
  const icu::SimpleDateFormat* format(int index) {
    if (!built[index]) {
      built[index] = true;
      formats[index] = make(patterns[index]);
    }
    return formats[index].get();
  }

 private:
  static constexpr const char16_t* patterns[4] = {u"yyyy-MM-dd'T'HH:mm:ssXXX", u"yyyy-MM-dd'T'HH:mm:ss.SXXX",
                                                  u"yyyy-MM-dd'T'HH:mm:ssXX", u"yyyy-MM-dd'T'HH:mm:ss.SXX"};
  bool built[4] = {false, false, false, false};
  std::unique_ptr<icu::SimpleDateFormat> formats[4];

  static std::unique_ptr<icu::SimpleDateFormat> make(const char16_t* pattern) {
    UErrorCode status = U_ZERO_ERROR;
    auto format =
        std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), icu::Locale::getRoot(), status);
    if (U_FAILURE(status)) return nullptr;
    format->adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
    format->setLenient(false);
    // Gregorian all the way back, as toIso8601 writes: ICU's calendar
    // switches to the Julian one before October 1582, so "1013-05-15"
    // would read as another day than the one written.
    std::unique_ptr<icu::Calendar> calendar(format->getCalendar()->clone());
    if (auto* gregorian = dynamic_cast<icu::GregorianCalendar*>(calendar.get())) {
      gregorian->setGregorianChange(-std::numeric_limits<double>::max(), status);
      format->adoptCalendar(calendar.release());
    }
    return U_SUCCESS(status) ? std::move(format) : nullptr;
  }
};

// The moments toIso8601 writes with a four-digit year, which is all this
// parser reads back: 0001-01-01T00:00:00Z to 9999-12-31T23:59:59.999Z.
constexpr double kEarliestMillis = -62135596800000.0;
constexpr double kLatestMillis = 253402300799999.0;

std::optional<Date> parseWith(const icu::SimpleDateFormat* format, const icu::UnicodeString& text) {
  if (format == nullptr) {
    return std::nullopt;
  }
  icu::ParsePosition position(0);
  const UDate millis = format->parse(text, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != text.length()) {
    return std::nullopt;
  }
  if (!(millis >= kEarliestMillis && millis <= kLatestMillis)) {
    return std::nullopt;
  }
  return dateFromSecondsSince1970(millis / 1000.0);
}

}  // namespace

std::optional<Date> parseIso8601(std::string_view original) {
  thread_local Iso8601Parsers parsers;
  // ICU scales a fraction of more than three digits down by a power of ten
  // kept in 32 bits, which overflows to zero from the 32nd digit on and then
  // divides by it. It keeps the first three digits only, so the rest go here.
  // Only what our forms hold: ICU would read more into a number ("207e7777"
  // as an exponent, which also ends in a division by zero).
  if (original.find_first_not_of("0123456789-:.+TZ") != std::string_view::npos) return std::nullopt;
  std::string text(original);
  if (const auto dot = text.find('.'); dot != std::string::npos) {
    const auto end = std::min(text.find_first_not_of("0123456789", dot + 1), text.size());
    if (end > dot + 4) text.erase(dot + 4, end - (dot + 4));
  }
  // Far longer than "2026-03-07T10:00:00.250+01:00": not a date.
  if (text.size() > 64) return std::nullopt;
  const auto unicode =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  const int fraction = text.find('.') != std::string::npos ? 1 : 0;
  if (auto date = parseWith(parsers.format(fraction), unicode)) {
    return date;
  }
  return parseWith(parsers.format(2 + fraction), unicode);
}

}  // namespace batterycore
