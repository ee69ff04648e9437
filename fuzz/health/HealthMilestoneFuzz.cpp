// Any bytes as the last health milestone ("milestone.json", null when none):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "app/MonitorRecords.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(kestrin::app::OptionalMilestone, batterycore::HealthMilestone)
