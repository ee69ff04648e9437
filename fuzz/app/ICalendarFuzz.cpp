// Any bytes as the text of one .ics file, through readCalendarText (which the
// calendar folder reader uses for every file), over March 2026 in Berlin. A
// damaged file is named in the errors, never thrown; every occurrence read
// starts before the span ends.
#include "app/live/ICalendarFiles.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "fuzz/Finding.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto calendar = batterycore::Calendar::gregorian("Europe/Berlin", "de_DE");
  static const auto from = *batterycore::parseIso8601("2026-03-01T00:00:00+01:00");
  static const auto to = *batterycore::parseIso8601("2026-04-01T00:00:00+02:00");
  const auto reading = kestrin::app::live::readCalendarText(
      std::string_view(reinterpret_cast<const char*>(data), size), "fuzz.ics", from, to, calendar);
  for (const auto& event : reading.events) {
    if (event.start >= to) kestrin::fuzz::finding("readCalendarText", "an event starts after the span");
  }
  return 0;
}
