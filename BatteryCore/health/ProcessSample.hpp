// ProcessSample: one process as a look at the process table saw it, the
// input of the background-drain rule and the energy ranking.
//
//   ProcessSample{4242, "indexer", 812.5, false, false}   // 812.5 s of CPU so far, in the background
//
// `cpuSeconds` only grows while the process lives; a pid that comes back with
// another name is another process. `foreground` is true when the process is
// what the person is working with now (see ProcessTable.hpp for how that is
// told on Linux); `kernel` marks the kernel's own threads, told as "System".
#pragma once

#include <string>

namespace batterycore {

struct ProcessSample {
  int pid = 0;
  std::string name;
  double cpuSeconds = 0;
  bool foreground = false;
  bool kernel = false;

  friend bool operator==(const ProcessSample&, const ProcessSample&) = default;
};

}  // namespace batterycore
