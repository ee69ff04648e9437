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
//
// The service saves some states every few minutes. Replacing a file each time
// costs the filesystem far more than the state is worth, so with a journal
//
//   store.useJournal({"settings"});       // every state but the settings
//   store.save("monitor", record);        // waits in memory
//   store.commit();                       // one line appended to journal.jsonl
//
// the states saved since the last commit are appended to journal.jsonl as
// one line, {"monitor": {...}, "chargers": {...}}, with a single write. A
// state's newest line wins over its file. When the journal has grown past
// two megabytes (or on `compact`) each state goes into its own file again and
// the journal is emptied. A line cut short by a crash is dropped; a damaged
// line puts the whole journal aside as journal.jsonl.corrupt-<timestamp>.
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
  bool hasUnwritten() const { return spell_; }

  // Saves under any name but `ownFiles` go to the journal from now on. The
  // files that another process writes (the settings) stay files.
  void useJournal(std::set<std::string, std::less<>> ownFiles);
  // Appends the states saved to the journal since the last commit as one
  // line; true when nothing is left waiting. A failed write is handled as
  // `whenUnwritable` says, and the states wait for the next commit.
  bool commit();
  // Writes every state the journal holds into its own file, then empties
  // the journal; true when it could.
  bool compact();

  // The newest state under `name` in the journal of `folder`, read without
  // changing anything: for a command that shows one state while the service
  // runs. Absent when the journal holds none; then the file has it.
  static std::optional<batterycore::Json> newestInJournal(const std::filesystem::path& folder,
                                                          std::string_view name);
  // The same, else what its file holds; throws batterycore::Json::exception
  // when that is not JSON.
  static std::optional<batterycore::Json> peek(const std::filesystem::path& folder, std::string_view name);

  static constexpr std::string_view kJournalName = "journal.jsonl";
  static constexpr std::uintmax_t kCompactAt = 2 * 1024 * 1024;

  // Bytes written by this store so far, every file counted whole.
  std::uintmax_t bytesWritten() const { return bytesWritten_; }

  ~StateStore();
  StateStore(const StateStore&) = delete;
  StateStore& operator=(const StateStore&) = delete;

 private:
  bool write(const std::string& name, std::string text);
  void remember(std::string_view name, const batterycore::Json& json);
  void quarantine(std::string_view name, const std::string& why);
  bool journals(std::string_view name) const { return ownFiles_ && !ownFiles_->contains(name); }
  std::filesystem::path journalPath() const { return folder_ / kJournalName; }
  void readJournal();
  bool append(const std::string& line);
  std::string waitingLine() const;
  void putJournalAside(const std::string& why);
  bool unwritable(const std::filesystem::path& path, int error);  // false, or throws

  std::filesystem::path folder_;
  Reporter report_;
  bool durable_;
  WhenUnwritable whenUnwritable_;
  std::map<std::string, std::string, std::less<>> unwritten_;  // name -> text still to write
  std::uintmax_t bytesWritten_ = 0;
  std::map<std::string, std::string, std::less<>> written_;
  std::set<std::string, std::less<>> blocked_;
  bool spell_ = false;  // an unwritable spell was reported and has not ended

  std::optional<std::set<std::string, std::less<>>> ownFiles_;  // set: the journal is on
  bool journalRead_ = false;
  std::map<std::string, std::string, std::less<>> journaled_;  // name -> newest text in the journal
  std::map<std::string, std::string, std::less<>> waiting_;    // name -> text for the next commit
  std::map<std::string, std::string, std::less<>> inFiles_;    // name -> text its file holds, when known
  int journalFd_ = -1;
  std::uintmax_t journalSize_ = 0;  // up to the end of its last whole line
  bool tornTail_ = false;           // a failed append may have left part of a line
};

}  // namespace kestrin::app
