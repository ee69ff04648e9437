#include "app/live/IoregText.hpp"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::live {

using batterycore::DecodingError;
using batterycore::Json;

namespace {

constexpr std::string_view kBatteryName = "AppleSmartBattery";
constexpr std::string_view kHeaderMark = "+-o";
constexpr std::size_t kLongestQuotedWord = 20;

bool isSpace(char c) { return c == ' ' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

std::optional<int> hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return std::nullopt;
}

std::string describe(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= 0x20 && byte < 0x7f) return std::string("'") + c + "'";
  constexpr char kDigits[] = "0123456789abcdef";
  return std::string("byte 0x") + kDigits[byte >> 4] + kDigits[byte & 0xf];
}

// One line of the dump, without its line break.
struct Line {
  std::string_view text;
  std::size_t number = 0;  // 1-based

  // Where the content starts, after the indentation and tree drawing.
  std::size_t contentStart() const {
    std::size_t at = 0;
    while (at < text.size() && (isSpace(text[at]) || text[at] == '|')) ++at;
    return at;
  }
  std::string_view content() const {
    auto rest = text.substr(contentStart());
    while (!rest.empty() && isSpace(rest.back())) rest.remove_suffix(1);
    return rest;
  }
  bool isHeader() const { return content().starts_with(kHeaderMark); }

  // `+-o AppleSmartBattery  <class AppleSmartBattery, id 0x..., ...>`; the
  // name or the class may say so (`ioreg -c` matches by class).
  bool isBatteryHeader() const {
    if (!isHeader()) return false;
    auto rest = content().substr(kHeaderMark.size());
    while (!rest.empty() && isSpace(rest.front())) rest.remove_prefix(1);
    const auto name = rest.substr(0, rest.find_first_of(" \t<"));
    if (name == kBatteryName) return true;
    const std::string classMark = "<class " + std::string(kBatteryName);
    const auto at = rest.find(classMark);
    if (at == std::string_view::npos) return false;
    const auto after = at + classMark.size();
    return after < rest.size() && (rest[after] == ',' || rest[after] == '>');
  }
};

std::vector<Line> splitLines(std::string_view text) {
  std::vector<Line> lines;
  std::size_t number = 1;
  while (!text.empty()) {
    const auto end = text.find('\n');
    auto line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back({line, number++});
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

// Reads the `"Key" = value` property of one line.
class PropertyReader {
 public:
  explicit PropertyReader(const Line& line) : line_(line), at_(line.contentStart()) {}

  std::pair<std::string, Json> property() {
    if (peek() != '"') fail("expected a \"Key\" = value line");
    key_ = string();
    skipSpaces();
    if (peek() != '=') fail(atEnd() ? "expected '=' after the key, the line ends" : "expected '=' after the key");
    ++at_;
    Json value = this->value(1);
    skipSpaces();
    if (!atEnd()) fail("unexpected " + describe(peek()) + " after the value");
    return {std::move(key_), std::move(value)};
  }

 private:
  [[noreturn]] void fail(const std::string& what) const { failAt(at_, what); }
  [[noreturn]] void failAt(std::size_t at, const std::string& what) const {
    throw DecodingError("line " + std::to_string(line_.number) + ", column " + std::to_string(at + 1) + ": " + what,
                        key_);
  }

  bool atEnd() const { return at_ >= line_.text.size(); }
  char peek() const { return atEnd() ? '\0' : line_.text[at_]; }
  void skipSpaces() {
    while (!atEnd() && isSpace(peek())) ++at_;
  }
  bool atDelimiter() const {
    return atEnd() || isSpace(peek()) || peek() == ',' || peek() == ')' || peek() == '}';
  }

  // One value; nothing at all before a delimiter is null (ioreg prints floats
  // that way).
  Json value(int depth) {
    skipSpaces();
    if (atEnd() || peek() == ',' || peek() == ')' || peek() == '}') return nullptr;
    const char c = peek();
    if (c == '{' || c == '(') {
      if (depth > kIoregMaxDepth) fail("values nest deeper than " + std::to_string(kIoregMaxDepth) + " levels");
      return c == '{' ? dictionary(depth) : array(depth);
    }
    if (c == '"') return string();
    if (c == '<') return data();
    if (isDigit(c)) return number();
    if (isLetter(c)) return word();
    fail("unexpected " + describe(c));
  }

  Json dictionary(int depth) {
    const std::size_t open = at_++;
    Json object = Json::object();
    skipSpaces();
    if (peek() == '}') {
      ++at_;
      return object;
    }
    for (;;) {
      skipSpaces();
      if (atEnd()) failAt(open, "the dictionary is not closed");
      if (peek() != '"') fail("expected a quoted key in the dictionary");
      std::string key = string();
      skipSpaces();
      if (peek() != '=') fail("expected '=' after the key \"" + key + "\"");
      ++at_;
      object[std::move(key)] = value(depth + 1);
      skipSpaces();
      if (atEnd()) failAt(open, "the dictionary is not closed");
      if (peek() == '}') {
        ++at_;
        return object;
      }
      if (peek() != ',') fail("expected ',' or '}' in the dictionary, found " + describe(peek()));
      ++at_;
    }
  }

  Json array(int depth) {
    const std::size_t open = at_++;
    Json items = Json::array();
    skipSpaces();
    if (peek() == ')') {
      ++at_;
      return items;
    }
    for (;;) {
      items.push_back(value(depth + 1));
      skipSpaces();
      if (atEnd()) failAt(open, "the array is not closed");
      if (peek() == ')') {
        ++at_;
        return items;
      }
      if (peek() != ',') fail("expected ',' or ')' in the array, found " + describe(peek()));
      ++at_;
    }
  }

  std::string string() {
    const std::size_t open = at_++;
    const auto close = line_.text.find('"', at_);
    if (close == std::string_view::npos) failAt(open, "the string is not closed");
    const auto text = line_.text.substr(at_, close - at_);
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (static_cast<unsigned char>(text[i]) < 0x20) failAt(at_ + i, "control character in a string");
    }
    if (!isWellFormedUtf8(text)) failAt(open, "the string is not UTF-8");
    at_ = close + 1;
    return std::string(text);
  }

  Json data() {
    const std::size_t open = at_++;
    std::string hex = "<";
    for (;;) {
      if (atEnd()) failAt(open, "the data is not closed");
      const char c = peek();
      if (c == '>') break;
      const auto digit = hexValue(c);
      if (!digit) fail("expected a hex digit or '>' in data, found " + describe(c));
      hex += "0123456789abcdef"[*digit];
      ++at_;
    }
    ++at_;
    return hex + ">";
  }

  Json number() {
    const std::size_t start = at_;
    const bool hex = peek() == '0' && at_ + 1 < line_.text.size() &&
                     (line_.text[at_ + 1] == 'x' || line_.text[at_ + 1] == 'X');
    const std::uint64_t base = hex ? 16 : 10;
    if (hex) at_ += 2;
    std::uint64_t value = 0;
    std::size_t digits = 0;
    while (!atEnd()) {
      const auto digit = hexValue(peek());
      if (!digit || static_cast<std::uint64_t>(*digit) >= base) break;
      if (value > (std::numeric_limits<std::uint64_t>::max() - static_cast<std::uint64_t>(*digit)) / base) {
        failAt(start, "the number does not fit in 64 bits");
      }
      value = value * base + static_cast<std::uint64_t>(*digit);
      ++digits;
      ++at_;
    }
    if (digits == 0) fail("expected hex digits after 0x");
    if (!atDelimiter()) fail("unexpected " + describe(peek()) + " in a number");
    return value;
  }

  Json word() {
    const std::size_t start = at_;
    while (!atEnd() && isLetter(peek())) ++at_;
    const auto word = line_.text.substr(start, at_ - start);
    if (!atDelimiter()) fail("unexpected " + describe(peek()) + " after '" + std::string(word) + "'");
    if (word == "Yes") return true;
    if (word == "No") return false;
    failAt(start, "unexpected word '" + std::string(word.substr(0, kLongestQuotedWord)) +
                      "' (only Yes and No are words)");
  }

  const Line& line_;
  std::size_t at_;
  std::string key_;
};

}  // namespace

Json parseIoregText(std::string_view text) {
  const auto lines = splitLines(text);

  // Start after the battery's header, or at the top of a dump without headers.
  std::size_t first = 0;
  std::optional<std::size_t> firstHeader;
  bool foundBattery = false;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (!lines[i].isHeader()) continue;
    if (!firstHeader) firstHeader = i;
    if (lines[i].isBatteryHeader()) {
      first = i + 1;
      foundBattery = true;
      break;
    }
  }
  if (firstHeader && !foundBattery) {
    throw DecodingError("line " + std::to_string(lines[*firstHeader].number) +
                        ", column 1: the registry entries printed include no AppleSmartBattery");
  }

  Json tree = Json::object();
  bool opened = false;
  bool anyProperty = false;
  for (std::size_t i = first; i < lines.size(); ++i) {
    const Line& line = lines[i];
    const auto content = line.content();
    if (content.empty()) continue;
    if (line.isHeader() || content == "}") break;  // the next entry, or the end of this one
    if (content == "{") {
      if (opened || anyProperty) {
        throw DecodingError("line " + std::to_string(line.number) + ", column " +
                            std::to_string(line.contentStart() + 1) + ": unexpected '{'");
      }
      opened = true;
      continue;
    }
    auto [key, value] = PropertyReader(line).property();
    tree[std::move(key)] = std::move(value);
    anyProperty = true;
  }
  if (!anyProperty && !opened) throw DecodingError("no AppleSmartBattery properties in the text");
  return tree;
}

bool isWellFormedUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    std::uint32_t point = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if (lead >= 0xc2 && lead <= 0xdf) {
      length = 2;
      point = lead & 0x1fu;
    } else if (lead >= 0xe0 && lead <= 0xef) {
      length = 3;
      point = lead & 0x0fu;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
      length = 4;
      point = lead & 0x07u;
    } else {
      return false;
    }
    if (text.size() - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xc0u) != 0x80u) return false;
      point = (point << 6) | (next & 0x3fu);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < kSmallest[length] || point > 0x10ffff || (point >= 0xd800 && point <= 0xdfff)) return false;
    i += length;
  }
  return true;
}

}  // namespace kestrin::app::live
