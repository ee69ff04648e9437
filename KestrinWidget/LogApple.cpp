#ifdef __APPLE__

#include "KestrinWidget/Identifiers.hpp"
#include "KestrinWidget/Log.hpp"

#include <os/log.h>

#include <string>

namespace kestrin::widget {

void logNote(std::string_view message) {
  static const os_log_t log = os_log_create(std::string(kBundleIdentifier).c_str(), "widget");
  const std::string text(message);
  os_log_with_type(log, OS_LOG_TYPE_DEFAULT, "%{public}s", text.c_str());
}

}  // namespace kestrin::widget

#endif  // __APPLE__
