#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <fstream>
#include <iterator>
#include <system_error>

namespace kestrin::widget {

namespace {

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

OwnFile readOwnFile(const std::filesystem::path& path, std::size_t maxBytes) {
  OwnFile file;
  // O_NONBLOCK: a FIFO planted at the path must not stall the reader.
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    if (errno == ELOOP) file.refused = "is a symbolic link";
    return file;
  }
  struct stat status {};
  if (::fstat(fd, &status) != 0) {
    file.refused = "cannot be examined";
  } else if (!S_ISREG(status.st_mode)) {
    file.refused = "is not a regular file";
  } else if (status.st_uid != ::geteuid()) {
    file.refused = "is owned by another user";
  } else if ((status.st_mode & S_IWOTH) != 0) {
    file.refused = "is writable by others";
  } else if (static_cast<std::uintmax_t>(status.st_size) > maxBytes) {
    file.refused = "is larger than " + std::to_string(maxBytes / 1024) + " KB";
  } else {
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t got = 0;
    while (got < bytes.size()) {
      const auto n = ::read(fd, bytes.data() + got, bytes.size() - got);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      got += static_cast<std::size_t>(n);
    }
    bytes.resize(got);
    file.bytes = std::move(bytes);
  }
  ::close(fd);
  return file;
}

// The rename itself is only durable once the folder's entry is on disk.
void syncFolder(const std::filesystem::path& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  (void)::fsync(fd);
  ::close(fd);
}

bool createPrivateFolders(const std::filesystem::path& folder) {
  if (folder.empty()) return true;
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return true;
  if (folder.has_parent_path() && folder.parent_path() != folder && !createPrivateFolders(folder.parent_path())) {
    return false;
  }
  return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return bytes;
}

bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, bool durable) {
  const auto folder = path.parent_path();
  if (!createPrivateFolders(folder)) return false;

  // A leading dot keeps the temporary out of the way of anyone listing keys.
  std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  const bool written = writeAll(fd, bytes) && (!durable || ::fsync(fd) == 0);
  const bool closed = ::close(fd) == 0;
  if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;  // the caller reports why
    ::unlink(temporary.c_str());
    errno = error;
    return false;
  }
  if (durable) syncFolder(folder);
  return true;
}

}  // namespace kestrin::widget
