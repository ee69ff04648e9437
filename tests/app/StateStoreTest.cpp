#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include "BatteryCore/readings/LimitState.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::Json;
using batterycore::LimitState;

class StateStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() /
             ("kestrin-store-" + std::to_string(::getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(folder);
  }
  void TearDown() override {
    ::chmod(folder.c_str(), 0700);
    fs::remove_all(folder);
  }
  StateStore store() {
    return StateStore(folder, [this](const std::string& line) { reports.push_back(line); });
  }
  void writeRaw(const std::string& name, const std::string& text) {
    std::ofstream(folder / (name + ".json")) << text;
  }
  std::vector<fs::path> filesStartingWith(const std::string& prefix) const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().filename().string().starts_with(prefix)) found.push_back(entry.path());
    }
    return found;
  }

  fs::path folder;
  std::vector<std::string> reports;
};

TEST_F(StateStoreTest, MissingFileGivesTheDefaultSilently) {
  auto s = store();
  EXPECT_EQ(s.load<LimitState>("limit", LimitState::off()), LimitState::off());
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreTest, SavesAndLoadsAgain) {
  {
    auto s = store();
    EXPECT_TRUE(s.save("limit", LimitState::on(80)));
  }
  auto s = store();
  EXPECT_EQ(s.load<LimitState>("limit", LimitState::off()), LimitState::on(80));
}

TEST_F(StateStoreTest, WritesOnlyWhenTheJsonChanged) {
  auto s = store();
  EXPECT_TRUE(s.save("limit", LimitState::on(80)));
  EXPECT_FALSE(s.save("limit", LimitState::on(80)));
  EXPECT_TRUE(s.save("limit", LimitState::on(75)));

  auto again = store();
  (void)again.load<LimitState>("limit", LimitState::off());
  EXPECT_FALSE(again.save("limit", LimitState::on(75)));  // what it read counts as written
}

TEST_F(StateStoreTest, DamagedFileIsMovedAsideReportedAndReplacedByTheDefault) {
  struct Case {
    const char* what;
    const char* text;
  };
  const Case cases[] = {{"not JSON", "{\"on\": {\"_0\": 8"},
                        {"wrong shape", R"({"on": {"_0": 80}, "off": {}})"},
                        {"empty file", ""}};
  for (const auto& c : cases) {
    fs::remove_all(folder);
    reports.clear();
    auto s = store();
    writeRaw("limit", c.text);
    EXPECT_EQ(s.load<LimitState>("limit", LimitState::off()), LimitState::off()) << c.what;
    ASSERT_EQ(reports.size(), 1u) << c.what;
    EXPECT_NE(reports[0].find("limit.json"), std::string::npos) << reports[0];
    const auto aside = filesStartingWith("limit.json.corrupt-");
    ASSERT_EQ(aside.size(), 1u) << c.what;
    EXPECT_EQ(widget::readWholeFile(aside[0]), c.text) << "the damaged copy is kept as it was";
    EXPECT_FALSE(fs::exists(folder / "limit.json"));
    EXPECT_TRUE(s.save("limit", LimitState::off())) << "the default is written afresh";
  }
}

TEST_F(StateStoreTest, NeverWritesOverADamagedFileItCouldNotMoveAside) {
  if (::geteuid() == 0) GTEST_SKIP() << "root ignores folder permissions";
  auto s = store();
  writeRaw("limit", "garbage");
  ::chmod(folder.c_str(), 0500);
  EXPECT_EQ(s.load<LimitState>("limit", LimitState::off()), LimitState::off());
  EXPECT_EQ(reports.size(), 1u);
  EXPECT_FALSE(s.save("limit", LimitState::on(80)));
  ::chmod(folder.c_str(), 0700);
  EXPECT_EQ(widget::readWholeFile(folder / "limit.json"), "garbage");
}

TEST_F(StateStoreTest, SavingLeavesNoTemporaryFiles) {
  auto s = store();
  s.save("limit", LimitState::on(80));
  s.save("limit", LimitState::on(75));
  EXPECT_TRUE(filesStartingWith(".limit.json").empty());
}

}  // namespace
}  // namespace kestrin::app
