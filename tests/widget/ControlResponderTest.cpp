#include "KestrinWidget/ControlResponder.hpp"

#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using testing::kMorning;

TEST(ControlResponder, AppliesAFreshRequestOnceAndAnswers) {
  testing::MemoryPreferences preferences;
  const ControlRequest flip{false, kMorning};
  preferences.setDictionary("control.request", flip.dictionary());
  std::vector<bool> switched;
  const LimitSwitch apply = [&switched](bool on) -> std::optional<std::string> {
    switched.push_back(on);
    return std::nullopt;
  };
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{0.5}, apply), flip);
  EXPECT_EQ(preferences.dictionary("control.applied"), flip.dictionary());
  // Asked again (the next tick): already answered.
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{1}, apply), std::nullopt);
  EXPECT_EQ(switched, std::vector<bool>{false});
}

TEST(ControlResponder, StoresTheRefusal) {
  testing::MemoryPreferences preferences;
  const ControlRequest flip{true, kMorning};
  preferences.setDictionary("control.request", flip.dictionary());
  answerPendingRequest(preferences, kMorning, [](bool) { return std::optional<std::string>("Not now."); });
  EXPECT_EQ(preferences.dictionary("control.applied"), ControlRequest::answer(flip, "Not now."));
}

TEST(ControlResponder, LeavesAStaleRequestAlone) {
  testing::MemoryPreferences preferences;
  preferences.setDictionary("control.request", ControlRequest{true, kMorning}.dictionary());
  bool called = false;
  const auto answered = answerPendingRequest(preferences, kMorning + Seconds{3.5}, [&called](bool) {
    called = true;
    return std::optional<std::string>();
  });
  EXPECT_EQ(answered, std::nullopt);
  EXPECT_FALSE(called);
  EXPECT_EQ(preferences.dictionary("control.applied"), std::nullopt);
}

}  // namespace
}  // namespace kestrin::widget
