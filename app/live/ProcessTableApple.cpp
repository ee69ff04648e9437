// Built on Apple platforms only; elsewhere this file compiles to nothing.
#ifdef __APPLE__

#include "app/live/ProcessTable.hpp"

#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/proc_info.h>

#include <vector>

namespace kestrin::app::live {

std::vector<batterycore::ProcessSample> readProcesses(const std::filesystem::path& /*proc*/) {
  // Task times are in Mach absolute time units: nanoseconds on Intel, ticks
  // of the timebase on Apple silicon.
  mach_timebase_info_data_t timebase{};
  if (mach_timebase_info(&timebase) != KERN_SUCCESS || timebase.denom == 0) return {};
  const double nanosecondsPerUnit = static_cast<double>(timebase.numer) / timebase.denom;

  const int count = proc_listallpids(nullptr, 0);
  if (count <= 0) return {};
  std::vector<pid_t> pids(static_cast<std::size_t>(count) + 64);
  const int listed = proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
  if (listed <= 0) return {};
  pids.resize(static_cast<std::size_t>(listed));

  std::vector<batterycore::ProcessSample> processes;
  processes.reserve(pids.size());
  for (const pid_t pid : pids) {
    if (pid <= 0) continue;
    proc_taskallinfo info{};
    // Other users' processes are not ours to read: left out.
    if (proc_pidinfo(pid, PROC_PIDTASKALLINFO, 0, &info, sizeof info) != static_cast<int>(sizeof info)) continue;
    batterycore::ProcessSample sample;
    sample.pid = pid;
    sample.name = info.pbsd.pbi_name[0] != '\0' ? info.pbsd.pbi_name : info.pbsd.pbi_comm;
    const double units = static_cast<double>(info.ptinfo.pti_total_user + info.ptinfo.pti_total_system);
    sample.cpuSeconds = units * nanosecondsPerUnit / 1e9;
    const bool hasTerminal = (info.pbsd.pbi_flags & PROC_FLAG_CONTROLT) != 0;
    sample.foreground = hasTerminal && info.pbsd.e_tpgid != 0 && info.pbsd.e_tpgid == info.pbsd.pbi_pgid;
    sample.kernel = pid == 0;
    processes.push_back(std::move(sample));
  }
  return processes;
}

}  // namespace kestrin::app::live

#endif
