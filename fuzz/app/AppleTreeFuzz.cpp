// Any bytes as a saved ioreg dump: the text, XML and JSON readers, then the
// mapping to a reading. Each input is read or refused with DecodingError;
// nothing else may escape, crash or hang.
#include "app/live/AppleBatteryProperties.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const auto tree = kestrin::app::live::appleTreeFromText(text);
    (void)kestrin::app::live::snapshotFromAppleProperties(tree, batterycore::Date{},
                                                          batterycore::LimitState::off());
  } catch (const batterycore::DecodingError&) {
  }
  return 0;
}
