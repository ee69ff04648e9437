// Runs the built `kestrin texts` end to end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct Run {
  int exitCode = -1;
  std::string output;  // standard output and standard error together
};

Run runTool(const std::string& arguments) {
#ifdef KESTRIN_TOOL_PATH
  const std::string command = std::string("'") + KESTRIN_TOOL_PATH + "' " + arguments + " 2>&1";
  Run run;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  std::array<char, 4096> buffer{};
  std::size_t read = 0;
  while ((read = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) run.output.append(buffer.data(), read);
  const int status = pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
#else
  (void)arguments;
  return {};
#endif
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

class TextsCommand : public ::testing::Test {
 protected:
  void SetUp() override {
#ifndef KESTRIN_TOOL_PATH
    GTEST_SKIP() << "the kestrin tool is not part of this build";
#endif
  }
};

TEST_F(TextsCommand, ListsTheKeysUnderAPrefixSorted) {
  const auto run = runTool("texts --locale en_US thermal.");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  const auto listed = lines(run.output);
  ASSERT_EQ(listed.size(), 12u) << run.output;
  EXPECT_EQ(listed[0], "# en_US reads en.json: 11 of 11 texts");
  EXPECT_TRUE(std::is_sorted(listed.begin() + 1, listed.end())) << run.output;
  EXPECT_THAT(run.output, HasSubstr("\nthermal.normal             Normal\n"));
  EXPECT_THAT(run.output, HasSubstr("\nthermal.state              Thermal state \u20391\u203A.\n"));
  EXPECT_THAT(run.output, Not(HasSubstr("[en]")));
}

TEST_F(TextsCommand, LevelHidesTheOtherWording) {
  const auto run = runTool("texts --locale en_US --level technical thermal.");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_THAT(run.output, HasSubstr("thermal.fair.technical"));
  EXPECT_THAT(run.output, HasSubstr("thermal.hot.unplugged"));
  EXPECT_THAT(run.output, Not(HasSubstr(".simple")));
}

TEST_F(TextsCommand, LanguageWithoutATableShowsTheEnglish) {
  const auto run = runTool("texts --locale sw_KE thermal.warm");
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_THAT(run.output, HasSubstr("# sw_KE has no table"));
  EXPECT_THAT(run.output, HasSubstr("thermal.warm  Warm\n"));
}

TEST_F(TextsCommand, UnknownPrefixFails) {
  const auto run = runTool("texts --locale en_US no.such.prefix");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.output, HasSubstr("no text key starts with \"no.such.prefix\""));
}

TEST_F(TextsCommand, UnknownLevelIsRefused) {
  const auto run = runTool("texts --level expert thermal.");
  EXPECT_NE(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("expert"));
}

}  // namespace
