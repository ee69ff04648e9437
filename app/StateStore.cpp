#include "app/StateStore.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <system_error>

namespace kestrin::app {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void writeAll(int fd, std::string_view contents, const fs::path& path) {
  const char* data = contents.data();
  std::size_t left = contents.size();
  while (left > 0) {
    const ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      fail("writing " + path.string());
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
}

std::string timestampForFileName() {
  const auto now = std::chrono::system_clock::now();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%lld%03lld", static_cast<long long>(seconds),
                static_cast<long long>(millis));
  return buffer;
}

}  // namespace

void writeFileAtomically(const fs::path& path, std::string_view contents) {
  const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
  std::string pattern = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) fail("creating a temporary file beside " + path.string());
  try {
    writeAll(fd, contents, path);
    if (::fsync(fd) != 0) fail("flushing " + path.string());
    if (::close(fd) != 0) {
      ::unlink(pattern.c_str());
      fail("closing " + path.string());
    }
  } catch (...) {
    ::close(fd);
    ::unlink(pattern.c_str());
    throw;
  }
  if (::rename(pattern.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(pattern.c_str());
    errno = error;
    fail("replacing " + path.string());
  }
  // Make the rename itself durable.
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

std::optional<std::string> readWholeFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream contents;
  contents << file.rdbuf();
  if (file.bad()) return std::nullopt;
  return contents.str();
}

StateStore::StateStore(fs::path folder, Reporter report)
    : folder_(std::move(folder)), report_(std::move(report)) {
  if (!report_) report_ = [](const std::string& line) { std::cerr << "kestrin: " << line << "\n"; };
  fs::create_directories(folder_);
}

fs::path StateStore::pathOf(std::string_view name) const { return folder_ / (std::string(name) + ".json"); }

std::optional<batterycore::Json> StateStore::loadJson(std::string_view name) {
  const auto text = readWholeFile(pathOf(name));
  if (!text) return std::nullopt;
  try {
    auto json = batterycore::Json::parse(*text);
    remember(name, json);
    return json;
  } catch (const batterycore::Json::exception& error) {
    quarantine(name, std::string("not valid JSON (") + error.what() + ")");
    return std::nullopt;
  }
}

bool StateStore::saveJson(std::string_view name, const batterycore::Json& json) {
  if (blocked_.contains(name)) return false;
  std::string text = json.dump(2);
  text += '\n';
  const auto previous = written_.find(name);
  if (previous != written_.end() && previous->second == text) return false;
  writeFileAtomically(pathOf(name), text);
  written_.insert_or_assign(std::string(name), std::move(text));
  return true;
}

void StateStore::remember(std::string_view name, const batterycore::Json& json) {
  written_.insert_or_assign(std::string(name), json.dump(2) + "\n");
}

void StateStore::quarantine(std::string_view name, const std::string& why) {
  const fs::path path = pathOf(name);
  fs::path aside = path;
  aside += ".corrupt-" + timestampForFileName();
  std::error_code error;
  fs::rename(path, aside, error);
  written_.erase(std::string(name));
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
