#include "KestrinWidget/Identifiers.hpp"

namespace kestrin::widget {

std::string appGroupIdentifier(std::string_view teamIdentifier, std::string_view bundleIdentifier) {
  return std::string(teamIdentifier) + "." + std::string(bundleIdentifier);
}

std::string controlNotificationName(std::string_view bundleIdentifier) {
  return std::string(bundleIdentifier) + ".control";
}

std::string controlKind(std::string_view bundleIdentifier) {
  return std::string(bundleIdentifier) + ".limit";
}

}  // namespace kestrin::widget
