// `kestrin settings` over a state folder of its own: shown, changed, refused,
// and a damaged file kept aside.
#include "BatteryCore/foundation/Json.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/text/TextTesting.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kestrin::tool {
namespace {

namespace fs = std::filesystem;
using batterycore::testing::lineCount;
using batterycore::testing::runKestrin;
using namespace ::testing;

std::string contents(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

class SettingsCommand : public batterycore::testing::ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    ::setenv("KESTRIN_GROUP_DIR", (scratch_.path() / "group").c_str(), 1);
  }
  void TearDown() override { ::unsetenv("KESTRIN_GROUP_DIR"); }

  std::string settings(const std::string& arguments) const {
    return "settings " + arguments + " --state '" + state_.string() + "'";
  }
  std::vector<std::string> namesInState() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(state_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  batterycore::testing::ScratchFolder scratch_{"settings-command"};
  const fs::path state_ = scratch_.path() / "state";
};

TEST_F(SettingsCommand, ShowsAndStoresEachSetting) {
  ASSERT_EQ(runKestrin(settings("interval --locale en_US")).exitCode, 0);
  EXPECT_FALSE(fs::exists(state_)) << "only looking makes no folder";
  batterycore::testing::expectRuns({
      {settings("interval 30 --locale en_US"), 0,
       "interval  30  default 60\n    Tick interval: How often, in seconds, Kestrin reads the battery.\n"},
      // Keys, values and defaults in aligned columns, what each does below.
      {settings("--locale en_US"), 0,
       AllOf(StartsWith("level                     simple  default simple\n"), ResultOf(lineCount, 2 * 27),
             HasSubstr("\nalert.limitNotHolding     on      default on\n    Limit not holding: When the battery "
                       "charges past your limit.\n"),
             HasSubstr("\ninterval                  30      default 60\n"),
             HasSubstr("\ncalendar.keywords         trip, flight, travel, vacation, Reise, Flug, Urlaub, 旅行, "
                       "出張  default trip, "))},
      // Keywords may be given as several words.
      {settings("calendar.keywords trip, Dienstreise --locale en_US"), 0,
       StartsWith("calendar.keywords  trip, Dienstreise  default trip, flight,")},
      {settings("calendar.keywords none --locale en_US"), 0,
       HasSubstr("\nWith no keywords, nothing counts as a trip.\n")},
      // The stored language speaks when --locale gives none.
      {settings("locale de-DE --locale en_US"), 0, StartsWith("locale  de_DE  default none\n")},
      {settings("interval"), 0,
       "interval  30  Standard 60\n    Abfrageintervall: Wie oft Kestrin die Batterie abfragt, in Sekunden.\n"},
  });
  EXPECT_EQ(batterycore::Json::parse(contents(state_ / "settings.json")).value("interval", 0), 30);
}

TEST_F(SettingsCommand, AChangeWakesTheServiceARefusalTouchesNothing) {
  const auto group = widget::AppGroup::inFolder(scratch_.path() / "group");
  fs::create_directories(scratch_.path() / "group");
  auto listener = group.notifications->listen(widget::ControlRequest::notification);
  ASSERT_NE(listener, nullptr);
  ASSERT_EQ(runKestrin(settings("alert.hot off")).exitCode, 0);
  EXPECT_TRUE(listener->wait(batterycore::Seconds{5}));
  const auto before = contents(state_ / "settings.json");
  const auto namesBefore = namesInState();
  batterycore::testing::expectRuns({
      {settings("intervall 30"), 1, "kestrin: intervall: no such setting; \"kestrin settings\" lists them all\n"},
      {settings("interval 5"), 1, "kestrin: interval: a whole number of seconds from 10 to 3600\n"},
  });
  EXPECT_EQ(contents(state_ / "settings.json"), before);
  EXPECT_EQ(namesInState(), namesBefore);
  EXPECT_FALSE(listener->wait(batterycore::Seconds{0.2})) << "a refused value wakes nobody";
}

TEST_F(SettingsCommand, ADamagedFileIsKeptAsideAndReported) {
  scratch_.write("state/settings.json", "{\"interval\": 30,");
  ASSERT_EQ(runKestrin(settings("interval 1")).exitCode, 1);
  EXPECT_EQ(namesInState(), std::vector<std::string>{"settings.json"}) << "a refusal leaves even a damaged file";

  const auto run = batterycore::testing::runKestrinForErrors(settings("keepLimitOn on --locale en_US"));
  ASSERT_EQ(run.exitCode, 0) << run.out;
  const auto names = namesInState();
  ASSERT_EQ(names.size(), 2u);
  EXPECT_THAT(names[1], StartsWith("settings.json.corrupt-"));
  EXPECT_THAT(run.out, AllOf(StartsWith("kestrin: "), HasSubstr("settings.json could not be read"), HasSubstr(names[1]),
                             ResultOf(lineCount, 1)));
  EXPECT_EQ(contents(state_ / names[1]), "{\"interval\": 30,");
  EXPECT_EQ(batterycore::Json::parse(contents(state_ / "settings.json")).value("interval", 0), 60) << "the defaults";
}

}  // namespace
}  // namespace kestrin::tool
