// Any bytes as one file of the state folder, read the way StateStore reads
// every file: parsed as JSON, then decoded as each state Monitor::readState
// loads and as the settings, whichever the file happens to be, and read back
// from its own encoding (see JsonDecoderFuzz.hpp).
#include "app/Monitor.hpp"
#include "app/MonitorRecords.hpp"
#include "app/Settings.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

#include <vector>

using namespace batterycore;
using namespace kestrin::app;

KESTRIN_JSON_DECODER_FUZZ(TickRecord, LimitWatchdog, CalibrationDetector, OptionalSession, DepartureLedger, SmartTopUp,
                          CalendarTrigger, HighChargeLedger, std::vector<HealthTrend::Sample>, OptionalMilestone,
                          WeakChargerRule, ChargerMemory, WeeklyNote, BackgroundDrain, AccessoryRule, AlertPolicy,
                          std::vector<BatteryAlert>, Settings)
