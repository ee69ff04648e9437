// The `kestrin explain` command, run as the real program on the readings in
// tests/data/explain.
#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

using Run = batterycore::testing::ToolRun;

const std::string kData = std::string(KESTRIN_TEST_DATA_DIR) + "/explain/";

Run kestrin(const std::string& arguments) { return batterycore::testing::runKestrin(arguments); }
bool toolBuilt() { return batterycore::testing::kToolBuilt; }

TEST(ExplainCommand, ChargingToTheLimit) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("explain '" + kData + "charging.json' --locale en_US --time-zone UTC");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "attention: phase(charging(to: 80)), tone charging\n"
            "widget tone: charging\n"
            "headline: Charging to 80%\n"
            "detail: It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick.\n"
            "why: Why is it charging?\n"
            "banner: none\n");
}

TEST(ExplainCommand, TechnicalLevelInGerman) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("explain '" + kData + "charging.json' --level technical --locale de_DE --time-zone UTC");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("headline: Lädt auf 80\u00A0%\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("detail: Lädt bis zum Limit von 80\u00A0%, 18 W fließen in die Batterie. macOS schätzt noch "
                         "35 min"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("why: Warum lädt die Batterie?\n"), std::string::npos) << run.out;
}

TEST(ExplainCommand, SmartTopUpFromAnOlderSessionFile) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("explain '" + kData + "topping-up.json' --session '" + kData +
                           "smart-session.json' --locale en_US --time-zone Europe/Berlin");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "attention: fullCharge, tone charging\n"
            "widget tone: charging\n"
            "headline: Charging to 100%\n"
            "detail: Topping up for your 8:30 AM departure. The limit comes back on when you unplug or tomorrow at "
            "8:30 AM.\n"
            "why: Why is it charging?\n"
            "banner: none\n");
}

TEST(ExplainCommand, LimitNotHoldingShowsTheBanner) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("explain '" + kData + "not-holding.json' --watchdog '" + kData +
                           "watchdog-not-holding.json' --locale en_US --time-zone UTC");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "attention: notHolding(limit: 80), tone calibrating, marker alert\n"
            "widget tone: alert\n"
            "headline: Limit not holding\n"
            "detail: The battery is at 86% and still charging past your 80% limit.\n"
            "why: Why is it charging?\n"
            "banner: Limit not holding\n"
            "banner detail: The battery keeps charging past your 80% limit. If it goes on, check System Settings > "
            "Battery.\n");
}

TEST(ExplainCommand, BadInputFails) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto missing = kestrin("explain '" + kData + "no-such-reading.json'");
  EXPECT_EQ(missing.exitCode, 1) << missing.out;
  EXPECT_NE(missing.out.find("cannot open"), std::string::npos) << missing.out;

  // A session file is not a reading.
  const auto wrong = kestrin("explain '" + kData + "smart-session.json'");
  EXPECT_EQ(wrong.exitCode, 1) << wrong.out;
  EXPECT_NE(wrong.out.find("smart-session.json"), std::string::npos) << wrong.out;

  const auto level = kestrin("explain '" + kData + "charging.json' --level expert");
  EXPECT_NE(level.exitCode, 0) << level.out;
}

}  // namespace
