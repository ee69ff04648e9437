// Any bytes as an ISO 8601 date-time through parseIso8601, the reader of every
// date in our files. A text it reads must come back the same when written out
// with toIso8601 and read again (both keep milliseconds), so a saved date
// never turns into another one or into one that cannot be read.
#include "BatteryCore/foundation/Date.hpp"
#include "fuzz/Finding.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto date = batterycore::parseIso8601(text);
  if (!date) return 0;
  const std::string written = batterycore::toIso8601(*date);
  const auto again = batterycore::parseIso8601(written);
  if (!again) kestrin::fuzz::finding("parseIso8601", "cannot read back \"" + written + "\"");
  if (*again != *date) {
    kestrin::fuzz::finding("parseIso8601", "\"" + written + "\" reads back as \"" +
                                               batterycore::toIso8601(*again) + "\"");
  }
  return 0;
}
