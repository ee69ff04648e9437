#include "BatteryCore/foundation/Json.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

TEST(Json, RequiredFailsOnMissingNullAndWrongType) {
  const Json object = Json::parse(R"({"a": 1, "b": null, "c": "x", "d": 1.5})");
  EXPECT_EQ(required<int>(object, "a"), 1);
  struct Case {
    const char* key;
    const char* reason;
  };
  const Case cases[] = {{"missing", "missing key \"missing\""},
                        {"b", "missing key \"b\""},
                        {"c", "expected an integer"},
                        {"d", "expected an integer"}};
  for (const auto& c : cases) {
    try {
      (void)required<int>(object, c.key);
      ADD_FAILURE() << c.key << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), c.reason);
      EXPECT_EQ(error.path(), c.key);
    }
  }
}

TEST(Json, OptionalReadsMissingAndNullAsAbsent) {
  const Json object = Json::parse(R"({"a": 1, "b": null})");
  EXPECT_EQ(optional<int>(object, "a"), 1);
  EXPECT_EQ(optional<int>(object, "b"), std::nullopt);
  EXPECT_EQ(optional<int>(object, "c"), std::nullopt);
  EXPECT_THROW((void)optional<bool>(object, "a"), DecodingError);
  EXPECT_EQ(valueOr<int>(object, "c", 7), 7);
}

TEST(Json, PutKeepsTheWrittenOrderAndLeavesAbsentOut) {
  Json object = Json::object();
  put(object, "z", 1);
  putIfPresent(object, "y", std::optional<int>{});
  put(object, "a", std::string("text"));
  EXPECT_EQ(object.dump(), R"({"z":1,"a":"text"})");
}

TEST(Json, IntegersAreCheckedForRangeAndSign) {
  const Json object = Json::parse(R"({"big": 5000000000, "negative": -1, "huge": 18446744073709551615})");
  EXPECT_THROW((void)required<int>(object, "big"), DecodingError);
  EXPECT_EQ(required<std::int64_t>(object, "big"), 5000000000);
  EXPECT_THROW((void)required<std::uint64_t>(object, "negative"), DecodingError);
  EXPECT_EQ(required<std::uint64_t>(object, "huge"), 18446744073709551615ULL);
  EXPECT_THROW((void)required<std::int64_t>(object, "huge"), DecodingError);
}

TEST(Json, EnumerationObjectsHaveExactlyOneKey) {
  EXPECT_EQ(tagged("off").dump(), R"({"off":{}})");
  const Json one = Json::parse(R"({"on": {"_0": 80}})");
  const auto [name, payload] = singleCase(one);
  EXPECT_EQ(name, "on");
  EXPECT_EQ(payload["_0"], 80);
  for (const char* text : {R"({})", R"({"on": {"_0": 80}, "off": {}})"}) {
    try {
      (void)singleCase(Json::parse(text));
      ADD_FAILURE() << text;
    } catch (const DecodingError& error) {
      EXPECT_STREQ(error.what(), "Invalid number of keys found, expected one.");
    }
  }
}

TEST(Json, DatesAreIso8601Text) {
  Json object = Json::object();
  put(object, "at", dateFromSecondsSince1970(1772877600.25));
  EXPECT_EQ(object["at"], "2026-03-07T10:00:00.250Z");
  EXPECT_EQ(required<Date>(object, "at"), dateFromSecondsSince1970(1772877600.25));
  EXPECT_THROW((void)required<Date>(Json::parse(R"({"at": "soon"})"), "at"), DecodingError);
  EXPECT_THROW((void)required<Date>(Json::parse(R"({"at": 1772877600})"), "at"), DecodingError);
}

TEST(Json, ErrorsNameTheKeyPath) {
  const Json object = Json::parse(R"({"list": [1, "two"]})");
  try {
    (void)required<std::vector<int>>(object, "list");
    FAIL();
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "list.[1]");
    EXPECT_STREQ(error.what(), "list.[1]: expected an integer");
  }
}

}  // namespace
}  // namespace batterycore
