// The libFuzzer program: it runs the target named by the link it was started
// through (bin/TemplateFuzz runs TemplateFuzz), or by KESTRIN_FUZZ_TARGET.
#include "fuzz/FuzzTargets.hpp"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

const kestrin::fuzz::FuzzTarget* chosen = nullptr;

std::string_view baseName(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  const char* named = std::getenv("KESTRIN_FUZZ_TARGET");
  const std::string_view name = named != nullptr ? std::string_view(named)
                                : *argc > 0      ? baseName((*argv)[0])
                                                 : std::string_view();
  chosen = kestrin::fuzz::fuzzTarget(name);
  if (chosen == nullptr) {
    std::fprintf(stderr, "No fuzz target named \"%.*s\"; start the program through bin/<Name>Fuzz\n",
                 static_cast<int>(name.size()), name.data());
    std::exit(2);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return chosen->run(data, size);
}
