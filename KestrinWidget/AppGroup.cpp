#include "KestrinWidget/AppGroup.hpp"

#include "KestrinWidget/SharedPreferencesPosix.hpp"
#include "KestrinWidget/SystemNotificationsPosix.hpp"

namespace kestrin::widget {

namespace {

std::optional<std::string_view> nonEmpty(std::optional<std::string_view> value) {
  return value && !value->empty() ? value : std::nullopt;
}

// Without a folder nothing can be posted or heard.
class SilentNotifications final : public SystemNotifications {
 public:
  void post(std::string_view) override {}
  std::unique_ptr<NotificationListener> listen(std::string_view) override { return nullptr; }
};

}  // namespace

AppGroup AppGroup::inFolder(std::optional<std::filesystem::path> folder) {
  AppGroup group;
  group.container = std::make_shared<FolderContainer>(folder);
  if (folder) {
    group.preferences = std::make_shared<FileSharedPreferences>(*folder / kPreferencesFolderName);
    group.notifications = std::make_shared<SocketNotifications>(*folder);
  } else {
    group.notifications = std::make_shared<SilentNotifications>();
  }
  return group;
}

std::optional<std::filesystem::path> groupFolderFrom(std::optional<std::string_view> groupDir,
                                                     std::optional<std::string_view> stateHome,
                                                     std::optional<std::string_view> home) {
  if (const auto dir = nonEmpty(groupDir)) return std::filesystem::path(*dir);
  if (const auto state = nonEmpty(stateHome); state && std::filesystem::path(*state).is_absolute()) {
    return std::filesystem::path(*state) / "kestrin" / "group";
  }
  if (const auto dir = nonEmpty(home)) return std::filesystem::path(*dir) / ".local" / "state" / "kestrin" / "group";
  return std::nullopt;
}

}  // namespace kestrin::widget
