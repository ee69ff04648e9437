// Meaning: the catalogue of every sentence a person sees.
//
//   Meaning::text("smart.header", "Before you usually leave")
//   Meaning::format("flow.battery", "Battery %@", {Formatting::watts(4.26)})   // "Battery 4.3 W"
//
// Each text is looked up by its dotted key in the current language's table,
// falling back to the English default given at the call.
#pragma once

#include "BatteryCore/text/Template.hpp"

#include <initializer_list>
#include <string>
#include <string_view>

namespace batterycore::Meaning {

// The current language's template for `key`, or `defaultValue`.
std::string text(std::string_view key, std::string_view defaultValue);

// The template for `key` with the values put in. A translation whose
// placeholders do not fit the values falls back to the English default.
std::string format(std::string_view key, std::string_view defaultTemplate,
                   std::initializer_list<TemplateArg> args);

namespace Compat {
std::string oldMacOS();
std::string noLimit();
std::string intel();
}  // namespace Compat

}  // namespace batterycore::Meaning
