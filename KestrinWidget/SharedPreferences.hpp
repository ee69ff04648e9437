// SharedPreferences: the application group's small key-value store, which the
// application, the widget and the control all see.
//
//   preferences.setDictionary("control.request", {{"on", false}, {"at", 1767225600.5}});
//   preferences.dictionary("control.request")      // the same two entries
//   preferences.dictionary("never.written")        // absent
//
// A key holds raw bytes or a dictionary of booleans, integers, doubles and
// texts, as the system's preferences do. Each key has a single writer (the
// application or the control), so no two processes ever race on one.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kestrin::widget {

using PreferenceValue = std::variant<bool, std::int64_t, double, std::string>;
using PreferenceDictionary = std::map<std::string, PreferenceValue, std::less<>>;

// The entry under `key` when it holds a T; null otherwise.
template <class T>
const T* entry(const PreferenceDictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : std::get_if<T>(&found->second);
}

// A number, whether the writer stored an integer or a double (seconds since
// 1970 come either way).
inline std::optional<double> number(const PreferenceDictionary& dictionary, std::string_view key) {
  if (const auto* d = entry<double>(dictionary, key)) return *d;
  if (const auto* i = entry<std::int64_t>(dictionary, key)) return static_cast<double>(*i);
  return std::nullopt;
}

class SharedPreferences {
 public:
  virtual ~SharedPreferences() = default;

  // The bytes under `key`; absent when there are none.
  virtual std::optional<std::string> data(std::string_view key) const = 0;
  // False when the value could not be stored.
  virtual bool setData(std::string_view key, std::string_view bytes) = 0;

  // The dictionary under `key`; absent when there is none or the value is
  // not a dictionary.
  virtual std::optional<PreferenceDictionary> dictionary(std::string_view key) const = 0;
  virtual bool setDictionary(std::string_view key, const PreferenceDictionary& dictionary) = 0;
};

}  // namespace kestrin::widget
