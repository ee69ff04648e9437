#include "KestrinWidget/SystemNotificationsPosix.hpp"

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
#include <system_error>

namespace kestrin::widget {

namespace {

std::optional<sockaddr_un> addressFor(const std::filesystem::path& folder, std::string_view name) {
  if (name.empty() || name.front() == '.' || name.find('/') != std::string_view::npos ||
      name.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  const auto path = (folder / std::string(name)).string();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

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
    const auto deadline = steady_clock::now() + duration_cast<steady_clock::duration>(timeout);
    for (;;) {
      const auto left = std::max(ceil<milliseconds>(deadline - steady_clock::now()), milliseconds{0});
      pollfd watch{fd_, POLLIN, 0};
      const int ready = ::poll(&watch, 1, static_cast<int>(left.count()));
      if (ready > 0) {
        drain();
        return true;
      }
      if (ready == 0 || errno != EINTR) return false;
    }
  }

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
  const auto address = addressFor(folder_, name);
  if (!address) return;
  const int fd = datagramSocket();
  if (fd < 0) return;
  // No listener (no socket file, or one nobody holds) just loses the call.
  const char nothing = 0;
  (void)::sendto(fd, &nothing, 0, MSG_DONTWAIT, asSockaddr(*address), sizeof *address);
  ::close(fd);
}

std::unique_ptr<NotificationListener> SocketNotifications::listen(std::string_view name) {
  const auto address = addressFor(folder_, name);
  if (!address) return nullptr;
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  if (error) return nullptr;

  const int fd = datagramSocket();
  if (fd < 0) return nullptr;
  bool bound = ::bind(fd, asSockaddr(*address), sizeof *address) == 0;
  if (!bound && errno == EADDRINUSE && isAbandoned(*address)) {
    ::unlink(address->sun_path);
    bound = ::bind(fd, asSockaddr(*address), sizeof *address) == 0;
  }
  struct stat status{};
  if (!bound || ::stat(address->sun_path, &status) != 0) {
    ::close(fd);
    return nullptr;
  }
  return std::make_unique<SocketListener>(fd, address->sun_path, status.st_dev, status.st_ino);
}

}  // namespace kestrin::widget
