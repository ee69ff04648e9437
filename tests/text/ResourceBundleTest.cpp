#include "BatteryCore/text/Meaning.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace batterycore {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using batterycore::testing::ScratchFolder;

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
  EXPECT_EQ(bundle->lookup("smart.nothingLearned", icu::Locale("de", "DE")), std::nullopt);
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("fr", "FR")), std::nullopt);
  EXPECT_EQ(bundle->table("en")->size(), 1u);
  EXPECT_EQ(bundle->table("fr"), nullptr);
}

TEST(ResourceBundle, LocalePicksItsMostSpecificTable) {
  const auto bundle = ResourceBundle::fromTables(
      {{"de", {}}, {"de_CH", {}}, {"en", {}}, {"ja", {}}, {"zh_Hant", {}}, {"zh", {}}, {"pt_BR", {}}});
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"de_AT", "de"},       {"de", "de"},    {"de_CH", "de_CH"}, {"de_CH@collation=phonebook", "de_CH"},
      {"en_US_POSIX", "en"}, {"ja_JP", "ja"}, {"zh_Hant_TW", "zh_Hant"}, {"zh_Hans_CN", "zh"},
      {"pt_BR", "pt_BR"},    {"pt_PT", std::nullopt}, {"fr_FR", std::nullopt}, {"", std::nullopt}};
  for (const auto& [locale, table] : cases) EXPECT_EQ(bundle.languageFor(icu::Locale(locale)), table) << locale;
}

// A table is read the first time it is used, once, and what is wrong with it
// (not JSON, not an object, a value that is not text) said then; an
// unreadable table is left out.
TEST(ResourceBundle, ATableIsReadWhenFirstUsedAndItsProblemsSaidThen) {
  const ScratchFolder folder("bundle-lazy");
  folder.write("en.json", R"({"smart.header": "Before you usually leave", "count": 3})");
  folder.write("de.json", R"({"smart.header": )");
  folder.write("de_AT.json", R"({"smart.header": 3})");
  folder.write("ja.json", R"(["smart.header"])");
  auto bundle = ResourceBundle::open(folder.path());
  ASSERT_TRUE(bundle.has_value());
  std::vector<std::string> said;
  bundle->reportProblemsTo([&said](const std::string& problem) { said.push_back(problem); });
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("en", "US")), "Before you usually leave");
  EXPECT_EQ(bundle->lookup("count", icu::Locale("en", "US")), std::nullopt);
  EXPECT_THAT(said, ElementsAre(HasSubstr("en.json: \"count\" is not text"))) << "the German tables are not read";
  // Austrian German has a table without the text; German has none that reads.
  EXPECT_EQ(bundle->lookup("smart.header", icu::Locale("de", "AT")), std::nullopt);
  EXPECT_EQ(bundle->languageFor(icu::Locale("de", "CH")), std::nullopt);
  EXPECT_THAT(bundle->languages(), ElementsAre("de_AT", "en"));
  EXPECT_THAT(said, ElementsAre(HasSubstr("en.json"), HasSubstr("de_AT.json"), HasSubstr("de.json: not JSON"),
                                HasSubstr("ja.json: not a JSON object")))
      << "each table read once";
  EXPECT_EQ(bundle->problems().size(), 4u);
}

// The first folder holding the bundle wins; a file of its name is no bundle,
// and an empty folder is one without translations.
TEST(ResourceBundle, FirstFolderHoldingTheBundleWinsAndOnlyAFolderOpens) {
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
  std::filesystem::create_directories(folder.path() / "empty");
  EXPECT_TRUE(ResourceBundle::open(folder.path() / "empty")->languages().empty());
}

TEST(ResourceBundleDeathTest, MissingBundleStopsTheProcess) {
  const std::vector<std::filesystem::path> folders{"/nonexistent/kestrin/share", "/nonexistent/kestrin/bin"};
  EXPECT_FALSE(ResourceBundle::find(folders).has_value());
  EXPECT_DEATH(ResourceBundle::findOrStop(folders), "^unable to find bundle named BatteryCore_BatteryCore\n$");
}

// The test program links the library into itself, so the module's resource
// folder is the program's, and the catalogue is found beside the program, once.
TEST(ResourceBundle, BuiltProgramsFindTheCatalogueBesideThemselves) {
  const auto program = std::filesystem::canonical("/proc/self/exe").parent_path();
  const auto folders = bundleSearchFolders();
  ASSERT_GE(folders.size(), 2u);
  EXPECT_EQ(folders.front(), program.parent_path() / "share" / "kestrin");
  EXPECT_EQ(folders.back(), program);
  EXPECT_EQ(BundleFinder::moduleResourceFolder(), program.parent_path() / "share" / "kestrin");
  const auto& bundle = Meaning::bundle();
  EXPECT_EQ(bundle.path(), folders.front() / "BatteryCore_BatteryCore.bundle");
  EXPECT_TRUE(bundle.problems().empty()) << bundle.problems().front();
  EXPECT_EQ(&bundle, &Meaning::bundle());
}

}  // namespace
}  // namespace batterycore
