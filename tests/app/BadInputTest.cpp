// Every kestrin command answers bad input the same way: one line on standard
// error that names the file or the option and says what is wrong, and status
// 1 (a file or folder it cannot use) or 2 (a usage error); never a crash, an
// abort or a page of output.
#include "tests/common/ToolRun.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

namespace kestrin::tool {
namespace {

namespace fs = std::filesystem;

struct Case {
  std::string arguments;  // "@" stands for the folder of prepared files
  int exitCode;
  std::string names;      // what the one line must name: the file or the option
};

std::ostream& operator<<(std::ostream& out, const Case& c) { return out << "kestrin " << c.arguments; }

std::string replaced(std::string text, const std::string& folder) {
  for (auto at = text.find('@'); at != std::string::npos; at = text.find('@', at + folder.size())) {
    text.replace(at, 1, folder);
  }
  return text;
}

// A snapshot the service wrote, valid in every way.
constexpr const char* kReading = KESTRIN_TEST_DATA_DIR "/explain/charging.json";

// Files that are wrong in every way a person's files go wrong.
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

class BadInput : public ::testing::TestWithParam<Case> {
 protected:
  static void SetUpTestSuite() {
    folder_ = fs::temp_directory_path() / ("kestrin-bad-input-" + std::to_string(::getpid()));
    fs::remove_all(folder_);
    const auto write = [](const std::string& name, const std::string& contents) {
      const auto file = folder_ / name;
      fs::create_directories(file.parent_path());
      std::ofstream(file, std::ios::binary) << contents;
    };
    write("empty.json", "");
    constexpr char kGarbage[] = "\x1b\x7f\xfe\n{\"unclosed\": [\0\x01";
    write("garbage.json", std::string(kGarbage, sizeof kGarbage - 1));
    write("array.json", "[1, 2, 3]\n");
    write("text.json", "\"80\"\n");
    write("wrong-type.json", R"({"name": 5})");
    write("samples-wrong.json", R"([{"at": 5, "maxCapacity": "full"}])");
    write("mars.json", R"({"name": "mars", "timeZone": "Mars/Olympus", "days": 1})");
    write("no-capacity.json", R"({"name": "flat", "days": 1, "battery": {"designCapacity": 0}})");
    write("overfull.json", R"({"name": "overfull", "days": 1, "startPercent": 500})");
    write("no-calendar.json", R"({"name": "trips", "days": 1, "calendar": "nowhere.ics"})");
    write("bad-calendar.json", R"({"name": "trips", "days": 1, "calendar": "bad.ics"})");
    write("bad.ics", "BEGIN:VCALENDAR\nBEGIN:VEVENT\nDTSTART:yesterday\n");
    write("a-file", "not a folder\n");
    write("bad-state/settings.json", "{\"interval\": 30,");
    write("bad-state/health.json", R"({"samples": "none"})");
    write("bad-state/alerts.json", "[{\"kind\": 7}]");
    fs::create_directories(folder_ / "folder.json");
    fs::create_directories(folder_ / "state");
    // Nothing run here reaches this user's service, states or widget.
    for (const char* name : {"HOME", "XDG_STATE_HOME", "KESTRIN_GROUP_DIR"}) {
      const char* value = std::getenv(name);
      saved_[name] = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    }
    ::setenv("HOME", (folder_ / "home").c_str(), 1);
    ::unsetenv("XDG_STATE_HOME");
    ::setenv("KESTRIN_GROUP_DIR", (folder_ / "group").c_str(), 1);
  }

  static void TearDownTestSuite() {
    for (const auto& [name, value] : saved_) {
      if (value) {
        ::setenv(name.c_str(), value->c_str(), 1);
      } else {
        ::unsetenv(name.c_str());
      }
    }
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  static inline fs::path folder_;
  static inline std::map<std::string, std::optional<std::string>> saved_;
};

TEST_P(BadInput, OneLineNamingWhatIsWrong) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const Case& c = GetParam();
  const std::string arguments = replaced(c.arguments, folder_.string());
  const auto run = batterycore::testing::runKestrinForErrors(arguments);
  const std::string& err = run.out;
  EXPECT_EQ(run.exitCode, c.exitCode) << arguments << "\n" << err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << arguments << "\n" << err;
  EXPECT_TRUE(err.starts_with("kestrin: ") && err.ends_with("\n")) << arguments << "\n" << err;
  EXPECT_NE(err.find(replaced(c.names, folder_.string())), std::string::npos) << arguments << "\n" << err;
  for (const char* crash : {"terminate called", "Sanitizer", "Aborted", "what():", "Run with --help"}) {
    EXPECT_EQ(err.find(crash), std::string::npos) << arguments << "\n" << err;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryCommand, BadInput, ::testing::ValuesIn(kCases));

}  // namespace
}  // namespace kestrin::tool
