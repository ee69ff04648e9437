#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include "BatteryCore/readings/LimitState.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <memory>
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

// The journal: the states the service saves every few minutes, one line per commit.
class StateStoreJournalTest : public StateStoreTest {
 protected:
  std::unique_ptr<StateStore> journaled(StateStore::WhenUnwritable whenUnwritable = StateStore::WhenUnwritable::fail) {
    auto s = std::make_unique<StateStore>(
        folder, [this](const std::string& line) { reports.push_back(line); }, false, whenUnwritable);
    s->useJournal({"settings"});
    return s;
  }
  std::string journal() const { return widget::readWholeFile(folder / "journal.jsonl").value_or(""); }
  void writeJournal(const std::string& text) const { std::ofstream(folder / "journal.jsonl") << text; }
  static std::size_t lines(const std::string& text) { return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')); }
};

TEST_F(StateStoreJournalTest, SavesWaitForTheCommitAndGoOutAsOneLine) {
  {
    auto s = journaled();
    ASSERT_TRUE(s->save("limit", LimitState::on(80)));
    ASSERT_TRUE(s->save("other", LimitState::off()));
    ASSERT_TRUE(s->save("settings", LimitState::on(90)));
    EXPECT_EQ(journal(), "") << "nothing before the commit";
    EXPECT_TRUE(fs::exists(folder / "settings.json")) << "the settings stay a file of their own";
    EXPECT_TRUE(s->commit());
    EXPECT_EQ(lines(journal()), 1u) << journal();
    EXPECT_FALSE(s->save("limit", LimitState::on(80))) << "unchanged: nothing to write";
    ASSERT_TRUE(s->save("limit", LimitState::on(75)));
    EXPECT_TRUE(s->commit());
    EXPECT_EQ(lines(journal()), 2u) << journal();
  }
  EXPECT_FALSE(fs::exists(folder / "limit.json"));
  auto again = journaled();
  EXPECT_EQ(again->load<LimitState>("limit", LimitState::off()), LimitState::on(75)) << "the newest line wins";
  EXPECT_EQ(again->load<LimitState>("other", LimitState::on(1)), LimitState::off());
  EXPECT_EQ(again->load<LimitState>("settings", LimitState::off()), LimitState::on(90));
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreJournalTest, AJournalLineIsNewerThanTheFile) {
  fs::create_directories(folder);
  writeRaw("limit", LimitState::on(80).toJson().dump());
  writeJournal("{\"limit\":" + LimitState::on(60).toJson().dump() + "}\n");
  EXPECT_EQ(journaled()->load<LimitState>("limit", LimitState::off()), LimitState::on(60));
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(60).toJson());
  // A store without a journal (a command changing the settings) leaves it alone.
  EXPECT_EQ(store().load<LimitState>("limit", LimitState::off()), LimitState::on(80));
}

TEST_F(StateStoreJournalTest, ACommandPeeksAtTheNewestLineHoldingTheState) {
  fs::create_directories(folder);
  writeRaw("limit", LimitState::on(90).toJson().dump());
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(90).toJson()) << "no journal: the file";
  writeJournal("{\"limit\":" + LimitState::on(60).toJson().dump() + "}\n" + "{\"other\":{\"limit\":1}}\n" +
               "garbage\n" + "{\"limit\":" + LimitState::on(50).toJson().dump() + "}\n" + "{\"other\":2}\n" +
               "{\"limit\":{\"sta");
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(50).toJson()) << "not the line cut short";
  EXPECT_EQ(StateStore::newestInJournal(folder, "other"), Json(2));
  EXPECT_EQ(StateStore::newestInJournal(folder, "missing"), std::nullopt);
  writeJournal("{\"limit\":" + LimitState::on(60).toJson().dump() + "}\n" + "{\"other\":{\"limit\":1}}\n");
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(60).toJson()) << "a name inside another state is not it";
  EXPECT_TRUE(fs::exists(folder / "journal.jsonl")) << "peeking changes nothing";
}

TEST_F(StateStoreJournalTest, ALineCutShortByACrashIsDroppedQuietly) {
  fs::create_directories(folder);
  const std::string whole = "{\"limit\":" + LimitState::on(60).toJson().dump() + "}\n";
  writeJournal(whole + "{\"limit\":{\"sta");
  {
    auto s = journaled();
    EXPECT_EQ(s->load<LimitState>("limit", LimitState::off()), LimitState::on(60));
    ASSERT_TRUE(s->save("other", LimitState::off()));
    ASSERT_TRUE(s->commit());
  }
  EXPECT_TRUE(reports.empty()) << reports[0];
  EXPECT_TRUE(journal().starts_with(whole)) << journal();
  EXPECT_EQ(lines(journal()), 2u) << "the next line starts whole: " << journal();
  auto again = journaled();
  EXPECT_EQ(again->load<LimitState>("other", LimitState::on(1)), LimitState::off());
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreJournalTest, ADamagedLineIsReportedAndTheJournalKeptAside) {
  fs::create_directories(folder);
  writeJournal("{\"limit\":" + LimitState::on(60).toJson().dump() + "}\n" + "garbage\n" + "{\"other\":" +
               LimitState::on(40).toJson().dump() + "}\n");
  {
    auto s = journaled();
    EXPECT_EQ(s->load<LimitState>("limit", LimitState::off()), LimitState::on(60));
    EXPECT_EQ(s->load<LimitState>("other", LimitState::off()), LimitState::on(40)) << "lines after it still count";
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].find("journal.jsonl"), std::string::npos) << reports[0];
    EXPECT_NE(reports[0].find("line 2"), std::string::npos) << reports[0];
    ASSERT_EQ(filesStartingWith("journal.jsonl.corrupt-").size(), 1u);
    EXPECT_TRUE(s->commit());
  }
  // What it held that was readable is in the new journal.
  auto again = journaled();
  EXPECT_EQ(again->load<LimitState>("limit", LimitState::off()), LimitState::on(60));
  EXPECT_EQ(again->load<LimitState>("other", LimitState::off()), LimitState::on(40));
  EXPECT_EQ(reports.size(), 1u);
}

TEST_F(StateStoreJournalTest, AStateInTheJournalThatDoesNotDecodeGivesTheDefault) {
  fs::create_directories(folder);
  writeJournal("{\"limit\":{\"state\":\"sideways\"},\"other\":" + LimitState::on(40).toJson().dump() + "}\n");
  auto s = journaled();
  EXPECT_EQ(s->load<LimitState>("limit", LimitState::on(1)), LimitState::on(1));
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_NE(reports[0].find("limit"), std::string::npos) << reports[0];
  EXPECT_EQ(filesStartingWith("journal.jsonl.corrupt-").size(), 1u);
  EXPECT_EQ(s->load<LimitState>("other", LimitState::off()), LimitState::on(40));
}

TEST_F(StateStoreJournalTest, CompactingPutsEachStateInItsFileAndEmptiesTheJournal) {
  auto s = journaled();
  ASSERT_TRUE(s->save("limit", LimitState::on(70)));
  ASSERT_TRUE(s->commit());
  ASSERT_TRUE(s->compact());
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(store().load<LimitState>("limit", LimitState::off()), LimitState::on(70));

  // A journal past its size is compacted by the commit that takes it there.
  const std::string big(StateStore::kCompactAt / 4, 'x');
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(s->saveJson("big", Json{{"text", big}, {"round", i}}));
    ASSERT_TRUE(s->commit());
  }
  EXPECT_LT(journal().size(), StateStore::kCompactAt);
  EXPECT_EQ(StateStore::peek(folder, "big").value_or(Json()).value("round", -1), 4);
}

TEST_F(StateStoreJournalTest, AnAppendThatFailsLeavesOnlyWholeLinesAndIsMadeLater) {
  auto s = journaled(StateStore::WhenUnwritable::keepInMemory);
  ASSERT_TRUE(s->save("limit", LimitState::on(80)));
  ASSERT_TRUE(s->commit());
  const std::string before = journal();
  {
    const FileSizeLimit limit(before.size() + 8);
    ASSERT_TRUE(s->save("limit", LimitState::on(75)));
    EXPECT_FALSE(s->commit());
    ASSERT_TRUE(s->save("limit", LimitState::on(70)));
    EXPECT_FALSE(s->commit());
    EXPECT_TRUE(s->hasUnwritten());
    EXPECT_EQ(journal(), before) << "the part of the line that went out was taken back";
    ASSERT_EQ(reports.size(), 1u) << "one line for the whole spell";
    EXPECT_NE(reports[0].find("journal.jsonl"), std::string::npos) << reports[0];
  }
  EXPECT_TRUE(s->commit());
  EXPECT_FALSE(s->hasUnwritten());
  EXPECT_EQ(reports.size(), 2u) << "and one when it is written again";
  EXPECT_EQ(journaled()->load<LimitState>("limit", LimitState::off()), LimitState::on(70));
}

TEST_F(StateStoreJournalTest, ALinkPlantedAtTheJournalIsPutAsideNotFollowed) {
  fs::create_directories(folder);
  const fs::path target = folder.string() + "-elsewhere";
  std::ofstream(target) << "precious\n";
  fs::create_symlink(target, folder / "journal.jsonl");
  {
    auto s = journaled();
    ASSERT_TRUE(s->save("limit", LimitState::on(80)));
    ASSERT_TRUE(s->commit());
  }
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_NE(reports[0].find("symbolic link"), std::string::npos) << reports[0];
  EXPECT_EQ(widget::readWholeFile(target), "precious\n");
  struct stat status {};
  ASSERT_EQ(::lstat((folder / "journal.jsonl").c_str(), &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  fs::remove(target);
}

}  // namespace
}  // namespace kestrin::app
