// UsingLocale: makes `name` ICU's default locale (the language of every text
// and number) for one scope and puts the previous one back, so a test means
// the same under LANG=en_US, de_DE or ja_JP.
//
//   const testing::UsingLocale german("de_DE");
#pragma once

#include <unicode/locid.h>

namespace batterycore::testing {

class UsingLocale {
 public:
  explicit UsingLocale(const char* name) : previous_(icu::Locale::getDefault()) { set(icu::Locale(name)); }
  ~UsingLocale() { set(previous_); }
  UsingLocale(const UsingLocale&) = delete;
  UsingLocale& operator=(const UsingLocale&) = delete;

 private:
  static void set(const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(locale, status);
  }
  icu::Locale previous_;
};

}  // namespace batterycore::testing
