#include "tools/kestrin/SettingsCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "app/Settings.hpp"
#include "app/SettingsTable.hpp"
#include "app/StateStore.hpp"
#include "app/live/ICalendarFiles.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <system_error>

namespace kestrin::tool {

namespace {

namespace fs = std::filesystem;
using app::Settings;
using app::SettingRow;
namespace Meaning = batterycore::Meaning;

constexpr std::string_view kFileName = "settings";
// Longer values (the calendar keywords) stick out rather than push every
// other row's default far to the right.
constexpr std::size_t kWidestAlignedValue = 12;

// The settings as stored, without moving a damaged file aside: absent when
// there is no readable file.
std::optional<Settings> peek(const fs::path& file) {
  const auto text = widget::readWholeFile(file);
  if (!text) return std::nullopt;
  try {
    return batterycore::decode<Settings>(batterycore::Json::parse(*text));
  } catch (const batterycore::Json::exception&) {
  } catch (const batterycore::DecodingError&) {
  }
  return std::nullopt;
}


// Each row: key, value and default in aligned columns, and below it what the
// setting does.
void print(const std::vector<SettingRow>& rows, const Settings& settings, std::ostream& out) {
  std::size_t keyWidth = 0;
  std::size_t valueWidth = 0;
  for (const auto& row : rows) {
    keyWidth = std::max(keyWidth, displayWidth(row.key));
    const auto value = displayWidth(row.show(settings));
    if (value <= kWidestAlignedValue) valueWidth = std::max(valueWidth, value);
  }
  const Settings defaults;
  for (const auto& row : rows) {
    out << padRight(row.key, keyWidth) << "  " << padRight(row.show(settings), valueWidth) << "  "
        << Meaning::format("settings.default", "default %@", {row.show(defaults)}) << "\n    "
        << row.explanation() << "\n";
  }
}

// Whether the file now holds `settings` (a store that could not move a
// damaged file aside declines to write over it).
bool holds(const fs::path& file, const Settings& settings) {
  const auto stored = peek(file);
  return stored && *stored == settings;
}

// The stored language when --locale gave none; a stored name ICU cannot use
// is said once and the process's language kept.
void useStoredLocale(const std::string& chosen, const Settings& settings, std::ostream& err) {
  if (chosen.empty() && settings.locale) (void)useLocale(*settings.locale, err, "the locale setting");
}

// Why the calendar files just named cannot be read; a folder with no
// calendar in it yet is fine, one that is not there is a typing mistake.
std::optional<std::string> calendarProblem(const SettingRow& row, const Settings& settings) {
  if (row.key != "calendar.path" || !settings.calendarPath) return std::nullopt;
  const fs::path path(*settings.calendarPath);
  std::error_code error;
  if (fs::is_directory(path, error)) return std::nullopt;
  const auto calendar = batterycore::Calendar::gregorian(systemTimeZone());
  const auto now = std::chrono::time_point_cast<batterycore::Seconds>(std::chrono::system_clock::now());
  const auto reading = app::live::readCalendarEvents(path, now, calendar.addingDays(now, 1), calendar);
  if (reading.errors.empty()) return std::nullopt;
  return singleLine(reading.errors.front());
}

int set(const SettingRow& row, const std::string& value, const fs::path& folder, const std::string& locale,
        std::ostream& out, std::ostream& err) {
  const fs::path file = folder / (std::string(kFileName) + ".json");
  // Checked against the file as it is before anything is touched, so a
  // refused value leaves even a damaged file where it was.
  Settings checked = peek(file).value_or(Settings{});
  if (const auto refusal = app::applySetting(checked, row, value)) {
    err << "kestrin: " << row.key << ": " << *refusal << "\n";
    return 1;
  }
  if (const auto problem = calendarProblem(row, checked)) {
    err << "kestrin: " << row.key << ": " << *problem << "\n";
    return 1;
  }
  try {
    app::StateStore store(folder);
    auto settings = store.load<Settings>(kFileName, Settings{});
    if (const auto refusal = app::applySetting(settings, row, value)) {
      err << "kestrin: " << row.key << ": " << *refusal << "\n";
      return 1;
    }
    const bool wrote = store.save(kFileName, settings);
    if (!wrote && !holds(file, settings)) {
      err << "kestrin: " << file.string() << " was left as it was; the setting is not stored\n";
      return 1;
    }
    useStoredLocale(locale, settings, err);
    print({row}, settings, out);
    if (row.remark) {
      if (const auto remark = row.remark(settings)) out << *remark << "\n";
    }
    if (wrote) widget::AppGroup::open().notifications->post(widget::ControlRequest::notification);
    return 0;
  } catch (const std::system_error& error) {  // filesystem errors too
    err << "kestrin: " << error.what() << "\n";
    return 1;
  }
}

}  // namespace

int runSettings(const SettingsOptions& options, std::ostream& out, std::ostream& err) {
  const auto folder = stateFolderOrDefault(options.stateFolder);
  if (!folder) {
    err << "kestrin: no folder for the states; give --state DIR\n";
    return 1;
  }
  if (!useLocale(options.locale, err)) return 2;
  if (!checkFolderOption(*folder, "--state", err)) return 1;
  std::vector<SettingRow> rows;
  if (options.key.empty()) {
    rows = app::settingRows();
  } else if (auto row = app::findSetting(options.key)) {
    rows.push_back(std::move(*row));
  } else {
    err << "kestrin: " << options.key << ": no such setting; \"kestrin settings\" lists them all\n";
    return 1;
  }

  if (!options.value.empty()) {
    std::string value;
    for (const auto& word : options.value) value += (value.empty() ? "" : " ") + word;
    return set(rows.front(), value, *folder, options.locale, out, err);
  }

  // Only looking: a folder that is not there yet is not made, the settings
  // are the defaults, and a damaged file is said and left where it is.
  Settings settings;
  const fs::path file = *folder / (std::string(kFileName) + ".json");
  if (std::error_code missing; fs::exists(file, missing)) {
    auto stored = decodeJsonFile(file, err, [](const batterycore::Json& json) {
      return batterycore::decode<Settings>(json);
    });
    if (!stored) return 1;
    settings = std::move(*stored);
  }
  useStoredLocale(options.locale, settings, err);
  print(rows, settings, out);
  return 0;
}

bool SettingsCommand::chosen() const { return command != nullptr && command->parsed(); }

int SettingsCommand::run(std::ostream& out, std::ostream& err) const { return runSettings(*options, out, err); }

SettingsCommand addSettingsCommand(CLI::App& app) {
  auto options = std::make_shared<SettingsOptions>();
  auto* command = app.add_subcommand("settings", "List the settings, or show or change one");
  command->add_option("key", options->key, "A setting's key, such as interval or alert.hot");
  command->add_option("value", options->value, "The new value (\"default\" for the default)");
  command->add_option("--state", options->stateFolder,
                      "Folder of the states (default $XDG_STATE_HOME/kestrin/state)");
  command->add_option("--locale", options->locale, "An ICU locale for the texts, such as de_DE");
  return {command, std::move(options)};
}

}  // namespace kestrin::tool
