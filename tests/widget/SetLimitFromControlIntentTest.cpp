#include "KestrinWidget/SetLimitFromControlIntent.hpp"

#include "KestrinWidget/ControlRequest.hpp"
#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using testing::kMorning;

constexpr const char* kNotRunning = "Kestrin isn't running yet. Open it once, then try again.";

// Runs the action and returns what it threw; absent on success.
std::optional<std::string> attempt(bool value, SharedPreferences* preferences, SystemNotifications& notifications,
                                   Clock& clock) {
  try {
    SetLimitFromControlIntent{.value = value}.perform(preferences, notifications, clock);
    return std::nullopt;
  } catch (const ControlMessage& message) {
    EXPECT_STREQ(message.what(), message.text.c_str());
    return message.text;
  }
}

struct Harness {
  testing::MemoryPreferences preferences;
  testing::RecordingNotifications notifications;
  testing::SteppingClock clock{kMorning};

  // The application's answer to the stored request, written after poll `at`.
  void answerAfterPoll(int at, std::optional<std::string> refusal = std::nullopt) {
    clock.afterSleep = [this, at, refusal](int polls) {
      if (polls != at) return;
      const auto request = ControlRequest::from(preferences.dictionary(ControlRequest::requestKey));
      ASSERT_TRUE(request);
      preferences.setDictionary(ControlRequest::appliedKey, ControlRequest::answer(*request, refusal));
    };
  }
};

TEST(SetLimitFromControlIntent, TitleAndPacing) {
  EXPECT_EQ(SetLimitFromControlIntent::title, "Set Charge Limit from Control Center");
  EXPECT_EQ(SetLimitFromControlIntent::answerPolls * SetLimitFromControlIntent::pollInterval, ControlRequest::freshFor);
  EXPECT_EQ(SetLimitFromControlIntent::notRunningText(), kNotRunning);
}

TEST(SetLimitFromControlIntent, StoresTheRequestAndWakesTheApplication) {
  Harness h;
  h.answerAfterPoll(1);
  EXPECT_EQ(attempt(false, &h.preferences, h.notifications, h.clock), std::nullopt);
  EXPECT_EQ(h.preferences.dictionary("control.request"),
            (PreferenceDictionary{{"on", false}, {"at", batterycore::secondsSince1970(kMorning)}}));
  EXPECT_EQ(h.notifications.posted, std::vector<std::string>{"app.kestrin.control"});
}

TEST(SetLimitFromControlIntent, SucceedsAtTheFirstPollThatSeesTheAnswer) {
  for (const int poll : {1, 7, 30}) {
    Harness h;
    h.answerAfterPoll(poll);
    EXPECT_EQ(attempt(true, &h.preferences, h.notifications, h.clock), std::nullopt) << poll;
    EXPECT_EQ(h.clock.sleeps.size(), static_cast<std::size_t>(poll));
  }
}

TEST(SetLimitFromControlIntent, GivesUpAfterThirtyPollsATenthApart) {
  Harness h;
  EXPECT_EQ(attempt(true, &h.preferences, h.notifications, h.clock), kNotRunning);
  ASSERT_EQ(h.clock.sleeps.size(), 30u);
  for (const auto pause : h.clock.sleeps) EXPECT_EQ(pause, Seconds{0.1});
}

TEST(SetLimitFromControlIntent, AnOlderAnswerWithTheSameStateIsNoMatch) {
  Harness h;
  // The answer to the previous flip, also "off", is already there.
  h.preferences.setDictionary("control.applied", ControlRequest::answer({false, kMorning - Seconds{40}}));
  EXPECT_EQ(attempt(false, &h.preferences, h.notifications, h.clock), kNotRunning);
  EXPECT_EQ(h.clock.sleeps.size(), 30u);
}

TEST(SetLimitFromControlIntent, AnAnswerWithTheOtherStateIsNoMatch) {
  Harness h;
  h.clock.afterSleep = [&h](int) {
    h.preferences.setDictionary("control.applied", ControlRequest::answer({true, kMorning}));
  };
  EXPECT_EQ(attempt(false, &h.preferences, h.notifications, h.clock), kNotRunning);
}

TEST(SetLimitFromControlIntent, ReportsTheApplicationsRefusal) {
  Harness h;
  h.answerAfterPoll(3, "Couldn't switch the charge limit. Try System Settings > Battery.");
  EXPECT_EQ(attempt(true, &h.preferences, h.notifications, h.clock),
            "Couldn't switch the charge limit. Try System Settings > Battery.");
  EXPECT_EQ(h.clock.sleeps.size(), 3u);
}

TEST(SetLimitFromControlIntent, WithoutPreferencesTheApplicationIsNotRunning) {
  Harness h;
  EXPECT_EQ(attempt(true, nullptr, h.notifications, h.clock), kNotRunning);
  EXPECT_TRUE(h.clock.sleeps.empty());
  EXPECT_TRUE(h.notifications.posted.empty());
}

TEST(SetLimitFromControlIntent, ARequestThatCannotBeStoredIsNotWaitedFor) {
  Harness h;
  h.preferences.refuseWrites = true;
  EXPECT_EQ(attempt(true, &h.preferences, h.notifications, h.clock), kNotRunning);
  EXPECT_TRUE(h.clock.sleeps.empty());
}

}  // namespace
}  // namespace kestrin::widget
