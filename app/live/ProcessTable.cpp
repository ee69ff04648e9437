#include "app/live/ProcessTable.hpp"

#include <charconv>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace kestrin::app::live {

namespace {

constexpr unsigned long kKernelThread = 0x00200000;  // PF_KTHREAD

// A small file read in one go with plain system calls: this runs for every
// process on every tick on battery.
std::optional<std::string> readSmall(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::array<char, 1024> buffer{};
  const auto n = ::read(fd, buffer.data(), buffer.size());
  ::close(fd);
  if (n <= 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(n));
}

template <class T>
bool number(std::string_view field, T& value) {
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && end == field.data() + field.size();
}

}  // namespace

std::optional<batterycore::ProcessSample> parseProcStat(std::string_view line, long ticksPerSecond) {
  // "pid (comm) state ppid pgrp session tty_nr tpgid flags minflt cminflt
  // majflt cmajflt utime stime ..."; the name may hold spaces and brackets,
  // so it ends at the last ')'.
  const auto open = line.find('(');
  const auto close = line.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open || ticksPerSecond <= 0) {
    return std::nullopt;
  }
  batterycore::ProcessSample sample;
  std::string_view pid = line.substr(0, open);
  while (!pid.empty() && pid.back() == ' ') pid.remove_suffix(1);
  if (!number(pid, sample.pid)) return std::nullopt;
  sample.name = std::string(line.substr(open + 1, close - open - 1));

  std::array<std::string_view, 13> fields{};
  std::size_t count = 0;
  std::string_view rest = line.substr(close + 1);
  while (count < fields.size()) {
    const auto start = rest.find_first_not_of(" \n");
    if (start == std::string_view::npos) break;
    rest.remove_prefix(start);
    const auto end = rest.find_first_of(" \n");
    fields[count++] = rest.substr(0, end);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end);
  }
  if (count < fields.size()) return std::nullopt;
  long long pgrp = 0, tty = 0, tpgid = 0;
  unsigned long flags = 0;
  unsigned long long utime = 0, stime = 0;
  if (!number(fields[2], pgrp) || !number(fields[4], tty) || !number(fields[5], tpgid) || !number(fields[6], flags) ||
      !number(fields[11], utime) || !number(fields[12], stime)) {
    return std::nullopt;
  }
  sample.cpuSeconds = static_cast<double>(utime + stime) / static_cast<double>(ticksPerSecond);
  sample.foreground = tty != 0 && tpgid > 0 && tpgid == pgrp;
  sample.kernel = (flags & kKernelThread) != 0;
  return sample;
}

#ifndef __APPLE__
std::vector<batterycore::ProcessSample> readProcesses(const std::filesystem::path& proc) {
  std::vector<batterycore::ProcessSample> processes;
  const long ticks = ::sysconf(_SC_CLK_TCK);
  std::error_code error;
  for (std::filesystem::directory_iterator entry(proc, error), end; !error && entry != end; entry.increment(error)) {
    const auto name = entry->path().filename().string();
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) continue;
    const auto line = readSmall(entry->path() / "stat");
    if (!line) continue;
    if (auto sample = parseProcStat(*line, ticks)) processes.push_back(std::move(*sample));
  }
  return processes;
}

#endif  // the Mac's process table is read in ProcessTableApple.cpp

std::optional<double> readPackageEnergy(const std::filesystem::path& powercap) {
  std::optional<double> joules;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(powercap, error), end; !error && entry != end; entry.increment(error)) {
    const auto name = entry->path().filename().string();
    // Packages only: "intel-rapl:0", not the "intel-rapl:0:1" inside it.
    if (!name.starts_with("intel-rapl:") || name.find(':', 11) != std::string::npos) continue;
    const auto text = readSmall(entry->path() / "energy_uj");
    unsigned long long microjoules = 0;
    if (!text) return std::nullopt;  // one unreadable package makes the sum meaningless
    std::string_view value(*text);
    while (!value.empty() && (value.back() == '\n' || value.back() == ' ')) value.remove_suffix(1);
    if (!number(value, microjoules)) return std::nullopt;
    joules = joules.value_or(0) + static_cast<double>(microjoules) / 1e6;
  }
  return joules;
}

}  // namespace kestrin::app::live
