#include "KestrinWidget/LimitControl.hpp"
#include "KestrinWidget/LimitValueProvider.hpp"

#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using testing::restingSnapshot;

TEST(LimitControl, FaceReadsFromTheCatalogue) {
  EXPECT_EQ(LimitControl::kind, "app.kestrin.limit");
  EXPECT_EQ(LimitControl::title(), "Charge limit");
  EXPECT_EQ(LimitControl::valueLabel(true), (LimitControl::ValueLabel{"On", "battery.75percent"}));
  EXPECT_EQ(LimitControl::valueLabel(false), (LimitControl::ValueLabel{"Off", "battery.100percent"}));
}

TEST(LimitValueProvider, OnOnlyForAFreshSnapshotWithALimit) {
  auto limitOff = restingSnapshot();
  limitOff.limit.reset();
  struct Case {
    const char* what;
    std::optional<WidgetSnapshot> snapshot;
    double age;
    bool on;
  };
  const Case cases[] = {
      {"no snapshot", std::nullopt, 0, false},
      {"limit 80, an hour old", restingSnapshot(), 3600, true},
      {"limit 80, 10,800 s old", restingSnapshot(), 10800, true},
      {"limit 80, 10,801 s old", restingSnapshot(), 10801, false},
      {"limit off", limitOff, 60, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LimitValueProvider::currentValue(c.snapshot, testing::kMorning + Seconds{c.age}), c.on) << c.what;
  }
  EXPECT_TRUE(LimitValueProvider::previewValue);
}

TEST(LimitValueProvider, ReadsTheGroupsSnapshot) {
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  EXPECT_FALSE(LimitValueProvider::currentValue(group, testing::kMorning));
  ASSERT_TRUE(restingSnapshot().write(*group.container, *group.preferences));
  EXPECT_TRUE(LimitValueProvider::currentValue(group, testing::kMorning + Seconds{60}));
}

}  // namespace
}  // namespace kestrin::widget
