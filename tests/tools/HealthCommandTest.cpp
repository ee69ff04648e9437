// `kestrin health` and `kestrin habits` on the samples and the ledger in
// tests/data: the battery's wear, where it is heading, and its days at high
// charge.
#include "tests/common/ToolRun.hpp"

namespace batterycore::testing {
namespace {

using namespace ::testing;
using HealthCommand = ToolTest;

const std::string kData = KESTRIN_TEST_DATA_DIR "/";
const std::string kPinned = " --tz UTC --locale en_US --now 2026-03-01T12:00:00Z";

TEST_F(HealthCommand, ShowsHealthItsProjectionAndTheHabits) {
  expectRuns({
      {"health " + kData + "health-samples.json" + kPinned, 0,
       "Battery health\n\n92% health\nYour battery holds 92% of what it did new. Normal wear, nothing to do.\n\n"
       "At this pace, about 10 months until 80%, when Apple recommends a battery service. Keeping the limit on "
       "slows this down.\nA rough guess from your last few months.\n"},
      {"health " + kData + "health-samples.json --level technical" + kPinned, 0,
       AllOf(HasSubstr("Full charge capacity is 92% of design.\n"),
             HasSubstr("\nLosing about 1.2 points a month over the last 90 days: about 10 months until 80%."))},
      {"health " + kData + "health-samples-short.json" + kPinned, 0,
       AllOf(HasSubstr("\nToo early to project. Check back in a month.\n"), Not(HasSubstr("A rough guess")))},
      {"habits " + kData + "high-charge-ledger.json --month 2026-03" + kPinned, 0,
       AllOf(StartsWith("Time at high charge\nMarch 2026\n\n11 h above 80% this month\nLast month it was 77 h. You "
                        "were plugged in for 41 h. Without a limit, most of that would have been spent at 100%"),
             HasSubstr("\nHours above 80% each day this month\n  2026-03-01  Above 80% 53 min, Plugged in 4 h\n"),
             HasSubstr("\n  2026-03-10  Above 80% 1 h, Plugged in 4 h\n\nAbove 80% is where a battery starts to age "
                       "faster, so that's what gets counted, whatever your limit is set to.\n"))},
      {"habits " + kData + "high-charge-ledger.json --month 2026-02 --level technical" + kPinned, 0,
       HasSubstr("First month of history.")},
      // A ledger is not samples; the other refusals are in BadInputTest.
      {"health " + kData + "high-charge-ledger.json", 1, HasSubstr("missing key \"samples\"")},
      {"health " + kData + "health-samples.json --now yesterday", 2, HasSubstr("--now yesterday is not an ISO")},
      {"habits " + kData + "high-charge-ledger.json --tz Mars/Olympus", 2, HasSubstr("Mars/Olympus is not a time")},
  });
}

}  // namespace
}  // namespace batterycore::testing
