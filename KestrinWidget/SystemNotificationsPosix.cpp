#include "KestrinWidget/SystemNotificationsPosix.hpp"

#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace kestrin::widget {

namespace {

// The socket address of `folder/name`. A path too long for a socket address
// is reached through the folder's descriptor ("/proc/self/fd/N/name"), the
// way systemd reaches long socket paths, so a deep group folder still works.
class SocketAddress {
 public:
  static std::optional<SocketAddress> of(const std::filesystem::path& folder, std::string_view name) {
    if (name.empty() || name.front() == '.' || name.find('/') != std::string_view::npos ||
        name.find('\0') != std::string_view::npos) {
      return std::nullopt;
    }
    SocketAddress address;
    address.path_ = (folder / std::string(name)).string();
    std::string reachable = address.path_;
    if (reachable.size() >= sizeof address.address_.sun_path) {
      address.folderFd_ = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
      if (address.folderFd_ < 0) return std::nullopt;
      reachable = "/proc/self/fd/" + std::to_string(address.folderFd_) + "/" + std::string(name);
      if (reachable.size() >= sizeof address.address_.sun_path) return std::nullopt;
    }
    address.address_.sun_family = AF_UNIX;
    std::memcpy(address.address_.sun_path, reachable.c_str(), reachable.size() + 1);
    return address;
  }

  SocketAddress(SocketAddress&& other) noexcept
      : address_(other.address_), folderFd_(std::exchange(other.folderFd_, -1)), path_(std::move(other.path_)) {}
  SocketAddress& operator=(SocketAddress&&) = delete;
  ~SocketAddress() {
    if (folderFd_ >= 0) ::close(folderFd_);
  }

  const sockaddr_un& address() const { return address_; }
  // The socket file's own path, for stat and unlink.
  const std::string& path() const { return path_; }

 private:
  SocketAddress() = default;
  sockaddr_un address_{};
  int folderFd_ = -1;
  std::string path_;
};

const sockaddr* asSockaddr(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

// A datagram socket that is not inherited by programs this one starts.
int datagramSocket() {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  if (fd >= 0) (void)::fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

// A socket file nobody is bound to any more refuses connections.
bool isAbandoned(const sockaddr_un& address) {
  const int probe = datagramSocket();
  if (probe < 0) return false;
  const bool refused = ::connect(probe, asSockaddr(address), sizeof address) != 0 && errno == ECONNREFUSED;
  ::close(probe);
  return refused;
}

class SocketListener final : public NotificationListener {
 public:
  SocketListener(int fd, std::string path, dev_t device, ino_t inode)
      : fd_(fd), path_(std::move(path)), device_(device), inode_(inode) {}

  SocketListener(const SocketListener&) = delete;
  SocketListener& operator=(const SocketListener&) = delete;

  ~SocketListener() override {
    // Only our own socket file goes; a successor may already have taken over
    // the name.
    struct stat status{};
    if (::stat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
      ::unlink(path_.c_str());
    }
    ::close(fd_);
  }

  bool wait(batterycore::Seconds timeout) override {
    using namespace std::chrono;
    const auto left = std::clamp(ceil<milliseconds>(timeout), milliseconds{0}, milliseconds{24 * 3600 * 1000});
    pollfd watch{fd_, POLLIN, 0};
    // A signal ends the wait (poll fails with EINTR), so a service can stop at once.
    if (::poll(&watch, 1, static_cast<int>(left.count())) <= 0) return false;
    drain();
    return true;
  }

  int descriptor() const override { return fd_; }
  void consume() override { drain(); }

 private:
  // Posts that piled up since the last wait count as one.
  void drain() {
    char byte;
    while (::recv(fd_, &byte, sizeof byte, MSG_DONTWAIT) >= 0) {
    }
  }

  int fd_;
  std::string path_;
  dev_t device_;
  ino_t inode_;
};

}  // namespace

void SocketNotifications::post(std::string_view name) {
  const auto address = SocketAddress::of(folder_, name);
  if (!address) return;
  const int fd = datagramSocket();
  if (fd < 0) return;
  // No listener (no socket file, or one nobody holds) just loses the call.
  const char nothing = 0;
  (void)::sendto(fd, &nothing, 0, MSG_DONTWAIT, asSockaddr(address->address()), sizeof address->address());
  ::close(fd);
}

std::unique_ptr<NotificationListener> SocketNotifications::listen(std::string_view name) {
  if (!createPrivateFolders(folder_)) return nullptr;
  const auto address = SocketAddress::of(folder_, name);
  if (!address) return nullptr;

  const int fd = datagramSocket();
  if (fd < 0) return nullptr;
  const sockaddr_un& where = address->address();
  bool bound = ::bind(fd, asSockaddr(where), sizeof where) == 0;
  if (!bound && errno == EADDRINUSE && isAbandoned(where)) {
    ::unlink(address->path().c_str());
    bound = ::bind(fd, asSockaddr(where), sizeof where) == 0;
  }
  struct stat status{};
  if (!bound || ::stat(address->path().c_str(), &status) != 0) {
    ::close(fd);
    return nullptr;
  }
  return std::make_unique<SocketListener>(fd, address->path(), status.st_dev, status.st_ino);
}

}  // namespace kestrin::widget
