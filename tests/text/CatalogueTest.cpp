// The catalogue as shipped: every translation fits the English, every key a
// source file asks for exists, and every default written at a call says what
// the English table says.
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/ResourceBundle.hpp"
#include "BatteryCore/text/Template.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace batterycore {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxListed = 40;

std::string readFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream contents;
  contents << stream.rdbuf();
  return contents.str();
}

// Lists problems one per line, at most kMaxListed of them.
std::string listed(const std::vector<std::string>& problems) {
  std::string text = std::to_string(problems.size()) + " found:\n";
  for (std::size_t i = 0; i < problems.size() && i < kMaxListed; ++i) text += "  " + problems[i] + "\n";
  if (problems.size() > kMaxListed) text += "  ...\n";
  return text;
}

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isAlphanumeric(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// A dotted identifier: "smart.header", "health.range.90days".
bool isKey(std::string_view text) {
  if (text.empty() || text.front() < 'a' || text.front() > 'z') return false;
  bool dotted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '.') {
      if (i + 1 >= text.size() || !isAlphanumeric(text[i + 1])) return false;
      dotted = true;
    } else if (!isAlphanumeric(text[i])) {
      return false;
    }
  }
  return dotted;
}

// Values of the right type for a signature: text for "@", a number for "d".
std::vector<TemplateArg> sampleValues(std::string_view signature) {
  std::vector<TemplateArg> values;
  for (const char type : signature) {
    if (type == 'd') {
      values.emplace_back(7);
    } else {
      values.emplace_back("x");
    }
  }
  return values;
}

class Catalogue : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto folder = testing::sourceBundleFolder();
    if (!fs::exists(folder / "en.json")) GTEST_SKIP() << "no English table yet at " << folder.string();
    bundle_ = ResourceBundle::open(folder);
    ASSERT_TRUE(bundle_.has_value());
    ASSERT_TRUE(bundle_->problems().empty()) << listed(bundle_->problems());
    english_ = bundle_->table("en");
    ASSERT_NE(english_, nullptr);
  }

  std::vector<std::string> translations() const {
    std::vector<std::string> names;
    for (auto& name : bundle_->languages()) {
      if (name != "en") names.push_back(name);
    }
    return names;
  }

  std::optional<ResourceBundle> bundle_;
  const ResourceBundle::Table* english_ = nullptr;
};

TEST_F(Catalogue, KeysAreDottedIdentifiers) {
  std::vector<std::string> problems;
  for (const auto& [key, value] : *english_) {
    if (!isKey(key)) problems.push_back(key);
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

// A key written twice in one table silently hides the first text.
TEST_F(Catalogue, NoTableNamesAKeyTwice) {
  std::vector<std::string> problems;
  for (const auto& entry : fs::directory_iterator(testing::sourceBundleFolder())) {
    if (entry.path().extension() != ".json") continue;
    std::set<std::string> seen;
    const auto file = entry.path().filename().string();
    [[maybe_unused]] const auto whole = nlohmann::json::parse(
        readFile(entry.path()),
        [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json& parsed) {
          if (event == nlohmann::json::parse_event_t::key && depth == 1 &&
              !seen.insert(parsed.get<std::string>()).second) {
            problems.push_back(file + ": " + parsed.get<std::string>());
          }
          return true;
        });
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

TEST_F(Catalogue, EveryEnglishTemplateRendersWithValuesOfItsTypes) {
  std::vector<std::string> problems;
  for (const auto& [key, value] : *english_) {
    const auto signature = placeholderSignature(value);
    if (!signature || signature->find('?') != std::string::npos) {
      problems.push_back(key + ": malformed \"" + value + "\"");
      continue;
    }
    if (!renderTemplate(value, sampleValues(*signature))) problems.push_back(key + ": \"" + value + "\"");
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

TEST_F(Catalogue, TranslationsOnlyUseEnglishKeys) {
  std::vector<std::string> problems;
  for (const auto& language : translations()) {
    for (const auto& [key, value] : *bundle_->table(language)) {
      if (!english_->contains(key)) problems.push_back(language + ": " + key);
    }
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

TEST_F(Catalogue, TranslationsTakeTheSameValues) {
  std::vector<std::string> problems;
  for (const auto& language : translations()) {
    for (const auto& [key, value] : *bundle_->table(language)) {
      const auto found = english_->find(key);
      if (found == english_->end()) continue;
      const auto english = placeholderSignature(found->second);
      const auto translated = placeholderSignature(value);
      if (!translated || translated != english) {
        problems.push_back(language + ": " + key + ": \"" + value + "\" takes " +
                           (translated ? "\"" + *translated + "\"" : "nothing it can render") +
                           ", English takes \"" + english.value_or("?") + "\"");
        continue;
      }
      if (!renderTemplate(value, sampleValues(*english))) problems.push_back(language + ": " + key);
    }
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

// ---- Keys asked for in the sources ----

// One place in the sources that asks the catalogue for a text by a literal key.
struct Request {
  std::string file;
  std::size_t line = 0;
  std::string function;
  std::string key;
  std::vector<std::optional<std::string>> defaults;  // absent where not a literal

  std::string where() const { return file + ":" + std::to_string(line) + ": " + key; }
};

void appendUtf8(std::string& out, unsigned long code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

std::size_t skipSpace(const std::string& source, std::size_t at) {
  while (at < source.size() && isSpace(source[at])) ++at;
  return at;
}

// Reads one or more adjacent ordinary string literals starting at `at` and
// joins them, as the compiler does; absent for anything else (a raw literal,
// an expression). On success `at` is moved past them.
std::optional<std::string> readLiterals(const std::string& source, std::size_t& at) {
  std::string value;
  bool any = false;
  std::size_t i = at;
  while (true) {
    i = skipSpace(source, i);
    if (i >= source.size() || source[i] != '"') break;
    ++i;
    while (i < source.size() && source[i] != '"') {
      if (source[i] != '\\') {
        value += source[i++];
        continue;
      }
      if (++i >= source.size()) return std::nullopt;
      const char escape = source[i++];
      switch (escape) {
        case 'n': value += '\n'; break;
        case 't': value += '\t'; break;
        case 'u':
        case 'U': {
          const std::size_t digits = escape == 'u' ? 4 : 8;
          if (i + digits > source.size()) return std::nullopt;
          appendUtf8(value, std::stoul(source.substr(i, digits), nullptr, 16));
          i += digits;
          break;
        }
        case 'x': {
          std::size_t end = i;
          while (end < source.size() && std::isxdigit(static_cast<unsigned char>(source[end]))) ++end;
          if (end == i) return std::nullopt;
          value += static_cast<char>(std::stoul(source.substr(i, end - i), nullptr, 16));
          i = end;
          break;
        }
        default: value += escape; break;
      }
    }
    if (i >= source.size()) return std::nullopt;
    ++i;
    any = true;
  }
  if (!any) return std::nullopt;
  at = i;
  return value;
}

// The literal default arguments that follow a key: `count` of them, each
// absent when it is not a literal. A level pair, leveled(base, level, simple,
// technical), has the level between key and defaults.
std::vector<std::optional<std::string>> readDefaults(const std::string& source, std::size_t at, int count) {
  std::vector<std::optional<std::string>> defaults;
  for (int n = 0; n < count; ++n) {
    at = skipSpace(source, at);
    if (at >= source.size() || source[at] != ',') break;
    at = skipSpace(source, at + 1);
    if (n == 0 && count == 2) {
      const auto comma = source.find(',', at);
      if (comma == std::string::npos) break;
      at = skipSpace(source, comma + 1);
    }
    defaults.push_back(at < source.size() && source[at] == '"' ? readLiterals(source, at) : std::nullopt);
    if (!defaults.back()) break;
  }
  return defaults;
}

// The source with comments blanked out (line breaks kept, so line numbers
// stay), so an example in a comment is not taken for a call.
std::string withoutComments(std::string source) {
  std::size_t i = 0;
  while (i < source.size()) {
    if (source[i] == '"' && i > 0 && source[i - 1] == 'R') {
      // R"delimiter( ... )delimiter"
      const auto open = source.find('(', i);
      if (open == std::string::npos) break;
      const auto delimiter = source.substr(i + 1, open - i - 1);
      const auto close = source.find(")" + delimiter + "\"", open);
      i = close == std::string::npos ? source.size() : close + delimiter.size() + 2;
    } else if (source[i] == '"' || source[i] == '\'') {
      const char quote = source[i++];
      while (i < source.size() && source[i] != quote && source[i] != '\n') i += source[i] == '\\' ? 2 : 1;
      ++i;
    } else if (source.compare(i, 2, "//") == 0) {
      while (i < source.size() && source[i] != '\n') source[i++] = ' ';
    } else if (source.compare(i, 2, "/*") == 0) {
      const auto close = source.find("*/", i + 2);
      const auto end = close == std::string::npos ? source.size() : close + 2;
      for (; i < end; ++i) {
        if (source[i] != '\n') source[i] = ' ';
      }
    } else {
      ++i;
    }
  }
  return source;
}

bool isCatalogueCall(const std::string& function) {
  return function == "text" || function == "format" || function == "formatValues" || function == "leveled";
}

// Every call of a catalogue function with a literal key, and every call of any
// helper whose first two arguments are a literal key and a literal text (the
// shape of a small wrapper around a look-up).
std::vector<Request> requestsIn(const fs::path& file, const std::string& shownName) {
  const std::string source = withoutComments(readFile(file));
  std::vector<Request> found;
  for (std::size_t open = source.find('('); open != std::string::npos; open = source.find('(', open + 1)) {
    std::size_t at = skipSpace(source, open + 1);
    if (at >= source.size() || source[at] != '"') continue;
    std::size_t nameEnd = open;
    while (nameEnd > 0 && isSpace(source[nameEnd - 1])) --nameEnd;
    std::size_t nameStart = nameEnd;
    while (nameStart > 0 && (isAlphanumeric(source[nameStart - 1]) || source[nameStart - 1] == '_')) --nameStart;
    if (nameStart == nameEnd) continue;
    const auto key = readLiterals(source, at);
    if (!key || !isKey(*key)) continue;
    Request request;
    request.file = shownName;
    request.line = 1 + static_cast<std::size_t>(std::count(
                           source.begin(), source.begin() + static_cast<std::ptrdiff_t>(nameStart), '\n'));
    request.function = source.substr(nameStart, nameEnd - nameStart);
    request.key = *key;
    request.defaults = readDefaults(source, at, request.function == "leveled" ? 2 : 1);
    const bool wrapper = !request.defaults.empty() && request.defaults.front().has_value();
    if (isCatalogueCall(request.function) || wrapper) found.push_back(std::move(request));
  }
  return found;
}

std::vector<Request> requestsInSources() {
  const fs::path root(KESTRIN_SOURCE_DIR);
  std::vector<Request> requests;
  for (const char* folder : {"BatteryCore", "KestrinWidget", "app", "tools"}) {
    if (!fs::is_directory(root / folder)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      const auto extension = entry.path().extension();
      if (!entry.is_regular_file() || (extension != ".cpp" && extension != ".hpp")) continue;
      auto more = requestsIn(entry.path(), fs::relative(entry.path(), root).string());
      requests.insert(requests.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }
  }
  return requests;
}

// The keys a request reads: a level pair reads both of its keys.
std::vector<std::string> keysOf(const Request& request) {
  if (request.function != "leveled") return {request.key};
  return {Meaning::levelKey(request.key, DetailLevel::simple),
          Meaning::levelKey(request.key, DetailLevel::technical)};
}

// Placeholders shown by position and "%%" as "%", so "%@" and "%1$@", or
// "100%%" and a plain "100%", compare equal.
std::string comparable(const std::string& text) { return renderPositionMarks(text).value_or(text); }

TEST(CatalogueFinder, SeesLiteralKeysAndDefaultsOutsideComments) {
  const testing::ScratchFolder folder("catalogue-scan");
  folder.write("Sample.cpp",
               "auto a = Meaning::text(\"smart.header\", \"Before you \"\n  \"usually leave\");\n"
               "auto b = format(\n  \"flow.battery\", \"Battery %@\", {watts});\n"
               "auto c = Meaning::leveled(\"energy.footer\", level, \"Think \\u2013 \", technicalText);\n"
               "auto d = plain(\"alert.hot.title\", \"Running hot\");\n"
               "auto e = std::format(\"{} W\", watts);\n"
               "auto f = text(key, \"not a literal key\");\n"
               "auto g = put(json, \"notAKey\", 3);\n"
               "// text(\"in.comment\", \"Not a call\")\n"
               "/* format(\"in.block\", \"Not a call\") */\n"
               "auto h = R\"(text(\"in.raw\", \"Inside a raw literal\"))\";\n"
               "auto i = text(\"after.raw\", \"A // call\");\n");
  const auto requests = requestsIn(folder.path() / "Sample.cpp", "Sample.cpp");
  ASSERT_EQ(requests.size(), 6u);
  EXPECT_EQ(requests[0].key, "smart.header");
  EXPECT_EQ(requests[0].defaults.front(), "Before you usually leave");
  EXPECT_EQ(requests[1].key, "flow.battery");
  EXPECT_EQ(requests[1].line, 3u);
  EXPECT_EQ(requests[1].defaults.front(), "Battery %@");
  EXPECT_EQ(requests[2].function, "leveled");
  ASSERT_EQ(requests[2].defaults.size(), 2u);
  EXPECT_EQ(requests[2].defaults[0], "Think \u2013 ");
  EXPECT_EQ(requests[2].defaults[1], std::nullopt);
  EXPECT_EQ(requests[3].function, "plain");
  // A raw literal is code, not a comment: what reads like a call inside it is
  // found, and what follows it is read normally.
  EXPECT_EQ(requests[4].key, "in.raw");
  EXPECT_EQ(requests[5].key, "after.raw");
  EXPECT_EQ(requests[5].defaults.front(), "A // call");
  EXPECT_EQ(requests[5].line, 13u);
}

TEST_F(Catalogue, EveryKeyTheSourcesAskForExists) {
  std::vector<std::string> problems;
  for (const auto& request : requestsInSources()) {
    for (const auto& key : keysOf(request)) {
      if (!english_->contains(key)) {
        problems.push_back(request.file + ":" + std::to_string(request.line) + ": " + key);
      }
    }
  }
  EXPECT_TRUE(problems.empty()) << "keys missing from en.json, " << listed(problems);
}

// English reads en.json first, so a default that says something else at the
// call is text nobody sees, and it misleads the reader of the code.
TEST_F(Catalogue, DefaultsAtTheCallsMatchTheEnglishTable) {
  std::vector<std::string> problems;
  for (const auto& request : requestsInSources()) {
    const auto keys = keysOf(request);
    for (std::size_t i = 0; i < keys.size() && i < request.defaults.size(); ++i) {
      const auto found = english_->find(keys[i]);
      if (!request.defaults[i] || found == english_->end()) continue;
      if (comparable(*request.defaults[i]) != comparable(found->second)) {
        problems.push_back(request.where() + ": \"" + *request.defaults[i] + "\" but en.json has \"" +
                           found->second + "\"");
      }
    }
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

}  // namespace
}  // namespace batterycore
