// `kestrin alerts`: every kind of alert, its switch and what it is for.
#include "tests/common/ToolRun.hpp"

namespace batterycore::testing {
namespace {

using namespace ::testing;
using AlertsCommand = ToolTest;

TEST_F(AlertsCommand, ListsEveryKindWithItsSwitchAndPacing) {
  expectRuns({
      {"alerts --locale en_US", 0,
       AllOf(StartsWith("Kestrin alerts (Simple)\n\nlimitNotHolding  [On]\n  Limit not holding\n  When the battery "
                        "charges past your limit.\n  The limit is on"),
             HasSubstr("\nfullChargeRestored  [Off]\n  Limit back on after a full charge\n"),
             HasSubstr("\nlimitTurnedOn\n  Charge limit back on\n  Shown in the alerts list only.\n"),
             HasSubstr("\nlimitUnavailable\n  Charge limit unavailable\n  Shown in the alerts list only.\n  macOS "
                       "isn't reporting"))},
      {"alerts --locale en_US --level technical", 0,
       AllOf(StartsWith("Kestrin alerts (Technical)\nat most one notification every 1 min, none within 2 min after "
                        "wake\n\nlimitNotHolding  [On]  cooldown 12 h\n"),
             HasSubstr("\nlimitTurnedOn  list only\n"))},
      {"alerts --level expert", 2, HasSubstr("--level: expert")},
  });
}

}  // namespace
}  // namespace batterycore::testing
