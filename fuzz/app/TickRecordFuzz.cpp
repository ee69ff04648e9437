// Any bytes as the monitor's tick record ("monitor.json": the last reading, the widget snapshot written):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "app/MonitorRecords.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(kestrin::app::TickRecord)
