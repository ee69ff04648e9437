#include "KestrinWidget/SharedPreferencesPosix.hpp"

#include "BatteryCore/foundation/Json.hpp"
#include "KestrinWidget/Log.hpp"
#include "KestrinWidget/SharedContainer.hpp"

#include <cstdint>
#include <limits>

namespace kestrin::widget {

using batterycore::Json;

std::string encodePreferenceDictionary(const PreferenceDictionary& dictionary) {
  Json object = Json::object();
  for (const auto& entry : dictionary) {
    const std::string& key = entry.first;
    std::visit([&object, &key](const auto& v) { object[key] = v; }, entry.second);
  }
  return object.dump();
}

std::optional<PreferenceDictionary> decodePreferenceDictionary(std::string_view text) {
  const Json object = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!object.is_object()) return std::nullopt;
  PreferenceDictionary dictionary;
  for (const auto& [key, value] : object.items()) {
    if (value.is_boolean()) {
      dictionary.emplace(key, value.get<bool>());
    } else if (value.is_number_integer()) {
      if (value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
      dictionary.emplace(key, value.get<std::int64_t>());
    } else if (value.is_number_float()) {
      dictionary.emplace(key, value.get<double>());
    } else if (value.is_string()) {
      dictionary.emplace(key, value.get<std::string>());
    } else {
      return std::nullopt;
    }
  }
  return dictionary;
}

std::optional<std::filesystem::path> FileSharedPreferences::fileFor(std::string_view key) const {
  // A key is a file name of its own, never a way out of the folder or onto a
  // temporary (which starts with a dot).
  if (key.empty() || key.front() == '.' || key.find('/') != std::string_view::npos ||
      key.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  return folder_ / std::string(key);
}

std::optional<std::string> FileSharedPreferences::data(std::string_view key) const {
  const auto file = fileFor(key);
  if (!file) return std::nullopt;
  auto own = readOwnFile(*file);
  if (!own.refused.empty() && reported_.insert(file->string() + own.refused).second) {
    logNote("ignored " + file->string() + ": it " + own.refused);
  }
  return std::move(own.bytes);
}

bool FileSharedPreferences::setData(std::string_view key, std::string_view bytes) {
  const auto file = fileFor(key);
  // Atomic, like the system's preferences, but not forced to disk on every
  // write: what lives here (the widget's copy, a request, the control's
  // answer) is written again within minutes, and a sync each time would cost
  // the service a wait on the disk at every widget update.
  return file && writeFileAtomically(*file, bytes, /*durable=*/false);
}

std::optional<PreferenceDictionary> FileSharedPreferences::dictionary(std::string_view key) const {
  const auto bytes = data(key);
  if (!bytes) return std::nullopt;
  return decodePreferenceDictionary(*bytes);
}

bool FileSharedPreferences::setDictionary(std::string_view key, const PreferenceDictionary& dictionary) {
  return setData(key, encodePreferenceDictionary(dictionary));
}

}  // namespace kestrin::widget
