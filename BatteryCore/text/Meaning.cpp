#include "BatteryCore/text/Meaning.hpp"

#include <vector>

namespace batterycore::Meaning {

std::string text(std::string_view key, std::string_view defaultValue) {
  (void)key;
  return std::string(defaultValue);
}

std::string format(std::string_view key, std::string_view defaultTemplate,
                   std::initializer_list<TemplateArg> args) {
  const std::vector<TemplateArg> values(args);
  if (auto rendered = renderTemplate(text(key, defaultTemplate), values)) return *rendered;
  if (auto rendered = renderTemplate(defaultTemplate, values)) return *rendered;
  return std::string(defaultTemplate);
}

}  // namespace batterycore::Meaning
