#include "app/live/Uevent.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace kestrin::app::live {

namespace {

constexpr std::string_view kPropertyPrefix = "POWER_SUPPLY_";

std::string_view trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

std::optional<std::string> Uevent::attributeName(std::string_view key) {
  if (!key.starts_with(kPropertyPrefix) || key.size() == kPropertyPrefix.size()) return std::nullopt;
  std::string name(key.substr(kPropertyPrefix.size()));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

Uevent Uevent::parse(std::string_view text) {
  Attributes attributes;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    if (auto name = attributeName(line.substr(0, equals))) {
      attributes[std::move(*name)] = std::string(line.substr(equals + 1));
    }
  }
  return Uevent(std::move(attributes));
}

std::optional<std::string> Uevent::text(std::string_view name) const {
  const auto found = attributes_.find(name);
  if (found == attributes_.end()) return std::nullopt;
  return found->second;
}

std::optional<std::int64_t> Uevent::integer(std::string_view name) const {
  const auto found = attributes_.find(name);
  if (found == attributes_.end()) return std::nullopt;
  const std::string_view digits = trimmed(found->second);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc{} || end != digits.data() + digits.size() || digits.empty()) return std::nullopt;
  return value;
}

}  // namespace kestrin::app::live
