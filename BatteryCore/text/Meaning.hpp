// Meaning: the catalogue of every sentence a person sees.
//
//   Meaning::text("smart.header", "Before you usually leave")
//   Meaning::format("flow.battery", "Battery %@", {Formatting::watts(4.26)})   // "Battery 4.3 W"
//   Meaning::leveled("energy.footer", DetailLevel::technical, "Think of watts ...", "Processor energy only ...")
//   Meaning::join({"Charging.", std::nullopt, "", "Done."})                   // "Charging. Done."
//   Meaning::thermal(ThermalLevel::fair, false, DetailLevel::simple)
//       == Meaning::Line{"Warm", "Warm, nothing to worry about."}
//
// Each text is looked up by its dotted key in the current language's table
// (the language of ICU's default locale: "de_AT" reads de_AT, then de) and
// falls back to the English default given at the call when the language has
// no table or its table no entry. Every text is a template: "%%" always shows
// as "%", and values go into numbered or unnumbered placeholders (see
// Template.hpp), so a translation may put them in another order.
#pragma once

#include "BatteryCore/readings/ThermalLevel.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/ResourceBundle.hpp"
#include "BatteryCore/text/Template.hpp"

#include <unicode/locid.h>

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace batterycore::Meaning {

// What a card, banner, alert or explanation row shows: a short title and one
// or more sentences (the detail may be empty).
struct Line {
  std::string title;
  std::string detail;
  friend bool operator==(const Line&, const Line&) = default;
};

// The catalogue's bundle, found on first use and kept for the life of the
// process. A program without it stops with "unable to find bundle named
// BatteryCore_BatteryCore".
const ResourceBundle& bundle();

// The current language's text for `key`, or `defaultValue`.
std::string text(std::string_view key, std::string_view defaultValue);

// The template for `key` with the values put in. A translation whose
// placeholders do not fit the values falls back to the English default (and
// says so once on stderr).
std::string format(std::string_view key, std::string_view defaultTemplate,
                   std::initializer_list<TemplateArg> args);
// The same for values gathered at run time.
std::string formatValues(std::string_view key, std::string_view defaultTemplate,
                         std::span<const TemplateArg> args);

// The same two look-ups in a given bundle and locale, for tests and tools.
std::string textIn(const ResourceBundle& bundle, const icu::Locale& locale, std::string_view key,
                   std::string_view defaultValue);
std::string formatIn(const ResourceBundle& bundle, const icu::Locale& locale, std::string_view key,
                     std::string_view defaultTemplate, std::span<const TemplateArg> args);

// "<baseKey>.simple" or "<baseKey>.technical".
std::string levelKey(std::string_view baseKey, DetailLevel level);
// The level's text of a pair of keys that differ only in their last segment:
// leveled("energy.footer", level, ...) reads energy.footer.simple or
// energy.footer.technical.
std::string leveled(std::string_view baseKey, DetailLevel level, std::string_view simpleDefault,
                    std::string_view technicalDefault);
std::string leveled(std::string_view baseKey, DetailLevel level, std::string_view simpleDefault,
                    std::string_view technicalDefault, std::initializer_list<TemplateArg> args);

// Sentences joined into one detail: absent and empty pieces are dropped, the
// rest joined with one space, except after "。" or "）", which end a sentence
// themselves. No pieces give the empty string.
std::string join(std::initializer_list<std::optional<std::string>> pieces);
std::string join(std::span<const std::optional<std::string>> pieces);

// A light-hearted second sentence is only for the simple wording, and only
// while the Mac is cool enough that nothing needs the person's attention.
constexpr bool jokeAllowed(DetailLevel level, ThermalLevel thermal) {
  return level == DetailLevel::simple && (thermal == ThermalLevel::nominal || thermal == ThermalLevel::fair);
}
// `plain` followed by its ".joke" companion where jokeAllowed; `joke` is only
// looked up when it will be shown.
template <class JokeText>
std::string withJoke(std::string plain, DetailLevel level, ThermalLevel thermal, JokeText&& joke) {
  if (!jokeAllowed(level, thermal)) return plain;
  return join({std::move(plain), std::optional<std::string>(std::forward<JokeText>(joke)())});
}

// How warm the Mac is and whether that wears the battery.
Line thermal(ThermalLevel level, bool pluggedIn, DetailLevel detailLevel);

namespace Compat {
std::string oldMacOS();
std::string noLimit();
std::string intel();
}  // namespace Compat

}  // namespace batterycore::Meaning
