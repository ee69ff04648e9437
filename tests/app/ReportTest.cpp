// The health report: what it says for an empty history, German formats, valid
// HTML, and charts that a real browser draws.
#include "app/report/HealthReport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "tests/common/ToolRun.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace kestrin::app::report {
namespace {

namespace fs = std::filesystem;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::testing::runKestrin;
using ::testing::HasSubstr;
using ::testing::Not;

// A fresh folder under the temporary folder, removed afterwards.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "kestrin-report-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

struct Shell {
  int exitCode = -1;
  std::string out;
};

Shell shell(const std::string& command) {
  Shell result;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> buffer{};
  while (const auto n = std::fread(buffer.data(), 1, buffer.size(), pipe)) result.out.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

bool onPath(const std::string& program) { return shell("command -v " + program + " >/dev/null").exitCode == 0; }

std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

// Half a year of slowly falling health and a month of days above 80%.
MonitorState halfAYear(const Calendar& calendar, Date start) {
  MonitorState state;
  for (int day = 0; day < 182; ++day) {
    state.health.emplace_back(calendar.dayKey(calendar.addingDays(start, day)), 5800 - day * 2, 6075, 200 + day);
  }
  for (int day = 0; day < 20; ++day) {
    state.highCharge.days.push_back({calendar.dayKey(calendar.addingDays(start, 150 + day)), 300, 30, 500, 1440});
  }
  return state;
}

TEST(HealthReport, GermanReportUsesGermanNumbersAndDates) {
  const batterycore::testing::UsingLocale german("de_DE");
  const auto calendar = Calendar::gregorian("Europe/Berlin", "de_DE");
  const Date start = *calendar.date(2026, 3, 2);
  const Date now = *calendar.date(2026, 8, 30, 12);
  const auto html = healthReportHtml(halfAYear(calendar, start),
                                     {.now = now, .calendar = calendar, .level = batterycore::DetailLevel::simple,
                                      .includeSerial = true, .serialNumber = std::nullopt});

  EXPECT_THAT(html, HasSubstr("<html lang=\"de-DE\">"));
  EXPECT_THAT(html, HasSubstr("Bericht zum Batteriezustand"));
  EXPECT_THAT(html, HasSubstr("Beobachtet seit 2. März 2026"));
  EXPECT_THAT(html, HasSubstr("Erstellt mit Kestrin am 30. Aug. 2026"));
  // 5438 of 6075 mAh: 90 % with the no-break space, in the figures and on the axis.
  EXPECT_THAT(html, HasSubstr("Zustand: 90\u00A0%"));
  EXPECT_THAT(html, HasSubstr(">90\u00A0%</text>"));
  EXPECT_THAT(html, Not(HasSubstr(">90%<")));
  EXPECT_THAT(html, HasSubstr("Apple empfiehlt bei 80\u00A0% einen Service"));
  EXPECT_THAT(html, HasSubstr(">Juli 2026</text>"));
  EXPECT_THAT(html, HasSubstr("Nicht erfasst"));  // the serial asked for, but not known
  EXPECT_THAT(html, HasSubstr("Stunden über 80\u00A0% pro Tag in diesem Monat"));
  // Coordinates stay in the '.' form whatever the language.
  EXPECT_THAT(html, Not(::testing::ContainsRegex("x1=\"[0-9]+,[0-9]")));
}

TEST(HealthReport, TheSerialNumberOnlyWhenAskedFor) {
  const batterycore::testing::UsingLocale english("en_US");
  const auto calendar = Calendar::gregorian("UTC");
  const Date now = *calendar.date(2026, 8, 30, 12);
  auto options = HealthReportOptions{.now = now, .calendar = calendar, .level = batterycore::DetailLevel::simple,
                                     .includeSerial = false, .serialNumber = "F5K123<&>"};
  const auto state = halfAYear(calendar, *calendar.date(2026, 3, 2));
  EXPECT_THAT(healthReportHtml(state, options), Not(HasSubstr("Serial number")));
  options.includeSerial = true;
  EXPECT_THAT(healthReportHtml(state, options), HasSubstr("<dd>F5K123&lt;&amp;&gt;</dd>"));
}

class ReportCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!batterycore::testing::kToolBuilt) GTEST_SKIP() << "the kestrin tool is not part of this build";
    ASSERT_FALSE(folder_.path().empty());
  }
  TempFolder folder_;
};

TEST_F(ReportCommand, AnEmptyHistorySaysSoAndPassesTidy) {
  const auto state = folder_.path() / "state";
  fs::create_directories(state);
  const auto out = folder_.path() / "empty.html";
  const auto run = runKestrin("report --state " + quoted(state) + " --out " + quoted(out) +
                              " --locale en_US --now 2026-03-05T10:00:00Z --time-zone UTC");
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_THAT(run.out, HasSubstr(out.string()));
  const auto html = readFile(out);
  EXPECT_THAT(html, HasSubstr("No health history yet. A reading is taken once a day."));
  EXPECT_THAT(html, HasSubstr("Nothing counted yet. Check back tomorrow."));
  EXPECT_THAT(html, HasSubstr("Battery health unknown"));
  EXPECT_THAT(html, Not(HasSubstr("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 720")));
  EXPECT_THAT(html, Not(HasSubstr("Serial number")));

  if (!onPath("tidy")) GTEST_SKIP() << "tidy is not installed; the HTML check is skipped";
  const auto tidy = shell("tidy -errors -q " + quoted(out));
  EXPECT_EQ(tidy.exitCode, 0) << tidy.out;
}

TEST_F(ReportCommand, WithoutOutItNamesTheFileAfterTheDay) {
  const auto state = folder_.path() / "state";
  fs::create_directories(state);
  const auto run = runKestrin("report --state " + quoted(state) + " --locale de_DE --now 2026-03-05T10:00:00Z"
                              " --time-zone UTC --include-serial");
  // The tool writes into its working folder; the test's is the build's, so
  // look for the path it printed and remove the file.
  ASSERT_EQ(run.exitCode, 0) << run.out;
  EXPECT_THAT(run.out, HasSubstr("Batteriezustandsbericht 2026-03-05.html"));
  std::string printed = run.out.substr(0, run.out.find('\n'));
  ASSERT_TRUE(fs::exists(printed)) << printed;
  EXPECT_THAT(readFile(printed), HasSubstr("Seriennummer"));
  fs::remove(printed);
}

TEST(HealthReportHtml, AFullReportPassesTidy) {
  if (!onPath("tidy")) GTEST_SKIP() << "tidy is not installed; the HTML check is skipped";
  const batterycore::testing::UsingLocale german("de_DE");
  const auto calendar = Calendar::gregorian("Europe/Berlin", "de_DE");
  const auto html = healthReportHtml(halfAYear(calendar, *calendar.date(2026, 3, 2)),
                                     {.now = *calendar.date(2026, 8, 30, 12), .calendar = calendar,
                                      .level = batterycore::DetailLevel::technical, .includeSerial = true,
                                      .serialNumber = "C02\"<x>"});
  TempFolder folder;
  const auto path = folder.path() / "report.html";
  std::ofstream(path) << html;
  const auto tidy = shell("tidy -errors -q " + quoted(path));
  EXPECT_EQ(tidy.exitCode, 0) << tidy.out;
}

// ---- In a real browser ----

// The pixels of a PNG as 8-bit RGB(A) rows, inflated with the system's zlib.
struct Image {
  int width = 0;
  int height = 0;
  int channels = 0;
  std::vector<unsigned char> pixels;

  bool isBackground(int x, int y) const {
    const auto* p = &pixels[(static_cast<std::size_t>(y) * width + x) * channels];
    return p[0] > 245 && p[1] > 245 && p[2] > 245;
  }
  // Pixels other than the white background inside a rectangle.
  int drawnIn(int left, int top, int right, int bottom) const {
    int drawn = 0;
    for (int y = std::max(top, 0); y < std::min(bottom, height); ++y) {
      for (int x = std::max(left, 0); x < std::min(right, width); ++x) drawn += isBackground(x, y) ? 0 : 1;
    }
    return drawn;
  }
};

std::optional<Image> decodePng(const std::string& data, std::string& why) {
  using Uncompress = int (*)(unsigned char*, unsigned long*, const unsigned char*, unsigned long);
  void* zlib = ::dlopen("libz.so.1", RTLD_NOW);
  if (zlib == nullptr) {
    why = "cannot load libz.so.1";
    return std::nullopt;
  }
  const auto uncompress = reinterpret_cast<Uncompress>(::dlsym(zlib, "uncompress"));
  const auto u32 = [&data](std::size_t at) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(data[at])) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(data[at + 1])) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(data[at + 2])) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(data[at + 3]));
  };
  if (uncompress == nullptr || data.size() < 8 || data.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0) {
    why = "not a PNG";
    return std::nullopt;
  }
  Image image;
  std::string compressed;
  for (std::size_t at = 8; at + 8 <= data.size();) {
    const std::uint32_t length = u32(at);
    const std::string type = data.substr(at + 4, 4);
    if (at + 12 + length > data.size()) break;
    if (type == "IHDR") {
      image.width = static_cast<int>(u32(at + 8));
      image.height = static_cast<int>(u32(at + 12));
      const int depth = static_cast<unsigned char>(data[at + 16]);
      const int colour = static_cast<unsigned char>(data[at + 17]);
      const int interlace = static_cast<unsigned char>(data[at + 20]);
      if (depth != 8 || (colour != 2 && colour != 6) || interlace != 0) {
        why = "only 8-bit RGB or RGBA PNGs without interlacing are read";
        return std::nullopt;
      }
      image.channels = colour == 6 ? 4 : 3;
    } else if (type == "IDAT") {
      compressed += data.substr(at + 8, length);
    }
    at += 12 + length;
  }
  const std::size_t stride = static_cast<std::size_t>(image.width) * image.channels;
  std::vector<unsigned char> raw((stride + 1) * image.height);
  unsigned long size = raw.size();
  if (image.width == 0 || uncompress(raw.data(), &size, reinterpret_cast<const unsigned char*>(compressed.data()),
                                     compressed.size()) != 0 || size != raw.size()) {
    why = "cannot inflate the image data";
    return std::nullopt;
  }
  image.pixels.assign(stride * image.height, 0);
  const int bpp = image.channels;
  for (int y = 0; y < image.height; ++y) {
    const unsigned char filter = raw[y * (stride + 1)];
    const unsigned char* in = &raw[y * (stride + 1) + 1];
    unsigned char* row = &image.pixels[y * stride];
    const unsigned char* up = y > 0 ? &image.pixels[(y - 1) * stride] : nullptr;
    for (std::size_t i = 0; i < stride; ++i) {
      const int a = i >= static_cast<std::size_t>(bpp) ? row[i - bpp] : 0;
      const int b = up ? up[i] : 0;
      const int c = (up && i >= static_cast<std::size_t>(bpp)) ? up[i - bpp] : 0;
      int predicted = 0;
      switch (filter) {
        case 1: predicted = a; break;
        case 2: predicted = b; break;
        case 3: predicted = (a + b) / 2; break;
        case 4: {
          const int p = a + b - c;
          const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
          predicted = (pa <= pb && pa <= pc) ? a : (pb <= pc ? b : c);
          break;
        }
        default: break;
      }
      row[i] = static_cast<unsigned char>(in[i] + predicted);
    }
  }
  return image;
}

Shell chromium(const fs::path& profile, const std::string& what, const fs::path& page, int width, int height) {
  return shell("chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking"
               " --hide-scrollbars --user-data-dir=" + quoted(profile) + " " + what + " --window-size=" +
               std::to_string(width) + "," + std::to_string(height) + " 'file://" + page.string() + "'");
}

TEST_F(ReportCommand, ABrowserDrawsEveryChartOfASimulatedYear) {
  if (!onPath("chromium")) GTEST_SKIP() << "chromium is not installed; the browser check is skipped";
  const auto report = folder_.path() / "year.html";
  // Hourly readings keep a year quick; every hour is still booked.
  const auto run = runKestrin("report --simulate office-worker --days 365 --tick 3600 --locale en_US --out " +
                              quoted(report));
  ASSERT_EQ(run.exitCode, 0) << run.out;
  const auto html = readFile(report);

  // Each chart alone in a box of known place and size, with the report's style.
  const auto styleStart = html.find("<style>");
  const auto styleEnd = html.find("</style>");
  ASSERT_NE(styleStart, std::string::npos);
  std::vector<std::string> charts;
  for (auto at = html.find("<svg "); at != std::string::npos; at = html.find("<svg ", at + 1)) {
    const auto end = html.find("</svg>", at);
    const std::string svg = html.substr(at, end + 6 - at);
    if (svg.find("class=\"chart\"") != std::string::npos) charts.push_back(svg);
  }
  ASSERT_EQ(charts.size(), 4U);  // three ranges of health and this month's days
  constexpr int kBox = 300;
  std::string page = "<!DOCTYPE html><html><head><meta charset=\"utf-8\">" +
                     html.substr(styleStart, styleEnd + 8 - styleStart) +
                     "</head><body style=\"margin:0;background:#fff\">";
  for (std::size_t i = 0; i < charts.size(); ++i) {
    page += "<div style=\"position:absolute;left:0;top:" + std::to_string(i * kBox) + "px;width:600px;height:" +
            std::to_string(kBox - 40) + "px;overflow:hidden\">" + charts[i] + "</div>";
  }
  page += "</body></html>";
  const auto chartsPage = folder_.path() / "charts.html";
  std::ofstream(chartsPage) << page;

  const auto png = folder_.path() / "charts.png";
  const int height = static_cast<int>(charts.size()) * kBox;
  const auto shot = chromium(folder_.path() / "profile", "--screenshot=" + quoted(png), chartsPage, 600, height);
  ASSERT_TRUE(fs::exists(png)) << shot.out;
  std::string why;
  const auto image = decodePng(readFile(png), why);
  ASSERT_TRUE(image) << why;
  ASSERT_GE(image->height, height);
  for (std::size_t i = 0; i < charts.size(); ++i) {
    const int top = static_cast<int>(i) * kBox;
    // Lines, dots, bars and labels: thousands of pixels, where an empty
    // chart box would have none.
    EXPECT_GT(image->drawnIn(0, top, 600, top + kBox - 40), 2000) << "chart " << i;
    // The gap between the boxes stays white: the background is recognised.
    EXPECT_EQ(image->drawnIn(0, top + kBox - 30, 600, top + kBox - 5), 0) << "gap after chart " << i;
  }

  // The page's text as the browser reads it.
  const auto dom = chromium(folder_.path() / "profile", "--dump-dom", report, 1200, 3000);
  std::smatch match;
  ASSERT_TRUE(std::regex_search(dom.out, match, std::regex("(\\d+)% health"))) << dom.out.substr(0, 2000);
  EXPECT_THAT(dom.out, HasSubstr("Your battery holds " + match[1].str() + "% of what it did new."));
  EXPECT_TRUE(std::regex_search(dom.out, std::regex("about [0-9.]+ (years|months) until 80%")))
      << "no time to 80% in the page";
  EXPECT_THAT(dom.out, HasSubstr("Time at high charge"));
}

}  // namespace
}  // namespace kestrin::app::report
