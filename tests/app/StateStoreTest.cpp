#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include "BatteryCore/readings/LimitState.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::Json;
using batterycore::LimitState;

// A file-size limit (ulimit -f) makes every write of more than a few bytes
// fail with EFBIG, which root cannot override either. The signal it raises
// is ignored, as the service does.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit{bytes, previous_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &previous_); }

 private:
  rlimit previous_{};
};

class StateStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::remove_all(folder); }
  void TearDown() override {
    ::chmod(folder.c_str(), 0700);
    fs::remove_all(folder);
    fs::remove(elsewhere);
  }
  // The service's store: a journal beside the settings' own file.
  std::unique_ptr<StateStore> store(bool journal = false,
                                    StateStore::WhenUnwritable whenUnwritable = StateStore::WhenUnwritable::fail) {
    auto s = std::make_unique<StateStore>(
        folder, [this](const std::string& line) { reports.push_back(line); }, false, whenUnwritable);
    if (journal) s->useJournal({"settings"});
    return s;
  }
  LimitState limit(StateStore& s, LimitState fallback = LimitState::off()) { return s.load<LimitState>("limit", fallback); }
  void write(const std::string& name, const std::string& text) const {
    fs::create_directories(folder);
    std::ofstream(folder / name) << text;
  }
  static std::string line(const LimitState& limit) { return "{\"limit\":" + limit.toJson().dump() + "}\n"; }
  std::string journal() const { return widget::readWholeFile(folder / "journal.jsonl").value_or(""); }
  std::size_t filesStartingWith(const std::string& prefix) const {
    return static_cast<std::size_t>(std::ranges::count_if(fs::directory_iterator(folder), [&](const auto& entry) {
      return entry.path().filename().string().starts_with(prefix);
    }));
  }
  // A link planted where a state goes, to a file of someone else's.
  void plantLink(const std::string& name) const {
    fs::create_directories(folder);
    std::ofstream(elsewhere) << "precious\n";
    fs::create_symlink(elsewhere, folder / name);
  }

  fs::path folder = fs::temp_directory_path() / ("kestrin-store-" + std::to_string(::getpid()) + "-" +
                                                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
  fs::path elsewhere = folder.string() + "-elsewhere";
  std::vector<std::string> reports;
};

TEST_F(StateStoreTest, SavesWhatChangedIntoPrivateFilesAndLoadsItAgain) {
  EXPECT_EQ(limit(*store()), LimitState::off()) << "a missing file gives the default";
  {
    auto s = store();
    EXPECT_TRUE(s->save("limit", LimitState::on(80)));
    EXPECT_FALSE(s->save("limit", LimitState::on(80)));
    EXPECT_TRUE(s->save("limit", LimitState::on(75)));
  }
  auto again = store();
  EXPECT_EQ(limit(*again), LimitState::on(75));
  EXPECT_FALSE(again->save("limit", LimitState::on(75))) << "what it read counts as written";
  EXPECT_EQ(filesStartingWith(".limit.json"), 0u) << "no temporary left behind";
  struct stat status {};
  ASSERT_EQ(::stat(folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat((folder / "limit.json").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreTest, DamagedFileIsMovedAsideReportedAndReplacedByTheDefault) {
  for (const char* text : {"{\"on\": {\"_0\": 8", R"({"on": {"_0": 80}, "off": {}})", ""}) {
    fs::remove_all(folder);
    reports.clear();
    write("limit.json", text);
    auto s = store();
    EXPECT_EQ(limit(*s), LimitState::off()) << text;
    ASSERT_EQ(reports.size(), 1u) << text;
    EXPECT_NE(reports[0].find("limit.json"), std::string::npos) << reports[0];
    ASSERT_EQ(filesStartingWith("limit.json.corrupt-"), 1u) << text;
    EXPECT_FALSE(fs::exists(folder / "limit.json"));
    for (const auto& entry : fs::directory_iterator(folder)) {
      EXPECT_EQ(widget::readWholeFile(entry.path()), text) << "the damaged copy is kept as it was";
    }
    EXPECT_TRUE(s->save("limit", LimitState::off())) << "the default is written afresh";
  }
}

TEST_F(StateStoreTest, NeverWritesOverADamagedFileItCouldNotMoveAside) {
  if (::geteuid() == 0) GTEST_SKIP() << "root ignores folder permissions";
  write("limit.json", "garbage");
  auto s = store();
  ::chmod(folder.c_str(), 0500);
  EXPECT_EQ(limit(*s), LimitState::off());
  EXPECT_EQ(reports.size(), 1u);
  EXPECT_FALSE(s->save("limit", LimitState::on(80)));
  ::chmod(folder.c_str(), 0700);
  EXPECT_EQ(widget::readWholeFile(folder / "limit.json"), "garbage");
}

TEST_F(StateStoreTest, OnAFullDiskTheServiceKeepsTheStatesAndACommandHearsOfIt) {
  auto service = store(false, StateStore::WhenUnwritable::keepInMemory);
  ASSERT_TRUE(service->save("limit", LimitState::on(80)));
  const auto before = widget::readWholeFile(folder / "limit.json");
  {
    const FileSizeLimit full(8);
    EXPECT_THROW(store()->save("limit", LimitState::on(60)), std::system_error) << "a command";
    EXPECT_FALSE(service->save("limit", LimitState::on(75)));
    EXPECT_FALSE(service->save("limit", LimitState::on(70)));
    EXPECT_FALSE(service->save("other", LimitState::off()));
    EXPECT_TRUE(service->hasUnwritten());
    EXPECT_EQ(widget::readWholeFile(folder / "limit.json"), before) << "the last file written whole stays";
    EXPECT_EQ(limit(*store()), LimitState::on(80));
    ASSERT_EQ(reports.size(), 1u) << "one line for the whole spell";
    EXPECT_NE(reports[0].find("limit.json"), std::string::npos) << reports[0];
    EXPECT_EQ(filesStartingWith(".limit"), 0u) << "no temporary left behind";
  }
  EXPECT_TRUE(service->retryUnwritten());
  EXPECT_FALSE(service->hasUnwritten());
  EXPECT_EQ(reports.size(), 2u) << "and one when it is written again";
  auto reader = store();
  EXPECT_EQ(limit(*reader), LimitState::on(70)) << "the newest, not the first";
  EXPECT_EQ(reader->load<LimitState>("other", LimitState::on(50)), LimitState::off());
}

TEST_F(StateStoreTest, ALinkPlantedAtAStateIsReplacedAndAtTheJournalPutAside) {
  plantLink("limit.json");
  ASSERT_TRUE(store()->save("limit", LimitState::on(80)));
  EXPECT_FALSE(fs::is_symlink(folder / "limit.json"));
  EXPECT_EQ(widget::readWholeFile(elsewhere), "precious\n");

  fs::remove(elsewhere);
  plantLink("journal.jsonl");
  {
    auto s = store(true);
    ASSERT_TRUE(s->save("limit", LimitState::on(70)));
    ASSERT_TRUE(s->commit());
  }
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_NE(reports[0].find("symbolic link"), std::string::npos) << reports[0];
  EXPECT_EQ(widget::readWholeFile(elsewhere), "precious\n");
  struct stat status {};
  ASSERT_EQ(::lstat((folder / "journal.jsonl").c_str(), &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

// The journal: the states the service saves every few minutes, one line per commit.

TEST_F(StateStoreTest, JournaledSavesWaitForTheCommitAndGoOutAsOneLine) {
  {
    auto s = store(true);
    ASSERT_TRUE(s->save("limit", LimitState::on(80)));
    ASSERT_TRUE(s->save("other", LimitState::off()));
    ASSERT_TRUE(s->save("settings", LimitState::on(90)));
    EXPECT_EQ(journal(), "") << "nothing before the commit";
    EXPECT_TRUE(fs::exists(folder / "settings.json")) << "the settings stay a file of their own";
    EXPECT_TRUE(s->commit());
    EXPECT_EQ(std::ranges::count(journal(), '\n'), 1) << journal();
    EXPECT_FALSE(s->save("limit", LimitState::on(80))) << "unchanged: nothing to write";
    ASSERT_TRUE(s->save("limit", LimitState::on(75)));
    EXPECT_TRUE(s->commit());
    EXPECT_EQ(std::ranges::count(journal(), '\n'), 2) << journal();
  }
  EXPECT_FALSE(fs::exists(folder / "limit.json"));
  auto again = store(true);
  EXPECT_EQ(limit(*again), LimitState::on(75)) << "the newest line wins";
  EXPECT_EQ(again->load<LimitState>("other", LimitState::on(1)), LimitState::off());
  EXPECT_EQ(again->load<LimitState>("settings", LimitState::off()), LimitState::on(90));
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreTest, TheNewestJournalLineHoldingAStateWinsOverItsFile) {
  write("limit.json", LimitState::on(90).toJson().dump());
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(90).toJson()) << "no journal: the file";
  write("journal.jsonl", line(LimitState::on(60)) + "{\"other\":{\"limit\":1}}\ngarbage\n" + line(LimitState::on(50)) +
                             "{\"other\":2}\n{\"limit\":{\"sta");
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(50).toJson()) << "not the line cut short";
  EXPECT_EQ(StateStore::newestInJournal(folder, "other"), Json(2));
  EXPECT_EQ(StateStore::newestInJournal(folder, "missing"), std::nullopt);
  write("journal.jsonl", line(LimitState::on(60)) + "{\"other\":{\"limit\":1}}\n");
  EXPECT_EQ(StateStore::peek(folder, "limit"), LimitState::on(60).toJson()) << "a name inside another state is not it";
  EXPECT_EQ(limit(*store()), LimitState::on(90)) << "a store without a journal (a command) leaves it alone";
  EXPECT_EQ(limit(*store(true)), LimitState::on(60));
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreTest, AJournalLineCutShortByACrashIsDroppedQuietly) {
  write("journal.jsonl", line(LimitState::on(60)) + "{\"limit\":{\"sta");
  {
    auto s = store(true);
    EXPECT_EQ(limit(*s), LimitState::on(60));
    ASSERT_TRUE(s->save("other", LimitState::off()));
    ASSERT_TRUE(s->commit());
  }
  EXPECT_TRUE(journal().starts_with(line(LimitState::on(60)))) << journal();
  EXPECT_EQ(std::ranges::count(journal(), '\n'), 2) << "the next line starts whole: " << journal();
  EXPECT_EQ(store(true)->load<LimitState>("other", LimitState::on(1)), LimitState::off());
  EXPECT_TRUE(reports.empty());
}

TEST_F(StateStoreTest, ADamagedJournalIsReportedAndKeptAsideAndWhatItHeldGoesOn) {
  const struct {
    std::string journal;
    const char* reported;
    LimitState limit;
  } cases[] = {
      {line(LimitState::on(60)) + "garbage\n", "line 2", LimitState::on(60)},
      {"{\"limit\":{\"state\":\"sideways\"}}\n", "limit", LimitState::on(1)},  // a state that does not decode
  };
  for (const auto& c : cases) {
    fs::remove_all(folder);
    reports.clear();
    write("journal.jsonl", c.journal + "{\"other\":" + LimitState::on(40).toJson().dump() + "}\n");
    {
      auto s = store(true);
      EXPECT_EQ(limit(*s, LimitState::on(1)), c.limit) << c.reported;
      EXPECT_EQ(s->load<LimitState>("other", LimitState::off()), LimitState::on(40)) << "the lines after it count";
      ASSERT_EQ(reports.size(), 1u);
      EXPECT_NE(reports[0].find("journal.jsonl"), std::string::npos) << reports[0];
      EXPECT_NE(reports[0].find(c.reported), std::string::npos) << reports[0];
      EXPECT_EQ(filesStartingWith("journal.jsonl.corrupt-"), 1u);
      EXPECT_TRUE(s->commit());
    }
    auto again = store(true);
    EXPECT_EQ(limit(*again, LimitState::on(1)), c.limit) << "what it held that was readable is in the new journal";
    EXPECT_EQ(again->load<LimitState>("other", LimitState::off()), LimitState::on(40));
    EXPECT_EQ(reports.size(), 1u);
  }
}

TEST_F(StateStoreTest, CompactingPutsEachStateInItsFileAndEmptiesTheJournal) {
  auto s = store(true);
  ASSERT_TRUE(s->save("limit", LimitState::on(70)));
  ASSERT_TRUE(s->commit());
  ASSERT_TRUE(s->compact());
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(limit(*store()), LimitState::on(70));
  // A journal past its size is compacted by the commit that takes it there.
  const std::string big(StateStore::kCompactAt / 4, 'x');
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(s->saveJson("big", Json{{"text", big}, {"round", i}}));
    ASSERT_TRUE(s->commit());
  }
  EXPECT_LT(journal().size(), StateStore::kCompactAt);
  EXPECT_EQ(StateStore::peek(folder, "big").value_or(Json()).value("round", -1), 4);
}

TEST_F(StateStoreTest, AJournalAppendThatFailsLeavesOnlyWholeLinesAndIsMadeLater) {
  auto s = store(true, StateStore::WhenUnwritable::keepInMemory);
  ASSERT_TRUE(s->save("limit", LimitState::on(80)));
  ASSERT_TRUE(s->commit());
  const std::string before = journal();
  {
    const FileSizeLimit full(before.size() + 8);
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
  EXPECT_EQ(limit(*store(true)), LimitState::on(70));
}

}  // namespace
}  // namespace kestrin::app
