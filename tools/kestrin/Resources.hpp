// Where the tool's bundled files live: <prefix>/share/kestrin beside
// <prefix>/bin, in an install and in the build tree alike.
#pragma once

#include <filesystem>
#include <optional>

namespace kestrin::tool {

std::optional<std::filesystem::path> scenarioFolder(const char* argv0);

}  // namespace kestrin::tool
