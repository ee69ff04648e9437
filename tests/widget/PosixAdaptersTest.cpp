// The group on systems without application groups: a folder found through
// the environment, preferences as one private file per key, and notifications
// as datagrams on a socket per name.
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "KestrinWidget/SharedPreferencesPosix.hpp"
#include "KestrinWidget/SystemNotificationsPosix.hpp"

#include "WidgetFakes.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

namespace kestrin::widget {
namespace {

using batterycore::Seconds;
using namespace std::string_view_literals;

TEST(GroupFolder, FollowsTheEnvironmentsOrder) {
  struct Case {
    std::optional<std::string_view> groupDir, stateHome, home;
    std::optional<std::filesystem::path> folder;
  };
  const Case cases[] = {
      {"/tmp/g", "/state", "/home/ana", "/tmp/g"},
      {"", "/state", "/home/ana", "/state/kestrin/group"},
      {std::nullopt, "relative/state", "/home/ana", "/home/ana/.local/state/kestrin/group"},
      {std::nullopt, "", "/home/ana", "/home/ana/.local/state/kestrin/group"},
      {std::nullopt, std::nullopt, "/home/ana", "/home/ana/.local/state/kestrin/group"},
      {std::nullopt, std::nullopt, "", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(groupFolderFrom(c.groupDir, c.stateHome, c.home), c.folder)
        << c.groupDir.value_or("-") << " " << c.stateHome.value_or("-") << " " << c.home.value_or("-");
  }
  const AppGroup nowhere = AppGroup::inFolder(std::nullopt);
  EXPECT_EQ(nowhere.container->folder(), std::nullopt);
  EXPECT_EQ(nowhere.preferences, nullptr);
  nowhere.notifications->post("app.kestrin.control");  // lost, harmlessly
  EXPECT_EQ(nowhere.notifications->listen("app.kestrin.control"), nullptr);
}

TEST(FileSharedPreferences, KeepsBytesAndDictionariesOneFilePerKey) {
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  EXPECT_EQ(group.container->folder(), folder.path());
  SharedPreferences& preferences = *group.preferences;
  EXPECT_EQ(preferences.data("widget.snapshot"), std::nullopt);
  EXPECT_EQ(preferences.dictionary("control.request"), std::nullopt);

  const std::string bytes("raw\0bytes\n", 10);
  ASSERT_TRUE(preferences.setData("widget.snapshot", bytes));
  EXPECT_EQ(readWholeFile(folder.path() / "Preferences" / "widget.snapshot"), bytes);
  EXPECT_EQ(preferences.data("widget.snapshot"), bytes);
  EXPECT_EQ(preferences.dictionary("widget.snapshot"), std::nullopt);  // not a dictionary

  // 1767225600.0 stays a double and 3 an integer.
  const PreferenceDictionary dictionary{
      {"on", true}, {"at", 1767225600.0}, {"count", std::int64_t{3}}, {"refusal", std::string("Not now.")}};
  ASSERT_TRUE(preferences.setDictionary("control.applied", dictionary));
  EXPECT_EQ(preferences.dictionary("control.applied"), dictionary);
  ASSERT_TRUE(preferences.setDictionary("control.applied", {{"on", false}, {"at", 0.5}}));
  EXPECT_EQ(preferences.dictionary("control.applied"), (PreferenceDictionary{{"on", false}, {"at", 0.5}}));
  // No temporaries left behind.
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path() / "Preferences")) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"control.applied", "widget.snapshot"}));

  for (const auto key : {""sv, "."sv, ".hidden"sv, "a/b"sv, "../escape"sv, "a\0b"sv}) {
    EXPECT_FALSE(preferences.setData(key, "x")) << key;
    EXPECT_EQ(preferences.data(key), std::nullopt) << key;
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "escape"));

  for (const char* text : {"", "[]", R"({"on":[true]})", R"({"on":{"nested":1}})", R"({"on":null})", "{",
                           R"({"big":18446744073709551615})"}) {
    EXPECT_EQ(decodePreferenceDictionary(text), std::nullopt) << text;
  }
  EXPECT_EQ(decodePreferenceDictionary("{}"), PreferenceDictionary{});
}

TEST(FileSharedPreferences, IgnoresWhatAnotherUserCouldHavePlantedOrChanged) {
  testing::TemporaryFolder folder;
  FileSharedPreferences preferences(folder.path() / "Preferences");
  ASSERT_TRUE(preferences.setData("request.chargeFull", R"({"at":1})"));
  const auto file = folder.path() / "Preferences" / "request.chargeFull";
  ASSERT_TRUE(preferences.data("request.chargeFull"));

  ::chmod(file.c_str(), 0666);
  EXPECT_EQ(preferences.data("request.chargeFull"), std::nullopt) << "writable by others";
  ::chmod(file.c_str(), 0600);

  const auto elsewhere = folder.path() / "planted";
  std::ofstream(elsewhere) << R"({"at":2})";
  std::filesystem::create_symlink(elsewhere, folder.path() / "Preferences" / "request.limit");
  EXPECT_EQ(preferences.dictionary("request.limit"), std::nullopt) << "a symbolic link";
  std::filesystem::create_directory(folder.path() / "Preferences" / "request.folder");
  EXPECT_EQ(preferences.data("request.folder"), std::nullopt) << "not a regular file";
  ASSERT_TRUE(preferences.setData("big", std::string(kMaxOwnFileBytes + 1, ' ')));
  EXPECT_EQ(preferences.data("big"), std::nullopt) << "larger than 64 KB";

  if (::geteuid() == 0) {  // only root can hand a file to someone else
    ASSERT_EQ(::chown(file.c_str(), 65534, 65534), 0);
    EXPECT_EQ(preferences.data("request.chargeFull"), std::nullopt) << "owned by another user";
  }
  // The refusals never wrote anywhere: the planted file is as it was.
  EXPECT_EQ(readWholeFile(elsewhere), R"({"at":2})");
}

TEST(FileSharedPreferences, AReaderNeverSeesHalfAValue) {
  testing::TemporaryFolder folder;
  FileSharedPreferences writer(folder.path() / "Preferences");
  const FileSharedPreferences reader(folder.path() / "Preferences");
  const std::string small(10, 'a');
  const std::string large(64 * 1024, 'b');
  ASSERT_TRUE(writer.setData("widget.snapshot", small));
  std::atomic<bool> done{false};
  std::thread writing([&] {
    for (int i = 0; i < 40; ++i) writer.setData("widget.snapshot", i % 2 == 0 ? large : small);
    done = true;
  });
  int reads = 0;
  int torn = 0;
  for (; !done; ++reads) {
    const auto seen = reader.data("widget.snapshot");
    if (!seen || (*seen != small && *seen != large)) ++torn;
  }
  writing.join();
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
}

TEST(SocketNotifications, DeliversPostsToTheOneListenerOfTheirName) {
  testing::TemporaryFolder folder;
  SocketNotifications notifications(folder.path());
  notifications.post("app.kestrin.control");  // nobody listens yet: lost
  SocketNotifications(folder.path() / "missing").post("app.kestrin.control");
  auto listener = notifications.listen("app.kestrin.control");
  ASSERT_NE(listener, nullptr);
  EXPECT_EQ(notifications.listen("app.kestrin.control"), nullptr);  // one listener per name
  EXPECT_FALSE(listener->wait(Seconds{0.05}));
  notifications.post("app.kestrin.control");
  notifications.post("app.kestrin.control");
  EXPECT_TRUE(listener->wait(Seconds{1}));
  EXPECT_FALSE(listener->wait(Seconds{0.05}));  // the two posts count as one
  notifications.post("app.kestrin.other");      // another name is another socket
  EXPECT_FALSE(listener->wait(Seconds{0.05}));

  listener.reset();
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "app.kestrin.control"));

  for (const char* name : {"", ".hidden", "a/b"}) EXPECT_EQ(notifications.listen(name), nullptr) << name;
  EXPECT_EQ(notifications.listen(std::string(200, 'n')), nullptr);  // longer than a socket path
}

TEST(SocketNotifications, TakesOverAnAbandonedSocket) {
  testing::TemporaryFolder folder;
  // A listener that died without cleaning up leaves its socket file behind.
  const auto path = (folder.path() / "app.kestrin.control").string();
  const int orphan = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(orphan, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ::close(orphan);
  ASSERT_TRUE(std::filesystem::exists(path));

  SocketNotifications notifications(folder.path());
  auto successor = notifications.listen("app.kestrin.control");
  ASSERT_NE(successor, nullptr);
  notifications.post("app.kestrin.control");
  EXPECT_TRUE(successor->wait(Seconds{1}));
}

TEST(SocketNotifications, WorkInAFolderDeeperThanASocketPathAllows) {
  testing::TemporaryFolder folder;
  const auto deep = folder.path() / std::string(60, 'd') / std::string(60, 'e');
  SocketNotifications notifications(deep);
  auto listener = notifications.listen("app.kestrin.control");
  ASSERT_NE(listener, nullptr);
  EXPECT_TRUE(std::filesystem::exists(deep / "app.kestrin.control"));
  SocketNotifications(deep).post("app.kestrin.control");
  EXPECT_TRUE(listener->wait(Seconds{1}));
  listener.reset();
  EXPECT_FALSE(std::filesystem::exists(deep / "app.kestrin.control"));
}

}  // namespace
}  // namespace kestrin::widget
