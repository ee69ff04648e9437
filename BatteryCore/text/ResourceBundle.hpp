// ResourceBundle: the text catalogue's translations, one key-to-template table
// per language, read whole when the bundle is opened and never changed after.
//
//   auto bundle = ResourceBundle::fromTables({{"de", {{"smart.header", "Bevor du meist gehst"}}}});
//   bundle.lookup("smart.header", icu::Locale("de", "AT"))   // "Bevor du meist gehst"
//   bundle.lookup("smart.header", icu::Locale("fr", "FR"))   // absent: no French table
//   bundle.languageFor(icu::Locale("de", "AT"))              // "de"
//
// On disk a bundle is the folder "BatteryCore_BatteryCore.bundle" holding one
// flat JSON object per language: en.json, de.json, pt_BR.json ("pt-BR.json"
// is read as pt_BR). A locale picks the most specific table it has: "de_AT"
// looks for de_AT, then de. A table is read the first time a text is looked
// up in it (once, safely from any thread), so a command in English does not
// read the German and Japanese ones; after that a look-up needs no lock.
#pragma once

#include <unicode/locid.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace batterycore {

class ResourceBundle {
 public:
  // Lets a table be searched with a std::string_view without building a string.
  struct KeyHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>{}(key); }
  };
  using Table = std::unordered_map<std::string, std::string, KeyHash, std::equal_to<>>;
  using Tables = std::map<std::string, Table, std::less<>>;

  static constexpr std::string_view kName = "BatteryCore_BatteryCore.bundle";
  static constexpr std::string_view kFatalMessage = "unable to find bundle named BatteryCore_BatteryCore";

  // Reads every <language>.json in `folder`. Absent when `folder` is not a
  // directory. A table that cannot be read, or a value that is not text, is
  // left out and named in problems().
  static std::optional<ResourceBundle> open(const std::filesystem::path& folder);
  // A bundle held in memory, for tests and tools.
  static ResourceBundle fromTables(Tables tables);

  // Opens "BatteryCore_BatteryCore.bundle" in each folder in turn; the first
  // that opens wins.
  static std::optional<ResourceBundle> find(std::span<const std::filesystem::path> folders);
  // The same, but a missing bundle stops the process with kFatalMessage:
  // without its texts the program cannot say anything.
  static ResourceBundle findOrStop(std::span<const std::filesystem::path> folders);

  // The folder the bundle was read from; empty for one held in memory.
  const std::filesystem::path& path() const { return path_; }
  // The names of the tables that read, sorted ("de", "en", "ja"); reads them all.
  std::vector<std::string> languages() const;
  // One language's table; absent (nullptr) when the bundle has none.
  const Table* table(std::string_view language) const;
  // The table a locale reads from: language, script and region first, then
  // language and script, language and region, and the language alone.
  std::optional<std::string> languageFor(const icu::Locale& locale) const;
  // The template for `key` in the locale's table; absent when the locale has
  // no table or its table no entry for the key.
  std::optional<std::string_view> lookup(std::string_view key, const icu::Locale& locale) const;

  // What was left out while reading, one line each; reads every table.
  std::vector<std::string> problems() const;
  // Where each problem goes as a table is read (standard error for the
  // program's own catalogue); set before the first look-up.
  void reportProblemsTo(std::function<void(const std::string&)> report) { report_ = std::move(report); }

 private:
  struct Entry {
    std::filesystem::path file;  // empty: held in memory from the start
    std::once_flag once;
    std::optional<Table> table;  // absent once read: it could not be
    std::vector<std::string> problems;
  };
  const Table* loaded(const Entry& entry) const;
  const Table* tableFor(const icu::Locale& locale, const std::string** name) const;

  std::filesystem::path path_;
  std::map<std::string, std::unique_ptr<Entry>, std::less<>> tables_;
  std::function<void(const std::string&)> report_;
};

// Marks the code module that holds the catalogue. The module's own resource
// folder is found from the file it was loaded from, so a program that links an
// installed library still finds the texts installed beside that library.
class BundleFinder {
 public:
  // <prefix>/share/kestrin for a module loaded from <prefix>/lib (or
  // <prefix>/lib/<arch>); absent when the module's file cannot be told.
  static std::optional<std::filesystem::path> moduleResourceFolder();
};

// Where the catalogue's bundle is looked for, in order: the running program's
// resource folder (<program dir>/../share/kestrin), the catalogue module's
// resource folder, and the program's own folder. Folders that cannot be
// determined are left out.
std::vector<std::filesystem::path> bundleSearchFolders();

}  // namespace batterycore
