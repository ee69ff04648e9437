// Any bytes as the weekly note's state ("weekly.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/health/WeeklyNote.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::WeeklyNote)
