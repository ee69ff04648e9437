// Any bytes as the accessory rule's state ("accessories.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/health/AccessoryRule.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::AccessoryRule)
