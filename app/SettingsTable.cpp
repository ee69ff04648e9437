#include "app/SettingsTable.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/text/MeaningAlerts.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"

#include <unicode/locid.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace kestrin::app {

namespace {

using batterycore::AlertPolicy;
using batterycore::BatteryAlert;
using batterycore::DetailLevel;
using Line = batterycore::Meaning::Line;
namespace Meaning = batterycore::Meaning;

constexpr std::string_view kDefault = "default";
constexpr std::string_view kNone = "none";
constexpr int kFewestHours = 1;
constexpr int kMostHours = 24;

std::string onOff(bool on) { return on ? "on" : "off"; }

std::optional<bool> parseOnOff(std::string_view text) {
  if (text == "on" || text == "true") return true;
  if (text == "off" || text == "false") return false;
  return std::nullopt;
}

// Digits only: no sign, no spaces, no unit.
std::optional<long long> parseWhole(std::string_view text) {
  if (text.empty() || !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return std::nullopt;
  }
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string_view trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

// "trip, flight,,Reise" -> {"trip", "flight", "Reise"}; a word given twice
// counts once.
std::vector<std::string> keywordList(std::string_view text) {
  std::vector<std::string> words;
  if (trimmed(text) == kNone) return words;
  while (true) {
    const auto comma = text.find(',');
    const auto word = trimmed(text.substr(0, comma));
    if (!word.empty() && std::find(words.begin(), words.end(), word) == words.end()) words.emplace_back(word);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  return words;
}

std::string keywordText(const std::vector<std::string>& words) {
  if (words.empty()) return std::string(kNone);
  std::string text;
  for (const auto& word : words) {
    if (!text.empty()) text += ", ";
    text += word;
  }
  return text;
}

// A full charge must end some way, or the limit would never come back.
bool endsSomehow(const FullChargeOptions& options) {
  return options.untilUnplug || options.whenFull || options.hours.has_value();
}

// An on/off row over the member `access` picks out (const or not). For the
// ends of a full charge, `offNeeds` says when "off" is allowed.
template <class Access>
SettingRow switchRow(std::string key, Access access, std::function<Line()> describe,
                     std::string offNeeds = {}) {
  SettingRow row;
  row.key = std::move(key);
  row.show = [access](const Settings& settings) { return onOff(access(settings)); };
  row.assign = [access, offNeeds](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const auto on = parseOnOff(text);
    if (!on) return offNeeds.empty() ? "on or off" : "on, or off " + offNeeds;
    Settings next = settings;
    access(next) = *on;
    if (!offNeeds.empty() && !endsSomehow(next.fullCharge)) return "on, or off " + offNeeds;
    settings = std::move(next);
    return std::nullopt;
  };
  row.describe = std::move(describe);
  return row;
}

SettingRow levelRow() {
  SettingRow row;
  row.key = "level";
  row.show = [](const Settings& settings) { return std::string(batterycore::detailLevelRaw(settings.level)); };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const auto level = batterycore::detailLevelFromRaw(text);
    if (!level) return "simple or technical";
    settings.level = *level;
    return std::nullopt;
  };
  row.describe = [] {
    return Line{Meaning::text("settings.detailLevel", "Explanations"),
                Meaning::text("settings.detailFooter",
                              "Changes every explanation, alert and widget line. You can switch any time.")};
  };
  return row;
}

SettingRow alertRow(BatteryAlert::Kind kind) {
  SettingRow row;
  row.key = "alert." + std::string(BatteryAlert::rawValue(kind));
  row.show = [kind](const Settings& settings) { return onOff(settings.alertEnabled(kind)); };
  row.assign = [kind](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const auto on = parseOnOff(text);
    if (!on) return "on or off";
    settings.alerts[kind] = *on;
    return std::nullopt;
  };
  // Forgetting the choice lets the switch follow its kind's default.
  row.reset = [kind](Settings& settings) { settings.alerts.erase(kind); };
  row.describe = [kind] { return Meaning::alertSetting(kind); };
  return row;
}

// The three ends of a full charge share the settings' heading.
Line fullChargeLine(std::string detail) {
  return {Meaning::text("settings.fullCharge.header", "After \"Charge to 100%% once\", put the limit back on"),
          std::move(detail)};
}

SettingRow hoursRow() {
  SettingRow row;
  row.key = "fullCharge.hours";
  row.show = [](const Settings& settings) {
    const auto hours = settings.fullCharge.hours;
    return hours ? std::to_string(*hours) : std::string(kNone);
  };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const std::string range =
        "a whole number of hours from " + std::to_string(kFewestHours) + " to " + std::to_string(kMostHours);
    if (text == kNone) {
      Settings next = settings;
      next.fullCharge.hours.reset();
      if (!endsSomehow(next.fullCharge)) {
        return range + "; none only while fullCharge.untilUnplug or fullCharge.whenFull is on";
      }
      settings = std::move(next);
      return std::nullopt;
    }
    const auto hours = parseWhole(text);
    if (!hours || *hours < kFewestHours || *hours > kMostHours) return range + ", or none";
    settings.fullCharge.hours = static_cast<int>(*hours);
    return std::nullopt;
  };
  row.describe = [] {
    return fullChargeLine(Meaning::text("fullCharge.afterHours", "After a number of hours"));
  };
  return row;
}

SettingRow intervalRow() {
  SettingRow row;
  row.key = "interval";
  row.show = [](const Settings& settings) { return std::to_string(settings.interval.count()); };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const auto seconds = parseWhole(text);
    if (!seconds || *seconds < Settings::kShortestInterval.count() || *seconds > Settings::kLongestInterval.count()) {
      return "a whole number of seconds from " + std::to_string(Settings::kShortestInterval.count()) + " to " +
             std::to_string(Settings::kLongestInterval.count());
    }
    settings.interval = std::chrono::seconds{*seconds};
    return std::nullopt;
  };
  row.describe = [] {
    return Line{Meaning::text("settings.interval", "Tick interval"),
                Meaning::format("settings.intervalDetail", "How often, in seconds, %@ reads the battery.",
                                {batterycore::AppInfo::name})};
  };
  return row;
}

SettingRow localeRow() {
  SettingRow row;
  row.key = "locale";
  row.show = [](const Settings& settings) { return settings.locale.value_or(std::string(kNone)); };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    if (text == kNone) {
      settings.locale.reset();
      return std::nullopt;
    }
    auto name = knownLocaleName(text);
    if (!name) return "a locale ICU knows, such as de_DE, en_GB or ja, or none";
    settings.locale = std::move(*name);
    return std::nullopt;
  };
  row.describe = [] {
    return Line{Meaning::text("settings.locale", "Language"),
                Meaning::text("settings.localeDetail",
                              "The language of every text, and how numbers and dates are written. Without one, "
                              "the system's language is used.")};
  };
  return row;
}

SettingRow keywordsRow() {
  SettingRow row;
  row.key = "calendar.keywords";
  row.show = [](const Settings& settings) { return keywordText(settings.calendarKeywords); };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    settings.calendarKeywords = keywordList(text);
    return std::nullopt;
  };
  row.describe = [] {
    return Line{Meaning::text("settings.calendar.keywords", "Trip keywords"),
                Meaning::text("settings.calendar.keywordsHelp",
                              "An event whose title contains one of these words counts as a trip. Separate them "
                              "with commas.")};
  };
  row.remark = [](const Settings& settings) -> std::optional<std::string> {
    if (!settings.calendarKeywords.empty()) return std::nullopt;
    return Meaning::text("settings.calendar.nothingCounts", "With no keywords, nothing counts as a trip.");
  };
  return row;
}

SettingRow calendarPathRow() {
  SettingRow row;
  row.key = "calendar.path";
  row.show = [](const Settings& settings) { return settings.calendarPath.value_or(std::string(kNone)); };
  row.assign = [](Settings& settings, std::string_view text) -> SettingRow::Refusal {
    const auto path = trimmed(text);
    if (path == kNone) {
      settings.calendarPath.reset();
      return std::nullopt;
    }
    // The service does not run in the folder the person typed this in.
    if (!path.starts_with('/')) return "the absolute path of an .ics file or of a folder of them, or none";
    settings.calendarPath = std::string(path);
    return std::nullopt;
  };
  row.describe = [] {
    return Line{Meaning::text("settings.calendar.path", "Calendar files"),
                Meaning::text("settings.calendar.pathDetail",
                              "Where your calendars are kept: one .ics file, or a folder of them, subfolders "
                              "included. Without one, no calendar is read.")};
  };
  return row;
}

}  // namespace

std::string SettingRow::explanation() const {
  const auto line = describe();
  return Meaning::format("settings.titleAndDetail", "%@: %@", {line.title, line.detail});
}

std::vector<SettingRow> settingRows() {
  std::vector<SettingRow> rows;
  rows.push_back(levelRow());
  for (const auto kind : BatteryAlert::allCases) {
    if (AlertPolicy::notifies(kind)) rows.push_back(alertRow(kind));
  }
  rows.push_back(switchRow(
      "smartTopUp", [](auto& settings) -> auto& { return settings.smartTopUp; },
      [] { return Line{Meaning::Smart::toggle(), Meaning::Smart::toggleDetail()}; }));
  rows.push_back(switchRow(
      "fullCharge.untilUnplug", [](auto& settings) -> auto& { return settings.fullCharge.untilUnplug; },
      [] { return fullChargeLine(Meaning::text("fullCharge.whenUnplugged", "When I unplug")); },
      "while fullCharge.whenFull is on or fullCharge.hours is set"));
  rows.push_back(switchRow(
      "fullCharge.whenFull", [](auto& settings) -> auto& { return settings.fullCharge.whenFull; },
      [] { return fullChargeLine(Meaning::text("fullCharge.whenFull", "When it's full")); },
      "while fullCharge.untilUnplug is on or fullCharge.hours is set"));
  rows.push_back(hoursRow());
  rows.push_back(intervalRow());
  rows.push_back(localeRow());
  rows.push_back(switchRow(
      "keepLimitOn", [](auto& settings) -> auto& { return settings.keepLimitOn; },
      [] {
        return Line{Meaning::text("settings.keepLimitOn", "Keep the limit on"),
                    Meaning::format("settings.keepLimitOnDetail",
                                    "When the limit was dropped across a wake or a restart, %@ switches it back "
                                    "on. Off at first.",
                                    {batterycore::AppInfo::name})};
      }));
  rows.push_back(switchRow(
      "calendar.fullCharge", [](auto& settings) -> auto& { return settings.calendarFullCharge; },
      [] {
        return Line{Meaning::text("settings.calendar.title", "Charge to 100%% for trips in my calendar"),
                    Meaning::text("settings.calendar.detail",
                                  "Charges to 100%% the evening before an event that looks like a trip. Your "
                                  "calendar is only read on this Mac.")};
      }));
  rows.push_back(switchRow(
      "calendar.allDay", [](auto& settings) -> auto& { return settings.calendarAllDay; },
      [] {
        return Line{Meaning::text("settings.calendar.allDay", "Include all-day events"),
                    Meaning::text("settings.calendar.allDayDetail", "Trips often show up as all-day events.")};
      }));
  rows.push_back(keywordsRow());
  rows.push_back(calendarPathRow());
  return rows;
}

std::optional<SettingRow> findSetting(std::string_view key) {
  for (auto& row : settingRows()) {
    if (row.key == key) return std::move(row);
  }
  return std::nullopt;
}

SettingRow::Refusal applySetting(Settings& settings, const SettingRow& row, std::string_view text) {
  if (text != kDefault) return row.assign(settings, text);
  if (row.reset) {
    row.reset(settings);
    return std::nullopt;
  }
  return row.assign(settings, row.show(Settings{}));
}

std::optional<std::string> knownLocaleName(std::string_view name) {
  const std::string text(trimmed(name));
  if (text.empty()) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale = text.find('-') != std::string::npos
                                 ? icu::Locale::forLanguageTag(text, status)
                                 : icu::Locale::createCanonical(text.c_str());
  if (U_FAILURE(status) || locale.isBogus() || *locale.getLanguage() == '\0') return std::nullopt;
  // ICU takes any well-formed name; only one its data has is a language we
  // can show texts, numbers and dates in.
  int32_t count = 0;
  const icu::Locale* available = icu::Locale::getAvailableLocales(count);
  const auto same = [](const char* a, const char* b) { return std::strcmp(a, b) == 0; };
  for (int32_t i = 0; i < count; ++i) {
    const icu::Locale& known = available[i];
    if (!same(known.getLanguage(), locale.getLanguage())) continue;
    if (*locale.getCountry() != '\0' && !same(known.getCountry(), locale.getCountry())) continue;
    if (*locale.getScript() != '\0' && *known.getScript() != '\0' && !same(known.getScript(), locale.getScript())) {
      continue;
    }
    return std::string(locale.getName());
  }
  return std::nullopt;
}

}  // namespace kestrin::app
