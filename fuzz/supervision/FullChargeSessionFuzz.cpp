// Any bytes as the running full charge ("session.json", null when none runs):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "app/MonitorRecords.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(kestrin::app::OptionalSession, batterycore::FullChargeSession)
