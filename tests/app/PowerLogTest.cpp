#include "app/live/PowerLog.hpp"

#include "BatteryCore/supervision/CalibrationLog.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kestrin::app::live {
namespace {

namespace fs = std::filesystem;
using batterycore::Date;

std::string sample(const std::string& name) {
  std::ifstream in(fs::path(KESTRIN_TEST_DATA_DIR) / "pmset" / name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

Date at(const char* iso) { return batterycore::parseIso8601(iso).value(); }

std::size_t lineCount(const std::string& text) { return static_cast<std::size_t>(std::ranges::count(text, '\n')); }

TEST(PowerLog, ReadsTheLocalStampWithItsOffset) {
  EXPECT_EQ(powerLogTimeStamp("2022-11-16 08:16:48 +0100 DarkWake  \tDarkWake from Normal Sleep"),
            at("2022-11-16T07:16:48Z"));
  EXPECT_EQ(powerLogTimeStamp("2020-11-11 10:55:38 -0600 Notification"), at("2020-11-11T16:55:38Z"));
  for (const char* line : {"Time stamp                Domain", "UUID: C5A7B951-2547-4808-A072-0B9CE4151D28",
                           "2022-11-16 08:16:48", "2022-11-16T08:16:48 +0100 x", "2022-13-16 08:16:48 +0100 x"}) {
    EXPECT_EQ(powerLogTimeStamp(line), std::nullopt) << line;
  }
}

TEST(PowerLog, TheFollowerGivesEachRecordOnceAndTheFirstLookOnlyTheLastTwelveHours) {
  const std::string first = sample("pmset-log-1.txt");  // 2022-11-16 08:16 to 11:18 (+0100)
  PowerLogFollower recent;
  const auto part = recent.newPart(first, at("2022-11-16T20:30:00+01:00"));
  EXPECT_EQ(lineCount(part), lineCount(first) - 2) << "the two records at 08:16 are older";
  EXPECT_EQ(PowerLogFollower().newPart(first, at("2022-11-23T12:00:00Z")), "");

  std::string log = sample("pmset-log-4.txt");
  const Date now = at("2020-11-11T17:00:00Z");
  PowerLogFollower follower;
  const auto whole = follower.newPart(log, now);
  EXPECT_EQ(whole.find("Time stamp"), std::string::npos) << "the header belongs to no record";
  EXPECT_EQ(whole.find("UUID"), std::string::npos);
  EXPECT_NE(whole.find("Display is turned off"), std::string::npos);
  EXPECT_EQ(follower.newPart(log, now), "");
  // A record in the same second as the latest one, and a later one with a
  // wrapped continuation line: only they are new, and a calibration counts once.
  log += "2020-11-11 10:55:38 -0600 Assertions          \tSummary- [System: No Assertions]\n";
  log += "2020-11-11 11:02:00 -0600 Battery             \tChargingUpForGauging started\r\n";
  log += "\twrapped rest of that record\n";
  const auto grown = follower.newPart(log, now);
  EXPECT_EQ(lineCount(grown), 3u) << grown;
  EXPECT_EQ(batterycore::CalibrationLog::hits(grown),
            std::vector<std::string>{"2020-11-11 11:02:00 -0600 Battery             \tChargingUpForGauging started"});
  EXPECT_EQ(follower.newPart(log, now), "");

  // The system started a new log: the old records are gone, one new one came.
  PowerLogFollower rotated;
  const Date later = at("2024-10-18T00:30:00+05:30");
  EXPECT_NE(rotated.newPart(sample("pmset-log-5.txt"), later), "");
  EXPECT_EQ(rotated.newPart("2024-10-17 22:17:33 +0530 Sleep               \tEntering DarkWake state\n"
                            "2024-10-18 00:20:00 +0530 Wake                \tDarkWake to FullWake\n",
                            later),
            "2024-10-18 00:20:00 +0530 Wake                \tDarkWake to FullWake\n");
}

TEST(PowerLog, TheFileGivesWholeNewLinesAndAReplacedShorterFileFromItsStart) {
  const fs::path path = fs::temp_directory_path() / ("kestrin-powerlog-" + std::to_string(::getpid()) + ".txt");
  fs::remove(path);
  const auto append = [&path](const std::string& text) { std::ofstream(path, std::ios::binary | std::ios::app) << text; };
  PowerLogFile file(path);
  EXPECT_EQ(file.readNew(), "") << "missing file";
  append("one\ntw");
  EXPECT_EQ(file.readNew(), "one\n");
  EXPECT_EQ(file.readNew(), "");
  append("o\nthree\n");
  EXPECT_EQ(file.readNew(), "two\nthree\n");
  fs::remove(path);
  append("new\n");
  EXPECT_EQ(file.readNew(), "new\n");
  fs::remove(path);
}

}  // namespace
}  // namespace kestrin::app::live
