#include "BatteryCore/text/DetailLevel.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <unordered_set>

namespace batterycore {
namespace {

using batterycore::testing::CurrentLocale;

TEST(DetailLevel, HeaderExampleHolds) {
  const CurrentLocale english("en_US");
  EXPECT_EQ(detailLevelFromRaw("technical"), DetailLevel::technical);
  EXPECT_EQ(detailLevelFromRaw("expert"), std::nullopt);
  EXPECT_EQ(detailLevelRaw(DetailLevel::simple), "simple");
  EXPECT_EQ(title(DetailLevel::technical), "Technical");
  EXPECT_EQ(encode(DetailLevel::simple), Json("simple"));
}

TEST(DetailLevel, AllCasesInSettingOrder) {
  ASSERT_EQ(std::size(kAllDetailLevels), 2u);
  EXPECT_EQ(kAllDetailLevels[0], DetailLevel::simple);
  EXPECT_EQ(kAllDetailLevels[1], DetailLevel::technical);
  const std::unordered_set<DetailLevel> distinct(std::begin(kAllDetailLevels), std::end(kAllDetailLevels));
  EXPECT_EQ(distinct.size(), 2u);
}

TEST(DetailLevel, OnlyItsOwnRawValuesDecode) {
  struct Case {
    const char* raw;
    std::optional<DetailLevel> level;
  };
  const Case cases[] = {
      {"simple", DetailLevel::simple}, {"technical", DetailLevel::technical},
      {"Simple", std::nullopt},        {"TECHNICAL", std::nullopt},
      {"", std::nullopt},              {"technical ", std::nullopt},
      {"expert", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(detailLevelFromRaw(c.raw), c.level) << '"' << c.raw << '"';
  }
}

TEST(DetailLevel, StoredAsItsRawValue) {
  for (const DetailLevel level : kAllDetailLevels) {
    EXPECT_EQ(encode(level), Json(std::string(detailLevelRaw(level))));
    EXPECT_EQ(decode<DetailLevel>(encode(level)), level);
  }
}

TEST(DetailLevel, UnknownStoredLevelReadsAsSimple) {
  EXPECT_EQ(decode<DetailLevel>(Json("expert")), DetailLevel::simple);
  EXPECT_EQ(decode<DetailLevel>(Json("")), DetailLevel::simple);
  const Json settings = {{"detailLevel", "verbose"}};
  EXPECT_EQ(valueOr(settings, "detailLevel", DetailLevel::technical), DetailLevel::simple);
  EXPECT_EQ(valueOr(Json::object(), "detailLevel", DetailLevel::simple), DetailLevel::simple);
  EXPECT_THROW(decode<DetailLevel>(Json(1)), DecodingError);
}

TEST(DetailLevel, TitleIsTheSettingsName) {
  const CurrentLocale english("en_US");
  EXPECT_EQ(title(DetailLevel::simple), "Simple");
  EXPECT_EQ(title(DetailLevel::technical), "Technical");
}

}  // namespace
}  // namespace batterycore
