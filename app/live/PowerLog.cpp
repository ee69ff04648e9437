#include "app/live/PowerLog.hpp"

#include <cctype>
#include <cstdio>
#include <fstream>

namespace kestrin::app::live {

using batterycore::Date;

namespace {

constexpr std::size_t kStampLength = 25;  // "2022-11-16 08:16:48 +0100"

bool digitsAt(std::string_view text, std::size_t from, std::size_t count) {
  for (std::size_t i = from; i < from + count; ++i) {
    if (std::isdigit(static_cast<unsigned char>(text[i])) == 0) return false;
  }
  return true;
}

}  // namespace

std::optional<Date> powerLogTimeStamp(std::string_view line) {
  if (line.size() < kStampLength) return std::nullopt;
  const std::string_view stamp = line.substr(0, kStampLength);
  const bool shaped = digitsAt(stamp, 0, 4) && stamp[4] == '-' && digitsAt(stamp, 5, 2) && stamp[7] == '-' &&
                      digitsAt(stamp, 8, 2) && stamp[10] == ' ' && digitsAt(stamp, 11, 2) && stamp[13] == ':' &&
                      digitsAt(stamp, 14, 2) && stamp[16] == ':' && digitsAt(stamp, 17, 2) && stamp[19] == ' ' &&
                      (stamp[20] == '+' || stamp[20] == '-') && digitsAt(stamp, 21, 4);
  if (!shaped) return std::nullopt;
  std::string iso(stamp.substr(0, 10));
  iso += 'T';
  iso += stamp.substr(11, 8);
  iso += stamp.substr(20, 3);
  iso += ':';
  iso += stamp.substr(23, 2);
  return batterycore::parseIso8601(iso);
}

std::string PowerLogFollower::newPart(std::string_view log, Date now) {
  const std::optional<Date> floor =
      looked_ ? latest_ : std::optional<Date>(now - firstLookBack);
  looked_ = true;

  std::string fresh;
  bool keeping = false;  // the record the current line belongs to is new
  std::optional<Date> latest = latest_;
  std::set<std::string, std::less<>> seenAtLatest = seenAtLatest_;
  while (!log.empty()) {
    const auto end = log.find('\n');
    std::string_view line = log.substr(0, end);
    log = end == std::string_view::npos ? std::string_view{} : log.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

    if (const auto stamp = powerLogTimeStamp(line)) {
      const bool sameSecondAsLatest = latest_ && *stamp == *latest_;
      keeping = !floor || *stamp > *floor || (sameSecondAsLatest && !seenAtLatest_.contains(line));
      if (!latest || *stamp > *latest) {
        latest = stamp;
        seenAtLatest.clear();
      }
      if (*stamp == *latest) seenAtLatest.emplace(line);
    }
    if (keeping) {
      fresh += line;
      fresh += '\n';
    }
  }
  latest_ = latest;
  seenAtLatest_ = std::move(seenAtLatest);
  return fresh;
}

std::string PowerLogFile::readNew() {
  std::error_code error;
  const auto size = std::filesystem::file_size(path_, error);
  if (error) return {};
  if (size < offset_) offset_ = 0;  // replaced by a shorter file
  if (size == offset_) return {};
  std::ifstream file(path_, std::ios::binary);
  if (!file) return {};
  file.seekg(static_cast<std::streamoff>(offset_));
  std::string text(static_cast<std::size_t>(size - offset_), '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  // A line still being written is read next time, whole.
  const auto lastNewline = text.rfind('\n');
  if (lastNewline == std::string::npos) return {};
  text.resize(lastNewline + 1);
  offset_ += text.size();
  return text;
}

#ifdef __APPLE__
std::string readPmsetLog() {
  std::string text;
  FILE* pipe = ::popen("/usr/bin/pmset -g log", "r");
  if (pipe == nullptr) return text;
  char buffer[1 << 16];
  std::size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, got);
  ::pclose(pipe);
  return text;
}
#endif

}  // namespace kestrin::app::live
