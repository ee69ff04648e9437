#include "BatteryCore/text/Template.hpp"

#include <charconv>
#include <vector>

namespace batterycore {

namespace {

struct Placeholder {
  std::size_t start = 0;
  std::size_t end = 0;     // one past the placeholder
  int position = 0;        // 1-based value position
  bool isText = false;
};

// Parses every placeholder; absent when the template is malformed. Numbered
// and sequential placeholders may not be mixed.
std::optional<std::vector<Placeholder>> parse(std::string_view format) {
  std::vector<Placeholder> found;
  int sequential = 0;
  bool numbered = false;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    Placeholder p;
    p.start = i;
    std::size_t j = i + 1;
    if (j >= format.size()) return std::nullopt;
    if (format[j] == '%') {
      ++i;
      continue;
    }
    // Optional "N$".
    std::size_t digitsEnd = j;
    while (digitsEnd < format.size() && format[digitsEnd] >= '0' && format[digitsEnd] <= '9') ++digitsEnd;
    if (digitsEnd > j && digitsEnd < format.size() && format[digitsEnd] == '$') {
      int position = 0;
      const auto [ptr, error] = std::from_chars(format.data() + j, format.data() + digitsEnd, position);
      if (error != std::errc{} || ptr != format.data() + digitsEnd || position < 1) return std::nullopt;
      p.position = position;
      numbered = true;
      j = digitsEnd + 1;
    } else {
      p.position = ++sequential;
    }
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
    if (numbered && sequential > 0) return std::nullopt;
    found.push_back(p);
    i = p.end - 1;
  }
  return found;
}

}  // namespace

std::optional<std::string> renderTemplate(std::string_view format, std::span<const TemplateArg> args) {
  const auto placeholders = parse(format);
  if (!placeholders) return std::nullopt;
  std::vector<bool> used(args.size(), false);
  for (const auto& p : *placeholders) {
    if (p.position > static_cast<int>(args.size())) return std::nullopt;
    const auto& arg = args[static_cast<std::size_t>(p.position - 1)];
    if (arg.isText() != p.isText) return std::nullopt;
    used[static_cast<std::size_t>(p.position - 1)] = true;
  }
  for (const bool u : used) {
    if (!u) return std::nullopt;
  }

  std::string out;
  out.reserve(format.size() + 16);
  std::size_t i = 0;
  auto next = placeholders->begin();
  while (i < format.size()) {
    if (next != placeholders->end() && next->start == i) {
      const auto& arg = args[static_cast<std::size_t>(next->position - 1)];
      out += arg.isText() ? arg.text() : std::to_string(arg.number());
      i = next->end;
      ++next;
    } else if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') {
      out += '%';
      i += 2;
    } else {
      out += format[i++];
    }
  }
  return out;
}

std::optional<std::string> placeholderSignature(std::string_view format) {
  const auto placeholders = parse(format);
  if (!placeholders) return std::nullopt;
  std::string signature;
  for (int position = 1;; ++position) {
    bool any = false;
    for (const auto& p : *placeholders) {
      if (p.position != position) continue;
      any = true;
      signature += p.isText ? '@' : 'd';
      break;
    }
    if (!any) break;
  }
  return signature;
}

}  // namespace batterycore
