// Every fuzz target of the tree, by name ("TemplateFuzz"), for the two
// programs that hold them all: the libFuzzer program and the corpus replay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kestrin::fuzz {

struct FuzzTarget {
  std::string_view name;
  int (*run)(const std::uint8_t* data, std::size_t size);
};

std::span<const FuzzTarget> fuzzTargets();

inline const FuzzTarget* fuzzTarget(std::string_view name) {
  for (const auto& target : fuzzTargets()) {
    if (target.name == name) return &target;
  }
  return nullptr;
}

}  // namespace kestrin::fuzz
