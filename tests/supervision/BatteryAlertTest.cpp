#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <gtest/gtest.h>

#include <string>

namespace batterycore {
namespace {

using Kind = BatteryAlert::Kind;

TEST(BatteryAlert, IdIsKindAndShortestSecondsThatReadBack) {
  struct Case {
    Kind kind;
    double seconds;
    const char* id;
  };
  const Case cases[] = {
      {Kind::limitTurnedOff, 1767225600.0, "limitTurnedOff-1767225600.0"},
      {Kind::hot, 0.5, "hot-0.5"},
      {Kind::hot, 0.0, "hot-0.0"},
      {Kind::calibrating, 1767225600.25, "calibrating-1767225600.25"},
      {Kind::weeklyNote, 1767225600.1, "weeklyNote-1767225600.1"},  // not 1767225600.0999999
      {Kind::accessoryLow, -1.5, "accessoryLow--1.5"},
      {Kind::hot, 1e9, "hot-1000000000.0"},  // round numbers are written out, not "1e+09"
      {Kind::hot, -1e9, "hot--1000000000.0"},  // before 1970
      {Kind::limitUnavailable, 1e16, "limitUnavailable-10000000000000000.0"},
  };
  for (const auto& c : cases) {
    const auto id = BatteryAlert{c.kind, dateFromSecondsSince1970(c.seconds), "Title", "Body", std::nullopt}.id();
    EXPECT_EQ(id, c.id) << c.seconds;
    const auto seconds = id.substr(BatteryAlert::rawValue(c.kind).size() + 1);
    EXPECT_EQ(std::stod(seconds), c.seconds) << id << " does not read back";
  }
}

}  // namespace
}  // namespace batterycore
