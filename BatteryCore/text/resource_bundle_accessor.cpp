// Finds the catalogue's bundle once per process.
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/ResourceBundle.hpp"

#include <dlfcn.h>

#include <iostream>
#include <system_error>

namespace batterycore {

namespace {

// Any object defined in this module will do: dladdr names the file that holds it.
const char kModuleMarker = 0;

constexpr const char* kResourceFolder[] = {"share", "kestrin"};

std::filesystem::path resourceFolderBeside(const std::filesystem::path& binaryFolder) {
  return binaryFolder.parent_path() / kResourceFolder[0] / kResourceFolder[1];
}

std::optional<std::filesystem::path> programFolder() {
  std::error_code error;
  const auto program = std::filesystem::canonical("/proc/self/exe", error);
  if (error || !program.has_parent_path()) return std::nullopt;
  return program.parent_path();
}

}  // namespace

std::optional<std::filesystem::path> BundleFinder::moduleResourceFolder() {
  Dl_info info{};
  if (dladdr(&kModuleMarker, &info) == 0 || info.dli_fname == nullptr) return std::nullopt;
  const std::filesystem::path file(info.dli_fname);
  // A bare name (a program started through PATH) says nothing about where it is.
  if (!file.has_parent_path()) return std::nullopt;
  std::error_code error;
  const auto module = std::filesystem::weakly_canonical(file, error);
  if (error) return std::nullopt;
  const auto folder = module.parent_path();
  // <prefix>/lib/<arch>/libBatteryCore.so keeps its resources two levels up.
  if (folder.parent_path().filename() == "lib") {
    const auto multiarch = resourceFolderBeside(folder.parent_path());
    if (std::filesystem::is_directory(multiarch, error)) return multiarch;
  }
  return resourceFolderBeside(folder);
}

std::vector<std::filesystem::path> bundleSearchFolders() {
  std::vector<std::filesystem::path> folders;
  const auto program = programFolder();
  if (program) folders.push_back(resourceFolderBeside(*program));
  if (auto module = BundleFinder::moduleResourceFolder()) folders.push_back(std::move(*module));
  if (program) folders.push_back(*program);
  return folders;
}

const ResourceBundle& Meaning::bundle() {
  static const ResourceBundle found = [] {
    auto bundle = ResourceBundle::findOrStop(bundleSearchFolders());
    // Each table is read when first used; what is wrong with it is said then.
    bundle.reportProblemsTo([folder = bundle.path().string()](const std::string& problem) {
      std::cerr << "kestrin: text catalogue " << folder << ": " << problem << "\n";
    });
    return bundle;
  }();
  return found;
}

}  // namespace batterycore
