#include "BatteryCore/text/Meaning.hpp"

#include <iostream>
#include <mutex>
#include <set>
#include <vector>

namespace batterycore::Meaning {

namespace {

// A translation that does not fit its values is a translator's slip, not the
// user's problem: the English text is shown and the slip is told once per key,
// so a text shown on every tick does not flood the log.
void reportMisfit(std::string_view key, const icu::Locale& locale, std::string_view what) {
  static std::mutex mutex;
  static std::set<std::string, std::less<>> told;
  {
    const std::lock_guard lock(mutex);
    if (told.contains(key)) return;
    told.emplace(key);
  }
  std::cerr << "kestrin: the " << locale.getName() << " " << what << " for \"" << key
            << "\" does not fit its values; showing the English text\n";
}

std::string render(const ResourceBundle& bundle, const icu::Locale& locale, std::string_view key,
                   std::string_view defaultTemplate, std::span<const TemplateArg> args) {
  if (const auto translated = bundle.lookup(key, locale)) {
    if (auto rendered = renderTemplate(*translated, args)) return std::move(*rendered);
    reportMisfit(key, locale, "text");
  }
  if (auto rendered = renderTemplate(defaultTemplate, args)) return std::move(*rendered);
  // A default written without "%%" for a plain percent sign reads as it stands;
  // a default that does not fit is a programming slip worth telling too.
  if (!args.empty()) reportMisfit(key, locale, "default text");
  return std::string(defaultTemplate);
}

constexpr std::string_view kIdeographicFullStop = "\u3002";
constexpr std::string_view kFullwidthRightParenthesis = "\uFF09";

}  // namespace

std::string textIn(const ResourceBundle& bundle, const icu::Locale& locale, std::string_view key,
                   std::string_view defaultValue) {
  return render(bundle, locale, key, defaultValue, {});
}

std::string formatIn(const ResourceBundle& bundle, const icu::Locale& locale, std::string_view key,
                     std::string_view defaultTemplate, std::span<const TemplateArg> args) {
  return render(bundle, locale, key, defaultTemplate, args);
}

std::string text(std::string_view key, std::string_view defaultValue) {
  return render(bundle(), icu::Locale::getDefault(), key, defaultValue, {});
}

std::string format(std::string_view key, std::string_view defaultTemplate,
                   std::initializer_list<TemplateArg> args) {
  return render(bundle(), icu::Locale::getDefault(), key, defaultTemplate,
                std::span<const TemplateArg>(args.begin(), args.size()));
}

std::string formatValues(std::string_view key, std::string_view defaultTemplate,
                         std::span<const TemplateArg> args) {
  return render(bundle(), icu::Locale::getDefault(), key, defaultTemplate, args);
}

std::string levelKey(std::string_view baseKey, DetailLevel level) {
  std::string key(baseKey);
  key += '.';
  key += detailLevelRaw(level);
  return key;
}

std::string leveled(std::string_view baseKey, DetailLevel level, std::string_view simpleDefault,
                    std::string_view technicalDefault) {
  return text(levelKey(baseKey, level), level == DetailLevel::technical ? technicalDefault : simpleDefault);
}

std::string leveled(std::string_view baseKey, DetailLevel level, std::string_view simpleDefault,
                    std::string_view technicalDefault, std::initializer_list<TemplateArg> args) {
  return formatValues(levelKey(baseKey, level),
                      level == DetailLevel::technical ? technicalDefault : simpleDefault,
                      std::span<const TemplateArg>(args.begin(), args.size()));
}

std::string join(std::span<const std::optional<std::string>> pieces) {
  std::string joined;
  for (const auto& piece : pieces) {
    if (!piece || piece->empty()) continue;
    if (!joined.empty() && !joined.ends_with(kIdeographicFullStop) &&
        !joined.ends_with(kFullwidthRightParenthesis)) {
      joined += ' ';
    }
    joined += *piece;
  }
  return joined;
}

std::string join(std::initializer_list<std::optional<std::string>> pieces) {
  return join(std::span<const std::optional<std::string>>(pieces.begin(), pieces.size()));
}

}  // namespace batterycore::Meaning
