#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/ResourceBundle.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace batterycore {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using batterycore::testing::ScratchFolder;

TEST(ResourceBundle, HeaderExampleHolds) {
  const auto bundle = ResourceBundle::fromTables({{"de", {{"smart.header", "Bevor du meist gehst"}}}});
  EXPECT_EQ(bundle.lookup("smart.header", icu::Locale("de", "AT")), "Bevor du meist gehst");
  EXPECT_EQ(bundle.lookup("smart.header", icu::Locale("fr", "FR")), std::nullopt);
  EXPECT_EQ(bundle.languageFor(icu::Locale("de", "AT")), "de");
}

TEST(ResourceBundle, OpensEveryLanguageTableOfAFolder) {
  const ScratchFolder folder("bundle-open");
  folder.write("en.json", R"({"smart.header": "Before you usually leave"})");
  folder.write("de.json", R"({"smart.header": "Bevor du meist gehst"})");
  folder.write("pt-BR.json", R"({"smart.header": "Antes de você sair"})");
  folder.write("notes.txt", "not a table");

  const auto bundle = ResourceBundle::open(folder.path());
  ASSERT_TRUE(bundle.has_value());
  EXPECT_EQ(bundle->path(), folder.path());
  EXPECT_THAT(bundle->languages(), ElementsAre("de", "en", "pt_BR"));
  EXPECT_TRUE(bundle->problems().empty());
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("pt", "BR")), "Antes de você sair");
  ASSERT_NE(bundle->table("en"), nullptr);
  EXPECT_EQ(bundle->table("en")->size(), 1u);
  EXPECT_EQ(bundle->table("fr"), nullptr);
}

TEST(ResourceBundle, LocalePicksItsMostSpecificTable) {
  struct Case {
    const char* locale;
    std::optional<std::string> table;
  };
  const auto bundle = ResourceBundle::fromTables(
      {{"de", {}}, {"de_CH", {}}, {"en", {}}, {"ja", {}}, {"zh_Hant", {}}, {"zh", {}}, {"pt_BR", {}}});
  const Case cases[] = {
      {"de_AT", "de"},
      {"de_DE", "de"},
      {"de", "de"},
      {"de_CH", "de_CH"},
      {"de_CH@collation=phonebook", "de_CH"},
      {"en_US", "en"},
      {"en_US_POSIX", "en"},
      {"ja_JP", "ja"},
      {"zh_Hant_TW", "zh_Hant"},
      {"zh_Hans_CN", "zh"},
      {"pt_BR", "pt_BR"},
      {"pt_PT", std::nullopt},
      {"fr_FR", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(bundle.languageFor(icu::Locale(c.locale)), c.table) << c.locale;
  }
}

TEST(ResourceBundle, KeyMissingFromTheTableIsAbsent) {
  const auto bundle = ResourceBundle::fromTables({{"de", {{"smart.header", "Bevor du meist gehst"}}}});
  EXPECT_EQ(bundle.lookup("smart.nothingLearned", icu::Locale("de", "DE")), std::nullopt);
  EXPECT_EQ(bundle.lookup("smart.header", icu::Locale("en", "US")), std::nullopt);
}

TEST(ResourceBundle, UnreadableTablesAreLeftOutAndNamed) {
  const ScratchFolder folder("bundle-problems");
  folder.write("en.json", R"({"smart.header": "Before you usually leave", "count": 3})");
  folder.write("de.json", R"({"smart.header": )");
  folder.write("ja.json", R"(["smart.header"])");

  const auto bundle = ResourceBundle::open(folder.path());
  ASSERT_TRUE(bundle.has_value());
  EXPECT_THAT(bundle->languages(), ElementsAre("en"));
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("en", "US")), "Before you usually leave");
  EXPECT_EQ(bundle->lookup("count", icu::Locale("en", "US")), std::nullopt);
  ASSERT_EQ(bundle->problems().size(), 3u);
  EXPECT_THAT(bundle->problems()[0], HasSubstr("de.json: not JSON"));
  EXPECT_THAT(bundle->problems()[1], HasSubstr("en.json: \"count\" is not text"));
  EXPECT_THAT(bundle->problems()[2], HasSubstr("ja.json: not a JSON object"));
}

TEST(ResourceBundle, ATableIsReadWhenFirstUsedAndItsProblemsSaidThen) {
  const ScratchFolder folder("bundle-lazy");
  folder.write("en.json", R"({"smart.header": "Before you usually leave"})");
  folder.write("de.json", R"({"smart.header": )");
  folder.write("de_AT.json", R"({"smart.header": 3})");

  auto bundle = ResourceBundle::open(folder.path());
  ASSERT_TRUE(bundle.has_value());
  std::vector<std::string> said;
  bundle->reportProblemsTo([&said](const std::string& problem) { said.push_back(problem); });
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("en", "US")), "Before you usually leave");
  EXPECT_TRUE(said.empty()) << "the German tables are not read for English";

  // Austrian German has a table without the text; German has none that reads.
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("de", "AT")), std::nullopt);
  EXPECT_EQ(bundle->languageFor(icu::Locale("de", "CH")), std::nullopt) << "an unreadable table is left out";
  ASSERT_EQ(said.size(), 2u) << "each table read once";
  EXPECT_THAT(said[0], HasSubstr("de_AT.json"));
  EXPECT_THAT(said[1], HasSubstr("de.json: not JSON"));
}

TEST(ResourceBundle, ThreadsLookingUpTogetherReadATableOnce) {
  const ScratchFolder folder("bundle-threads");
  folder.write("ja.json", R"({"smart.header": "いつもの外出前に", "oops": 1})");
  auto bundle = ResourceBundle::open(folder.path());
  ASSERT_TRUE(bundle.has_value());
  std::atomic<int> said = 0;
  bundle->reportProblemsTo([&said](const std::string&) { ++said; });
  std::vector<std::thread> threads;
  std::atomic<int> found = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      if (bundle->lookup("smart.header", icu::Locale("ja", "JP")) == "いつもの外出前に") ++found;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(found, 8);
  EXPECT_EQ(said, 1);
}

TEST(ResourceBundle, OnlyAFolderOpens) {
  const ScratchFolder folder("bundle-not-folder");
  folder.write("file.json", "{}");
  EXPECT_FALSE(ResourceBundle::open(folder.path() / "file.json").has_value());
  EXPECT_FALSE(ResourceBundle::open(folder.path() / "missing").has_value());
  // An empty folder opens: it is a bundle without translations, and every
  // text then shows its English default.
  std::filesystem::create_directories(folder.path() / "empty");
  const auto empty = ResourceBundle::open(folder.path() / "empty");
  ASSERT_TRUE(empty.has_value());
  EXPECT_TRUE(empty->languages().empty());
}

TEST(ResourceBundle, FirstFolderHoldingTheBundleWins) {
  const ScratchFolder folder("bundle-find");
  folder.write("second/BatteryCore_BatteryCore.bundle/en.json", R"({"k.k": "second"})");
  folder.write("third/BatteryCore_BatteryCore.bundle/en.json", R"({"k.k": "third"})");
  folder.write("first/BatteryCore_BatteryCore.bundle", "a file, not a bundle");
  const std::vector<std::filesystem::path> folders{folder.path() / "missing", folder.path() / "first",
                                                   folder.path() / "second", folder.path() / "third"};
  const auto bundle = ResourceBundle::find(folders);
  ASSERT_TRUE(bundle.has_value());
  EXPECT_EQ(bundle->path(), folder.path() / "second" / "BatteryCore_BatteryCore.bundle");
  EXPECT_EQ(bundle->lookup("k.k", icu::Locale("en")), "second");
}

TEST(ResourceBundleDeathTest, MissingBundleStopsTheProcess) {
  const std::vector<std::filesystem::path> folders{"/nonexistent/kestrin/share", "/nonexistent/kestrin/bin"};
  EXPECT_FALSE(ResourceBundle::find(folders).has_value());
  EXPECT_DEATH(ResourceBundle::findOrStop(folders), "^unable to find bundle named BatteryCore_BatteryCore\n$");
}

TEST(ResourceBundle, SearchStartsBesideTheProgramAndEndsInItsFolder) {
  const auto program = std::filesystem::canonical("/proc/self/exe").parent_path();
  const auto folders = bundleSearchFolders();
  ASSERT_GE(folders.size(), 2u);
  EXPECT_EQ(folders.front(), program.parent_path() / "share" / "kestrin");
  EXPECT_EQ(folders.back(), program);
}

// The test program links the library into itself, so the module's resource
// folder is the program's.
TEST(ResourceBundle, ModuleFolderIsBesideTheFileHoldingTheCatalogue) {
  const auto folder = BundleFinder::moduleResourceFolder();
  ASSERT_TRUE(folder.has_value());
  EXPECT_EQ(folder->filename(), "kestrin");
  EXPECT_EQ(folder->parent_path().filename(), "share");
}

TEST(ResourceBundle, BuiltProgramsFindTheCatalogue) {
  const auto& bundle = Meaning::bundle();
  EXPECT_EQ(bundle.path(), bundleSearchFolders().front() / "BatteryCore_BatteryCore.bundle");
  EXPECT_NE(bundle.table("en"), nullptr);
  EXPECT_TRUE(bundle.problems().empty()) << bundle.problems().front();
  EXPECT_EQ(&bundle, &Meaning::bundle()) << "found once and kept";
}

}  // namespace
}  // namespace batterycore
