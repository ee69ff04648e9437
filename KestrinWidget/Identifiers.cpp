#include "KestrinWidget/Identifiers.hpp"

namespace kestrin::widget {

std::string controlNotificationName(std::string_view bundleIdentifier) {
  return std::string(bundleIdentifier) + ".control";
}

std::string controlKind(std::string_view bundleIdentifier) {
  return std::string(bundleIdentifier) + ".limit";
}

}  // namespace kestrin::widget
