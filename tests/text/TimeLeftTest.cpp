#include "BatteryCore/text/MeaningTimeLeft.hpp"

#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

namespace batterycore::Meaning {
namespace {

class TimeLeftTest : public ::testing::Test {
 protected:
  const batterycore::testing::UsingLocale english_{"en_US"};
};

TEST_F(TimeLeftTest, TellsThePaceAtEachBoundary) {
  const auto simple = [](int minutes) { return timeLeft(minutes, DetailLevel::simple).left; };
  EXPECT_EQ(simple(0), "Under 20 minutes left");
  EXPECT_EQ(simple(19), "Under 20 minutes left");
  EXPECT_EQ(simple(20), "About half an hour left");
  EXPECT_EQ(simple(44), "About half an hour left");
  EXPECT_EQ(simple(45), "About an hour left");
  EXPECT_EQ(simple(74), "About an hour left");
  EXPECT_EQ(simple(75), "About an hour and a half left");
  EXPECT_EQ(simple(119), "About an hour and a half left");
  EXPECT_EQ(simple(120), "About 2 hours left");
  EXPECT_EQ(simple(149), "About 2 hours left");
  EXPECT_EQ(simple(150), "About 3 hours left");
  EXPECT_EQ(simple(-5), "Under 20 minutes left");
}

TEST_F(TimeLeftTest, SaysWhatThePaceIsGoodFor) {
  EXPECT_EQ(timeLeft(15, DetailLevel::simple),
            (TimeLeft{"Under 20 minutes", "Under 20 minutes left", "Plug in soon."}));
  EXPECT_EQ(timeLeft(30, DetailLevel::simple).remark, std::nullopt);
  EXPECT_EQ(timeLeft(45, DetailLevel::simple).remark, "Enough for a meeting.");
  EXPECT_EQ(timeLeft(149, DetailLevel::simple).remark, "Enough for a meeting.");
  EXPECT_EQ(timeLeft(150, DetailLevel::simple),
            (TimeLeft{"About 3 hours", "About 3 hours left", "Plenty for now."}));
}

TEST_F(TimeLeftTest, GivesTheExactTimeInTheTechnicalWording) {
  EXPECT_EQ(timeLeft(65, DetailLevel::technical), (TimeLeft{"1 h 5 min to empty", "1 h 5 min left", std::nullopt}));
}

TEST_F(TimeLeftTest, SpeaksGerman) {
  const batterycore::testing::UsingLocale german("de_DE");
  EXPECT_EQ(timeLeft(90, DetailLevel::simple).left, "Noch etwa anderthalb Stunden");
  EXPECT_EQ(timeLeft(200, DetailLevel::simple).left, "Noch etwa 3 Stunden");
}

}  // namespace
}  // namespace batterycore::Meaning
