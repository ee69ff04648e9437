#include "tools/kestrin/Resources.hpp"

#include <system_error>

namespace kestrin::tool {

std::optional<std::filesystem::path> scenarioFolder(const char* argv0) {
  std::error_code error;
  auto program = std::filesystem::canonical("/proc/self/exe", error);
  if (error) program = std::filesystem::absolute(argv0, error);
  const auto folder = program.parent_path().parent_path() / "share" / "kestrin" / "scenarios";
  if (std::filesystem::is_directory(folder, error)) return folder;
  return std::nullopt;
}

}  // namespace kestrin::tool
