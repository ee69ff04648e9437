#include "tools/kestrin/CommandSupport.hpp"

#include <unicode/errorcode.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <memory>
#include <ostream>

namespace kestrin::tool {

bool useLocale(const std::string& name, std::ostream& err) {
  if (name.empty()) return true;
  const icu::Locale locale(name.c_str());
  if (locale.isBogus()) {
    err << "kestrin: " << name << " is not a locale\n";
    return false;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(locale, status);
  if (U_FAILURE(status)) {
    err << "kestrin: cannot switch to " << name << ": " << u_errorName(status) << "\n";
    return false;
  }
  return true;
}

std::string systemTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  std::string name;
  id.toUTF8String(name);
  return name;
}

}  // namespace kestrin::tool
