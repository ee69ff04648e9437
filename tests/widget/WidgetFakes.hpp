// Stand-ins for the group's preferences, notifications and clock, and a
// throw-away group folder, shared by the widget tests.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/SystemNotifications.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

namespace kestrin::widget::testing {

// 2026-01-01T09:00:00Z.
inline constexpr batterycore::Date kMorning = batterycore::dateFromSecondsSince1970(1767258000.0);

class MemoryPreferences final : public SharedPreferences {
 public:
  std::optional<std::string> data(std::string_view key) const override { return get<std::string>(key); }
  bool setData(std::string_view key, std::string_view bytes) override { return set(key, std::string(bytes)); }
  std::optional<PreferenceDictionary> dictionary(std::string_view key) const override {
    return get<PreferenceDictionary>(key);
  }
  bool setDictionary(std::string_view key, const PreferenceDictionary& value) override { return set(key, value); }

  bool refuseWrites = false;

 private:
  template <class T>
  std::optional<T> get(std::string_view key) const {
    const auto found = values_.find(key);
    const T* value = found == values_.end() ? nullptr : std::get_if<T>(&found->second);
    return value ? std::optional<T>(*value) : std::nullopt;
  }
  template <class T>
  bool set(std::string_view key, T value) {
    if (!refuseWrites) values_.insert_or_assign(std::string(key), std::move(value));
    return !refuseWrites;
  }
  std::map<std::string, std::variant<std::string, PreferenceDictionary>, std::less<>> values_;
};

class RecordingNotifications final : public SystemNotifications {
 public:
  void post(std::string_view name) override { posted.emplace_back(name); }
  std::unique_ptr<NotificationListener> listen(std::string_view) override { return nullptr; }

  std::vector<std::string> posted;
};

// Time moves only when slept; `afterSleep` runs after each pause with the
// number of pauses so far, so a test can answer at a chosen poll.
class SteppingClock final : public Clock {
 public:
  explicit SteppingClock(batterycore::Date start) : current(start) {}
  batterycore::Date now() const override { return current; }
  void sleep(batterycore::Seconds span) override {
    sleeps.push_back(span);
    current += span;
    if (afterSleep) afterSleep(static_cast<int>(sleeps.size()));
  }

  batterycore::Date current;
  std::vector<batterycore::Seconds> sleeps;
  std::function<void(int)> afterSleep;
};

// A fresh folder under the system's temporary folder, removed with everything
// in it at the end of the test.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kestrin-widget-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A snapshot at kMorning: 82%, limit 80, resting, no health lines.
inline WidgetSnapshot restingSnapshot() {
  return WidgetSnapshot{kMorning,     82,           80,           false,        batterycore::Attention::Tone::holding,
                        "Resting at 80%", std::nullopt, std::nullopt, std::nullopt, std::nullopt};
}

}  // namespace kestrin::widget::testing
