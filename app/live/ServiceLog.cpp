#include "app/live/ServiceLog.hpp"

#ifdef __APPLE__
#include "KestrinWidget/Identifiers.hpp"

#include <os/log.h>

#include <string>
#else
#include <syslog.h>
#endif

namespace kestrin::app::live {

void logServiceLine(std::string_view message, bool warning) {
#ifdef __APPLE__
  static const os_log_t log = os_log_create(std::string(widget::kBundleIdentifier).c_str(), "service");
  const std::string text(message);
  os_log_with_type(log, warning ? OS_LOG_TYPE_ERROR : OS_LOG_TYPE_DEFAULT, "%{public}s", text.c_str());
#else
  ::syslog(LOG_USER | (warning ? LOG_WARNING : LOG_INFO), "kestrin: %.*s", static_cast<int>(message.size()),
           message.data());
#endif
}

}  // namespace kestrin::app::live
