#ifndef __APPLE__

#include "KestrinWidget/Log.hpp"

#include <syslog.h>

namespace kestrin::widget {

void logNote(std::string_view message) {
  ::syslog(LOG_USER | LOG_INFO, "kestrin-widget: %.*s", static_cast<int>(message.size()), message.data());
}

}  // namespace kestrin::widget

#endif  // __APPLE__
