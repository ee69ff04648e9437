// SharedContainer: the folder the application and its widget extension share
// (the application group's container), as the system reports it.
//
//   FolderContainer container("/home/ana/.local/state/kestrin/group");
//   container.folder() == std::filesystem::path("/home/ana/.local/state/kestrin/group")
//   FolderContainer(std::nullopt).folder() == std::nullopt     // the system has none
//
// The folder may not exist yet: a writer creates it, a reader just finds
// nothing in it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::widget {

class SharedContainer {
 public:
  virtual ~SharedContainer() = default;
  // Absent when the system gives this process no container for the group.
  virtual std::optional<std::filesystem::path> folder() const = 0;
};

// A container that is a known folder, which is what every platform hands out.
class FolderContainer final : public SharedContainer {
 public:
  explicit FolderContainer(std::optional<std::filesystem::path> folder) : folder_(std::move(folder)) {}
  std::optional<std::filesystem::path> folder() const override { return folder_; }

 private:
  std::optional<std::filesystem::path> folder_;
};

// The whole file, or absent when it cannot be opened or read (errno says
// why); never throws.
std::optional<std::string> readWholeFile(const std::filesystem::path& path);

// A file that another user could have planted or changed is not read: it
// must be a regular file (not a symbolic link), owned by this user, not
// writable by others, and no larger than `maxBytes`.
//   readOwnFile(group / "Preferences" / "request.chargeFull")
//   .bytes     the file's bytes; absent when missing or refused
//   .refused   why it was refused ("is a symbolic link"); empty otherwise
struct OwnFile {
  std::optional<std::string> bytes;
  std::string refused;
};
inline constexpr std::size_t kMaxOwnFileBytes = 64 * 1024;
OwnFile readOwnFile(const std::filesystem::path& path, std::size_t maxBytes = kMaxOwnFileBytes);

// Creates `folder` and any missing parent with mode 0700: what Kestrin keeps
// is nobody else's to read. False when it cannot.
bool createPrivateFolders(const std::filesystem::path& folder);

// Replaces `path` so that a reader sees either the old or the new bytes, never
// a mix: a temporary file in the same folder is written, flushed to disk and
// renamed over the old one. Creates the folder when missing. False on any
// failure, leaving the old file as it was.
// `durable` (the default) also fsyncs the file and its folder; a throwaway
// folder can do without.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, bool durable = true);

// How replaceFile writes: synced to disk, the file's mode, and whether
// missing folders are made (0700).
struct Replacement {
  bool durable = true;
  unsigned mode = 0600;
  bool createFolders = true;
};

// Replaces `path` with `bytes` through a temporary beside it, renamed over
// it once whole: a reader sees the old file or the new one, never a part.
// The reason when it failed, naming the file ("cannot write /x/.f.ab12: No
// space left on device"), with errno still saying why.
std::optional<std::string> replaceFile(const std::filesystem::path& path, std::string_view bytes,
                                       const Replacement& how = {});

// Writes all of `bytes` to `fd`, going on after an interrupted write; false
// on any other failure, with errno saying why.
bool writeAll(int fd, std::string_view bytes);

// Puts the folder's entries (a rename, a new file) on disk.
void syncFolder(const std::filesystem::path& folder);

}  // namespace kestrin::widget
