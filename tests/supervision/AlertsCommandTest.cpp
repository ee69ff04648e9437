// The `kestrin alerts` command, run as the real program.
#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

using Run = batterycore::testing::ToolRun;

Run kestrin(const std::string& arguments) { return batterycore::testing::runKestrin(arguments); }
bool toolBuilt() { return batterycore::testing::kToolBuilt; }

TEST(AlertsCommand, ListsEveryKindWithItsSettingAndExplanation) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("alerts --locale en_US");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out.rfind("Kestrin alerts (Simple)\n", 0), 0u) << run.out;
  const char* const expected[] = {
      "\nlimitNotHolding  [On]\n  Limit not holding\n  When the battery charges past your limit.\n  The "
      "limit is on",
      "\nfullChargeRestored  [Off]\n  Limit back on after a full charge\n",
      "\nhealthMilestone  [Off]\n",
      "\nweakCharger  [On]\n  Charger can't keep up\n",
      "\nlimitTurnedOn\n  Charge limit back on\n  Shown in the alerts list only.\n",
      "\nlimitUnavailable\n  Charge limit unavailable\n  Shown in the alerts list only.\n  macOS isn't "
      "reporting",
  };
  for (const char* piece : expected)
    EXPECT_NE(run.out.find(piece), std::string::npos) << piece << "\n" << run.out;
  EXPECT_LT(run.out.find("\nlimitNotHolding"), run.out.find("\nbackgroundDrain"));
}

TEST(AlertsCommand, TechnicalLevelShowsThePacing) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("alerts --locale en_US --level technical");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("Kestrin alerts (Technical)\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("every 1 min, none within 2 min after wake"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\nlimitNotHolding  [On]  cooldown 12 h\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\nlimitTurnedOn  list only\n"), std::string::npos) << run.out;
}

TEST(AlertsCommand, RefusesAnUnknownLevel) {
  if (!toolBuilt()) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = kestrin("alerts --level expert");
  EXPECT_NE(run.exitCode, 0) << run.out;
}

}  // namespace
