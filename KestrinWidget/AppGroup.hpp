// AppGroup: what the application, the widget and the control share — a
// container folder, preferences and a wake-up notification — as this platform
// provides them.
//
//   AppGroup group = AppGroup::open();                 // the platform's own group
//   AppGroup test = AppGroup::inFolder("/tmp/group");   // files, preferences and sockets in one folder
//   test.preferences->setData("widget.snapshot", "{}");   // -> /tmp/group/Preferences/widget.snapshot
//
// open() is the one place that asks the environment where the group lives;
// everything else takes an AppGroup (or one of its parts) as an argument.
#pragma once

#include "KestrinWidget/SharedContainer.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/SystemNotifications.hpp"

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

namespace kestrin::widget {

struct AppGroup {
  std::shared_ptr<SharedContainer> container;          // never null; its folder may be absent
  std::shared_ptr<SharedPreferences> preferences;      // null when they cannot be opened
  std::shared_ptr<SystemNotifications> notifications;  // never null

  // Apple: the signed group's container, its preferences suite and Darwin
  // notifications. Elsewhere: inFolder(the folder groupFolderFrom names).
  static AppGroup open();

  // A group kept in one folder: the container is the folder, preferences are
  // files in its "Preferences" folder and notifications are sockets in it.
  // Without a folder there is no container and no preferences.
  static AppGroup inFolder(std::optional<std::filesystem::path> folder);
};

// The name of the preferences folder inside a folder-kept group.
inline constexpr std::string_view kPreferencesFolderName = "Preferences";

// Where a folder-kept group lives: $KESTRIN_GROUP_DIR, else
// $XDG_STATE_HOME/kestrin/group, else $HOME/.local/state/kestrin/group.
// Empty values count as unset, and a relative XDG_STATE_HOME is ignored as
// the XDG rules ask. Absent when none of them helps.
std::optional<std::filesystem::path> groupFolderFrom(std::optional<std::string_view> groupDir,
                                                     std::optional<std::string_view> stateHome,
                                                     std::optional<std::string_view> home);

}  // namespace kestrin::widget
