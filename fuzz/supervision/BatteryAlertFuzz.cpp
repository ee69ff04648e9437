// Any bytes as one alert, and the alerts list ("alerts.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

#include <vector>

KESTRIN_JSON_DECODER_FUZZ(batterycore::BatteryAlert, std::vector<batterycore::BatteryAlert>)
