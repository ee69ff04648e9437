// Any bytes as a battery reading as the tick record and the trace files hold it:
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::BatterySnapshot)
