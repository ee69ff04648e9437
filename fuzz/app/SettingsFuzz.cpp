// Any bytes as the settings ("settings.json") and a full charge's options:
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "app/Settings.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(kestrin::app::Settings, kestrin::app::FullChargeOptions)
