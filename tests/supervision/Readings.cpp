#include <gtest/gtest.h>
#include <unicode/locid.h>

namespace {

// The expected texts are the English ones with en_US numbers, whatever the
// machine's language.
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
