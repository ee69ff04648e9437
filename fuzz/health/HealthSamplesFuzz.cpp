// Any bytes as the health samples ("health.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/health/HealthTrend.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

#include <vector>

KESTRIN_JSON_DECODER_FUZZ(std::vector<batterycore::HealthTrend::Sample>)
