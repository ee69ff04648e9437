// Any bytes as the text `ioreg -r -n AppleSmartBattery` prints, through
// parseIoregText. It reads a tree or throws DecodingError; a tree it returns
// must be writable as JSON (the diagnostics and captures write it out).
#include "app/live/IoregText.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"
#include "fuzz/Finding.hpp"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  batterycore::Json tree;
  try {
    tree = kestrin::app::live::parseIoregText(text);
  } catch (const batterycore::DecodingError&) {
    return 0;
  }
  try {
    (void)tree.dump();
  } catch (const std::exception& error) {
    kestrin::fuzz::finding("parseIoregText", std::string("the tree cannot be written as JSON: ") + error.what());
  }
  return 0;
}
