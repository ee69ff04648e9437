// StateStore: the folder where every rule state, the alert list, the settings
// and the charger memory live as JSON files, one per name, each on one line
// (compact: the year-long high-charge ledger reads and writes in under a
// millisecond).
//
//   StateStore store("/home/me/.local/state/kestrin/state");
//   auto watchdog = store.load<LimitWatchdog>("watchdog", LimitWatchdog{});
//   ...
//   store.save("watchdog", watchdog);     // written only when its JSON changed
//
// Writes are atomic (a temporary file in the same folder, flushed, fsync'd and
// renamed over the old one), so a crash leaves either the old file or the new
// one, never half of either. A file that does not decode is moved aside as
// NAME.json.corrupt-<timestamp>, reported once, and the caller's default is
// used: nothing is overwritten without a readable copy remaining.
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace kestrin::app {

class StateStore {
 public:
  using Reporter = std::function<void(const std::string&)>;

  // What a write that fails does (no space left, a read-only folder, a file
  // size limit). Either way the file on disk stays as it was.
  //   fail          throws std::system_error naming the file (the commands)
  //   keepInMemory  reports once, keeps the newer state and writes it again
  //                 with the next save that works (the service)
  enum class WhenUnwritable { fail, keepInMemory };

  // Creates the folder (0700) when missing. `report` receives one line per
  // damaged file and per unwritable spell (standard error by default).
  explicit StateStore(std::filesystem::path folder, Reporter report = {}, bool durable = true,
                      WhenUnwritable whenUnwritable = WhenUnwritable::fail);

  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path pathOf(std::string_view name) const;

  // The raw JSON under `name`; absent when there is none or it was damaged
  // (then it has been moved aside and reported).
  std::optional<batterycore::Json> loadJson(std::string_view name);

  template <class T>
  T load(std::string_view name, T fallback) {
    const auto json = loadJson(name);
    if (!json) return fallback;
    try {
      auto value = batterycore::decode<T>(*json);
      remember(name, *json);
      return value;
    } catch (const batterycore::DecodingError& error) {
      quarantine(name, error.what());
      return fallback;
    }
  }

  // Writes the JSON when it differs from what this store last read or wrote
  // under that name. Returns whether it wrote.
  bool saveJson(std::string_view name, const batterycore::Json& json);

  template <class T>
  bool save(std::string_view name, const T& value) {
    return saveJson(name, batterycore::encode(value));
  }

  // Writes again what could not be written before; true when nothing is
  // left waiting. Every save calls it first.
  bool retryUnwritten();
  bool hasUnwritten() const { return !unwritten_.empty(); }

  // Bytes written by this store so far, every file counted whole.
  std::uintmax_t bytesWritten() const { return bytesWritten_; }

 private:
  bool write(const std::string& name, std::string text);
  void remember(std::string_view name, const batterycore::Json& json);
  void quarantine(std::string_view name, const std::string& why);

  std::filesystem::path folder_;
  Reporter report_;
  bool durable_;
  WhenUnwritable whenUnwritable_;
  std::map<std::string, std::string, std::less<>> unwritten_;  // name -> text still to write
  std::uintmax_t bytesWritten_ = 0;
  std::map<std::string, std::string, std::less<>> written_;
  std::set<std::string, std::less<>> blocked_;
};

}  // namespace kestrin::app
