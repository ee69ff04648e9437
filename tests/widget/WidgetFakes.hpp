// Stand-ins for the group's preferences, notifications and clock, and a
// throw-away group folder, shared by the widget tests.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/SystemNotifications.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace kestrin::widget::testing {

// 2026-01-01T09:00:00Z.
inline constexpr batterycore::Date kMorning = batterycore::dateFromSecondsSince1970(1767258000.0);

class MemoryPreferences final : public SharedPreferences {
 public:
  std::optional<std::string> data(std::string_view key) const override;
  bool setData(std::string_view key, std::string_view bytes) override;
  std::optional<PreferenceDictionary> dictionary(std::string_view key) const override;
  bool setDictionary(std::string_view key, const PreferenceDictionary& dictionary) override;

  bool refuseWrites = false;
  std::map<std::string, std::variant<std::string, PreferenceDictionary>, std::less<>> values;
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
  void sleep(batterycore::Seconds span) override;

  batterycore::Date current;
  std::vector<batterycore::Seconds> sleeps;
  std::function<void(int)> afterSleep;
};

// A fresh folder under the system's temporary folder, removed with everything
// in it at the end of the test.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A snapshot at kMorning: 82%, limit 80, resting, no health lines.
WidgetSnapshot restingSnapshot();

}  // namespace kestrin::widget::testing
