// `kestrin accessories` over captured power-supply folders: what a person
// reads, in English and German.
#include "tests/common/ToolRun.hpp"

namespace batterycore::testing {
namespace {

using AccessoriesCommand = ToolTest;

const std::string kSysfs = " --sysfs " KESTRIN_TEST_DATA_DIR "/sysfs/";

TEST_F(AccessoriesCommand, ListsEachBatteryOrSaysThereIsNone) {
  expectRuns({
      {"accessories --locale en_US" + kSysfs + "accessories-desk", 0,
       "Accessories\n\n  ELAN Touchscreen     Battery level unknown\n  Hanvon Ugee Deco LW  Battery level unknown\n"
       "  K800                 Plenty left\n  Performance MX       Fine\n\n"
       "You'll get an alert when one is down to 10%.\n"},
      {"accessories --locale de_DE" + kSysfs + "peripherals-only", 0,
       "Zubehör\n\n  applemagictrackpad          100\u00A0%  Noch reichlich\n"
       "  Hanvon Ugee Deco LW          40\u00A0%  Gut\n  Wireless Mouse MX Master 3         Noch reichlich\n\n"
       "Du bekommst einen Hinweis, sobald ein Gerät nur noch 10\u00A0% hat.\n"},
      // The technical level names each power supply.
      {"accessories --locale en_US --level technical" + kSysfs + "accessories-tablet-160", 0,
       ::testing::HasSubstr("\n  Hanvon Ugee Deco LW  Battery level unknown  hid-28bd-935-battery\n\n")},
      {"accessories --locale en_US" + kSysfs + "legion-go-s", 0,
       "Accessories\n\nNo mouse, keyboard or trackpad with a battery is connected.\n"},
  });
}

}  // namespace
}  // namespace batterycore::testing
