// `kestrin settings` run as the real program over a state folder of its own.
#include "BatteryCore/foundation/Json.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace kestrin::tool {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::size_t lineCount(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

struct ToolRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

class SettingsCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
#ifndef KESTRIN_TOOL_PATH
    GTEST_SKIP() << "the kestrin tool is not part of this build";
#endif
    ::setenv("KESTRIN_GROUP_DIR", group().c_str(), 1);
  }
  void TearDown() override { ::unsetenv("KESTRIN_GROUP_DIR"); }

  fs::path state() const { return scratch_.path() / "state"; }
  fs::path group() const { return scratch_.path() / "group"; }
  fs::path settingsFile() const { return state() / "settings.json"; }

  // `arguments` as the shell reads them, with --state added.
  ToolRun kestrin(const std::string& arguments) const {
    ToolRun run;
#ifdef KESTRIN_TOOL_PATH
    const auto out = scratch_.path() / "out";
    const auto err = scratch_.path() / "err";
    const std::string command = std::string("'") + KESTRIN_TOOL_PATH + "' settings " + arguments + " --state '" +
                                state().string() + "' >'" + out.string() + "' 2>'" + err.string() + "'";
    const int status = std::system(command.c_str());
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = contents(out);
    run.err = contents(err);
#else
    (void)arguments;
#endif
    return run;
  }

  batterycore::testing::ScratchFolder scratch_{"settings-command"};
};

TEST_F(SettingsCommandTest, AValueSetIsStoredAndListed) {
  const auto set = kestrin("interval 30 --locale en_US");
  ASSERT_EQ(set.exitCode, 0) << set.err;
  EXPECT_EQ(set.err, "");
  EXPECT_EQ(set.out,
            "interval  30  default 60\n    Tick interval: How often, in seconds, Kestrin reads the battery.\n");
  EXPECT_EQ(batterycore::Json::parse(contents(settingsFile())).value("interval", 0), 30) << contents(settingsFile());

  const auto list = kestrin("--locale en_US");
  ASSERT_EQ(list.exitCode, 0) << list.err;
  EXPECT_EQ(lineCount(list.out), 2u * 27u) << list.out;
  // Keys, values and defaults in aligned columns, what each does below.
  for (const char* piece : {
           "\nalert.limitNotHolding     on      default on\n    Limit not holding: When the battery charges past your "
           "limit.\n",
           "\nalert.healthMilestone     off     default off\n",
           "\ninterval                  30      default 60\n",
           "\nfullCharge.hours          none    default none\n",
           "\ncalendar.keywords         trip, flight, travel, vacation, Reise, Flug, Urlaub, 旅行, 出張  default trip, ",
       }) {
    EXPECT_NE(list.out.find(piece), std::string::npos) << piece << "\n" << list.out;
  }
  EXPECT_EQ(list.out.rfind("level ", 0), 0u) << list.out;

  const auto one = kestrin("fullCharge.hours --locale en_US");
  ASSERT_EQ(one.exitCode, 0) << one.err;
  EXPECT_EQ(one.out,
            "fullCharge.hours  none  default none\n    After \"Charge to 100% once\", put the limit back on: After a "
            "number of hours\n");
}

TEST_F(SettingsCommandTest, KeywordsMayBeGivenAsSeveralWords) {
  const auto run = kestrin("calendar.keywords trip, Dienstreise --locale en_US");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out.rfind("calendar.keywords  trip, Dienstreise  default trip, flight,", 0), 0u) << run.out;

  const auto none = kestrin("calendar.keywords none --locale en_US");
  ASSERT_EQ(none.exitCode, 0) << none.err;
  EXPECT_NE(none.out.find("\nWith no keywords, nothing counts as a trip.\n"), std::string::npos) << none.out;
}

TEST_F(SettingsCommandTest, ARefusedValueSaysWhatIsAllowedAndLeavesTheFile) {
  ASSERT_EQ(kestrin("alert.hot off").exitCode, 0);
  const auto before = contents(settingsFile());
  const auto namesBefore = namesIn(state());
  struct Case {
    const char* arguments;
    const char* line;
  };
  const Case cases[] = {
      {"intervall 30", "kestrin: intervall: no such setting; \"kestrin settings\" lists them all\n"},
      {"intervall", "kestrin: intervall: no such setting; \"kestrin settings\" lists them all\n"},
      {"interval abc", "kestrin: interval: a whole number of seconds from 10 to 3600\n"},
      {"interval 5", "kestrin: interval: a whole number of seconds from 10 to 3600\n"},
      {"alert.hot maybe", "kestrin: alert.hot: on or off\n"},
      {"level expert", "kestrin: level: simple or technical\n"},
      {"fullCharge.untilUnplug off",
       "kestrin: fullCharge.untilUnplug: on, or off while fullCharge.whenFull is on or fullCharge.hours is set\n"},
      {"locale xx", "kestrin: locale: a locale ICU knows, such as de_DE, en_GB or ja, or none\n"},
  };
  for (const auto& c : cases) {
    const auto run = kestrin(c.arguments);
    EXPECT_EQ(run.exitCode, 1) << c.arguments;
    EXPECT_EQ(run.err, c.line) << c.arguments;
    EXPECT_EQ(run.out, "") << c.arguments;
    EXPECT_EQ(contents(settingsFile()), before) << c.arguments;
    EXPECT_EQ(namesIn(state()), namesBefore) << c.arguments;
  }
}

TEST_F(SettingsCommandTest, ADamagedFileIsKeptAsideAndReported) {
  scratch_.write("state/settings.json", "{\"interval\": 30,");
  // A refused value touches nothing, not even the damaged file.
  ASSERT_EQ(kestrin("interval 1").exitCode, 1);
  EXPECT_EQ(namesIn(state()), std::vector<std::string>{"settings.json"});

  const auto run = kestrin("keepLimitOn on --locale en_US");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(lineCount(run.err), 1u) << run.err;
  EXPECT_NE(run.err.find("settings.json could not be read"), std::string::npos) << run.err;
  const auto names = namesIn(state());
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], "settings.json");
  EXPECT_EQ(names[1].rfind("settings.json.corrupt-", 0), 0u) << names[1];
  EXPECT_NE(run.err.find(names[1]), std::string::npos) << run.err;
  EXPECT_EQ(contents(state() / names[1]), "{\"interval\": 30,");
  // The rest starts from the defaults.
  const auto list = kestrin("--locale en_US");
  EXPECT_NE(list.out.find("\nkeepLimitOn               on      default off\n"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("\ninterval                  60      default 60\n"), std::string::npos) << list.out;
}

TEST_F(SettingsCommandTest, AChangeWakesTheService) {
  const auto group = widget::AppGroup::inFolder(this->group());
  fs::create_directories(this->group());
  auto listener = group.notifications->listen(widget::ControlRequest::notification);
  ASSERT_NE(listener, nullptr);
  ASSERT_EQ(kestrin("interval 5").exitCode, 1);
  EXPECT_FALSE(listener->wait(batterycore::Seconds{0.2})) << "a refused value wakes nobody";
  ASSERT_EQ(kestrin("smartTopUp on").exitCode, 0);
  EXPECT_TRUE(listener->wait(batterycore::Seconds{5}));
}

TEST_F(SettingsCommandTest, ListingMakesNoFolderAndSpeaksTheStoredLanguage) {
  const auto list = kestrin("interval --locale en_US");
  ASSERT_EQ(list.exitCode, 0) << list.err;
  EXPECT_FALSE(fs::exists(state()));

  ASSERT_EQ(kestrin("locale de-DE --locale en_US").exitCode, 0);
  const auto german = kestrin("interval");
  ASSERT_EQ(german.exitCode, 0) << german.err;
  EXPECT_EQ(german.out,
            "interval  60  Standard 60\n    Abfrageintervall: Wie oft Kestrin die Batterie abfragt, in Sekunden.\n");
  const auto chosen = kestrin("locale");
  EXPECT_EQ(chosen.out.rfind("locale  de_DE  Standard none\n", 0), 0u) << chosen.out;
}

}  // namespace
}  // namespace kestrin::tool
