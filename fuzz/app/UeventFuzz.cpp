// Any bytes as a power supply's sysfs `uevent` file, through Uevent::parse,
// then every attribute read as text and as a number, as the sysfs battery
// and accessory readers do. The parser never fails; it keeps what it
// understands.
#include "app/live/Uevent.hpp"
#include "fuzz/Finding.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrin::app::live::Uevent;
  const auto supply = Uevent::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  for (const auto& [name, value] : supply.attributes()) {
    if (supply.text(name) != value) kestrin::fuzz::finding("Uevent::parse", "attribute \"" + name + "\" is lost");
    (void)supply.integer(name);
  }
  return 0;
}
