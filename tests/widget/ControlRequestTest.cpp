#include "KestrinWidget/ControlRequest.hpp"

#include "KestrinWidget/Identifiers.hpp"
#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace kestrin::widget {
namespace {

using batterycore::dateFromSecondsSince1970;
using batterycore::Seconds;

const ControlRequest kFlip{false, dateFromSecondsSince1970(1767225600.25)};

TEST(ControlRequest, HeaderExampleHolds) {
  EXPECT_EQ(kFlip.dictionary(), (PreferenceDictionary{{"on", false}, {"at", 1767225600.25}}));
  EXPECT_EQ(ControlRequest::pending(kFlip.dictionary(), std::nullopt, kFlip.at + std::chrono::seconds{3}), kFlip);
  EXPECT_EQ(ControlRequest::pending(kFlip.dictionary(), ControlRequest::answer(kFlip), kFlip.at), std::nullopt);
}

TEST(ControlRequest, NamesFollowTheBundleIdentifier) {
  EXPECT_EQ(ControlRequest::requestKey, "control.request");
  EXPECT_EQ(ControlRequest::appliedKey, "control.applied");
  EXPECT_EQ(ControlRequest::refusalKey, "refusal");
  EXPECT_EQ(ControlRequest::notification, controlNotificationName());
  EXPECT_EQ(ControlRequest::controlKind, controlKind());
  EXPECT_EQ(ControlRequest::freshFor, Seconds{3});
  EXPECT_EQ(appGroupIdentifier("ABCDE12345"), "ABCDE12345.app.kestrin");
}

TEST(ControlRequest, ReadsOnlyWellFormedDictionaries) {
  struct Case {
    const char* what;
    std::optional<PreferenceDictionary> dictionary;
    std::optional<ControlRequest> request;
  };
  const auto at = dateFromSecondsSince1970(1767225600.0);
  const Case cases[] = {
      {"absent", std::nullopt, std::nullopt},
      {"empty", PreferenceDictionary{}, std::nullopt},
      {"double at", PreferenceDictionary{{"on", true}, {"at", 1767225600.0}}, ControlRequest{true, at}},
      {"integer at", PreferenceDictionary{{"on", false}, {"at", std::int64_t{1767225600}}}, ControlRequest{false, at}},
      {"extra entries", PreferenceDictionary{{"on", true}, {"at", 1767225600.0}, {"refusal", std::string("No.")}},
       ControlRequest{true, at}},
      {"no on", PreferenceDictionary{{"at", 1767225600.0}}, std::nullopt},
      {"no at", PreferenceDictionary{{"on", true}}, std::nullopt},
      {"on as a number", PreferenceDictionary{{"on", std::int64_t{1}}, {"at", 1767225600.0}}, std::nullopt},
      {"on as text", PreferenceDictionary{{"on", std::string("true")}, {"at", 1767225600.0}}, std::nullopt},
      {"at as text", PreferenceDictionary{{"on", true}, {"at", std::string("1767225600")}}, std::nullopt},
      {"at as a boolean", PreferenceDictionary{{"on", true}, {"at", true}}, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(ControlRequest::from(c.dictionary), c.request) << c.what;
}

TEST(ControlRequest, DictionaryRoundTripsExactly) {
  // The answer must repeat `at` to the last bit, so no rounding on the way.
  const ControlRequest request{true, dateFromSecondsSince1970(1767225600.123456789)};
  EXPECT_EQ(ControlRequest::from(request.dictionary()), request);
}

TEST(ControlRequest, FreshForThreeSecondsEitherWay) {
  struct Case {
    double offset;
    bool fresh;
  };
  const Case cases[] = {{0, true}, {3.0, true}, {-3.0, true}, {3.01, false}, {-3.01, false}, {60, false}};
  for (const auto& c : cases) EXPECT_EQ(kFlip.isFresh(kFlip.at + Seconds{c.offset}), c.fresh) << c.offset;
}

TEST(ControlRequest, PendingUntilAnsweredExactly) {
  const auto olderAt = kFlip.at - Seconds{5};
  struct Case {
    const char* what;
    std::optional<PreferenceDictionary> request;
    std::optional<PreferenceDictionary> applied;
    double nowAfterFlip;
    bool pending;
  };
  const Case cases[] = {
      {"no request", std::nullopt, std::nullopt, 0, false},
      {"malformed request", PreferenceDictionary{{"on", std::string("off")}}, std::nullopt, 0, false},
      {"3.0 s old", kFlip.dictionary(), std::nullopt, 3.0, true},
      {"3.01 s old", kFlip.dictionary(), std::nullopt, 3.01, false},
      {"dated 2 s in the future", kFlip.dictionary(), std::nullopt, -2.0, true},
      {"answered", kFlip.dictionary(), ControlRequest::answer(kFlip), 1, false},
      {"answered with a refusal", kFlip.dictionary(), ControlRequest::answer(kFlip, "No."), 1, false},
      {"answer to an older flip", kFlip.dictionary(), ControlRequest::answer({false, olderAt}), 1, true},
      {"answer with the other state", kFlip.dictionary(), ControlRequest::answer({true, kFlip.at}), 1, true},
      {"malformed answer", kFlip.dictionary(), PreferenceDictionary{{"at", 1.0}}, 1, true},
  };
  for (const auto& c : cases) {
    const auto found = ControlRequest::pending(c.request, c.applied, kFlip.at + Seconds{c.nowAfterFlip});
    EXPECT_EQ(found.has_value(), c.pending) << c.what;
    if (found) {
      EXPECT_EQ(*found, kFlip) << c.what;
    }
  }
}

TEST(ControlRequest, AnswerCarriesTheRefusal) {
  const auto refused = ControlRequest::answer(kFlip, "Couldn't switch the charge limit.");
  EXPECT_EQ(refused, (PreferenceDictionary{{"on", false}, {"at", 1767225600.25},
                                           {"refusal", std::string("Couldn't switch the charge limit.")}}));
  EXPECT_EQ(ControlRequest::refusal(refused), "Couldn't switch the charge limit.");
  EXPECT_EQ(ControlRequest::refusal(ControlRequest::answer(kFlip)), std::nullopt);
  // A refusal that is not text is no refusal.
  EXPECT_EQ(ControlRequest::refusal({{"on", false}, {"at", 1.0}, {"refusal", true}}), std::nullopt);
}

}  // namespace
}  // namespace kestrin::widget
