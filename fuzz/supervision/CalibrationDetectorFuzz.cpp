// Any bytes as the calibration detector's state ("calibration.json"):
// parsed as JSON, decoded, and read back from its own encoding (see
// JsonDecoderFuzz.hpp).
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

KESTRIN_JSON_DECODER_FUZZ(batterycore::CalibrationDetector)
