// IoregText: the battery's registry properties from the text that
// `ioreg -r -n AppleSmartBattery` (or `ioreg -rk BatterySerialNumber -l -w0`)
// prints, as a Json tree.
//
//   auto tree = parseIoregText(
//       "+-o AppleSmartBattery  <class AppleSmartBattery, id 0x1000009b3, registered>\n"
//       "    {\n"
//       "      \"CurrentCapacity\" = 80\n"
//       "      \"Amperage\" = 18446744073709551133\n"
//       "      \"ChargerData\" = {\"NotChargingReason\"=16777216,\"Flags\"=(1,2)}\n"
//       "      \"ExternalConnected\" = Yes\n"
//       "    }\n");
//   tree["CurrentCapacity"] == 80
//   tree["Amperage"] == 18446744073709551133u        // as printed; the mapping signs it
//   tree["ChargerData"]["Flags"][1] == 2
//   tree["ExternalConnected"] == true
//
// Lines, after any leading spaces, tabs and `|` tree-drawing characters:
//   `+-o Name  <class ...>`  an entry header. The tree is the properties of the
//                            first AppleSmartBattery entry (by name or class);
//                            everything before its header belongs to other
//                            entries (or to the terminal) and is not read, and
//                            reading stops at its closing `}` or the next header.
//   `{` and `}`              the entry's block. Either may be missing: grep-filtered
//                            dumps keep only the `"Key" = value` lines, and then
//                            every non-blank line must be one.
//   `"Key" = value`          one property. A repeated key keeps its last value.
//
// Values are read strictly:
//   {"A"=1,"B"="x"}  dictionary       (1,2,{...})  array
//   Yes / No         boolean          "text"       string, no escapes (ioreg
//                                                  writes the characters as
//                                                  they are); must be UTF-8
//   123, 0x7b        unsigned 64-bit number. ioreg prints signed values as
//                    their two's complement (-483 as 18446744073709551133);
//                    the tree keeps the number as printed.
//   <00a1ff>         data, kept as the text "<00a1ff>" (lower case), the way
//                    the published JSON dumps mark data as "<data: N bytes>".
//                    One capture masked by hand has an odd digit count; the
//                    digits are kept as written.
//   (nothing)        a value ioreg cannot print (floats: `"AdapterPower"=,`)
//                    is null.
// Anything else throws DecodingError whose reason starts with "line L, column
// C:" and whose path names the property. Containers nest at most
// kIoregMaxDepth deep, so hostile input cannot exhaust the stack.
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <string_view>

namespace kestrin::app::live {

inline constexpr int kIoregMaxDepth = 64;

// The properties of the first AppleSmartBattery entry, or of the key lines of
// a dump without headers. Throws DecodingError when a line or value is not
// ioreg's syntax, when there is no property at all, or when the text has entry
// headers but none for AppleSmartBattery.
batterycore::Json parseIoregText(std::string_view text);

// Whether `text` is well-formed UTF-8; the Apple front ends refuse strings that
// are not, so every tree they return can be written out as JSON.
bool isWellFormedUtf8(std::string_view text);

}  // namespace kestrin::app::live
