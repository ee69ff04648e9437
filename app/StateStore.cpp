#include "app/StateStore.hpp"

#include "KestrinWidget/SharedContainer.hpp"

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

StateStore::StateStore(fs::path folder, Reporter report, bool durable, WhenUnwritable whenUnwritable)
    : folder_(std::move(folder)), report_(std::move(report)), durable_(durable), whenUnwritable_(whenUnwritable) {
  if (!report_) report_ = [](const std::string& line) { std::cerr << "kestrin: " << line << "\n"; };
  if (!widget::createPrivateFolders(folder_)) {
    throw std::system_error(errno, std::generic_category(), "creating " + folder_.string());
  }
}

fs::path StateStore::pathOf(std::string_view name) const { return folder_ / (std::string(name) + ".json"); }

std::optional<batterycore::Json> StateStore::loadJson(std::string_view name) {
  const auto text = widget::readWholeFile(pathOf(name));
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
  retryUnwritten();
  std::string text = json.dump();
  text += '\n';
  const auto previous = written_.find(name);
  if (previous != written_.end() && previous->second == text) {
    if (const auto waiting = unwritten_.find(name); waiting != unwritten_.end()) unwritten_.erase(waiting);
    return false;
  }
  return write(std::string(name), std::move(text));
}

bool StateStore::write(const std::string& name, std::string text) {
  if (!widget::writeFileAtomically(pathOf(name), text, durable_)) {
    const int error = errno;
    if (whenUnwritable_ == WhenUnwritable::fail) {
      throw std::system_error(error, std::generic_category(), "writing " + pathOf(name).string());
    }
    if (unwritten_.empty()) {
      report_("cannot write " + pathOf(name).string() + " (" + std::generic_category().message(error) +
              "); keeping the states in memory and writing them again when it can");
    }
    unwritten_.insert_or_assign(name, std::move(text));
    return false;
  }
  bytesWritten_ += text.size();
  if (const auto waiting = unwritten_.find(name); waiting != unwritten_.end()) unwritten_.erase(waiting);
  written_.insert_or_assign(name, std::move(text));
  return true;
}

bool StateStore::retryUnwritten() {
  if (unwritten_.empty()) return true;
  const auto waiting = unwritten_;
  for (const auto& [name, text] : waiting) {
    if (!write(name, text)) return false;
  }
  report_("wrote the states kept in memory to " + folder_.string() + " again");
  return true;
}

void StateStore::remember(std::string_view name, const batterycore::Json& json) {
  written_.insert_or_assign(std::string(name), json.dump() + "\n");
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
