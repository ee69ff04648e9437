// The group on systems without application groups: a folder found through
// the environment. Apple systems use AppGroupApple.cpp instead.
#ifndef __APPLE__

#include "KestrinWidget/AppGroup.hpp"

#include <cstdlib>

namespace kestrin::widget {

namespace {

std::optional<std::string_view> environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::optional<std::string_view>(value) : std::nullopt;
}

}  // namespace

AppGroup AppGroup::open() {
  return inFolder(groupFolderFrom(environment("KESTRIN_GROUP_DIR"), environment("XDG_STATE_HOME"),
                                  environment("HOME")));
}

}  // namespace kestrin::widget

#endif  // __APPLE__
