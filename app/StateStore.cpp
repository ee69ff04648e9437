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

StateStore::StateStore(fs::path folder, Reporter report, bool durable)
    : folder_(std::move(folder)), report_(std::move(report)), durable_(durable) {
  if (!report_) report_ = [](const std::string& line) { std::cerr << "kestrin: " << line << "\n"; };
  fs::create_directories(folder_);
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
  std::string text = json.dump(2);
  text += '\n';
  const auto previous = written_.find(name);
  if (previous != written_.end() && previous->second == text) return false;
  if (!widget::writeFileAtomically(pathOf(name), text, durable_)) {
    throw std::system_error(errno, std::generic_category(), "writing " + pathOf(name).string());
  }
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
