#include "BatteryCore/text/Template.hpp"

#include <algorithm>
#include <charconv>
#include <vector>

namespace batterycore {

namespace {

struct Placeholder {
  std::size_t start = 0;
  std::size_t end = 0;  // one past the placeholder
  int position = 0;     // 1-based value position
  bool isText = false;
};

// No text carries more values than this; a larger number is a typo, and
// refusing it keeps placeholderSignature() small.
constexpr int kMaxPosition = 99;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Every placeholder of the template, in text order; absent when the template
// is malformed: a lone "%" at the end, a conversion we do not know, a position
// over kMaxPosition, numbered and unnumbered placeholders mixed, or one
// position asked for as text and as a number.
std::optional<std::vector<Placeholder>> parse(std::string_view format) {
  std::vector<Placeholder> found;
  int sequential = 0;
  bool numbered = false;
  std::size_t i = 0;
  while (i < format.size()) {
    if (format[i] != '%') {
      ++i;
      continue;
    }
    std::size_t j = i + 1;
    if (j >= format.size()) return std::nullopt;
    if (format[j] == '%') {
      i = j + 1;
      continue;
    }
    Placeholder p;
    p.start = i;
    std::size_t digitsEnd = j;
    while (digitsEnd < format.size() && isDigit(format[digitsEnd])) ++digitsEnd;
    if (digitsEnd > j && digitsEnd < format.size() && format[digitsEnd] == '$') {
      const auto [ptr, error] = std::from_chars(format.data() + j, format.data() + digitsEnd, p.position);
      if (error != std::errc{} || p.position < 1 || p.position > kMaxPosition) return std::nullopt;
      numbered = true;
      j = digitsEnd + 1;
    } else {
      p.position = ++sequential;
    }
    if (numbered && sequential > 0) return std::nullopt;
    if (j >= format.size()) return std::nullopt;
    if (format[j] == '@') {
      p.isText = true;
      p.end = j + 1;
    } else {
      std::size_t k = j;
      while (k < format.size() && format[k] == 'l') ++k;
      if (k - j > 2 || k >= format.size() || (format[k] != 'd' && format[k] != 'i')) return std::nullopt;
      p.end = k + 1;
    }
    for (const auto& earlier : found) {
      if (earlier.position == p.position && earlier.isText != p.isText) return std::nullopt;
    }
    found.push_back(p);
    i = p.end;
  }
  return found;
}

// Copies the template with "%%" made "%" and each placeholder replaced by
// `fill(placeholder)`.
template <class Fill>
std::string substitute(std::string_view format, const std::vector<Placeholder>& placeholders, Fill fill) {
  std::string out;
  out.reserve(format.size() + 16);
  std::size_t i = 0;
  auto next = placeholders.begin();
  while (i < format.size()) {
    if (next != placeholders.end() && next->start == i) {
      fill(out, *next);
      i = next->end;
      ++next;
    } else if (format[i] == '%') {
      // Only "%%" reaches here: parse() accepted the template.
      out += '%';
      i += 2;
    } else {
      out += format[i++];
    }
  }
  return out;
}

}  // namespace

std::optional<std::string> renderTemplate(std::string_view format, std::span<const TemplateArg> args) {
  // Most texts carry no values and no percent sign.
  if (format.find('%') == std::string_view::npos) {
    if (!args.empty()) return std::nullopt;
    return std::string(format);
  }
  const auto placeholders = parse(format);
  if (!placeholders) return std::nullopt;
  std::vector<bool> used(args.size(), false);
  for (const auto& p : *placeholders) {
    if (p.position > static_cast<int>(args.size())) return std::nullopt;
    const auto index = static_cast<std::size_t>(p.position - 1);
    if (args[index].isText() != p.isText) return std::nullopt;
    used[index] = true;
  }
  if (std::find(used.begin(), used.end(), false) != used.end()) return std::nullopt;

  return substitute(format, *placeholders, [&](std::string& out, const Placeholder& p) {
    const auto& arg = args[static_cast<std::size_t>(p.position - 1)];
    if (arg.isText()) {
      out += arg.text();
    } else {
      out += std::to_string(arg.number());
    }
  });
}

std::optional<std::string> placeholderSignature(std::string_view format) {
  const auto placeholders = parse(format);
  if (!placeholders) return std::nullopt;
  int count = 0;
  for (const auto& p : *placeholders) count = std::max(count, p.position);
  std::string signature(static_cast<std::size_t>(count), '?');
  for (const auto& p : *placeholders) signature[static_cast<std::size_t>(p.position - 1)] = p.isText ? '@' : 'd';
  return signature;
}

std::optional<std::string> renderPositionMarks(std::string_view format) {
  const auto placeholders = parse(format);
  if (!placeholders) return std::nullopt;
  return substitute(format, *placeholders, [](std::string& out, const Placeholder& p) {
    out += "\u2039";
    out += std::to_string(p.position);
    out += "\u203A";
  });
}

}  // namespace batterycore
