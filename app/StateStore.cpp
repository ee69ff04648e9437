#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <system_error>

namespace kestrin::app {

namespace fs = std::filesystem;

namespace {

std::string timestampForFileName() {
  const auto now = std::chrono::system_clock::now();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%lld%03lld", static_cast<long long>(seconds),
                static_cast<long long>(millis));
  return buffer;
}

// The journal's whole lines, each an object of name -> state, oldest first.
// A last line with no newline was cut short by a crash and is left out;
// `wholeSize` is where it begins. A damaged line is left out too, and the
// first one named in `damage`.
struct JournalLines {
  std::vector<batterycore::Json> lines;
  std::size_t wholeSize = 0;
  std::string damage;
};

JournalLines journalLines(std::string_view text) {
  JournalLines read;
  std::size_t start = 0;
  int number = 0;
  while (start < text.size()) {
    const auto end = text.find('\n', start);
    if (end == std::string_view::npos) break;
    ++number;
    const auto line = text.substr(start, end - start);
    start = end + 1;
    if (!line.empty()) {
      auto json = batterycore::Json::parse(line, nullptr, false);
      if (json.is_discarded() || !json.is_object()) {
        if (read.damage.empty()) read.damage = "line " + std::to_string(number) + " is not a JSON object";
      } else {
        read.lines.push_back(std::move(json));
      }
    }
    read.wholeSize = start;
  }
  return read;
}

}  // namespace

StateStore::StateStore(fs::path folder, Reporter report, bool durable, WhenUnwritable whenUnwritable)
    : folder_(std::move(folder)), report_(std::move(report)), durable_(durable), whenUnwritable_(whenUnwritable) {
  if (!report_) report_ = [](const std::string& line) { std::cerr << "kestrin: " << line << "\n"; };
  if (!widget::createPrivateFolders(folder_)) {
    throw std::system_error(errno, std::generic_category(), "creating " + folder_.string());
  }
}

fs::path StateStore::pathOf(std::string_view name) const { return folder_ / (std::string(name) + ".json"); }

std::optional<batterycore::Json> StateStore::loadJson(std::string_view name) {
  // A store without a journal (a command changing the settings while the
  // service runs) leaves the service's journal alone.
  if (ownFiles_) readJournal();
  if (const auto newest = journaled_.find(name); newest != journaled_.end()) {
    auto json = batterycore::Json::parse(newest->second);
    written_.insert_or_assign(std::string(name), newest->second);
    return json;
  }
  const auto text = widget::readWholeFile(pathOf(name));
  if (!text) return std::nullopt;
  try {
    auto json = batterycore::Json::parse(*text);
    remember(name, json);
    inFiles_.insert_or_assign(std::string(name), json.dump() + "\n");
    return json;
  } catch (const batterycore::Json::exception& error) {
    quarantine(name, std::string("not valid JSON (") + error.what() + ")");
    return std::nullopt;
  }
}

bool StateStore::saveJson(std::string_view name, const batterycore::Json& json) {
  if (blocked_.contains(name)) return false;
  retryUnwritten();
  std::string text = json.dump();
  text += '\n';
  const auto previous = written_.find(name);
  if (previous != written_.end() && previous->second == text) {
    if (const auto waiting = unwritten_.find(name); waiting != unwritten_.end()) unwritten_.erase(waiting);
    return false;
  }
  if (journals(name)) {
    readJournal();
    journaled_.insert_or_assign(std::string(name), text);
    waiting_.insert_or_assign(std::string(name), text);
    written_.insert_or_assign(std::string(name), std::move(text));
    return true;
  }
  return write(std::string(name), std::move(text));
}

bool StateStore::unwritable(const fs::path& path, int error) {
  if (whenUnwritable_ == WhenUnwritable::fail) {
    throw std::system_error(error, std::generic_category(), "writing " + path.string());
  }
  if (!spell_) {
    report_("cannot write " + path.string() + " (" + std::generic_category().message(error) +
            "); keeping the states in memory and writing them again when it can");
    spell_ = true;
  }
  return false;
}

bool StateStore::write(const std::string& name, std::string text) {
  if (!widget::writeFileAtomically(pathOf(name), text, durable_)) {
    const int error = errno;
    unwritten_.insert_or_assign(name, std::move(text));
    return unwritable(pathOf(name), error);
  }
  bytesWritten_ += text.size();
  if (const auto waiting = unwritten_.find(name); waiting != unwritten_.end()) unwritten_.erase(waiting);
  inFiles_.insert_or_assign(name, text);
  written_.insert_or_assign(name, std::move(text));
  return true;
}

bool StateStore::retryUnwritten() {
  if (!spell_) return true;
  const auto waiting = unwritten_;
  for (const auto& [name, text] : waiting) {
    if (!write(name, text)) return false;
  }
  if (!waiting_.empty() && !append(waitingLine())) return false;
  waiting_.clear();
  spell_ = false;
  report_("wrote the states kept in memory to " + folder_.string() + " again");
  return true;
}

StateStore::~StateStore() {
  try {
    if (!waiting_.empty() && append(waitingLine())) waiting_.clear();
  } catch (...) {
    // A store going away cannot report; the states were the caller's to commit.
  }
  if (journalFd_ >= 0) ::close(journalFd_);
}

void StateStore::useJournal(std::set<std::string, std::less<>> ownFiles) { ownFiles_ = std::move(ownFiles); }

std::string StateStore::waitingLine() const {
  std::string line = "{";
  for (const auto& [name, text] : waiting_) {
    if (line.size() > 1) line += ',';
    line += batterycore::Json(name).dump();
    line += ':';
    line.append(text, 0, text.size() - 1);  // without its newline
  }
  line += "}\n";
  return line;
}

bool StateStore::commit() {
  if (waiting_.empty()) return retryUnwritten();
  if (spell_) return retryUnwritten();
  if (!append(waitingLine())) return false;
  waiting_.clear();
  if (journalSize_ > kCompactAt) return compact();
  return true;
}

void StateStore::readJournal() {
  if (journalRead_) return;
  journalRead_ = true;
  // Only a journal of this user's own is read: a link or a file that others
  // could change is put aside like a damaged one.
  const auto file = widget::readOwnFile(journalPath(), std::numeric_limits<std::size_t>::max());
  if (!file.refused.empty()) {
    putJournalAside(file.refused);
    return;
  }
  if (!file.bytes) return;
  auto read = journalLines(*file.bytes);
  for (auto& line : read.lines) {
    for (auto& [name, json] : line.items()) journaled_.insert_or_assign(name, json.dump() + "\n");
  }
  journalSize_ = read.wholeSize;
  if (!read.damage.empty()) putJournalAside(read.damage);
}

void StateStore::putJournalAside(const std::string& why) {
  const fs::path path = journalPath();
  fs::path aside = path;
  aside += ".corrupt-" + timestampForFileName();
  if (journalFd_ >= 0) {
    ::close(journalFd_);
    journalFd_ = -1;
  }
  std::error_code error;
  fs::rename(path, aside, error);
  journalSize_ = 0;
  tornTail_ = false;
  if (error) {
    // The damaged journal is the only copy: the states go back to their own files.
    report_(path.string() + " could not be read (" + why + ") and could not be moved aside: " + error.message() +
            "; writing the states to their own files instead");
    ownFiles_.reset();
    for (const auto& [name, text] : journaled_) write(name, text);
    journaled_.clear();
    waiting_.clear();
    return;
  }
  report_(path.string() + " could not be read (" + why + "); kept it as " + aside.filename().string() +
          " and went on with the states it held before");
  // What the journal held that was readable goes into the new one.
  waiting_ = journaled_;
}

bool StateStore::append(const std::string& line) {
  const fs::path path = journalPath();
  if (journalFd_ < 0) {
    const bool existed = fs::exists(path);
    journalFd_ = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (journalFd_ < 0) return unwritable(path, errno);
    // Drop a line cut short by a crash before appending after it.
    struct stat status {};
    if (::fstat(journalFd_, &status) == 0 && static_cast<std::uintmax_t>(status.st_size) != journalSize_ &&
        ::ftruncate(journalFd_, static_cast<off_t>(journalSize_)) != 0) {
      tornTail_ = true;
    }
    if (!existed && durable_) widget::syncFolder(folder_);
  }
  const std::string bytes = tornTail_ ? "\n" + line : line;
  if (!widget::writeAll(journalFd_, bytes) || (durable_ && ::fdatasync(journalFd_) != 0)) {
    const int error = errno;
    // Take back what part of the line went out, so that the next one starts whole.
    tornTail_ = ::ftruncate(journalFd_, static_cast<off_t>(journalSize_)) != 0;
    return unwritable(path, error);
  }
  tornTail_ = false;
  journalSize_ += bytes.size();
  bytesWritten_ += bytes.size();
  return true;
}

bool StateStore::compact() {
  readJournal();
  if (!waiting_.empty() && !append(waitingLine())) return false;
  waiting_.clear();
  for (const auto& [name, text] : journaled_) {
    if (const auto file = inFiles_.find(name); file != inFiles_.end() && file->second == text) continue;
    if (!widget::writeFileAtomically(pathOf(name), text, durable_)) return unwritable(pathOf(name), errno);
    bytesWritten_ += text.size();
    inFiles_.insert_or_assign(name, text);
  }
  // Every state is in its own file: the journal may go.
  if (journalFd_ >= 0) {
    if (::ftruncate(journalFd_, 0) != 0 || (durable_ && ::fsync(journalFd_) != 0)) {
      return unwritable(journalPath(), errno);
    }
  } else if (::unlink(journalPath().c_str()) == 0) {
    if (durable_) widget::syncFolder(folder_);
  }
  journalSize_ = 0;
  tornTail_ = false;
  journaled_.clear();
  return true;
}

std::optional<batterycore::Json> StateStore::newestInJournal(const fs::path& folder, std::string_view name) {
  const auto journal = widget::readWholeFile(folder / kJournalName);
  if (!journal) return std::nullopt;
  // From the newest whole line back, parsing only the lines that may hold
  // the name: a command showing the last reading reads one line, not two
  // megabytes of them.
  const std::string key = batterycore::Json(std::string(name)).dump() + ":";
  const std::string_view text(*journal);
  constexpr auto none = std::string_view::npos;
  std::size_t end = text.rfind('\n');  // a last line without one was cut short
  while (end != none) {
    const std::size_t previous = end == 0 ? none : text.rfind('\n', end - 1);
    const std::size_t from = previous == none ? 0 : previous + 1;
    const auto line = text.substr(from, end - from);
    if (line.find(key) != std::string_view::npos) {
      auto json = batterycore::Json::parse(line, nullptr, false);
      if (!json.is_discarded() && json.is_object()) {
        if (const auto found = json.find(std::string(name)); found != json.end()) return *found;
      }
    }
    end = previous;
  }
  return std::nullopt;
}

std::optional<batterycore::Json> StateStore::peek(const fs::path& folder, std::string_view name) {
  if (auto newest = newestInJournal(folder, name)) return newest;
  const auto text = widget::readWholeFile(folder / (std::string(name) + ".json"));
  if (!text) return std::nullopt;
  return batterycore::Json::parse(*text);
}

void StateStore::remember(std::string_view name, const batterycore::Json& json) {
  written_.insert_or_assign(std::string(name), json.dump() + "\n");
}

void StateStore::quarantine(std::string_view name, const std::string& why) {
  if (const auto newest = journaled_.find(name); newest != journaled_.end()) {
    journaled_.erase(newest);
    waiting_.erase(std::string(name));
    written_.erase(std::string(name));
    putJournalAside("the state " + std::string(name) + " in it " + why);
    return;
  }
  const fs::path path = pathOf(name);
  fs::path aside = path;
  aside += ".corrupt-" + timestampForFileName();
  std::error_code error;
  fs::rename(path, aside, error);
  written_.erase(std::string(name));
  inFiles_.erase(std::string(name));
  if (error) {
    report_(path.string() + " could not be read (" + why + ") and could not be moved aside: " +
            error.message() + "; starting from defaults without touching it");
    // The damaged file is the only copy: never save over it in this run.
    blocked_.insert(std::string(name));
    return;
  }
  report_(path.string() + " could not be read (" + why + "); kept it as " + aside.filename().string() +
          " and started from defaults");
}

}  // namespace kestrin::app
