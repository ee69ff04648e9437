// The catalogue as shipped: every translation fits the English, every key a
// source file asks for exists, and every default written at a call says what
// the English table says.
#include "BatteryCore/text/Meaning.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unicode/unistr.h>

#include <set>
#include <sstream>

namespace batterycore {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return contents.str();
}

// Lists problems one per line, at most 40 of them.
std::string listed(const std::vector<std::string>& problems) {
  std::string text = std::to_string(problems.size()) + " found:\n";
  for (std::size_t i = 0; i < problems.size() && i < 40; ++i) text += "  " + problems[i] + "\n";
  return text;
}

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isAlphanumeric(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

// A dotted identifier: "smart.header", "health.range.90days".
bool isKey(std::string_view text) {
  if (text.empty() || text.front() < 'a' || text.front() > 'z' || text.back() == '.') return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '.' ? !isAlphanumeric(text[i + 1]) : !isAlphanumeric(text[i])) return false;
  }
  return text.find('.') != std::string_view::npos;
}

// One place in the sources that asks the catalogue for a text by a literal key.
struct Request {
  std::string where;  // file:line
  std::string function;
  std::string key;
  std::vector<std::optional<std::string>> defaults;  // absent where not a literal
};

std::size_t skipSpace(const std::string& source, std::size_t at) {
  while (at < source.size() && isSpace(source[at])) ++at;
  return at;
}

// Reads one or more adjacent ordinary string literals starting at `at` and
// joins them, as the compiler does; absent for anything else (a raw literal,
// an expression). On success `at` is moved past them.
std::optional<std::string> readLiterals(const std::string& source, std::size_t& at) {
  std::string value;
  std::size_t i = skipSpace(source, at);
  if (i >= source.size() || source[i] != '"') return std::nullopt;
  while (i < source.size() && source[i] == '"') {
    for (++i; i < source.size() && source[i] != '"'; ++i) {
      if (source[i] != '\\') {
        value += source[i];
      } else if (source[++i] == 'u' || source[i] == 'U') {
        const std::size_t digits = source[i] == 'u' ? 4 : 8;
        icu::UnicodeString(static_cast<UChar32>(std::stoul(source.substr(i + 1, digits), nullptr, 16)))
            .toUTF8String(value);
        i += digits;
      } else {
        value += source[i] == 'n' ? '\n' : source[i] == 't' ? '\t' : source[i];
      }
    }
    at = ++i;
    i = skipSpace(source, i);
  }
  return value;
}

// The source with comments blanked out (line breaks kept, so line numbers
// stay), so an example in a comment is not taken for a call.
std::string withoutComments(std::string source) {
  std::size_t i = 0;
  while (i < source.size()) {
    if (source[i] == '"' && i > 0 && source[i - 1] == 'R') {  // R"delimiter( ... )delimiter"
      const auto open = source.find('(', i);
      const auto close = source.find(")" + source.substr(i + 1, open - i - 1) + "\"", open);
      i = close == std::string::npos ? source.size() : close + open - i + 1;
    } else if (source[i] == '"' || source[i] == '\'') {
      const char quote = source[i++];
      while (i < source.size() && source[i] != quote && source[i] != '\n') i += source[i] == '\\' ? 2 : 1;
      ++i;
    } else if (source.compare(i, 2, "//") == 0 || source.compare(i, 2, "/*") == 0) {
      const bool line = source[i + 1] == '/';
      const auto close = line ? source.find('\n', i) : source.find("*/", i + 2);
      for (const auto end = close == std::string::npos ? source.size() : close + (line ? 0 : 2); i < end; ++i) {
        if (source[i] != '\n') source[i] = ' ';
      }
    } else {
      ++i;
    }
  }
  return source;
}

// Every call of a catalogue function with a literal key, and every call of any
// helper whose first two arguments are a literal key and a literal text (the
// shape of a small wrapper around a look-up). A level pair, leveled(base,
// level, simple, technical), has the level between key and defaults.
std::vector<Request> requestsIn(const fs::path& file, const std::string& shownName) {
  const std::string source = withoutComments(readFile(file));
  std::vector<Request> found;
  for (std::size_t open = source.find('('); open != std::string::npos; open = source.find('(', open + 1)) {
    std::size_t nameEnd = open;
    while (nameEnd > 0 && isSpace(source[nameEnd - 1])) --nameEnd;
    std::size_t nameStart = nameEnd;
    while (nameStart > 0 && (isAlphanumeric(source[nameStart - 1]) || source[nameStart - 1] == '_')) --nameStart;
    std::size_t at = open + 1;
    const auto key = nameStart == nameEnd ? std::nullopt : readLiterals(source, at);
    if (!key || !isKey(*key)) continue;
    const auto line = std::count(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(nameStart), '\n');
    Request request{shownName + ":" + std::to_string(line + 1), source.substr(nameStart, nameEnd - nameStart),
                    *key, {}};
    const int count = request.function == "leveled" ? 2 : 1;
    for (int n = 0; n < count; ++n) {
      at = skipSpace(source, at);
      if (at >= source.size() || source[at] != ',') break;
      if (n == 0 && count == 2 && (at = source.find(',', at + 1)) == std::string::npos) break;  // past the level
      request.defaults.push_back(readLiterals(source, ++at));
      if (!request.defaults.back()) break;
    }
    const bool catalogue = request.function == "text" || request.function == "format" ||
                           request.function == "formatValues" || request.function == "leveled";
    if (catalogue || (!request.defaults.empty() && request.defaults.front())) found.push_back(std::move(request));
  }
  return found;
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

  std::optional<ResourceBundle> bundle_;
  const ResourceBundle::Table* english_ = nullptr;
};

// Every table uses only dotted English keys, and each text takes the values
// the English takes (none left unused) and renders with values of those types.
TEST_F(Catalogue, EveryTableFitsTheEnglish) {
  std::vector<std::string> problems;
  for (const auto& language : bundle_->languages()) {
    for (const auto& [key, value] : *bundle_->table(language)) {
      const auto found = english_->find(key);
      const auto english = found == english_->end() ? std::nullopt : placeholderSignature(found->second);
      const auto signature = placeholderSignature(value);
      std::vector<TemplateArg> values;
      for (const char type : signature.value_or("")) type == 'd' ? values.emplace_back(7) : values.emplace_back("x");
      if (!isKey(key) || !english || signature != english || english->find('?') != std::string::npos ||
          !renderTemplate(value, values)) {
        problems.push_back(language + ": " + key + ": \"" + value + "\" takes " + signature.value_or("nothing") +
                           ", English takes " + english.value_or("nothing"));
      }
    }
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

// A key written twice in one table silently hides the first text.
TEST_F(Catalogue, NoTableNamesAKeyTwice) {
  std::vector<std::string> problems;
  for (const auto& entry : fs::directory_iterator(testing::sourceBundleFolder())) {
    std::set<std::string> seen;
    if (entry.path().extension() != ".json") continue;
    const auto noteRepeats = [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json& key) {
      if (event == nlohmann::json::parse_event_t::key && depth == 1 && !seen.insert(key.get<std::string>()).second) {
        problems.push_back(entry.path().filename().string() + ": " + key.get<std::string>());
      }
      return true;
    };
    [[maybe_unused]] const auto whole = nlohmann::json::parse(readFile(entry.path()), noteRepeats);
  }
  EXPECT_TRUE(problems.empty()) << listed(problems);
}

// English reads en.json first, so a default at the call that says something
// else is seen only by languages without a table, and misleads the reader of
// the code. Placeholders compare by position, and "%%" as "%".
TEST_F(Catalogue, EveryKeyTheSourcesAskForIsInTheEnglishTableWithTheDefaultsWording) {
  const auto comparable = [](const std::string& text) { return renderPositionMarks(text).value_or(text); };
  std::vector<std::string> missing, differing;
  std::size_t requests = 0;
  for (const char* folder : {"BatteryCore", "KestrinWidget", "app", "tools"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(KESTRIN_SOURCE_DIR) / folder)) {
      if (entry.path().extension() != ".cpp" && entry.path().extension() != ".hpp") continue;
      for (const auto& request : requestsIn(entry.path(), fs::relative(entry.path(), KESTRIN_SOURCE_DIR).string())) {
        ++requests;
        const bool pair = request.function == "leveled";
        for (std::size_t i = 0; i < (pair ? 2u : 1u); ++i) {
          const auto key = pair ? Meaning::levelKey(request.key, i == 0 ? DetailLevel::simple : DetailLevel::technical)
                                : request.key;
          const auto found = english_->find(key);
          if (found == english_->end()) {
            missing.push_back(request.where + ": " + key);
          } else if (i < request.defaults.size() && request.defaults[i] &&
                     comparable(*request.defaults[i]) != comparable(found->second)) {
            differing.push_back(request.where + ": " + key + ": \"" + *request.defaults[i] + "\" but en.json has \"" +
                                found->second + "\"");
          }
        }
      }
    }
  }
  EXPECT_GT(requests, 100u) << "the sources were not found or not read";
  EXPECT_TRUE(missing.empty()) << "keys missing from en.json, " << listed(missing);
  EXPECT_TRUE(differing.empty()) << listed(differing);
}

}  // namespace
}  // namespace batterycore
