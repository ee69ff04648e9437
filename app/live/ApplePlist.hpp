// ApplePlist: the battery's registry properties from the XML property list
// that `ioreg -a -r -n AppleSmartBattery` prints, as a Json tree.
//
//   auto tree = parseApplePlist(
//       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
//       "<plist version=\"1.0\"><array><dict>\n"
//       "  <key>Amperage</key><integer>-1889</integer>\n"
//       "  <key>ExternalConnected</key><false/>\n"
//       "</dict></array></plist>\n");
//   tree["Amperage"] == -1889
//   tree["ExternalConnected"] == false
//
// The top level is an array of the matching entries (the first is taken) or
// one dictionary. Values become: <integer> a number, signed as written (the
// property list library keeps integers as unsigned 64-bit, so anything above
// the signed range was written negative and is stored negative again);
// <real> a double; <true/>/<false/> booleans; <string> text, which must be
// UTF-8; <data> the text "<00a1ff>" as in the ioreg text form; <date> seconds
// since 1970. Containers nest at most kPlistMaxDepth deep; deeper input is
// refused before the library reads it, and so is text with a NUL character
// (which XML never holds, and on which the library stops the program).
//
// Invalid XML, an empty array or a top level that is neither throws
// DecodingError. The library does not say where XML goes wrong, so neither
// does the error, and it reads some damaged numbers (`<integer>x1</integer>`)
// as 0 rather than failing.
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <string_view>

namespace kestrin::app::live {

inline constexpr int kPlistMaxDepth = 64;

batterycore::Json parseApplePlist(std::string_view xml);

}  // namespace kestrin::app::live
