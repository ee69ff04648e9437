#include "KestrinWidget/SharedContainer.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
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

// The rename itself is only durable once the folder's entry is on disk.
void syncFolder(const std::filesystem::path& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  (void)::fsync(fd);
  ::close(fd);
}

}  // namespace

std::optional<std::string> readWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return bytes;
}

bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, bool durable) {
  const auto folder = path.parent_path();
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return false;

  // A leading dot keeps the temporary out of the way of anyone listing keys.
  std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return false;
  const bool written = writeAll(fd, bytes) && (!durable || ::fsync(fd) == 0);
  const bool closed = ::close(fd) == 0;
  if (!written || !closed || ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  if (durable) syncFolder(folder);
  return true;
}

}  // namespace kestrin::widget
