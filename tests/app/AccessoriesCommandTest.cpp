// `kestrin accessories` end to end over captured power-supply folders: what a
// person reads, in English and German.
#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <string>

namespace batterycore::testing {
namespace {

const std::string kSysfs = std::string(KESTRIN_TEST_DATA_DIR) + "/sysfs/";

ToolRun accessories(const std::string& sample, const std::string& more) {
  return runKestrin("accessories --sysfs '" + kSysfs + sample + "' " + more);
}

TEST(AccessoriesCommand, ListsTheDeskInEnglish) {
  if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = accessories("accessories-desk", "--locale en_US");
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "Accessories\n"
            "\n"
            "  ELAN Touchscreen     Battery level unknown\n"
            "  Hanvon Ugee Deco LW  Battery level unknown\n"
            "  K800                 Plenty left\n"
            "  Performance MX       Fine\n"
            "\n"
            "You'll get an alert when one is down to 10%.\n");
}

TEST(AccessoriesCommand, ListsPercentagesInGerman) {
  if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = accessories("peripherals-only", "--locale de_DE");
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "Zubehör\n"
            "\n"
            "  applemagictrackpad          100\u00A0%  Noch reichlich\n"
            "  Hanvon Ugee Deco LW          40\u00A0%  Gut\n"
            "  Wireless Mouse MX Master 3         Noch reichlich\n"
            "\n"
            "Du bekommst einen Hinweis, sobald ein Gerät nur noch 10\u00A0% hat.\n");
}

TEST(AccessoriesCommand, TechnicalLevelNamesEachSupply) {
  if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = accessories("accessories-tablet-160", "--locale en_US --level technical");
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "Accessories\n"
            "\n"
            "  Hanvon Ugee Deco LW  Battery level unknown  hid-28bd-935-battery\n"
            "\n"
            "You'll get an alert when one is down to 10%.\n");
}

TEST(AccessoriesCommand, SaysSoWhenNoneIsConnected) {
  if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto english = accessories("legion-go-s", "--locale en_US");
  EXPECT_EQ(english.exitCode, 0) << english.out;
  EXPECT_EQ(english.out, "Accessories\n\nNo mouse, keyboard or trackpad with a battery is connected.\n");
  const auto german = accessories("legion-go-s", "--locale de_DE");
  EXPECT_EQ(german.out,
            "Zubehör\n\nEs ist weder eine Maus noch eine Tastatur noch ein Trackpad mit Batterie verbunden.\n");
}

TEST(AccessoriesCommand, RefusesAFolderThatIsNotThere) {
  if (!kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto run = accessories("no-such-machine", "--locale en_US");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "kestrin: " + kSysfs + "no-such-machine is not a folder\n");
}

}  // namespace
}  // namespace batterycore::testing
