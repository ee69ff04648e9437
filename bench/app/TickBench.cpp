// One monitor tick against the least a battery reading costs. The tick runs
// every rule, the policy, the attention and the widget decision with no I/O;
// the reading opens, reads and closes ten small files of a captured sysfs
// battery. The tick should cost a small fraction of the reading it judges.
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "app/Monitor.hpp"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace batterycore;
namespace fs = std::filesystem;

// A laptop sitting on its charger at its 80% limit, as most of a day looks.
struct SteadyBattery final : BatterySource, kestrin::app::LimitController {
  Date now = dateFromSecondsSince1970(1772877600.0);
  std::optional<BatterySnapshot> read() override {
    return BatterySnapshot(now, 80, true, false, false, std::nullopt, std::nullopt, LimitState::on(80), 0, 0, 0,
                           ThermalLevel::nominal, 4000, 4100, 4500, 3200, 120, 1000, 12500, 0);
  }
  std::optional<std::string> switchOn() override { return std::nullopt; }
  std::optional<std::string> switchOff() override { return std::nullopt; }
};

void MonitorTick(benchmark::State& state) {
  SteadyBattery battery;
  kestrin::app::Monitor monitor(battery, battery, Calendar::gregorian("Europe/Berlin"));
  // A day of ticks first, so every rule is in its steady state.
  for (int i = 0; i < 1440; ++i) {
    battery.now = battery.now + Seconds{60};
    benchmark::DoNotOptimize(monitor.tick(battery.now));
  }
  for (auto _ : state) {
    battery.now = battery.now + Seconds{60};
    benchmark::DoNotOptimize(monitor.tick(battery.now));
  }
}
BENCHMARK(MonitorTick);

// The battery of a ThinkPad as the kernel showed it (tests/data/sysfs),
// one attribute per file as under /sys/class/power_supply/BAT0.
constexpr std::array<std::pair<const char*, const char*>, 10> kAttributes{{
    {"status", "Charging\n"},
    {"present", "1\n"},
    {"capacity", "51\n"},
    {"capacity_level", "Normal\n"},
    {"energy_now", "26660000\n"},
    {"energy_full", "52260000\n"},
    {"energy_full_design", "60000000\n"},
    {"power_now", "27656000\n"},
    {"voltage_now", "15840000\n"},
    {"cycle_count", "0\n"},
}};

void TenSysfsReads(benchmark::State& state) {
  const fs::path folder = fs::temp_directory_path() / ("kestrin-bench-" + std::to_string(::getpid())) / "BAT0";
  fs::create_directories(folder);
  std::vector<std::string> paths;
  for (const auto& [name, value] : kAttributes) {
    std::ofstream(folder / name) << value;
    paths.push_back((folder / name).string());
  }
  char buffer[4096];
  for (auto _ : state) {
    for (const auto& path : paths) {
      const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
      const auto got = ::read(fd, buffer, sizeof buffer);
      ::close(fd);
      benchmark::DoNotOptimize(got);
    }
  }
  fs::remove_all(folder.parent_path());
}
BENCHMARK(TenSysfsReads);

}  // namespace
