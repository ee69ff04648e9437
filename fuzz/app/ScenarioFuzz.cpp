// Any bytes as a scenario file for the simulator: parsed as JSON, decoded with
// Scenario::fromJson, and read back from its own encoding (see
// JsonDecoderFuzz.hpp; a scenario has no ==, so the encodings are compared).
#include "app/simulation/Scenario.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(kestrin::app::simulation::Scenario)
