// `kestrin explain` on the readings in tests/data/explain: the attention, the
// widget's tone and every line a person reads about one reading.
#include "tests/common/ToolRun.hpp"

namespace batterycore::testing {
namespace {

using namespace ::testing;
using ExplainCommand = ToolTest;

const std::string kData = KESTRIN_TEST_DATA_DIR "/explain/";

TEST_F(ExplainCommand, SaysWhatAReadingMeans) {
  expectRuns({
      {"explain " + kData + "charging.json --locale en_US --time-zone UTC", 0,
       "attention: phase(charging(to: 80)), tone charging\nwidget tone: charging\nheadline: Charging to 80%\n"
       "detail: It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick.\n"
       "why: Why is it charging?\nbanner: none\n"},
      {"explain " + kData + "charging.json --level technical --locale de_DE --time-zone UTC", 0,
       HasSubstr("headline: Lädt auf 80\u00A0%\ndetail: Lädt bis zum Limit von 80\u00A0%, 18 W fließen in die "
                 "Batterie. macOS schätzt noch 35 min")},
      // A top-up from an older session file.
      {"explain " + kData + "topping-up.json --session " + kData +
           "smart-session.json --locale en_US --time-zone Europe/Berlin",
       0,
       HasSubstr("attention: fullCharge, tone charging\nwidget tone: charging\nheadline: Charging to 100%\ndetail: "
                 "Topping up for your 8:30 AM departure. The limit comes back on when you unplug or tomorrow at "
                 "8:30 AM.\n")},
      {"explain " + kData + "not-holding.json --watchdog " + kData +
           "watchdog-not-holding.json --locale en_US --time-zone UTC",
       0,
       "attention: notHolding(limit: 80), tone calibrating, marker alert\nwidget tone: alert\n"
       "headline: Limit not holding\ndetail: The battery is at 86% and still charging past your 80% limit.\n"
       "why: Why is it charging?\nbanner: Limit not holding\nbanner detail: The battery keeps charging past your "
       "80% limit. If it goes on, check System Settings > Battery.\n"},
      // A session file is not a reading.
      {"explain " + kData + "smart-session.json", 1, HasSubstr("smart-session.json: amperageMilliA: missing key")},
      {"explain " + kData + "charging.json --level expert", 2, HasSubstr("--level: expert")},
  });
}

}  // namespace
}  // namespace batterycore::testing
