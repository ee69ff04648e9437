// ProcessTable: what the processes of this machine have used of the CPU, and
// the processor's package energy, as Linux shows them in /proc and
// /sys/class/powercap. The background-drain rule and `kestrin energy` read
// them.
//
//   auto processes = readProcesses();               // every process, CPU seconds so far
//   auto joules = readPackageEnergy();              // absent where the counter is not readable
//
// A process counts as the person's foreground when it is in the foreground
// process group of its terminal (what they are running in a shell right
// now). A desktop program's window focus cannot be told from /proc, so every
// other process counts as background. The kernel's own threads are marked
// as such.
//
// The package energy is the sum of the top-level RAPL domains
// (intel-rapl:0, intel-rapl:1 ...; AMD processors show the same names), in
// joules. The counters wrap; the drain rule ignores a window in which one
// went backwards. Many systems let only root read them.
#pragma once

#include "BatteryCore/health/ProcessSample.hpp"

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace kestrin::app::live {

// One line of /proc/<pid>/stat; absent when it is not one.
std::optional<batterycore::ProcessSample> parseProcStat(std::string_view line, long ticksPerSecond);

// Every process that could be read; the others (gone in between, not ours
// to read) are left out. On a Mac the process table comes from libproc and
// `proc` is not used; there a process counts as foreground, too, when it is
// in its terminal's foreground process group.
std::vector<batterycore::ProcessSample> readProcesses(const std::filesystem::path& proc = "/proc");

std::optional<double> readPackageEnergy(const std::filesystem::path& powercap = "/sys/class/powercap");

}  // namespace kestrin::app::live
