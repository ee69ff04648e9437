#include "app/Metrics.hpp"

#include "KestrinWidget/SharedContainer.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <locale>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::Attention;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::HighChargeLedger;
using batterycore::LimitState;
using Kind = BatteryAlert::Kind;

// ---------------------------------------------------------------------------
// A strict reader of the text exposition format. Beyond the grammar it holds
// the file to what the textfile collector and our naming want: every family
// has one HELP and one TYPE line before its samples, a family's lines stay
// together, counters end in "_total", no series twice, no timestamps.

struct Exposition {
  std::vector<std::string> errors;
  std::map<std::string, std::string> types;  // family -> type
  std::map<std::string, std::string> helps;  // family -> help, unescaped
  std::map<std::string, double> series;      // name{label="value",...} (labels sorted) -> value
};

const std::regex kMetricName("[a-zA-Z_:][a-zA-Z0-9_:]*");
const std::regex kLabelName("[a-zA-Z_][a-zA-Z0-9_]*");
const std::regex kFloat(R"([+-]?([0-9]+(\.[0-9]*)?|\.[0-9]+)([eE][+-]?[0-9]+)?)");

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view token(std::string_view& rest) {
  std::size_t end = 0;
  while (end < rest.size() && !isBlank(rest[end])) ++end;
  const auto word = rest.substr(0, end);
  rest.remove_prefix(end);
  return word;
}

std::size_t skipBlanks(std::string_view& rest) {
  std::size_t n = 0;
  while (n < rest.size() && isBlank(rest[n])) ++n;
  rest.remove_prefix(n);
  return n;
}

// Reads `"..."` with the escapes the format allows in label values.
std::optional<std::string> quoted(std::string_view& rest) {
  if (rest.empty() || rest.front() != '"') return std::nullopt;
  std::string value;
  for (std::size_t i = 1; i < rest.size(); ++i) {
    const char c = rest[i];
    if (c == '"') {
      rest.remove_prefix(i + 1);
      return value;
    }
    if (c != '\\') {
      value += c;
      continue;
    }
    if (++i == rest.size()) return std::nullopt;
    switch (rest[i]) {
      case '\\': value += '\\'; break;
      case '"': value += '"'; break;
      case 'n': value += '\n'; break;
      default: return std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<std::string> unescapedHelp(std::string_view text) {
  std::string help;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      help += text[i];
      continue;
    }
    if (++i == text.size()) return std::nullopt;
    if (text[i] == '\\') {
      help += '\\';
    } else if (text[i] == 'n') {
      help += '\n';
    } else {
      return std::nullopt;
    }
  }
  return help;
}

std::optional<double> sampleValue(std::string_view text) {
  if (text == "NaN") return std::nan("");
  if (text == "+Inf") return INFINITY;
  if (text == "-Inf") return -INFINITY;
  const std::string copy(text);
  if (!std::regex_match(copy, kFloat)) return std::nullopt;
  if (text.front() == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

Exposition readExposition(std::string_view text) {
  Exposition out;
  int number = 0;
  std::string open;               // the family whose block we are in
  std::set<std::string> started;  // families that had any line
  std::set<std::string> sampled;  // families that had a sample
  const auto error = [&](const std::string& what) {
    out.errors.push_back("line " + std::to_string(number) + ": " + what);
  };
  // A HELP or TYPE line for `name` opens its block or continues it.
  const auto enter = [&](const std::string& name) {
    if (name == open) return true;
    if (started.count(name)) {
      error("the lines of " + name + " are not together");
      return false;
    }
    open = name;
    started.insert(name);
    return true;
  };

  if (!text.empty() && text.back() != '\n') out.errors.emplace_back("the text does not end in a newline");
  std::size_t start = 0;
  while (start < text.size()) {
    ++number;
    auto end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty()) continue;

    if (line.front() == '#') {
      line.remove_prefix(1);
      skipBlanks(line);
      const auto keyword = token(line);
      if (keyword != "HELP" && keyword != "TYPE") continue;  // a comment
      if (skipBlanks(line) == 0) {
        error("no blank after " + std::string(keyword));
        continue;
      }
      const std::string name(token(line));
      if (!std::regex_match(name, kMetricName)) {
        error("bad metric name \"" + name + "\"");
        continue;
      }
      if (!enter(name)) continue;
      if (sampled.count(name)) error(std::string(keyword) + " of " + name + " after its samples");
      if (keyword == "HELP") {
        if (out.helps.count(name)) error("second HELP for " + name);
        if (!line.empty()) line.remove_prefix(1);  // the one blank before the text
        const auto help = unescapedHelp(line);
        if (!help) error("bad escape in the help of " + name);
        out.helps[name] = help.value_or("");
      } else {
        if (out.types.count(name)) error("second TYPE for " + name);
        skipBlanks(line);
        const std::string type(token(line));
        if (!line.empty()) error("text after the type of " + name);
        static const std::set<std::string> kTypes{"counter", "gauge", "histogram", "summary", "untyped"};
        if (!kTypes.count(type)) error("unknown type \"" + type + "\"");
        out.types[name] = type;
        if (type == "counter" && !name.ends_with("_total")) error("counter " + name + " does not end in _total");
        if (type != "counter" && name.ends_with("_total")) error(type + " " + name + " ends in _total");
      }
      continue;
    }

    // A sample: name, labels, blanks, value; no timestamp.
    std::string_view rest = line;
    std::size_t nameEnd = 0;
    while (nameEnd < rest.size() && !isBlank(rest[nameEnd]) && rest[nameEnd] != '{') ++nameEnd;
    const std::string name(rest.substr(0, nameEnd));
    rest.remove_prefix(nameEnd);
    if (!std::regex_match(name, kMetricName)) {
      error("bad metric name \"" + name + "\"");
      continue;
    }
    std::size_t blanks = skipBlanks(rest);
    std::map<std::string, std::string> labels;
    bool labelsOk = true;
    if (!rest.empty() && rest.front() == '{') {
      rest.remove_prefix(1);
      while (labelsOk) {
        skipBlanks(rest);
        if (!rest.empty() && rest.front() == '}') break;
        std::size_t labelEnd = 0;
        while (labelEnd < rest.size() && rest[labelEnd] != '=' && !isBlank(rest[labelEnd])) ++labelEnd;
        const std::string label(rest.substr(0, labelEnd));
        rest.remove_prefix(labelEnd);
        skipBlanks(rest);
        if (!std::regex_match(label, kLabelName) || label.starts_with("__")) {
          error("bad label name \"" + label + "\"");
          labelsOk = false;
          break;
        }
        if (rest.empty() || rest.front() != '=') {
          error("no = after label " + label);
          labelsOk = false;
          break;
        }
        rest.remove_prefix(1);
        skipBlanks(rest);
        const auto value = quoted(rest);
        if (!value) {
          error("bad value of label " + label);
          labelsOk = false;
          break;
        }
        if (!labels.emplace(label, *value).second) error("label " + label + " twice");
        skipBlanks(rest);
        if (!rest.empty() && rest.front() == ',') {
          rest.remove_prefix(1);
        } else if (rest.empty() || rest.front() != '}') {
          error("labels of " + name + " not closed");
          labelsOk = false;
        }
      }
      if (!labelsOk) continue;
      rest.remove_prefix(1);  // '}'
      blanks = skipBlanks(rest);
    }
    if (blanks == 0) {
      error("no blank before the value of " + name);
      continue;
    }
    const auto valueText = token(rest);
    skipBlanks(rest);
    if (!rest.empty()) error("a timestamp or more after the value of " + name);
    const auto value = sampleValue(valueText);
    if (!value) {
      error("value \"" + std::string(valueText) + "\" of " + name + " is not a number");
      continue;
    }

    if (name != open) {
      error("sample of " + name + " outside its HELP and TYPE lines");
      continue;
    }
    if (!out.helps.count(name)) error(name + " has no HELP");
    if (!out.types.count(name)) error(name + " has no TYPE");
    if (out.types[name] == "counter" && !(*value >= 0)) error("counter " + name + " is negative or NaN");
    sampled.insert(name);

    std::string key = name;
    if (!labels.empty()) {
      key += '{';
      bool first = true;
      for (const auto& [label, labelValue] : labels) {
        key += (first ? "" : ",") + label + "=\"" + labelValue + "\"";
        first = false;
      }
      key += '}';
    }
    if (!out.series.emplace(key, *value).second) error("series " + key + " twice");
  }
  return out;
}

std::string errorsOf(const Exposition& exposition) {
  std::string all;
  for (const auto& e : exposition.errors) all += e + "\n";
  return all;
}

// ---------------------------------------------------------------------------

TEST(ExpositionReader, AcceptsTheGrammarsCorners) {
  const auto read = readExposition(
      "# a comment\n"
      "#\tHELP x_total Two\\\\lines\\nhere \"quoted\"\n"
      "# TYPE x_total counter\n"
      "x_total{a=\"1\",b=\"\\\"\\\\\\n\",} 2.5e3\n"
      "x_total { a = \"2\" }\t+Inf\n"
      "\n"
      "# HELP y:z Y.\n"
      "# TYPE y:z gauge\n"
      "y:z -0.5\n");
  EXPECT_TRUE(read.errors.empty()) << errorsOf(read);
  EXPECT_EQ(read.helps.at("x_total"), "Two\\lines\nhere \"quoted\"");
  EXPECT_EQ(read.series.at("x_total{a=\"1\",b=\"\"\\\n\"}"), 2500);
  EXPECT_EQ(read.series.at("x_total{a=\"2\"}"), INFINITY);
  EXPECT_EQ(read.series.at("y:z"), -0.5);
}

TEST(ExpositionReader, RejectsEveryBreach) {
  const std::string header = "# HELP a A.\n# TYPE a gauge\n";
  const struct {
    const char* what;
    std::string text;
  } cases[] = {
      {"no final newline", header + "a 1"},
      {"no TYPE", "# HELP a A.\na 1\n"},
      {"no HELP", "# TYPE a gauge\na 1\n"},
      {"no metadata", "a 1\n"},
      {"TYPE after samples", "# HELP a A.\na 1\n# TYPE a gauge\n"},
      {"second TYPE", header + "# TYPE a gauge\na 1\n"},
      {"second HELP", header + "# HELP a Again.\na 1\n"},
      {"unknown type", "# HELP a A.\n# TYPE a meter\na 1\n"},
      {"counter without _total", "# HELP a A.\n# TYPE a counter\na 1\n"},
      {"gauge with _total", "# HELP a_total A.\n# TYPE a_total gauge\na_total 1\n"},
      {"family split", header + "a{x=\"1\"} 1\n# HELP b B.\n# TYPE b gauge\nb 1\na{x=\"2\"} 1\n"},
      {"bad metric name", "# HELP 1a A.\n# TYPE 1a gauge\n1a 1\n"},
      {"bad label name", header + "a{1x=\"1\"} 1\n"},
      {"reserved label name", header + "a{__name=\"1\"} 1\n"},
      {"unquoted label value", header + "a{x=1} 1\n"},
      {"unclosed labels", header + "a{x=\"1\" 1\n"},
      {"bad label escape", header + "a{x=\"\\t\"} 1\n"},
      {"bad help escape", "# HELP a A\\t.\n# TYPE a gauge\na 1\n"},
      {"label twice", header + "a{x=\"1\",x=\"2\"} 1\n"},
      {"value not a number", header + "a one\n"},
      {"locale decimal comma", header + "a 0,5\n"},
      {"lower-case infinity", header + "a inf\n"},
      {"timestamp", header + "a 1 1767225600000\n"},
      {"series twice", header + "a 1\na 2\n"},
      {"negative counter", "# HELP a_total A.\n# TYPE a_total counter\na_total -1\n"},
  };
  for (const auto& c : cases) {
    EXPECT_FALSE(readExposition(c.text).errors.empty()) << c.what;
  }
}

// ---------------------------------------------------------------------------

const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");
// 2026-03-07 10:00 in Berlin.
const Date kNow = *batterycore::parseIso8601("2026-03-07T09:00:00Z");

HighChargeLedger::Day day(std::string key, double abovePlugged, double aboveUnplugged) {
  HighChargeLedger::Day d;
  d.day = std::move(key);
  d.minutesAbove80Plugged = abovePlugged;
  d.minutesAbove80Unplugged = aboveUnplugged;
  d.minutesSampled = 24 * 60;
  return d;
}

// At 81%, plugged in, held by a limit at 80%: 4000 of 4500 mAh, 120 cycles.
MonitorState heldState() {
  MonitorState state;
  state.last = batterycore::testing::reading(81, true, false, LimitState::on(80));
  state.last->at = kNow;
  // February does not count; March has 60 + 30 + 0.5 minutes.
  state.highCharge.days = {day("2026-02-27", 500, 0), day("2026-03-01", 60, 30), day("2026-03-07", 0.5, 0)};
  return state;
}

Exposition readChecked(const std::string& text) {
  auto read = readExposition(text);
  EXPECT_TRUE(read.errors.empty()) << errorsOf(read) << "in\n" << text;
  return read;
}

std::size_t notifyingKinds() {
  std::size_t n = 0;
  for (const auto kind : BatteryAlert::allCases) n += batterycore::AlertPolicy::notifies(kind) ? 1 : 0;
  return n;
}

TEST(Metrics, KnownStateGivesItsValues) {
  const AlertCounts posted{{Kind::hot, 2}, {Kind::limitNotHolding, 1}};
  const auto read = readChecked(metricsText(heldState(), kBerlin, kNow, Attention::Tone::holding, posted));

  const struct {
    const char* series;
    double value;
  } expected[] = {
      {"kestrin_battery_reading_timestamp_seconds", batterycore::secondsSince1970(kNow)},
      {"kestrin_battery_charge_ratio", 0.81},
      {"kestrin_battery_health_ratio", 4000.0 / 4500.0},
      {"kestrin_battery_full_charge_capacity_coulombs", 14400},
      {"kestrin_battery_design_capacity_coulombs", 16200},
      {"kestrin_battery_cycles", 120},
      {"kestrin_battery_high_charge_seconds", 90.5 * 60},
      {"kestrin_charge_limit_available", 1},
      {"kestrin_charge_limit_enabled", 1},
      {"kestrin_charge_limit_ratio", 0.8},
      {"kestrin_attention_tone{tone=\"holding\"}", 1},
      {"kestrin_attention_tone{tone=\"charging\"}", 0},
      {"kestrin_attention_tone{tone=\"alert\"}", 0},
      {"kestrin_alerts_posted_total{kind=\"hot\"}", 2},
      {"kestrin_alerts_posted_total{kind=\"limitNotHolding\"}", 1},
      {"kestrin_alerts_posted_total{kind=\"weakCharger\"}", 0},
  };
  for (const auto& e : expected) {
    ASSERT_TRUE(read.series.count(e.series)) << e.series;
    EXPECT_DOUBLE_EQ(read.series.at(e.series), e.value) << e.series;
  }
  EXPECT_EQ(read.series.size(), 10 + Attention::allTones.size() + notifyingKinds());
  // Kinds that only go to the alerts list have no counter.
  EXPECT_FALSE(read.series.count("kestrin_alerts_posted_total{kind=\"limitTurnedOn\"}"));
  for (const auto& [name, type] : read.types) {
    EXPECT_TRUE(name.starts_with("kestrin_")) << name;
    EXPECT_EQ(type, name.ends_with("_total") ? "counter" : "gauge") << name;
  }
}

TEST(Metrics, HeaderExampleHolds) {
  const auto text = metricsText(heldState(), kBerlin, kNow, Attention::Tone::holding, {});
  for (const char* line : {"kestrin_battery_charge_ratio 0.81\n",
                           "kestrin_battery_full_charge_capacity_coulombs 14400\n",
                           "kestrin_charge_limit_ratio 0.8\n", "kestrin_attention_tone{tone=\"holding\"} 1\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
}

TEST(Metrics, WithoutAReadingOnlyTheLedgerAndCountersAreWritten) {
  MonitorState state;
  state.highCharge.days = {day("2026-03-02", 30, 0)};
  const auto read = readChecked(metricsText(state, kBerlin, kNow, std::nullopt, {}));

  EXPECT_EQ(read.types.size(), 2u);
  EXPECT_EQ(read.series.at("kestrin_battery_high_charge_seconds"), 1800);
  EXPECT_EQ(read.series.size(), 1 + notifyingKinds());
  for (const auto& [series, value] : read.series) {
    if (series.starts_with("kestrin_alerts_posted_total")) {
      EXPECT_EQ(value, 0) << series;
    }
  }
}

TEST(Metrics, UnknownCapacitiesAreLeftOut) {
  auto state = heldState();
  state.last->designCapacity = 0;
  auto read = readChecked(metricsText(state, kBerlin, kNow, Attention::Tone::holding, {}));
  EXPECT_FALSE(read.series.count("kestrin_battery_health_ratio"));
  EXPECT_FALSE(read.series.count("kestrin_battery_design_capacity_coulombs"));
  EXPECT_EQ(read.series.at("kestrin_battery_full_charge_capacity_coulombs"), 14400);

  state.last->fullChargeCapacity = 0;
  state.last->designCapacity = 4500;
  read = readChecked(metricsText(state, kBerlin, kNow, Attention::Tone::holding, {}));
  EXPECT_FALSE(read.series.count("kestrin_battery_health_ratio"));
  EXPECT_FALSE(read.series.count("kestrin_battery_full_charge_capacity_coulombs"));
  EXPECT_EQ(read.series.at("kestrin_battery_design_capacity_coulombs"), 16200);
}

TEST(Metrics, CapacitiesAreInCoulombs) {
  auto state = heldState();
  state.last->designCapacity = 4123;
  const auto text = metricsText(state, kBerlin, kNow, std::nullopt, {});
  EXPECT_NE(text.find("\nkestrin_battery_design_capacity_coulombs 14842.8\n"), std::string::npos) << text;
}

TEST(Metrics, LimitStates) {
  const struct {
    LimitState limit;
    double available;
    double enabled;
    std::optional<double> ratio;
  } cases[] = {
      {LimitState::on(75), 1, 1, 0.75},
      {LimitState::off(80), 1, 0, std::nullopt},
      {LimitState::off(), 1, 0, std::nullopt},
      {LimitState::unavailable("not supported"), 0, 0, std::nullopt},
  };
  for (const auto& c : cases) {
    auto state = heldState();
    state.last->limit = c.limit;
    const auto read = readChecked(metricsText(state, kBerlin, kNow, Attention::Tone::charging, {}));
    EXPECT_EQ(read.series.at("kestrin_charge_limit_available"), c.available);
    EXPECT_EQ(read.series.at("kestrin_charge_limit_enabled"), c.enabled);
    if (c.ratio) {
      EXPECT_EQ(read.series.at("kestrin_charge_limit_ratio"), *c.ratio);
    } else {
      EXPECT_FALSE(read.series.count("kestrin_charge_limit_ratio"));
      EXPECT_FALSE(read.types.count("kestrin_charge_limit_ratio"));
    }
  }
}

TEST(Metrics, EveryToneHasOneSampleAndOnlyTheCurrentOneIsSet) {
  for (const auto current : Attention::allTones) {
    const auto read = readChecked(metricsText(heldState(), kBerlin, kNow, current, {}));
    for (const auto tone : Attention::allTones) {
      const auto series = "kestrin_attention_tone{tone=\"" + std::string(Attention::rawValue(tone)) + "\"}";
      EXPECT_EQ(read.series.at(series), tone == current ? 1 : 0) << series;
    }
  }
}

TEST(Metrics, CountsPostedAlerts) {
  AlertCounts counts;
  const BatteryAlert hot{Kind::hot, kNow, "Hot", "Body", std::nullopt};
  const BatteryAlert weak{Kind::weakCharger, kNow, "Weak", "Body", std::nullopt};
  countPosted(counts, std::vector{hot});
  countPosted(counts, {});
  countPosted(counts, std::vector{hot, weak});
  EXPECT_EQ(counts, (AlertCounts{{Kind::hot, 2}, {Kind::weakCharger, 1}}));
}

TEST(Metrics, ListOnlyKindCountedAnywayIsKept) {
  const auto read =
      readChecked(metricsText(heldState(), kBerlin, kNow, std::nullopt, {{Kind::limitUnavailable, 3}}));
  EXPECT_EQ(read.series.at("kestrin_alerts_posted_total{kind=\"limitUnavailable\"}"), 3);
}

TEST(Metrics, ValueTexts) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.81, "0.81"},          {4, "4"},       {-0.5, "-0.5"},          {0.1 + 0.2, "0.30000000000000004"},
      {1e21, "1e+21"},         {5430, "5430"}, {1772877600.25, "1772877600.25"},
      {std::nan(""), "NaN"},   {INFINITY, "+Inf"}, {-INFINITY, "-Inf"},
  };
  for (const auto& c : cases) EXPECT_EQ(metricValueText(c.value), c.text) << c.text;
}

TEST(Metrics, NumbersIgnoreTheLocale) {
  std::optional<std::locale> comma;
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "fr_FR"}) {
    try {
      comma = std::locale(name);
      break;
    } catch (const std::runtime_error&) {
    }
  }
  if (!comma) GTEST_SKIP() << "no locale with a decimal comma is installed (de_DE.UTF-8, fr_FR.UTF-8)";
  const auto previous = std::locale::global(*comma);
  const std::string previousC = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, comma->name().c_str());
  const auto text = metricsText(heldState(), kBerlin, kNow, Attention::Tone::holding, {});
  std::setlocale(LC_ALL, previousC.c_str());
  std::locale::global(previous);
  EXPECT_NE(text.find("kestrin_battery_charge_ratio 0.81\n"), std::string::npos) << text;
  readChecked(text);
}

TEST(Metrics, EscapesHelpAndLabelValues) {
  const MetricFamily family{"odd",
                            "Back\\slash and\nnewline \"kept\"",
                            MetricFamily::Type::gauge,
                            {{{{"path", "C:\\dir \"x\"\nnext"}, {"empty", ""}}, 1}, {{{"path", "{},="}}, 2}}};
  const MetricFamily none{"none", "Never written.", MetricFamily::Type::gauge, {}};
  const auto text = exposition(std::vector{none, family});
  EXPECT_EQ(text,
            "# HELP odd Back\\\\slash and\\nnewline \"kept\"\n"
            "# TYPE odd gauge\n"
            "odd{path=\"C:\\\\dir \\\"x\\\"\\nnext\",empty=\"\"} 1\n"
            "odd{path=\"{},=\"} 2\n");
  const auto read = readChecked(text);
  EXPECT_EQ(read.helps.at("odd"), family.help);
  EXPECT_EQ(read.series.at("odd{empty=\"\",path=\"C:\\dir \"x\"\nnext\"}"), 1);
  EXPECT_EQ(read.series.at("odd{path=\"{},=\"}"), 2);
}

// ---------------------------------------------------------------------------

class MetricsFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  void TearDown() override { fs::remove_all(folder); }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
  }

  fs::path folder = fs::temp_directory_path() / ("kestrin-metrics-" + std::to_string(::getpid()) + "-" +
                                                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
  fs::path file = folder / "kestrin.prom";
};

TEST_F(MetricsFileTest, ReplacesTheFileReadableByEveryone) {
  ASSERT_EQ(writeMetricsFile(file, "first\n"), std::nullopt);
  const auto text = metricsText(heldState(), kBerlin, kNow, Attention::Tone::holding, {});
  ASSERT_EQ(writeMetricsFile(file, text), std::nullopt);

  EXPECT_EQ(widget::readWholeFile(file), text);
  EXPECT_EQ(names(), std::vector<std::string>{"kestrin.prom"});  // no temporary left behind
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0644u);
}

TEST_F(MetricsFileTest, MissingFolderIsAReason) {
  const auto reason = writeMetricsFile(folder / "absent" / "kestrin.prom", "x\n");
  ASSERT_TRUE(reason.has_value());
  EXPECT_NE(reason->find((folder / "absent").string()), std::string::npos) << *reason;
  EXPECT_FALSE(fs::exists(folder / "absent"));
}

TEST_F(MetricsFileTest, FailedRenameLeavesNoTemporary) {
  fs::create_directories(file / "inside");  // a folder where the file should go
  const auto reason = writeMetricsFile(file, "x\n");
  ASSERT_TRUE(reason.has_value());
  EXPECT_NE(reason->find("cannot replace"), std::string::npos) << *reason;
  EXPECT_EQ(names(), std::vector<std::string>{"kestrin.prom"});
}

TEST_F(MetricsFileTest, NoFileNameIsAReason) {
  EXPECT_TRUE(writeMetricsFile(folder / "", "x\n").has_value());
}

std::optional<fs::path> onPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  if (!path) return std::nullopt;
  std::stringstream folders(path);
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    if (folder.empty()) continue;
    const auto candidate = fs::path(folder) / program;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return std::nullopt;
}

TEST_F(MetricsFileTest, PromtoolAcceptsTheFile) {
  const auto promtool = onPath("promtool");
  if (!promtool) {
    GTEST_SKIP() << "promtool is not on PATH (Debian package prometheus); only the strict reader checked the text";
  }
  const struct {
    const char* what;
    MonitorState state;
    std::optional<Attention::Tone> tone;
  } cases[] = {{"a reading", heldState(), Attention::Tone::alert}, {"no reading", MonitorState{}, std::nullopt}};
  for (const auto& c : cases) {
    ASSERT_EQ(writeMetricsFile(file, metricsText(c.state, kBerlin, kNow, c.tone, {{Kind::hot, 1}})), std::nullopt);
    const auto output = folder / "promtool.out";
    const auto command = "'" + promtool->string() + "' check metrics < '" + file.string() + "' > '" +
                         output.string() + "' 2>&1";
    const int status = std::system(command.c_str());
    EXPECT_EQ(status, 0) << c.what << ":\n" << widget::readWholeFile(output).value_or("");
  }
}

}  // namespace
}  // namespace kestrin::app
