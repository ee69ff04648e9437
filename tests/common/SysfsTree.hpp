// SysfsTree: a captured machine's power-supply folder copied to a temporary
// place, where a test may change its files.
//
//   SysfsTree tree("thinkpad-two-batteries");
//   write(tree.root() / "BAT0" / "capacity", "79\n");
#pragma once

#include "app/live/Uevent.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kestrin::app::live {

namespace fs = std::filesystem;

inline std::string contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

// A captured machine's power-supply folder in a temporary place. With
// attribute files, each uevent line also becomes the file the kernel would
// show beside it; files already in the fixture stay as they are.
class SysfsTree {
 public:
  explicit SysfsTree(const std::string& sample, bool attributeFiles = true)
      : root_(fs::temp_directory_path() /
              ("kestrin-sysfs-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + "-" + sample)) {
    fs::remove_all(root_);
    fs::create_directories(root_);
    fs::copy(fs::path(KESTRIN_TEST_DATA_DIR) / "sysfs" / sample, root_, fs::copy_options::recursive);
    if (!attributeFiles) return;
    for (const auto& supply : fs::directory_iterator(root_)) {
      const auto uevent = Uevent::parse(contents(supply.path() / "uevent"));
      for (const auto& [name, value] : uevent.attributes()) {
        if (!fs::exists(supply.path() / name)) write(supply.path() / name, value + "\n");
      }
    }
  }
  ~SysfsTree() {
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(root_, ignored)) {
      ::chmod(entry.path().c_str(), entry.is_directory() ? 0700 : 0600);
    }
    fs::remove_all(root_, ignored);
  }
  SysfsTree(const SysfsTree&) = delete;
  SysfsTree& operator=(const SysfsTree&) = delete;

  const fs::path& root() const { return root_; }

 private:
  fs::path root_;
};

}  // namespace kestrin::app::live
