#include "app/StoredState.hpp"

#include "app/StateStore.hpp"

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace kestrin::app {

namespace fs = std::filesystem;

namespace {

// A private folder under the system's temporary folder, removed with the object.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "kestrin-read-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "creating a folder in " + pattern);
    }
    path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  if (from.empty()) return text;
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// "COPY/health.json could not be read (WHY); kept it as ..." ->
// "FOLDER/health.json could not be read (WHY)": the original stays in place.
std::string aboutOriginal(std::string line, const fs::path& copy, const fs::path& folder) {
  line = replaceAll(std::move(line), copy.string(), folder.string());
  for (const char* tail : {"; kept it as", "; starting from", " and could not be moved aside"}) {
    if (const auto at = line.find(tail); at != std::string::npos) line.erase(at);
  }
  return line;
}

}  // namespace

bool StoredState::isDamaged(const std::string& name) const {
  return std::any_of(damaged.begin(), damaged.end(), [&](const Damage& damage) { return damage.name == name; });
}

StoredState readStoredState(const fs::path& folder) {
  StoredState stored;
  std::error_code error;
  if (!fs::is_directory(folder, error)) return stored;
  stored.found = true;

  const ScratchFolder scratch;
  std::vector<std::string> copied;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const bool journal = entry.path().filename() == StateStore::kJournalName;
    if (!entry.is_regular_file(error) || (entry.path().extension() != ".json" && !journal)) continue;
    const std::string name = journal ? std::string("journal") : entry.path().stem().string();
    std::error_code copyError;
    fs::copy_file(entry.path(), scratch.path() / entry.path().filename(), copyError);
    if (copyError) {
      stored.damaged.push_back({name, entry.path().string() + " could not be read (" + copyError.message() + ")"});
      continue;
    }
    copied.push_back(name);
  }

  std::vector<std::string> reports;
  StateStore store(scratch.path(), [&reports](const std::string& line) { reports.push_back(line); }, false);
  store.useJournal({"settings"});
  stored.settings = store.load<Settings>("settings", Settings{});
  stored.state = Monitor::readState(store);

  // A damaged file was moved aside in the copy: its name is gone there.
  for (const auto& name : copied) {
    const std::string file = name == "journal" ? std::string(StateStore::kJournalName) : name + ".json";
    const fs::path copy = scratch.path() / file;
    if (fs::exists(copy)) continue;
    std::string line = (folder / file).string() + " could not be read";
    for (const auto& report : reports) {
      if (report.starts_with(copy.string())) line = aboutOriginal(report, scratch.path(), folder);
    }
    stored.damaged.push_back({name, line});
  }
  return stored;
}

}  // namespace kestrin::app
