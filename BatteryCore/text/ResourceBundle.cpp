#include "BatteryCore/text/ResourceBundle.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <system_error>

namespace batterycore {

namespace {

// "pt-BR" and "pt_BR" name the same table; ICU spells locales with "_".
std::string tableName(std::string name) {
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

// Reads one language table; absent (with the reason in `problems`) when the
// file is not a JSON object.
std::optional<ResourceBundle::Table> readTable(const std::filesystem::path& file,
                                               std::vector<std::string>& problems) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    problems.push_back(file.filename().string() + ": cannot be read");
    return std::nullopt;
  }
  nlohmann::json json;
  try {
    json = nlohmann::json::parse(stream);
  } catch (const nlohmann::json::exception& error) {
    problems.push_back(file.filename().string() + ": not JSON: " + error.what());
    return std::nullopt;
  }
  if (!json.is_object()) {
    problems.push_back(file.filename().string() + ": not a JSON object");
    return std::nullopt;
  }
  ResourceBundle::Table table;
  table.reserve(json.size());
  for (auto& [key, value] : json.items()) {
    if (!value.is_string()) {
      problems.push_back(file.filename().string() + ": \"" + key + "\" is not text");
      continue;
    }
    table.emplace(key, value.get<std::string>());
  }
  return table;
}

}  // namespace

std::optional<ResourceBundle> ResourceBundle::open(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
  ResourceBundle bundle;
  bundle.path_ = folder;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    auto entry = std::make_unique<Entry>();
    entry->file = file;
    bundle.tables_.insert_or_assign(tableName(file.stem().string()), std::move(entry));
  }
  return bundle;
}

ResourceBundle ResourceBundle::fromTables(Tables tables) {
  ResourceBundle bundle;
  for (auto& [name, table] : tables) {
    auto entry = std::make_unique<Entry>();
    entry->table = std::move(table);
    bundle.tables_.insert_or_assign(tableName(name), std::move(entry));
  }
  return bundle;
}

const ResourceBundle::Table* ResourceBundle::loaded(const Entry& entry) const {
  if (!entry.file.empty()) {
    // Read once, whichever thread asks first; the others wait for it.
    auto& writable = const_cast<Entry&>(entry);
    std::call_once(writable.once, [this, &writable] {
      writable.table = readTable(writable.file, writable.problems);
      if (report_) {
        for (const auto& problem : writable.problems) report_(problem);
      }
    });
  }
  return entry.table ? &*entry.table : nullptr;
}

std::vector<std::string> ResourceBundle::problems() const {
  std::vector<std::string> all;
  for (const auto& [name, entry] : tables_) {
    (void)loaded(*entry);
    all.insert(all.end(), entry->problems.begin(), entry->problems.end());
  }
  return all;
}

std::optional<ResourceBundle> ResourceBundle::find(std::span<const std::filesystem::path> folders) {
  for (const auto& folder : folders) {
    if (auto bundle = open(folder / kName)) return bundle;
  }
  return std::nullopt;
}

ResourceBundle ResourceBundle::findOrStop(std::span<const std::filesystem::path> folders) {
  auto bundle = find(folders);
  if (!bundle) {
    std::cerr << kFatalMessage << std::endl;
    std::abort();
  }
  return std::move(*bundle);
}

std::vector<std::string> ResourceBundle::languages() const {
  std::vector<std::string> names;
  names.reserve(tables_.size());
  for (const auto& [name, entry] : tables_) {
    if (loaded(*entry)) names.push_back(name);
  }
  return names;
}

const ResourceBundle::Table* ResourceBundle::table(std::string_view language) const {
  const auto found = tables_.find(language);
  return found == tables_.end() ? nullptr : loaded(*found->second);
}

const ResourceBundle::Table* ResourceBundle::tableFor(const icu::Locale& locale,
                                                      const std::string** name) const {
  const std::string_view language = locale.getLanguage();
  if (language.empty()) return nullptr;
  const std::string_view script = locale.getScript();
  const std::string_view region = locale.getCountry();
  // Most specific first. Short enough to stay in std::string's own buffer, so
  // picking a table allocates nothing.
  std::string candidate;
  auto tryName = [&](std::string_view a, std::string_view b, std::string_view c) -> const Table* {
    candidate.assign(a);
    for (const std::string_view part : {b, c}) {
      if (part.empty()) continue;
      candidate += '_';
      candidate += part;
    }
    const auto found = tables_.find(candidate);
    if (found == tables_.end()) return nullptr;
    const Table* table = loaded(*found->second);
    if (table && name) *name = &found->first;
    return table;
  };
  if (!script.empty() && !region.empty()) {
    if (const auto* found = tryName(language, script, region)) return found;
  }
  if (!script.empty()) {
    if (const auto* found = tryName(language, script, {})) return found;
  }
  if (!region.empty()) {
    if (const auto* found = tryName(language, region, {})) return found;
  }
  return tryName(language, {}, {});
}

std::optional<std::string> ResourceBundle::languageFor(const icu::Locale& locale) const {
  const std::string* name = nullptr;
  if (!tableFor(locale, &name)) return std::nullopt;
  return *name;
}

std::optional<std::string_view> ResourceBundle::lookup(std::string_view key, const icu::Locale& locale) const {
  const Table* table = tableFor(locale, nullptr);
  if (!table) return std::nullopt;
  const auto found = table->find(key);
  if (found == table->end()) return std::nullopt;
  return std::string_view(found->second);
}

}  // namespace batterycore
