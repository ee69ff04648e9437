#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

namespace kestrin::widget {

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
  // Plain reads: a read error (a folder at the path, an I/O error halfway)
  // makes the file unreadable, never an exception. O_NONBLOCK keeps a FIFO
  // planted at the path from stalling the reader.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  std::string bytes;
  std::array<char, 16384> chunk{};
  bool failed = false;
  for (;;) {
    const auto n = ::read(fd, chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) failed = true;
    if (n <= 0) break;
    bytes.append(chunk.data(), static_cast<std::size_t>(n));
  }
  const int error = errno;
  ::close(fd);
  errno = error;  // the caller may say why
  if (failed) return std::nullopt;
  return bytes;
}

std::optional<std::string> replaceFile(const std::filesystem::path& path, std::string_view bytes,
                                       const Replacement& how) {
  if (!path.has_filename()) return "\"" + path.string() + "\" names no file";
  const auto folder = path.parent_path();
  const auto folderText = folder.empty() ? std::string(".") : folder.string();
  auto failed = [](std::string_view what, std::string_view subject) {
    const int error = errno;
    std::string text = std::string(what) + " " + std::string(subject) + ": " + std::system_category().message(error);
    errno = error;  // a caller may look at it too
    return text;
  };
  if (how.createFolders && !createPrivateFolders(folder)) return failed("cannot create", folderText);

  // A leading dot keeps the temporary out of the way of anyone listing keys.
  std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return failed("cannot create a file in", folderText);
  std::optional<std::string> failure;
  // mkostemp makes the file private; another mode is set before anything is in it.
  if ((how.mode != 0600 && ::fchmod(fd, how.mode) != 0) || !writeAll(fd, bytes) ||
      (how.durable && ::fsync(fd) != 0)) {
    failure = failed("cannot write", temporary);
  }
  if (::close(fd) != 0 && !failure) failure = failed("cannot write", temporary);
  if (!failure && ::rename(temporary.c_str(), path.c_str()) != 0) failure = failed("cannot replace", path.native());
  if (failure) {
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = error;
    return failure;
  }
  if (how.durable) syncFolder(folder);
  return std::nullopt;
}

bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, bool durable) {
  return !replaceFile(path, bytes, {.durable = durable});
}

}  // namespace kestrin::widget
