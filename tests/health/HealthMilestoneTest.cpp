#include "BatteryCore/health/HealthMilestone.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

#include <string>

namespace batterycore {
namespace {

using testing::local;
using testing::UsingLocale;

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");
const Date kMarch1 = local(kBerlin, 2026, 3, 1, 9, 0);
const Date kMay10 = local(kBerlin, 2026, 5, 10, 9, 0);

TEST(HealthMilestone, HeaderExampleHolds) {
  UsingLocale english("en_US");
  const auto first = HealthMilestone::step(std::nullopt, 92, kMarch1, kBerlin);
  EXPECT_EQ(first.next, (HealthMilestone{92, kMarch1}));
  EXPECT_FALSE(first.alert);
  const auto later = HealthMilestone::step(first.next, 91, kMay10, kBerlin);
  ASSERT_TRUE(later.alert);
  EXPECT_EQ(later.alert->title, "Battery health: 91%");
  EXPECT_EQ(later.alert->body, "Down 1 points since Mar 1. Normal wear.");
}

TEST(HealthMilestone, TheReferenceOnlyMovesDown) {
  auto state = HealthMilestone::step(std::nullopt, 92, kMarch1, kBerlin).next;
  for (const int percent : {92, 93, 95, 92}) {
    const auto step = HealthMilestone::step(state, percent, kMay10, kBerlin);
    EXPECT_FALSE(step.alert) << percent;
    EXPECT_EQ(step.next, (HealthMilestone{92, kMarch1})) << percent;
    state = step.next;
  }
}

TEST(HealthMilestone, AlertsOnEachDropWithItsStatus) {
  UsingLocale english("en_US");
  struct Case {
    int from;
    int to;
    const char* body;
  };
  const Case cases[] = {
      {92, 91, "Down 1 points since Mar 1. Normal wear."},
      {92, 89, "Down 3 points since Mar 1. Showing its age, still fine."},
      {96, 95, "Down 1 points since Mar 1. Like new."},
      {95, 94, "Down 1 points since Mar 1. Normal wear."},
      {90, 89, "Down 1 points since Mar 1. Showing its age, still fine."},
      {81, 80, "Down 1 points since Mar 1. Showing its age, still fine."},
      {80, 79, "Down 1 points since Mar 1. Below 80%. Apple recommends a battery service at this point."},
  };
  for (const auto& c : cases) {
    const auto step = HealthMilestone::step(HealthMilestone{c.from, kMarch1}, c.to, kMay10, kBerlin);
    ASSERT_TRUE(step.alert) << c.from << " to " << c.to;
    EXPECT_EQ(step.alert->kind, BatteryAlert::Kind::healthMilestone);
    EXPECT_EQ(step.alert->at, kMay10);
    EXPECT_EQ(step.alert->body, c.body);
    EXPECT_EQ(step.alert->technicalBody, std::nullopt);
    EXPECT_EQ(step.next, (HealthMilestone{c.to, kMay10}));
  }
}

TEST(HealthMilestone, ALaterFallIsMeasuredFromTheLowerReference) {
  UsingLocale english("en_US");
  auto state = HealthMilestone::step(std::nullopt, 92, kMarch1, kBerlin).next;
  state = HealthMilestone::step(state, 94, kMay10, kBerlin).next;  // gauge re-learned upwards
  const auto step = HealthMilestone::step(state, 91, kMay10, kBerlin);
  ASSERT_TRUE(step.alert);
  EXPECT_EQ(step.alert->body, "Down 1 points since Mar 1. Normal wear.");
}

TEST(HealthMilestone, NamesTheYearOnlyWhenItDiffers) {
  UsingLocale english("en_US");
  struct Case {
    Date since;
    const char* body;
  };
  const Case cases[] = {
      {local(kBerlin, 2026, 1, 1, 0, 30), "Down 2 points since Jan 1. Normal wear."},
      {local(kBerlin, 2025, 12, 31, 23, 30), "Down 2 points since Dec 31, 2025. Normal wear."},
      {local(kBerlin, 2024, 5, 10, 9, 0), "Down 2 points since May 10, 2024. Normal wear."},
  };
  for (const auto& c : cases) {
    const auto step = HealthMilestone::step(HealthMilestone{93, c.since}, 91, kMay10, kBerlin);
    ASSERT_TRUE(step.alert);
    EXPECT_EQ(step.alert->body, c.body);
  }
}

TEST(HealthMilestone, TheDateIsTheDayInTheUsersCalendar) {
  UsingLocale english("en_US");
  // 23:30 on December 31 in Berlin is already 2026 in Tokyo.
  const Date since = local(kBerlin, 2025, 12, 31, 23, 30);
  const auto tokyo = Calendar::gregorian("Asia/Tokyo");
  const auto step = HealthMilestone::step(HealthMilestone{93, since}, 92, kMay10, tokyo);
  ASSERT_TRUE(step.alert);
  EXPECT_EQ(step.alert->body, "Down 1 points since Jan 1. Normal wear.");
}

TEST(HealthMilestone, RoundTripsThroughJson) {
  const HealthMilestone state{91, dateFromSecondsSince1970(1767225600.0)};
  const Json json = encode(state);
  EXPECT_EQ(json.dump(), R"({"percent":91,"since":"2026-01-01T00:00:00Z"})");
  EXPECT_EQ(decode<HealthMilestone>(json), state);
  EXPECT_THROW(decode<HealthMilestone>(Json::parse(R"({"percent":91})")), DecodingError);
}

}  // namespace
}  // namespace batterycore
