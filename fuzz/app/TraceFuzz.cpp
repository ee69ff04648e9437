// Any bytes as a trace of recorded readings, one BatterySnapshot JSON object
// per line, through readTrace: a damaged line is listed as a problem and
// skipped, never fatal. Every line accepted must be counted once, as a
// reading or a problem.
#include "app/simulation/Replay.hpp"
#include "fuzz/Finding.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::istringstream trace(text);
  std::vector<std::string> problems;
  const auto readings = kestrin::app::simulation::readTrace(trace, problems);
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  if (readings.size() + problems.size() > lines) {
    kestrin::fuzz::finding("readTrace", "more readings and problems than lines");
  }
  return 0;
}
