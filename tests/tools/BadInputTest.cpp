// Every kestrin command answers bad input the same way: one line on standard
// error that names the file or the option and says what is wrong, and status
// 1 (a file or folder it cannot use) or 2 (a usage error); never a crash, an
// abort or a page of output.
#include "tests/common/ToolRun.hpp"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

namespace kestrin::tool {
namespace {

namespace fs = std::filesystem;

struct Case {
  std::string arguments;
  int exitCode;
  std::string names;  // what the one line must name: the file or the option
};

std::string replaced(std::string text, const std::string& folder) {
  for (auto at = text.find('@'); at != std::string::npos; at = text.find('@', at + folder.size())) {
    text.replace(at, 1, folder);
  }
  return text;
}

// A snapshot the service wrote, valid in every way.
constexpr const char* kReading = KESTRIN_TEST_DATA_DIR "/explain/charging.json";

// Files that are wrong in every way a person's files go wrong; "@" stands for
// the folder they are in.
const Case kCases[] = {
    // The command line itself.
    {"frobnicate", 2, "frobnicate"},
    {"--bogus", 2, "--bogus"},
    {"demo --days 3", 2, "--days"},
    // simulate: the scenario file and its calendar, the options.
    {"simulate @/missing.json", 1, "@/missing.json"},
    {"simulate @/empty.json", 1, "@/empty.json"},
    {"simulate @/garbage.json", 1, "@/garbage.json"},
    {"simulate @/array.json", 1, "@/array.json"},
    {"simulate @/wrong-type.json", 1, "@/wrong-type.json"},
    {"simulate @/folder.json", 1, "@/folder.json"},
    {"simulate @/mars.json", 1, "@/mars.json"},
    {"simulate @/no-capacity.json", 1, "battery.designCapacity"},
    {"simulate @/overfull.json", 1, "startPercent"},
    {"simulate @/no-calendar.json", 1, "@/nowhere.ics"},
    {"simulate @/bad-calendar.json", 1, "@/bad.ics"},
    {"simulate no-such-scenario", 1, "no-such-scenario"},
    {"simulate --days many", 2, "--days"},
    {"simulate --tick nan", 2, "--tick"},
    {"simulate --tz Mars/Olympus", 2, "--tz"},
    {"simulate --level expert", 2, "--level"},
    {"simulate --locale xx_YY", 2, "--locale"},
    {"simulate --state @/a-file", 1, "@/a-file"},
    // replay: the trace.
    {"replay", 2, "trace"},
    {"replay @/missing.jsonl", 1, "@/missing.jsonl"},
    {"replay @/empty.json", 1, "@/empty.json"},
    {"replay @/garbage.json", 1, "@/garbage.json"},
    {"replay @/garbage.json --tz Nowhere/City", 2, "--tz"},
    // readings, health, habits, departures, explain: one record each.
    {"readings @/missing.json", 1, "@/missing.json"},
    {"readings @/text.json", 1, "@/text.json"},
    {"health @/empty.json", 1, "@/empty.json"},
    {"health @/samples-wrong.json", 1, "@/samples-wrong.json"},
    {"habits @/array.json", 1, "@/array.json"},
    {"habits @/garbage.json --month 2026-13", 2, "--month"},
    {"departures @/garbage.json", 1, "@/garbage.json"},
    {"departures @/text.json --now yesterday", 2, "--now"},
    {"explain @/array.json", 1, "@/array.json"},
    {std::string("explain ") + kReading + " --watchdog @/garbage.json", 1, "@/garbage.json"},
    {"explain @/text.json --time-zone Nowhere/City", 2, "--time-zone"},
    // read: an ioreg dump, a power-supply folder.
    {"read --ioreg @/missing.txt", 1, "@/missing.txt"},
    {"read --ioreg @/garbage.json", 1, "@/garbage.json"},
    {"read --ioreg @/array.json", 1, "@/array.json"},
    {"read --sysfs @/nowhere", 1, "@/nowhere"},
    {"read --sysfs @ --ioreg @/array.json", 2, "--sysfs"},
    // watch: refused before it starts.
    {"watch --interval 0", 2, "--interval"},
    {"watch --state @/a-file", 1, "@/a-file"},
    {"watch --state @/state --sysfs @/nowhere", 1, "@/nowhere"},
    // settings, and the commands that read the settings file.
    {"settings --state @/bad-state", 1, "@/bad-state/settings.json"},
    {"settings --state @/a-file", 1, "@/a-file"},
    {"settings interval soon --state @/state", 1, "interval"},
    {"settings calendar.path @/nowhere.ics --state @/state", 1, "@/nowhere.ics"},
    {"settings calendar.path @/bad.ics --state @/state", 1, "@/bad.ics"},
    {"charge-full --state @/bad-state", 1, "@/bad-state/settings.json"},
    {"charge-full --hours 99", 2, "--hours"},
    {"skip-today --now", 2, "--now"},
    {"forget-departures --state @/state", 2, "--state"},
    // The state folder read by the companions.
    {"alerts --list --state @/bad-state", 1, "@/bad-state/alerts.json"},
    {"plans --state @/bad-state", 1, "@/bad-state/"},
    {"plans --state @/state --time-zone Nowhere/City", 2, "--time-zone"},
    {"report --state @/bad-state --out @/report.html", 1, "@/bad-state/"},
    {"report --simulate @/garbage.json", 1, "@/garbage.json"},
    {"report --simulate office-worker --days 1 --tick 3600 --out @/nowhere/report.html", 1, "@/nowhere/report.html"},
    {"report --simulate office-worker --days 1 --tick 3600 --out @/a-file/report.html", 1, "@/a-file/report.html"},
    {"report --simulate office-worker --tick nan", 2, "--tick"},
    {"export --state @/bad-state --what health", 1, "@/bad-state/health.json"},
    {"export --state @/state --out @/nowhere/health.csv", 1, "@/nowhere/health.csv"},
    {"export --format xml", 2, "--format"},
    {"diagnostics --sysfs @/nowhere", 1, "@/nowhere"},
    // The rest of the companions.
    {"texts --locale xx_YY", 2, "--locale"},
    {"status --now soon", 2, "--now"},
    {"limit maybe", 2, "maybe"},
    {"accessories --sysfs @/nowhere", 1, "@/nowhere"},
    {"energy --top -3", 2, "--top"},
    {"energy --proc @/nowhere", 1, "@/nowhere"},
};

// Runs each case with a folder of prepared files in place of "@", and with
// HOME and the group folder there too: nothing run here reaches this user's
// service, states or widget.
TEST(BadInput, EveryCommandSaysInOneLineWhatIsWrong) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const fs::path folder = fs::temp_directory_path() / ("kestrin-bad-input-" + std::to_string(::getpid()));
  fs::remove_all(folder);
  constexpr char kGarbage[] = "\x1b\x7f\xfe\n{\"unclosed\": [\0\x01";
  for (const auto& [name, contents] : std::initializer_list<std::pair<std::string, std::string>>{
           {"empty.json", ""}, {"garbage.json", std::string(kGarbage, sizeof kGarbage - 1)},
           {"array.json", "[1, 2, 3]\n"}, {"text.json", "\"80\"\n"}, {"wrong-type.json", R"({"name": 5})"},
           {"samples-wrong.json", R"([{"at": 5, "maxCapacity": "full"}])"},
           {"mars.json", R"({"name": "mars", "timeZone": "Mars/Olympus", "days": 1})"},
           {"no-capacity.json", R"({"name": "flat", "days": 1, "battery": {"designCapacity": 0}})"},
           {"overfull.json", R"({"name": "overfull", "days": 1, "startPercent": 500})"},
           {"no-calendar.json", R"({"name": "trips", "days": 1, "calendar": "nowhere.ics"})"},
           {"bad-calendar.json", R"({"name": "trips", "days": 1, "calendar": "bad.ics"})"},
           {"bad.ics", "BEGIN:VCALENDAR\nBEGIN:VEVENT\nDTSTART:yesterday\n"}, {"a-file", "not a folder\n"},
           {"bad-state/settings.json", "{\"interval\": 30,"}, {"bad-state/health.json", R"({"samples": "none"})"},
           {"bad-state/alerts.json", "[{\"kind\": 7}]"}}) {
    fs::create_directories((folder / name).parent_path());
    std::ofstream(folder / name, std::ios::binary) << contents;
  }
  fs::create_directories(folder / "folder.json");
  fs::create_directories(folder / "state");
  const std::string sandbox = "env -u XDG_STATE_HOME HOME='" + (folder / "home").string() + "' KESTRIN_GROUP_DIR='" +
                              (folder / "group").string() + "' ";
  for (const auto& c : kCases) {
    const std::string arguments = replaced(c.arguments, folder.string());
    SCOPED_TRACE("kestrin " + arguments);
    const auto run =
        batterycore::testing::runShell(sandbox + batterycore::testing::kTool + " " + arguments + " 2>&1 >/dev/null");
    EXPECT_EQ(run.exitCode, c.exitCode) << run.out;
    EXPECT_EQ(batterycore::testing::lineCount(run.out), 1) << run.out;
    EXPECT_TRUE(run.out.starts_with("kestrin: ") && run.out.ends_with("\n")) << run.out;
    EXPECT_NE(run.out.find(replaced(c.names, folder.string())), std::string::npos) << run.out;
    for (const char* crash : {"terminate called", "Sanitizer", "Aborted", "what():", "Run with --help"}) {
      EXPECT_EQ(run.out.find(crash), std::string::npos) << run.out;
    }
  }
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::tool
