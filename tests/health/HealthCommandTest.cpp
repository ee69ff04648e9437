// The built tool, end to end: exit codes and what a person reads.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace {

struct Run {
  int exitCode;
  std::string out;
};

#ifdef KESTRIN_TOOL_PATH
Run kestrin(const std::string& arguments) {
  const std::string command = std::string(KESTRIN_TOOL_PATH) + " " + arguments + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {-1, {}};
  std::string out;
  std::array<char, 4096> buffer{};
  while (const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) out.append(buffer.data(), n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}
#define REQUIRE_TOOL()
#else
Run kestrin(const std::string&) { return {-1, {}}; }
#define REQUIRE_TOOL() GTEST_SKIP() << "the kestrin tool is not part of this build"
#endif

const std::string kData = KESTRIN_TEST_DATA_DIR;
const std::string kPinned = " --tz UTC --locale en_US";

TEST(HealthCommand, ShowsHealthAndItsProjection) {
  REQUIRE_TOOL();
  const auto run = kestrin("health " + kData + "/health-samples.json --now 2026-03-01T12:00:00Z" + kPinned);
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "Battery health\n"
            "\n"
            "92% health\n"
            "Your battery holds 92% of what it did new. Normal wear, nothing to do.\n"
            "\n"
            "At this pace, about 10 months until 80%, when Apple recommends a battery service. Keeping the limit "
            "on slows this down.\n"
            "A rough guess from your last few months.\n");
}

TEST(HealthCommand, TechnicalLevelNamesTheFigures) {
  REQUIRE_TOOL();
  const auto run = kestrin("health " + kData + "/health-samples.json --now 2026-03-01T12:00:00Z --level technical" +
                           kPinned);
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("Full charge capacity is 92% of design.\n"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\nLosing about 1.2 points a month over the last 90 days: about 10 months until 80%."), std::string::npos) << run.out;
}

TEST(HealthCommand, ShortHistoryIsTooEarlyToProject) {
  REQUIRE_TOOL();
  const auto run = kestrin("health " + kData + "/health-samples-short.json --now 2026-03-01T12:00:00Z" + kPinned);
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("\nToo early to project. Check back in a month.\n"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("A rough guess"), std::string::npos) << run.out;
}

TEST(HealthCommand, ShowsAMonthOfHabits) {
  REQUIRE_TOOL();
  const auto run = kestrin("habits " + kData + "/high-charge-ledger.json --month 2026-03" + kPinned);
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out,
            "Time at high charge\n"
            "March 2026\n"
            "\n"
            "11 h above 80% this month\n"
            "Last month it was 77 h. You were plugged in for 41 h. Without a limit, most of that would have been "
            "spent at 100%, where a battery ages fastest.\n"
            "\n"
            "Hours above 80% this month, where a battery ages fastest. Less is better.\n"
            "\n"
            "Hours above 80% each day this month\n"
            "  2026-03-01  Above 80% 53 min, Plugged in 4 h\n"
            "  2026-03-02  Above 80% 1 h, Plugged in 4 h\n"
            "  2026-03-03  Above 80% 2 h, Plugged in 5 h\n"
            "  2026-03-04  Above 80% 32 min, Plugged in 4 h\n"
            "  2026-03-05  Above 80% 55 min, Plugged in 4 h\n"
            "  2026-03-06  Above 80% 1 h, Plugged in 4 h\n"
            "  2026-03-07  Above 80% 2 h, Plugged in 5 h\n"
            "  2026-03-08  Above 80% 34 min, Plugged in 4 h\n"
            "  2026-03-09  Above 80% 57 min, Plugged in 4 h\n"
            "  2026-03-10  Above 80% 1 h, Plugged in 4 h\n"
            "\n"
            "Above 80% is where a battery starts to age faster, so that's what gets counted, whatever your "
            "limit is set to.\n");
}

TEST(HealthCommand, AMonthWithoutAnEarlierOneIsTheFirst) {
  REQUIRE_TOOL();
  const auto run =
      kestrin("habits " + kData + "/high-charge-ledger.json --month 2026-02 --level technical" + kPinned);
  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NE(run.out.find("First month of history."), std::string::npos) << run.out;
}

TEST(HealthCommand, RefusesBadInput) {
  REQUIRE_TOOL();
  struct Case {
    std::string arguments;
    int exitCode;
    const char* says;
  };
  const Case cases[] = {
      {"health " + kData + "/no-such-file.json", 1, "cannot open"},
      {"health " + kData + "/high-charge-ledger.json", 1, "missing key \"samples\""},
      {"habits " + kData + "/health-samples.json", 1, "expected an object"},
      {"health " + kData + "/health-samples.json --now yesterday", 2, "is not an ISO 8601 date-time"},
      {"habits " + kData + "/high-charge-ledger.json --month 2026-13", 2, "is not a month"},
      {"habits " + kData + "/high-charge-ledger.json --tz Mars/Olympus", 2, "is not a time zone"},
  };
  for (const auto& c : cases) {
    const auto run = kestrin(c.arguments);
    EXPECT_EQ(run.exitCode, c.exitCode) << c.arguments << "\n" << run.out;
    EXPECT_NE(run.out.find(c.says), std::string::npos) << c.arguments << "\n" << run.out;
  }
}

}  // namespace
