// What every kestrin command shares: switching the language for --locale and
// the system's time zone for commands that default to it.
#pragma once

#include <iosfwd>
#include <string>

namespace kestrin::tool {

// Sets ICU's default locale (the language of every text and number); an
// empty name keeps the process's own. False, with a line on `err`, for a name
// that is not a locale.
bool useLocale(const std::string& name, std::ostream& err);

// The IANA name of the system's time zone ("Europe/Berlin").
std::string systemTimeZone();

}  // namespace kestrin::tool
