// A simulated year of one-minute ticks (525,600) of the bundled office
// worker, once with its state in memory and once with the state folder on
// disk. The disk run reports the bytes it wrote per simulated day, counted by
// the kernel for this process (/proc/self/io, wchar).
#include "BatteryCore/foundation/Json.hpp"
#include "app/simulation/Scenario.hpp"
#include "app/simulation/Simulation.hpp"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace kestrin::app::simulation;
namespace fs = std::filesystem;

// KESTRIN_BENCH_DAYS shortens the year for a quick smoke run.
int simulatedDays() {
  const char* days = std::getenv("KESTRIN_BENCH_DAYS");
  return days ? std::max(1, std::atoi(days)) : 365;
}

Scenario officeWorker() {
  const fs::path file = fs::path(KESTRIN_SCENARIOS) / "office-worker.json";
  std::ifstream in(file);
  auto scenario = Scenario::fromJson(batterycore::Json::parse(in));
  if (scenario.calendar) scenario.calendar = (file.parent_path() / *scenario.calendar).string();
  return scenario;
}

double bytesWrittenByThisProcess() {
  std::ifstream io("/proc/self/io");
  std::string key;
  double value = 0;
  while (io >> key >> value) {
    if (key == "wchar:") return value;
  }
  return 0;
}

void run(benchmark::State& state, const fs::path& folder) {
  const Scenario scenario = officeWorker();
  double written = 0;
  for (auto _ : state) {
    state.PauseTiming();
    if (!folder.empty()) fs::remove_all(folder);
    SimulationOptions options;
    options.days = simulatedDays();
    options.stateFolder = folder;
    Simulation simulation(scenario, options);
    const double before = bytesWrittenByThisProcess();
    state.ResumeTiming();
    simulation.run([](const SimulationEvent& event) { benchmark::DoNotOptimize(event.text.size()); });
    written += bytesWrittenByThisProcess() - before;
  }
  state.counters["days"] = simulatedDays();
  if (!folder.empty()) {
    state.counters["bytesPerDay"] = written / static_cast<double>(state.iterations()) / simulatedDays();
    fs::remove_all(folder);
  }
}

void SimulatedYearInMemory(benchmark::State& state) { run(state, {}); }
BENCHMARK(SimulatedYearInMemory)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

void SimulatedYearOnDisk(benchmark::State& state) {
  run(state, fs::temp_directory_path() / ("kestrin-bench-state-" + std::to_string(::getpid())));
}
BENCHMARK(SimulatedYearOnDisk)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

}  // namespace
