// A finding of a fuzz target that is not a crash of its own: a value that does
// not read back as it was written, a parser that accepted what it then cannot
// hand on. Says what and stops the program, so libFuzzer (or the corpus
// replay) reports it with the input.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace kestrin::fuzz {

[[noreturn]] inline void finding(const std::string& where, const std::string& what) {
  std::fprintf(stderr, "finding in %s: %s\n", where.c_str(), what.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace kestrin::fuzz
