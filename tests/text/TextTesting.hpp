// Helpers shared by the catalogue's tests.
#pragma once

#include <unicode/locid.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>
#include "tests/common/UsingLocale.hpp"

namespace batterycore::testing {

using CurrentLocale = UsingLocale;

// A fresh, empty folder under the system's temporary folder, removed with
// everything in it when the scope ends.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& name)
      : path_(std::filesystem::temp_directory_path() / ("kestrin-" + name + "-" + std::to_string(::getpid()))) {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  void write(const std::filesystem::path& relative, const std::string& contents) const {
    const auto file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << contents;
  }

 private:
  std::filesystem::path path_;
};

// The catalogue as it is in the source tree.
inline std::filesystem::path sourceBundleFolder() {
  return std::filesystem::path(KESTRIN_SOURCE_DIR) / "BatteryCore" / "resources" / "BatteryCore_BatteryCore.bundle";
}

}  // namespace batterycore::testing
