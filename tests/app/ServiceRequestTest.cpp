// A command's request to the service through the shared preferences: pending
// for three seconds until it is answered, and nonsense never taken for one.
#include "app/ServiceRequest.hpp"

#include "KestrinWidget/SharedPreferencesPosix.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <limits>

namespace kestrin::app {
namespace {

using Kind = ServiceRequest::Kind;
using namespace std::chrono_literals;

class ServiceRequestTest : public ::testing::Test {
 protected:
  void TearDown() override { std::filesystem::remove_all(folder_); }
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("kestrin-requests-" + std::to_string(::getpid()));
  widget::FileSharedPreferences preferences_{folder_};
  const batterycore::Date now_ = *batterycore::parseIso8601("2026-03-02T09:00:00Z");
  const std::string key_ = ServiceRequest::requestKey(Kind::chargeFull);
};

TEST_F(ServiceRequestTest, ARequestCountsForThreeSecondsUntilItIsAnswered) {
  const ServiceRequest request{Kind::chargeFull, now_, FullChargeOptions{false, true, 3}};
  ASSERT_TRUE(preferences_.setDictionary(key_, request.dictionary()));
  const auto pending = ServiceRequest::pending(Kind::chargeFull, preferences_, now_ + 2s);
  ASSERT_TRUE(pending);
  EXPECT_EQ(pending->options, (FullChargeOptions{false, true, 3}));
  EXPECT_FALSE(ServiceRequest::pending(Kind::chargeFull, preferences_, now_ + 4s)) << "stale";
  EXPECT_FALSE(ServiceRequest::pending(Kind::skipToday, preferences_, now_)) << "each kind has its own slot";

  // An answer to an earlier request does not count; the exact moment does.
  const auto answerKey = ServiceRequest::answerKey(Kind::chargeFull);
  const ServiceRequest earlier{Kind::chargeFull, now_ - 1s, {}};
  ASSERT_TRUE(preferences_.setDictionary(answerKey, ServiceRequest::answer(earlier, {true, "ok"})));
  EXPECT_TRUE(ServiceRequest::pending(Kind::chargeFull, preferences_, now_));
  ASSERT_TRUE(preferences_.setDictionary(answerKey, ServiceRequest::answer(request, {false, "Plug in first."})));
  EXPECT_FALSE(ServiceRequest::pending(Kind::chargeFull, preferences_, now_));
}

TEST_F(ServiceRequestTest, NonsenseIsNoRequest) {
  for (const widget::PreferenceDictionary& dictionary :
       {widget::PreferenceDictionary{}, widget::PreferenceDictionary{{"at", std::string("now")}},
        widget::PreferenceDictionary{{"at", std::numeric_limits<double>::infinity()}}}) {
    ASSERT_TRUE(preferences_.setDictionary(key_, dictionary));
    EXPECT_FALSE(ServiceRequest::pending(Kind::chargeFull, preferences_, now_));
  }
  // Hours out of range are dropped, not obeyed.
  ASSERT_TRUE(preferences_.setDictionary(
      key_, {{"at", batterycore::secondsSince1970(now_)}, {"untilUnplug", true}, {"hours", std::int64_t{-5}}}));
  EXPECT_EQ(ServiceRequest::pending(Kind::chargeFull, preferences_, now_)->options.hours, std::nullopt);
}

}  // namespace
}  // namespace kestrin::app
