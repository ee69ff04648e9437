// Template: renders a catalogue template with its values.
//
//   renderTemplate("Battery %@", {"4.3 W"})                  == "Battery 4.3 W"
//   renderTemplate("%lld h %lld min", {1, 5})                == "1 h 5 min"
//   renderTemplate("%2$@, dann %1$@", {"first", "second"})  == "second, dann first"
//   renderTemplate("100%%", {})                              == "100%"
//   renderTemplate("%@ and %@", {"only one"})                == std::nullopt
//
// Placeholders: %@ (text), %d, %ld, %lld, %i (integers), %% (a percent sign);
// any of them numbered as %1$@ ... so a translation can reorder values. A
// template whose placeholders do not match the values (too many, too few, a
// text where a number is given or the other way round, anything unknown)
// renders as absent; it never reads past the values it was given. One value
// may fill several numbered placeholders, but every value must be used.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace batterycore {

class TemplateArg {
 public:
  TemplateArg(std::string text) : value_(std::move(text)) {}
  TemplateArg(std::string_view text) : value_(std::string(text)) {}
  TemplateArg(const char* text) : value_(std::string(text)) {}
  template <class Integer>
    requires(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool> &&
             !std::is_same_v<Integer, char>)
  TemplateArg(Integer number) : value_(static_cast<std::int64_t>(number)) {}

  bool isText() const { return std::holds_alternative<std::string>(value_); }
  const std::string& text() const { return std::get<std::string>(value_); }
  std::int64_t number() const { return std::get<std::int64_t>(value_); }

 private:
  std::variant<std::string, std::int64_t> value_;
};

std::optional<std::string> renderTemplate(std::string_view format, std::span<const TemplateArg> args);

// The placeholders of a template as their type letters in value order ("@",
// "d"), for checking a translation against the English; a value position no
// placeholder uses shows as "?" ("%2$@" gives "?@"). Absent when the template
// is malformed.
std::optional<std::string> placeholderSignature(std::string_view format);

// The template with each placeholder shown as its value position in angle
// marks, so a reader sees where each value lands:
//   renderPositionMarks("%2$@, dann %1$@") == "‹2›, dann ‹1›"
// Absent when the template is malformed.
std::optional<std::string> renderPositionMarks(std::string_view format);

}  // namespace batterycore
