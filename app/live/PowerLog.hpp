// PowerLogFollower: the part of the power-management log (`pmset -g log`) that
// is new since the last look, so a calibration line is counted once, when it
// appears, and not again on every tick.
//
//   PowerLogFollower follower;
//   follower.newPart(pmsetOutput, now);   // first look: only the last twelve hours
//   follower.newPart(pmsetOutput, now);   // "" until the log grows
//
// Each record starts with its local time stamp ("2022-11-16 08:16:48 +0100");
// lines without one (the column titles, a UUID line, a wrapped message) belong
// to the record above them, and those above the first record to none. A record
// is new when it is later than every record seen so far, or as late as the
// latest and not seen yet, so a log that was rotated, trimmed or read again
// from the start gives nothing twice. On the first look the records of the
// last twelve hours count as new: a calibration that started before the
// service did is still noticed, one from last week is not.
//
// PowerLogFile reads a log that only grows (a file the system appends to) from
// where the last read stopped; a file that shrank was replaced and is read
// again from its start.
#pragma once

#include "BatteryCore/foundation/Date.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace kestrin::app::live {

// The moment a power-log line starts with; absent when it starts with none.
std::optional<batterycore::Date> powerLogTimeStamp(std::string_view line);

class PowerLogFollower {
 public:
  static constexpr batterycore::Seconds firstLookBack{12 * 3600};

  // The new records of `log` (whole or only its end), line by line with "\n".
  std::string newPart(std::string_view log, batterycore::Date now);

 private:
  bool looked_ = false;
  std::optional<batterycore::Date> latest_;
  std::set<std::string, std::less<>> seenAtLatest_;  // the records stamped `latest_`
};

class PowerLogFile {
 public:
  explicit PowerLogFile(std::filesystem::path path) : path_(std::move(path)) {}

  // The bytes added since the last call, up to the last whole line; "" when
  // the file is missing or unreadable.
  std::string readNew();

 private:
  std::filesystem::path path_;
  std::uintmax_t offset_ = 0;
};

#ifdef __APPLE__
// The whole text `pmset -g log` prints now; "" when it cannot be run.
std::string readPmsetLog();
#endif

}  // namespace kestrin::app::live
