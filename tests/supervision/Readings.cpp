#include "Readings.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <stdexcept>
#include <string>

namespace batterycore::fixtures {

Date at(std::string_view iso8601) {
  const auto date = parseIso8601(iso8601);
  if (!date) throw std::invalid_argument("not a date: " + std::string(iso8601));
  return *date;
}

BatterySnapshot snapshot(const Reading& reading, Date when) {
  return BatterySnapshot(when, reading.percent, reading.pluggedIn, reading.charging,
                         /*fullyCharged=*/false, std::nullopt, std::nullopt, reading.limit, 0, 0, 0,
                         reading.thermal, 4000, 4100, 4500, 3200, 120, 1000, 12500,
                         reading.charging ? 1500 : 0);
}

namespace {

// The expected texts below are the English ones with en_US numbers.
class EnglishLocale : public ::testing::Environment {
 public:
  void SetUp() override {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
    ASSERT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  }
};

[[maybe_unused]] const auto* const kEnglish = ::testing::AddGlobalTestEnvironment(new EnglishLocale);

}  // namespace

}  // namespace batterycore::fixtures
