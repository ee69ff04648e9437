// The group on Apple systems: the signed application group's container,
// preferences suite and Darwin notifications. Other systems use
// AppGroupPosix.cpp.
#ifdef __APPLE__

#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/Identifiers.hpp"
#include "KestrinWidget/SharedPreferencesApple.hpp"
#include "KestrinWidget/SystemNotificationsApple.hpp"

#include <pwd.h>
#include <unistd.h>

#include <string>

// The signing team's prefix comes from the build (KESTRIN_TEAM_IDENTIFIER);
// without one the group is named "group." plus the bundle identifier.
#ifndef KESTRIN_TEAM_IDENTIFIER
#define KESTRIN_TEAM_IDENTIFIER ""
#endif

namespace kestrin::widget {

namespace {

std::string groupIdentifier() {
  constexpr std::string_view team = KESTRIN_TEAM_IDENTIFIER;
  return team.empty() ? appGroupIdentifier("group") : appGroupIdentifier(team);
}

// Where the system keeps every group's container, also for a sandboxed
// extension, whose HOME points into its own sandbox: the account's real home.
std::optional<std::filesystem::path> groupContainer(const std::string& group) {
  const passwd* account = ::getpwuid(::getuid());
  if (account == nullptr || account->pw_dir == nullptr) return std::nullopt;
  return std::filesystem::path(account->pw_dir) / "Library" / "Group Containers" / group;
}

}  // namespace

AppGroup AppGroup::open() {
  const std::string group = groupIdentifier();
  AppGroup result;
  result.container = std::make_shared<FolderContainer>(groupContainer(group));
  result.preferences = std::make_shared<SuitePreferences>(group);
  result.notifications = std::make_shared<DarwinNotifications>();
  return result;
}

}  // namespace kestrin::widget

#endif  // __APPLE__
