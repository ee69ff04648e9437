#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include "BatteryCore/readings/LimitState.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <system_error>

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

// A file-size limit (ulimit -f) makes every write of more than a few bytes
// fail with EFBIG, which root cannot override either.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : previousSignal_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &previous_);
    rlimit limit = previous_;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &previous_);
    std::signal(SIGXFSZ, previousSignal_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*previousSignal_)(int);
  rlimit previous_{};
};

TEST_F(StateStoreTest, TheServiceKeepsWhatItCannotWriteAndWritesItWhenItCan) {
  StateStore s(folder, [this](const std::string& line) { reports.push_back(line); }, false,
               StateStore::WhenUnwritable::keepInMemory);
  ASSERT_TRUE(s.save("limit", LimitState::on(80)));
  const auto before = widget::readWholeFile(folder / "limit.json");
  {
    const FileSizeLimit limit(8);
    EXPECT_FALSE(s.save("limit", LimitState::on(75)));
    EXPECT_FALSE(s.save("limit", LimitState::on(70)));
    EXPECT_FALSE(s.save("other", LimitState::off()));
    EXPECT_TRUE(s.hasUnwritten());
    // The file on disk is the last one written whole, and it still reads.
    EXPECT_EQ(widget::readWholeFile(folder / "limit.json"), before);
    EXPECT_EQ(StateStore(folder, [](const std::string&) {}).load<LimitState>("limit", LimitState::off()),
              LimitState::on(80));
    ASSERT_EQ(reports.size(), 1u) << "one line for the whole spell";
    EXPECT_NE(reports[0].find("limit.json"), std::string::npos) << reports[0];
    EXPECT_TRUE(filesStartingWith(".limit").empty()) << "no temporary left behind";
  }
  EXPECT_TRUE(s.retryUnwritten());
  EXPECT_FALSE(s.hasUnwritten());
  EXPECT_EQ(reports.size(), 2u) << "and one when it is written again";
  StateStore reader(folder, [](const std::string&) {});
  EXPECT_EQ(reader.load<LimitState>("limit", LimitState::off()), LimitState::on(70)) << "the newest, not the first";
  EXPECT_EQ(reader.load<LimitState>("other", LimitState::on(50)), LimitState::off());
}

TEST_F(StateStoreTest, ACommandHearsOfAFailedWriteAndTheFileStays) {
  auto s = store();
  ASSERT_TRUE(s.save("limit", LimitState::on(80)));
  const FileSizeLimit limit(8);
  EXPECT_THROW(s.save("limit", LimitState::on(75)), std::system_error);
  EXPECT_EQ(StateStore(folder, [](const std::string&) {}).load<LimitState>("limit", LimitState::off()),
            LimitState::on(80));
}

TEST_F(StateStoreTest, TheFolderAndItsFilesAreTheUsersAlone) {
  auto s = store();
  ASSERT_TRUE(s.save("limit", LimitState::on(80)));
  struct stat status {};
  ASSERT_EQ(::stat(folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat((folder / "limit.json").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(StateStoreTest, AWriteReplacesALinkPlantedAtTheStatePathInsteadOfFollowingIt) {
  fs::create_directories(folder);
  const fs::path target = folder.string() + "-elsewhere";
  std::ofstream(target) << "precious\n";
  fs::create_symlink(target, folder / "limit.json");
  auto s = store();
  ASSERT_TRUE(s.save("limit", LimitState::on(80)));
  EXPECT_FALSE(fs::is_symlink(folder / "limit.json"));
  EXPECT_EQ(widget::readWholeFile(target), "precious\n");
  fs::remove(target);
}

}  // namespace
}  // namespace kestrin::app
