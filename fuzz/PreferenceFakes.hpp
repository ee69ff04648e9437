// Stand-ins for the group's preferences, notifications and clock, for the
// targets that feed bytes to the readers of the preference dictionaries. The
// preferences keep raw bytes and read a dictionary through
// decodePreferenceDictionary, as the file-backed preferences do, so fuzzed
// bytes reach the real reader.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/SharedPreferencesPosix.hpp"
#include "KestrinWidget/SystemNotifications.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::fuzz {

class BytePreferences final : public widget::SharedPreferences {
 public:
  std::optional<std::string> data(std::string_view key) const override {
    const auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return found->second;
  }
  bool setData(std::string_view key, std::string_view bytes) override {
    values_.insert_or_assign(std::string(key), std::string(bytes));
    return true;
  }
  std::optional<widget::PreferenceDictionary> dictionary(std::string_view key) const override {
    const auto bytes = data(key);
    if (!bytes) return std::nullopt;
    return widget::decodePreferenceDictionary(*bytes);
  }
  bool setDictionary(std::string_view key, const widget::PreferenceDictionary& dictionary) override {
    return setData(key, widget::encodePreferenceDictionary(dictionary));
  }

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

class QuietNotifications final : public widget::SystemNotifications {
 public:
  void post(std::string_view) override {}
  std::unique_ptr<widget::NotificationListener> listen(std::string_view) override { return nullptr; }
};

// Always the same moment; a pause takes no time.
class FixedClock final : public widget::Clock {
 public:
  explicit FixedClock(batterycore::Date at) : at_(at) {}
  batterycore::Date now() const override { return at_; }
  void sleep(batterycore::Seconds) override {}

 private:
  batterycore::Date at_;
};

}  // namespace kestrin::fuzz
