// `kestrin departures` on the sample ledger in tests/data: eight weeks of
// weekday unplugs around 08:20 in Berlin, a few scattered Sundays, two
// Saturdays, a night-time unplug, second unplugs later in the day and one
// unplug from long before the eight weeks.
#include "tests/common/ToolRun.hpp"

#include <fstream>

namespace batterycore::testing {
namespace {

using ::testing::HasSubstr;
using DeparturesCommand = ToolTest;

TEST_F(DeparturesCommand, TellsWhatWasLearnedAndTheNextDeparture) {
  const std::string ledger = "departures " KESTRIN_TEST_DATA_DIR "/departures-ledger.json";
  const std::string sundayEvening = " --now 2026-03-01T19:00:00Z --tz Europe/Berlin";  // 20:00 in Berlin
  const std::string empty = ::testing::TempDir() + "departures-empty.json";
  std::ofstream(empty) << "{}\n";
  expectRuns({
      {ledger + sundayEvening + " --locale en_US", 0,
       "Before you usually leave\nSundays: no usual time yet. Weekdays around 8:15 AM, Saturdays: not enough days "
       "yet.\n\nNext departure: tomorrow at 8:20 AM\nTops up to 100% before you leave at 8:20 AM.\n"},
      {ledger + sundayEvening + " --locale en_US --level technical", 0,
       "Before you usually leave\nSundays: 5 days, more than 45 min apart. Mondays at 8:20 AM, from 8 days. "
       "Tuesdays at 8:20 AM, from 8 days. Wednesdays at 8:20 AM, from 8 days. Thursdays at 8:20 AM, from 8 days. "
       "Fridays at 8:20 AM, from 8 days. Saturdays: 2 of 4 days needed. First unplug recorded 90 days ago.\n\n"
       "Next departure: tomorrow at 8:20 AM\nTop-up starts around 6:50 AM for the 8:20 AM departure.\n"},
      // Monday after the departure looks to Tuesday.
      {ledger + " --now 2026-03-02T08:00:00Z --tz Europe/Berlin --locale en_US", 0,
       HasSubstr("Next departure: tomorrow at 8:20 AM\n")},
      {ledger + sundayEvening + " --locale de_DE", 0,
       HasSubstr("Werktags gegen 08:15, Samstags: noch nicht genug Tage. Sonntags: noch keine übliche Zeit.\n")},
      {"departures " + empty + sundayEvening + " --locale en_US", 0,
       "Before you usually leave\nNothing learned yet. It takes about 4 weeks of unplugging at similar times.\n"},
      {ledger + " --tz Mars/Olympus_Mons", 2, "kestrin: --tz Mars/Olympus_Mons is not a time zone\n"},
  });
  std::remove(empty.c_str());
}

}  // namespace
}  // namespace batterycore::testing
