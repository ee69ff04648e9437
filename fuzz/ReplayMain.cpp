// Runs one fuzz target over the files of its corpus once each, as a plain
// program: `make test` replays every corpus under the sanitizers without
// libFuzzer. Exit status 0 when every input went through.
//
//   fuzz_replay TemplateFuzz fuzz/corpus/TemplateFuzz
#include "fuzz/FuzzTargets.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  const auto* target = argc > 1 ? kestrin::fuzz::fuzzTarget(argv[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr, "usage: %s <Name>Fuzz FILE-OR-FOLDER...\n", argv[0]);
    return 2;
  }
  std::size_t inputs = 0;
  for (int i = 2; i < argc; ++i) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(argv[i])) {
      for (const auto& entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry.path());
    } else {
      files.emplace_back(argv[i]);
    }
    for (const auto& file : files) {
      std::ifstream in(file, std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(in), {}};
      target->run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++inputs;
    }
  }
  std::printf("%zu inputs replayed\n", inputs);
  return inputs > 0 ? 0 : 1;
}
