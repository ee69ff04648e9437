// Any bytes as the smart top-up's state ("smartTopUp.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/departures/SmartTopUp.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::SmartTopUp)
