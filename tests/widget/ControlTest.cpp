// The Control Center control: the request it leaves in the group's
// preferences, the application's answer, the control's wait for it, and the
// control's face.
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/ControlResponder.hpp"
#include "KestrinWidget/Identifiers.hpp"
#include "KestrinWidget/LimitControl.hpp"
#include "KestrinWidget/LimitValueProvider.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"

#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace kestrin::widget {
namespace {

using batterycore::dateFromSecondsSince1970;
using batterycore::Seconds;
using testing::kMorning;
using namespace std::chrono_literals;

constexpr const char* kNotRunning = "Kestrin isn't running yet. Open it once, then try again.";
const ControlRequest kFlip{false, dateFromSecondsSince1970(1767225600.25)};

TEST(ControlRequest, ReadsOnlyWellFormedDictionaries) {
  const auto at = dateFromSecondsSince1970(1767225600.0);
  struct Case { const char* what; std::optional<PreferenceDictionary> given; std::optional<ControlRequest> read; };
  const Case cases[] = {
      {"absent", std::nullopt, std::nullopt},
      {"double at, other entries", PreferenceDictionary{{"on", true}, {"at", 1767225600.0}, {"x", true}},
       ControlRequest{true, at}},
      {"integer at", PreferenceDictionary{{"on", false}, {"at", std::int64_t{1767225600}}}, ControlRequest{false, at}},
      {"no on", PreferenceDictionary{{"at", 1767225600.0}}, std::nullopt},
      {"no at", PreferenceDictionary{{"on", true}}, std::nullopt},
      {"on as a number", PreferenceDictionary{{"on", std::int64_t{1}}, {"at", 1767225600.0}}, std::nullopt},
      {"at as text", PreferenceDictionary{{"on", true}, {"at", std::string("1767225600")}}, std::nullopt},
      {"at not finite", PreferenceDictionary{{"on", true}, {"at", INFINITY}}, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(ControlRequest::from(c.given), c.read) << c.what;
  // The answer must repeat `at` to the last bit, so no rounding on the way.
  EXPECT_EQ(kFlip.dictionary(), (PreferenceDictionary{{"on", false}, {"at", 1767225600.25}}));
  const ControlRequest precise{true, dateFromSecondsSince1970(1767225600.123456789)};
  EXPECT_EQ(ControlRequest::from(precise.dictionary()), precise);
  EXPECT_EQ(appGroupIdentifier("ABCDE12345"), "ABCDE12345.app.kestrin");
}

TEST(ControlRequest, PendingWhileFreshForThreeSecondsEitherWayAndUnansweredExactly) {
  struct Case { const char* what; std::optional<PreferenceDictionary> applied; double nowAfterFlip; bool pending; };
  const Case cases[] = {
      {"3.0 s old", std::nullopt, 3.0, true},
      {"3.01 s old", std::nullopt, 3.01, false},
      {"dated 3.0 s ahead", std::nullopt, -3.0, true},
      {"dated 3.01 s ahead", std::nullopt, -3.01, false},
      {"answered", ControlRequest::answer(kFlip), 1, false},
      {"answered with a refusal", ControlRequest::answer(kFlip, "No."), 1, false},
      {"answer to an older flip", ControlRequest::answer({false, kFlip.at - Seconds{5}}), 1, true},
      {"answer with the other state", ControlRequest::answer({true, kFlip.at}), 1, true},
      {"malformed answer", PreferenceDictionary{{"at", 1.0}}, 1, true},
  };
  for (const auto& c : cases) {
    const auto found = ControlRequest::pending(kFlip.dictionary(), c.applied, kFlip.at + Seconds{c.nowAfterFlip});
    EXPECT_EQ(found, c.pending ? std::optional(kFlip) : std::nullopt) << c.what;
  }
  EXPECT_EQ(ControlRequest::pending(std::nullopt, std::nullopt, kFlip.at), std::nullopt);

  EXPECT_EQ(ControlRequest::answer(kFlip, "No."),
            (PreferenceDictionary{{"on", false}, {"at", 1767225600.25}, {"refusal", std::string("No.")}}));
  EXPECT_EQ(ControlRequest::refusal({{"on", false}, {"at", 1.0}, {"refusal", true}}), std::nullopt);  // not text
}

TEST(ControlResponder, AppliesAFreshRequestOnceAndAnswers) {
  testing::MemoryPreferences preferences;
  preferences.setDictionary("control.request", ControlRequest{false, kMorning}.dictionary());
  std::vector<bool> switched;
  const LimitSwitch apply = [&](bool on) {
    switched.push_back(on);
    return std::optional<std::string>();
  };
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{3.5}, apply), std::nullopt);  // stale
  EXPECT_EQ(preferences.dictionary("control.applied"), std::nullopt);
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{0.5}, apply), (ControlRequest{false, kMorning}));
  EXPECT_EQ(preferences.dictionary("control.applied"), ControlRequest::answer({false, kMorning}));
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{1}, apply), std::nullopt);  // already answered
  EXPECT_EQ(switched, std::vector<bool>{false});

  // An answer that cannot be stored: the limit switched all the same.
  const ControlRequest again{false, kMorning + Seconds{2}};
  preferences.setDictionary("control.request", again.dictionary());
  preferences.refuseWrites = true;
  EXPECT_EQ(answerPendingRequest(preferences, kMorning + Seconds{2}, apply), again);
  EXPECT_EQ(switched, (std::vector<bool>{false, false}));
}

struct Harness {
  testing::MemoryPreferences preferences;
  testing::RecordingNotifications notifications;
  testing::SteppingClock clock{kMorning};

  // The application's answer to the stored request (or one with the other
  // state, as if to another flip), written after poll `at`.
  void answerAfterPoll(int at, std::optional<std::string> refusal = std::nullopt, bool otherState = false) {
    clock.afterSleep = [this, at, refusal, otherState](int polls) {
      const auto request = ControlRequest::from(preferences.dictionary(ControlRequest::requestKey));
      if (polls != at || !request) return;
      const ControlRequest answered{request->on != otherState, request->at};
      preferences.setDictionary("control.applied", ControlRequest::answer(answered, refusal));
    };
  }
};

TEST(SetLimitFromControlIntent, WaitsThreeSecondsForTheAnswerToThisVeryFlip) {
  const std::string refusal = "Couldn't switch the charge limit. Try System Settings > Battery.";
  struct Case {
    const char* what;
    std::function<void(Harness&)> arrange;
    std::optional<std::string> thrown;
    std::size_t polls;
    bool withPreferences = true;
  };
  const Case cases[] = {
      {"answered at the first poll", [](Harness& h) { h.answerAfterPoll(1); }, std::nullopt, 1},
      {"answered at the last poll", [](Harness& h) { h.answerAfterPoll(30); }, std::nullopt, 30},
      {"never answered", [](Harness&) {}, kNotRunning, 30},
      {"refused", [&](Harness& h) { h.answerAfterPoll(3, refusal); }, refusal, 3},
      {"only the answer to the flip before, also off",
       [](Harness& h) {
         h.preferences.setDictionary("control.applied", ControlRequest::answer({false, kMorning - 40s}));
       },
       kNotRunning, 30},
      {"an answer with the other state", [](Harness& h) { h.answerAfterPoll(1, std::nullopt, true); }, kNotRunning, 30},
      {"the request cannot be stored", [](Harness& h) { h.preferences.refuseWrites = true; }, kNotRunning, 0},
      {"no preferences: the application is not running", [](Harness&) {}, kNotRunning, 0, false},
  };
  for (const auto& c : cases) {
    Harness h;
    c.arrange(h);
    std::optional<std::string> thrown;
    try {
      SetLimitFromControlIntent{.value = false}.perform(c.withPreferences ? &h.preferences : nullptr,
                                                        h.notifications, h.clock);
    } catch (const ControlMessage& message) {
      EXPECT_STREQ(message.what(), message.text.c_str());
      thrown = message.text;
    }
    EXPECT_EQ(thrown, c.thrown) << c.what;
    EXPECT_EQ(h.clock.sleeps, std::vector<Seconds>(c.polls, Seconds{0.1})) << c.what;
    if (c.polls == 0) continue;
    EXPECT_EQ(h.notifications.posted, std::vector<std::string>{"app.kestrin.control"}) << c.what;
    EXPECT_EQ(h.preferences.dictionary("control.request"),
              (PreferenceDictionary{{"on", false}, {"at", batterycore::secondsSince1970(kMorning)}}));
  }
}

TEST(LimitControl, ShowsTheLimitOnOnlyForAFreshSnapshotWithALimit) {
  EXPECT_EQ(LimitControl::title(), "Charge limit");
  EXPECT_EQ(LimitControl::valueLabel(true), (LimitControl::ValueLabel{"On", "battery.75percent"}));
  EXPECT_EQ(LimitControl::valueLabel(false), (LimitControl::ValueLabel{"Off", "battery.100percent"}));
  auto limitOff = testing::restingSnapshot();
  limitOff.limit.reset();
  struct Case { const char* what; std::optional<WidgetSnapshot> snapshot; double age; bool on; };
  const Case cases[] = {
      {"no snapshot", std::nullopt, 0, false},
      {"limit 80, dated a minute ahead (a clock set back)", testing::restingSnapshot(), -60, true},
      {"limit 80, 10,800 s old", testing::restingSnapshot(), 10800, true},
      {"limit 80, 10,801 s old", testing::restingSnapshot(), 10801, false},
      {"limit off", limitOff, 60, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LimitValueProvider::currentValue(c.snapshot, kMorning + Seconds{c.age}), c.on) << c.what;
  }
}

}  // namespace
}  // namespace kestrin::widget
