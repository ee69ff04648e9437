// Any bytes as the widget snapshot file ("snapshot.json", or the preferences
// copy under "widget.snapshot"): through WidgetSnapshot::decoded, which the
// widget reads with, and through the JSON decoder with its round trip (see
// JsonDecoderFuzz.hpp). A snapshot that reads must read back the same from
// the bytes the application writes for it.
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "fuzz/Finding.hpp"
#include "fuzz/JsonDecoderFuzz.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrin::widget::WidgetSnapshot;
  const auto snapshot = WidgetSnapshot::decoded(std::string_view(reinterpret_cast<const char*>(data), size));
  if (snapshot) {
    const std::string bytes = snapshot->encoded();
    if (WidgetSnapshot::decoded(bytes) != snapshot) {
      kestrin::fuzz::finding("WidgetSnapshot::decoded", "does not read back its own bytes: " + bytes);
    }
  }
  return kestrin::fuzz::fuzzJsonDecoders<WidgetSnapshot>(data, size);
}
