// The health report: what it says for an empty history and for half a year in
// German, valid HTML to tidy, and charts that a real browser draws.
#include "app/report/HealthReport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace kestrin::app::report {
namespace {

namespace fs = std::filesystem;
using batterycore::Calendar;
using batterycore::DetailLevel;
using batterycore::testing::runKestrin;
using batterycore::testing::runShell;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::string readFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

bool onPath(const std::string& program) { return runShell("command -v " + program + " >/dev/null").exitCode == 0; }

// What tidy finds wrong in the HTML file `path`; empty when nothing.
std::string tidyErrors(const fs::path& path) {
  const auto tidy = runShell("tidy -errors -q '" + path.string() + "' 2>&1");
  return tidy.exitCode == 0 ? std::string() : "tidy says: " + tidy.out;
}

class ReportTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder_); }
  void TearDown() override { fs::remove_all(folder_); }
  const fs::path folder_ = fs::temp_directory_path() / ("kestrin-report-" + std::to_string(::getpid()));
};

TEST_F(ReportTest, HalfAYearInGerman) {
  const batterycore::testing::UsingLocale german("de_DE");
  const auto calendar = Calendar::gregorian("Europe/Berlin", "de_DE");
  // Half a year of slowly falling health and a month of days above 80%.
  MonitorState state;
  const auto start = *calendar.date(2026, 3, 2);
  for (int day = 0; day < 182; ++day) {
    state.health.emplace_back(calendar.dayKey(calendar.addingDays(start, day)), 5800 - day * 2, 6075, 200 + day);
  }
  for (int day = 0; day < 20; ++day) {
    state.highCharge.days.push_back({calendar.dayKey(calendar.addingDays(start, 150 + day)), 300, 30, 500, 1440});
  }
  HealthReportOptions options{.now = *calendar.date(2026, 8, 30, 12), .calendar = calendar,
                              .level = DetailLevel::simple, .includeSerial = true, .serialNumber = std::nullopt};
  EXPECT_THAT(healthReportHtml(state, options),
              AllOf(HasSubstr("<html lang=\"de-DE\">"), HasSubstr("Bericht zum Batteriezustand"),
                    HasSubstr("Beobachtet seit 2. März 2026"), HasSubstr("Erstellt mit Kestrin am 30. Aug. 2026"),
                    // 5438 of 6075 mAh: 90 % with the no-break space, in the figures and on the axis.
                    HasSubstr("Zustand: 90\u00A0%"), HasSubstr(">90\u00A0%</text>"), Not(HasSubstr(">90%<")),
                    HasSubstr("Apple empfiehlt bei 80\u00A0% einen Service"), HasSubstr(">Juli 2026</text>"),
                    HasSubstr("Nicht erfasst"),  // the serial asked for, but not known
                    HasSubstr("Stunden über 80\u00A0% pro Tag in diesem Monat"),
                    // Coordinates stay in the '.' form whatever the language.
                    Not(::testing::ContainsRegex("x1=\"[0-9]+,[0-9]"))));
  options.serialNumber = "F5K123<&>";
  options.includeSerial = false;
  EXPECT_THAT(healthReportHtml(state, options), Not(HasSubstr("F5K123")));
  options.includeSerial = true;
  options.level = DetailLevel::technical;
  const auto html = healthReportHtml(state, options);
  EXPECT_THAT(html, HasSubstr("<dd>F5K123&lt;&amp;&gt;</dd>"));

  if (!onPath("tidy")) GTEST_SKIP() << "tidy is not installed; the HTML check is skipped";
  std::ofstream(folder_ / "report.html") << html;
  EXPECT_EQ(tidyErrors(folder_ / "report.html"), "");
}

TEST_F(ReportTest, TheToolWritesAnEmptyHistoryWhereItIsTold) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  const auto out = folder_ / "empty.html";
  fs::create_directories(folder_ / "state");
  const std::string state =
      " --state '" + (folder_ / "state").string() + "' --now 2026-03-05T10:00:00Z --time-zone UTC";
  const auto run = runKestrin("report --out '" + out.string() + "' --locale en_US" + state);
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_EQ(run.out, out.string() + "\n");
  EXPECT_THAT(readFile(out), AllOf(HasSubstr("No health history yet. A reading is taken once a day."),
                                   HasSubstr("Nothing counted yet. Check back tomorrow."),
                                   HasSubstr("Battery health unknown"), Not(HasSubstr("viewBox=\"0 0 720")),
                                   Not(HasSubstr("Serial number"))));

  // Without --out, the file is named after the day, in the working folder:
  // the test's is the build's, so it is found by the path printed.
  const auto named = runKestrin("report --locale de_DE --include-serial" + state);
  ASSERT_EQ(named.exitCode, 0) << named.out;
  const std::string printed = named.out.substr(0, named.out.find('\n'));
  EXPECT_TRUE(printed.ends_with("/Batteriezustandsbericht 2026-03-05.html")) << printed;
  EXPECT_THAT(readFile(printed), HasSubstr("Seriennummer"));
  fs::remove(printed);

  if (!onPath("tidy")) GTEST_SKIP() << "tidy is not installed; the HTML check is skipped";
  EXPECT_EQ(tidyErrors(out), "");
}

// Each chart of the report drawn by the browser with the report's style onto
// a canvas; the pixels it inked and all it had, per chart, put into the page.
constexpr const char* kCountInk = R"(<script>
const css = document.querySelector("style").textContent;
Promise.all([...document.querySelectorAll("svg.chart")].map(svg => new Promise(done => {
  const copy = svg.cloneNode(true), image = new Image(), {width, height} = svg.viewBox.baseVal;
  copy.prepend(Object.assign(document.createElementNS(svg.namespaceURI, "style"), {textContent: css}));
  image.onerror = () => done("0/0");
  image.onload = () => {
    const context = Object.assign(document.createElement("canvas"), {width, height}).getContext("2d");
    context.drawImage(image, 0, 0, width, height);
    const pixels = context.getImageData(0, 0, width, height).data;
    let inked = 0;
    for (let i = 0; i < pixels.length; i += 4) inked += pixels[i + 3] > 0 && Math.min(...pixels.slice(i, i + 3)) < 245;
    done(inked + "/" + width * height);
  };
  image.src = "data:image/svg+xml;charset=utf-8," + encodeURIComponent(new XMLSerializer().serializeToString(copy));
}))).then(inked => document.body.insertAdjacentHTML("beforeend", "<pre id=inked>" + inked.join(" ") + "</pre>"));
</script></body>)";

TEST_F(ReportTest, ABrowserDrawsEveryChartOfASimulatedYear) {
  if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
  if (!onPath("chromium")) GTEST_SKIP() << "chromium is not installed; the browser check is skipped";
  const auto report = folder_ / "year.html";
  // Hourly readings keep a year quick; every hour is still booked.
  const auto run = runKestrin("report --simulate office-worker --days 365 --tick 3600 --locale en_US --out '" +
                              report.string() + "'");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  auto html = readFile(report);
  const auto end = html.rfind("</body>");
  ASSERT_NE(end, std::string::npos);
  std::ofstream(folder_ / "page.html") << html.replace(end, 7, kCountInk);

  const auto dom = runShell("chromium --headless --no-sandbox --disable-gpu --no-first-run "
                            "--disable-background-networking --virtual-time-budget=10000 --user-data-dir='" +
                            (folder_ / "profile").string() + "' --dump-dom 'file://" +
                            (folder_ / "page.html").string() + "' 2>/dev/null");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(dom.out, match, std::regex("<pre id=\"inked\">([^<]*)</pre>"))) << dom.out;
  // Three ranges of health and this month's days: lines, dots, bars and
  // labels, thousands of pixels, on a background that stays mostly white.
  std::istringstream counts(match[1].str());
  int charts = 0;
  for (long inked = 0, area = 0; counts >> inked && counts.ignore() >> area; ++charts) {
    EXPECT_GT(inked, 2000) << "chart " << charts;
    EXPECT_LT(inked, area / 2) << "chart " << charts;
  }
  EXPECT_EQ(charts, 4);

  // The page's text as the browser reads it.
  ASSERT_TRUE(std::regex_search(dom.out, match, std::regex("(\\d+)% health"))) << dom.out.substr(0, 2000);
  EXPECT_THAT(dom.out, HasSubstr("Your battery holds " + match[1].str() + "% of what it did new."));
  EXPECT_TRUE(std::regex_search(dom.out, std::regex("about [0-9.]+ (years|months) until 80%")))
      << "no time to 80% in the page";
  EXPECT_THAT(dom.out, HasSubstr("Time at high charge"));
}

}  // namespace
}  // namespace kestrin::app::report
