#include "tools/kestrin/TextsCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/Template.hpp"

#include <CLI/CLI.hpp>
#include <unicode/locid.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <string_view>
#include <vector>

namespace kestrin::tool {

namespace {

using batterycore::DetailLevel;
using batterycore::ResourceBundle;

// The other wording's last segment, whose keys a --level listing leaves out.
std::optional<std::string> hiddenSuffix(std::string_view level) {
  const auto chosen = batterycore::detailLevelFromRaw(level);
  if (!chosen) return std::nullopt;
  const auto other = *chosen == DetailLevel::simple ? DetailLevel::technical : DetailLevel::simple;
  return "." + std::string(batterycore::detailLevelRaw(other));
}

// One line per text, so a line break inside a text is shown as "\n".
std::string oneLine(std::string text) {
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.replace(at, 1, "\\n");
  }
  return text;
}

std::string shown(const std::string& text) { return oneLine(batterycore::renderPositionMarks(text).value_or(text)); }

struct Entry {
  std::string key;
  std::string text;
  bool translated = false;
};

}  // namespace

CLI::App* addTextsCommand(CLI::App& app, TextsOptions& options) {
  auto* command = app.add_subcommand("texts", "List the catalogue's texts as a language reads them");
  command->add_option("--locale", options.locale, "An ICU locale for the texts, such as de_DE");
  command->add_option("--level", options.level, "Show only this wording of texts that have two")
      ->check(CLI::IsMember({"simple", "technical"}));
  command->add_option("prefix", options.prefix, "Only keys that start with this, such as thermal.");
  return command;
}

int runTextsCommand(const TextsOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const icu::Locale& locale = icu::Locale::getDefault();
  const ResourceBundle& bundle = batterycore::Meaning::bundle();
  const ResourceBundle::Table* english = bundle.table("en");
  if (english == nullptr) {
    err << "kestrin: the catalogue at " << bundle.path().string() << " has no English table\n";
    return 1;
  }
  const auto language = bundle.languageFor(locale);
  const ResourceBundle::Table* table = language ? bundle.table(*language) : nullptr;
  const auto hidden = hiddenSuffix(options.level);

  std::vector<Entry> entries;
  std::size_t width = 0;
  for (const auto& [key, englishText] : *english) {
    if (!key.starts_with(options.prefix)) continue;
    if (hidden && key.ends_with(*hidden)) continue;
    // Marked only where another language was looked for and not found.
    Entry entry{key, (table != nullptr ? "[en] " : "") + shown(englishText), false};
    if (table != nullptr) {
      if (const auto found = table->find(key); found != table->end()) {
        entry.translated = true;
        const bool fits = batterycore::placeholderSignature(found->second).has_value() &&
                          batterycore::placeholderSignature(found->second) ==
                              batterycore::placeholderSignature(englishText);
        entry.text = fits ? shown(found->second) : "[does not fit] " + oneLine(found->second);
      }
    }
    width = std::max(width, key.size());
    entries.push_back(std::move(entry));
  }
  if (entries.empty()) {
    err << "kestrin: no text key starts with \"" << options.prefix << "\"\n";
    return 1;
  }
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });

  const auto translated = std::count_if(entries.begin(), entries.end(), [](const Entry& e) { return e.translated; });
  out << "# " << locale.getName();
  if (language) {
    out << " reads " << *language << ".json: " << translated << " of " << entries.size() << " texts"
        << (*language == "en" ? "" : " translated") << "\n";
  } else {
    out << " has no table: every text is the English default\n";
  }
  for (const auto& entry : entries) {
    out << entry.key << std::string(width - entry.key.size() + 2, ' ') << entry.text << "\n";
  }
  return 0;
}

}  // namespace kestrin::tool
