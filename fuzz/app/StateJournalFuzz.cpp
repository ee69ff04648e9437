// Any bytes as the journal of a state folder, read the way the service reads
// it when it starts (every state through Monitor::readState, the newest line
// of each winning over its file) and the way a command peeks at one state.
// Nothing may throw: a damaged line puts the journal aside, a state that does
// not decode gives its default.
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"
#include "fuzz/Finding.hpp"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;

namespace {

const fs::path& scratchFolder() {
  static const fs::path folder = fs::temp_directory_path() / ("kestrin-journal-fuzz-" + std::to_string(::getpid()));
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path& folder = scratchFolder();
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  fs::create_directories(folder);
  std::ofstream(folder / kestrin::app::StateStore::kJournalName, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  try {
    (void)kestrin::app::StateStore::newestInJournal(folder, "monitor");
    kestrin::app::StateStore store(folder, [](const std::string&) {}, false);
    store.useJournal({"settings"});
    (void)kestrin::app::Monitor::readState(store);
    store.commit();
  } catch (const std::exception& error) {
    kestrin::fuzz::finding("reading the state journal", error.what());
  }
  fs::remove_all(folder, ignored);
  return 0;
}
