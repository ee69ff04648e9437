// The built `kestrin departures` run end to end on the sample ledger in
// tests/data: eight weeks of weekday unplugs around 08:20 in Berlin, a few
// scattered Sundays, two Saturdays, a night-time unplug, second unplugs later
// in the day and one unplug from long before the eight weeks.
#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace batterycore {
namespace {

#ifdef KESTRIN_TOOL_PATH
constexpr const char* kTool = KESTRIN_TOOL_PATH;
#else
constexpr const char* kTool = nullptr;
#endif

#define REQUIRE_TOOL() \
  if (kTool == nullptr) GTEST_SKIP() << "the kestrin tool is not part of this build"

struct Run {
  int exitCode = -1;
  std::string out;  // stdout and stderr together
};

Run run(const std::string& arguments) {
  const std::string command = std::string(kTool) + " " + arguments + " 2>&1";
  Run result;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> buffer{};
  std::size_t read = 0;
  while ((read = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.out.append(buffer.data(), read);
  const int status = pclose(pipe);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

const std::string kLedger = std::string(KESTRIN_TEST_DATA_DIR) + "/departures-ledger.json";
// Sunday 2026-03-01, 20:00 in Berlin.
const std::string kSundayEvening = " --now 2026-03-01T19:00:00Z --tz Europe/Berlin";

TEST(DeparturesCommand, TellsWhatWasLearnedAndTheNextDeparture) {
  REQUIRE_TOOL();
  const auto result = run("departures " + kLedger + kSundayEvening + " --locale en_US");
  EXPECT_EQ(result.exitCode, 0) << result.out;
  EXPECT_EQ(result.out,
            "Before you usually leave\n"
            "Sundays: no usual time yet. Weekdays around 8:15 AM, Saturdays: not enough days yet.\n"
            "\n"
            "Next departure: tomorrow at 8:20 AM\n"
            "Tops up to 100% before you leave at 8:20 AM.\n");
}

TEST(DeparturesCommand, TechnicalLevelGivesExactTimesAndDays) {
  REQUIRE_TOOL();
  const auto result = run("departures " + kLedger + kSundayEvening + " --locale en_US --level technical");
  EXPECT_EQ(result.exitCode, 0) << result.out;
  EXPECT_EQ(result.out,
            "Before you usually leave\n"
            "Sundays: 5 days, more than 45 min apart. Mondays at 8:20 AM, from 8 days. Tuesdays at 8:20 AM, from 8 "
            "days. Wednesdays at 8:20 AM, from 8 days. Thursdays at 8:20 AM, from 8 days. Fridays at 8:20 AM, from 8 "
            "days. Saturdays: 2 of 4 days needed. First unplug recorded 90 days ago.\n"
            "\n"
            "Next departure: tomorrow at 8:20 AM\n"
            "Top-up starts around 6:50 AM for the 8:20 AM departure.\n");
}

TEST(DeparturesCommand, MondayAfterTheDepartureLooksToTuesday) {
  REQUIRE_TOOL();
  const auto result = run("departures " + kLedger + " --now 2026-03-02T08:00:00Z --tz Europe/Berlin --locale en_US");
  EXPECT_EQ(result.exitCode, 0) << result.out;
  EXPECT_NE(result.out.find("Next departure: tomorrow at 8:20 AM\n"), std::string::npos) << result.out;
}

TEST(DeparturesCommand, SpeaksGerman) {
  REQUIRE_TOOL();
  if (!testing::hasLocaleData("de_DE")) GTEST_SKIP() << "ICU has no data for de_DE";
  const auto result = run("departures " + kLedger + kSundayEvening + " --locale de_DE");
  EXPECT_EQ(result.exitCode, 0) << result.out;
  EXPECT_NE(result.out.find("Werktags gegen 08:15, Samstags: noch nicht genug Tage. Sonntags: noch keine übliche "
                            "Zeit.\n"),
            std::string::npos)
      << result.out;
}

TEST(DeparturesCommand, AnEmptyLedgerHasLearnedNothing) {
  REQUIRE_TOOL();
  const std::string empty = ::testing::TempDir() + "departures-empty.json";
  FILE* file = std::fopen(empty.c_str(), "w");
  ASSERT_NE(file, nullptr);
  std::fputs("{}\n", file);
  std::fclose(file);
  const auto result = run("departures " + empty + kSundayEvening + " --locale en_US");
  EXPECT_EQ(result.exitCode, 0) << result.out;
  EXPECT_EQ(result.out,
            "Before you usually leave\n"
            "Nothing learned yet. It takes about 4 weeks of unplugging at similar times.\n");
  std::remove(empty.c_str());
}

TEST(DeparturesCommand, RefusesWhatItCannotRead) {
  REQUIRE_TOOL();
  struct Case {
    std::string arguments;
    int exitCode;
    std::string says;
  };
  const Case cases[] = {
      {"departures /nonexistent/ledger.json" + kSundayEvening, 1, "cannot open"},
      {"departures " + std::string(KESTRIN_TEST_DATA_DIR) + "/departures-ledger.json --now yesterday", 2,
       "not an ISO 8601"},
      {"departures " + kLedger + " --now 2026-03-01T19:00:00Z --tz Mars/Olympus_Mons", 2, "not a time zone"},
  };
  for (const auto& c : cases) {
    const auto result = run(c.arguments);
    EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments << "\n" << result.out;
    EXPECT_NE(result.out.find(c.says), std::string::npos) << result.out;
  }
}

}  // namespace
}  // namespace batterycore
