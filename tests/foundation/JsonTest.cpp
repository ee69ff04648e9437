#include "BatteryCore/foundation/Json.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

// Every failure names the key path and the reason.
TEST(Json, FailuresNameTheKeyPath) {
  const Json object = Json::parse(R"({"b": null, "c": "x", "d": 1.5, "list": [1, "two"], "at": "soon", "n": 12,
                                      "big": 5000000000, "negative": -1, "huge": 18446744073709551615})");
  struct Case {
    const char* what;
    void (*read)(const Json&);
    const char* path;
    const char* reason;
  };
  const Case cases[] = {
      {"missing", [](const Json& j) { (void)required<int>(j, "missing"); }, "missing", "missing key \"missing\""},
      {"null", [](const Json& j) { (void)required<int>(j, "b"); }, "b", "missing key \"b\""},
      {"text", [](const Json& j) { (void)required<int>(j, "c"); }, "c", "expected an integer"},
      {"fraction", [](const Json& j) { (void)required<int>(j, "d"); }, "d", "expected an integer"},
      {"optional of another type", [](const Json& j) { (void)optional<bool>(j, "c"); }, "c", "expected a boolean"},
      {"list element", [](const Json& j) { (void)required<std::vector<int>>(j, "list"); }, "list.[1]",
       "expected an integer"},
      {"date text", [](const Json& j) { (void)required<Date>(j, "at"); }, "at", "not an ISO 8601 date: \"soon\""},
      {"date number", [](const Json& j) { (void)required<Date>(j, "n"); }, "n", "expected an ISO 8601 date"},
      {"int from 5e9", [](const Json& j) { (void)required<int>(j, "big"); }, "big", "integer out of range"},
      {"unsigned from -1", [](const Json& j) { (void)required<std::uint64_t>(j, "negative"); }, "negative",
       "expected an unsigned integer"},
      {"int64 from 2^64-1", [](const Json& j) { (void)required<std::int64_t>(j, "huge"); }, "huge",
       "integer out of range"},
      {"not an object", [](const Json& j) { (void)required<int>(j["list"], "x"); }, "", "expected an object"},
  };
  for (const auto& c : cases) {
    try {
      c.read(object);
      ADD_FAILURE() << c.what << " decoded";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), c.path) << c.what;
      EXPECT_EQ(error.reason(), c.reason) << c.what;
      EXPECT_EQ(error.what(), std::string(*c.path ? std::string(c.path) + ": " : "") + c.reason) << c.what;
    }
  }
}

TEST(Json, ReadsWhatFits) {
  const Json object = Json::parse(R"({"a": 1, "b": null, "big": 5000000000, "huge": 18446744073709551615,
                                      "at": "2026-03-07T10:00:00.250Z"})");
  EXPECT_EQ(required<int>(object, "a"), 1);
  EXPECT_EQ(optional<int>(object, "b"), std::nullopt);
  EXPECT_EQ(optional<int>(object, "c"), std::nullopt);
  EXPECT_EQ(valueOr<int>(object, "c", 7), 7);
  EXPECT_EQ(required<std::int64_t>(object, "big"), 5000000000);
  EXPECT_EQ(required<std::uint64_t>(object, "huge"), 18446744073709551615ULL);
  EXPECT_EQ(required<Date>(object, "at"), dateFromSecondsSince1970(1772877600.25));
}

TEST(Json, PutKeepsTheWrittenOrderAndLeavesAbsentOut) {
  Json object = Json::object();
  put(object, "z", 1);
  putIfPresent(object, "y", std::optional<int>{});
  put(object, "a", std::string("text"));
  put(object, "at", dateFromSecondsSince1970(1772877600.25));
  EXPECT_EQ(object.dump(), R"({"z":1,"a":"text","at":"2026-03-07T10:00:00.250Z"})");
}

TEST(Json, EnumerationObjectsHaveExactlyOneKey) {
  EXPECT_EQ(tagged("off").dump(), R"({"off":{}})");
  const Json on = Json::parse(R"({"on": {"_0": 80}})");
  const auto [name, payload] = singleCase(on);
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

}  // namespace
}  // namespace batterycore
