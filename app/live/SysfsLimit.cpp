#include "app/live/SysfsLimit.hpp"

#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <system_error>

namespace kestrin::app::live {

namespace fs = std::filesystem;
using batterycore::LimitState;
namespace Meaning = batterycore::Meaning;

namespace {

constexpr const char* kEndFile = "charge_control_end_threshold";
constexpr const char* kStartFile = "charge_control_start_threshold";
constexpr int kFull = 100;
// Off with a start threshold: charging begins below 99%, that is now.
constexpr int kStartWhenOff = 99;

bool present(const fs::path& file) {
  std::error_code error;
  return fs::exists(file, error);
}

// A percentage from 0 to 100; anything else (a driver that reports garbage)
// is unreadable.
std::optional<int> readPercent(const fs::path& file) {
  auto text = widget::readWholeFile(file);
  if (!text) return std::nullopt;
  while (!text->empty() && std::isspace(static_cast<unsigned char>(text->back()))) text->pop_back();
  int value = 0;
  const auto* end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, value);
  if (error != std::errc{} || stop != end || value < 0 || value > kFull) return std::nullopt;
  return value;
}

bool isOn(int end) { return end > 0 && end < kFull; }

std::string missing() {
  return Meaning::text("linux.threshold.missing", "This laptop's battery driver has no charge threshold.");
}

std::string unreadable(const fs::path& file) {
  return Meaning::format("linux.threshold.unreadable",
                         "The battery driver reports a charge threshold Kestrin cannot read (%@).", {file.string()});
}

}  // namespace

SysfsLimit::SysfsLimit(std::optional<fs::path> batteryFolder) : folder_(std::move(batteryFolder)) {
  if (!folder_ || !present(endFile())) return;
  kind_ = present(startFile()) ? Kind::startAndEnd : Kind::endOnly;
}

fs::path SysfsLimit::endFile() const { return folder_.value_or(fs::path()) / kEndFile; }
fs::path SysfsLimit::startFile() const { return folder_.value_or(fs::path()) / kStartFile; }

std::string SysfsLimit::describe() const {
  auto shown = [](const std::optional<int>& value) {
    return value ? std::to_string(*value) + "%" : std::string("unreadable");
  };
  switch (kind_) {
    case Kind::none:
      return "no charge threshold";
    case Kind::endOnly:
      return "end threshold " + shown(readPercent(endFile())) + " (" + folder_->string() + ")";
    case Kind::startAndEnd:
      return "start and end thresholds " + shown(readPercent(startFile())) + " and " +
             shown(readPercent(endFile())) + " (" + folder_->string() + ")";
  }
  return {};
}

LimitState SysfsLimit::state() {
  if (kind_ == Kind::none) return LimitState::unavailable(missing());
  const auto end = readPercent(endFile());
  if (!end || *end == 0) return LimitState::unavailable(unreadable(endFile()));
  if (*end == kFull) return LimitState::off(end_);
  end_ = *end;
  if (kind_ == Kind::startAndEnd) {
    if (const auto start = readPercent(startFile()); start && *start < *end) start_ = *start;
  }
  return LimitState::on(*end);
}

std::optional<std::string> SysfsLimit::write(const fs::path& file, int value) const {
  const std::string text = std::to_string(value);
  const int fd = ::open(file.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  int failure = fd < 0 ? errno : 0;
  if (fd >= 0) {
    if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) failure = errno;
    if (::close(fd) != 0 && failure == 0) failure = errno;
  }
  if (failure == EACCES || failure == EPERM || failure == EROFS) {
    return Meaning::format("linux.threshold.permission",
                           "Kestrin needs permission to change the charge threshold (%@).", {file.string()});
  }
  if (failure != 0) {
    return Meaning::format("linux.threshold.writeFailed", "Kestrin could not change the charge threshold (%@): %@",
                           {file.string(), std::string(std::strerror(failure))});
  }
  // Drivers round to the steps their firmware knows, or ignore what it does not.
  if (const auto now = readPercent(file); now != value) {
    return Meaning::format("linux.threshold.notTaken",
                           "The battery driver did not take the charge threshold %@ (%@ shows %@).",
                           {text, file.string(), now ? std::to_string(*now) : std::string("?")});
  }
  return std::nullopt;
}

std::optional<std::string> SysfsLimit::switchOff() {
  if (kind_ == Kind::none) return missing();
  const auto end = readPercent(endFile());
  if (!end || *end == 0) return unreadable(endFile());
  if (isOn(*end)) end_ = *end;
  std::optional<int> start;
  if (kind_ == Kind::startAndEnd) {
    start = readPercent(startFile());
    if (!start) return unreadable(startFile());
    if (*start < kStartWhenOff && *start < *end) start_ = *start;
  }
  // The end goes up first, so the start never stands above it.
  if (*end != kFull) {
    if (auto failure = write(endFile(), kFull)) return failure;
  }
  if (start && *start < kStartWhenOff) return write(startFile(), kStartWhenOff);
  return std::nullopt;
}

std::optional<std::string> SysfsLimit::switchOn() {
  if (kind_ == Kind::none) return missing();
  const auto end = readPercent(endFile());
  if (!end || *end == 0) return unreadable(endFile());
  if (isOn(*end)) {
    end_ = *end;
    return std::nullopt;
  }
  if (!end_) return Meaning::text("linux.threshold.nothingToRestore", "No earlier limit to restore.");
  // The start comes down first, below the end it is about to get back.
  if (kind_ == Kind::startAndEnd && start_ && *start_ < *end_) {
    if (auto failure = write(startFile(), *start_)) return failure;
  }
  return write(endFile(), *end_);
}

batterycore::Json SysfsLimit::kept() const {
  batterycore::Json json = batterycore::Json::object();
  if (end_) json["restore"] = *end_;
  if (start_) json["restoreStart"] = *start_;
  return json;
}

void SysfsLimit::keep(const batterycore::Json& kept) {
  if (!kept.is_object()) return;
  const auto end = kept.find("restore");
  if (end == kept.end() || !end->is_number_integer() || !isOn(end->get<int>())) return;
  end_ = end->get<int>();
  const auto start = kept.find("restoreStart");
  if (start != kept.end() && start->is_number_integer() && start->get<int>() >= 0 && start->get<int>() < *end_) {
    start_ = start->get<int>();
  }
}

}  // namespace kestrin::app::live
