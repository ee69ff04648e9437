// Any bytes as the background-drain rule's state ("drain.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/health/BackgroundDrain.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::BackgroundDrain)
