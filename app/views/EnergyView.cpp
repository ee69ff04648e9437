#include "app/views/EnergyView.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningEnergy.hpp"

#include <algorithm>
#include <map>
#include <sstream>

namespace kestrin::app {

using namespace batterycore;

namespace {

// Width on a terminal, counting characters rather than UTF-8 bytes.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string padded(const std::string& text, std::size_t to) {
  return text + std::string(to > width(text) ? to - width(text) : 0, ' ');
}

}  // namespace

std::vector<EnergyUse> energyUses(const std::vector<ProcessSample>& before, const std::vector<ProcessSample>& after,
                                  std::optional<double> totalWatts) {
  std::map<int, const ProcessSample*> earlier;
  for (const auto& process : before) earlier[process.pid] = &process;
  std::map<std::string, EnergyUse> byName;
  double busy = 0;
  for (const auto& process : after) {
    const auto found = earlier.find(process.pid);
    if (found == earlier.end() || found->second->name != process.name) continue;
    const double cpu = std::max(0.0, process.cpuSeconds - found->second->cpuSeconds);
    auto& use = byName[process.kernel ? std::string() : process.name];
    use.name = process.kernel ? std::string() : process.name;
    use.system = process.kernel;
    use.cpuSeconds += cpu;
    busy += cpu;
  }
  std::vector<EnergyUse> uses;
  for (auto& [name, use] : byName) {
    if (use.cpuSeconds <= 0) continue;
    if (totalWatts) use.watts = *totalWatts * use.cpuSeconds / busy;
    uses.push_back(std::move(use));
  }
  std::stable_sort(uses.begin(), uses.end(),
                   [](const EnergyUse& a, const EnergyUse& b) { return a.cpuSeconds > b.cpuSeconds; });
  return uses;
}

std::string renderEnergy(const std::vector<EnergyUse>& uses, std::optional<double> totalWatts, DetailLevel level,
                         std::size_t top) {
  std::ostringstream out;
  out << Meaning::Energy::title() << "\n\n";
  if (uses.empty() || (totalWatts && *totalWatts < 0.1)) {
    out << Meaning::text("energy.nothing", "Nothing is using much power right now.") << "\n\n"
        << Meaning::Energy::footer(level) << "\n";
    return out.str();
  }

  struct Row {
    std::string name;
    std::string figure;
    std::string level;
  };
  double cpuTotal = 0;
  for (const auto& use : uses) cpuTotal += use.cpuSeconds;
  auto figure = [&](double watts, double cpu) {
    if (totalWatts) return Meaning::Energy::watts(watts);
    return Formatting::percent(100.0 * cpu / cpuTotal);
  };
  std::vector<Row> rows;
  double restWatts = 0, restCpu = 0;
  for (std::size_t i = 0; i < uses.size(); ++i) {
    const auto& use = uses[i];
    const double watts = use.watts.value_or(0);
    if (i >= top) {
      restWatts += watts;
      restCpu += use.cpuSeconds;
      continue;
    }
    rows.push_back({use.system ? Meaning::Energy::system() : use.name, figure(watts, use.cpuSeconds),
                    totalWatts ? Meaning::Energy::level(watts) : std::string()});
  }
  if (restCpu > 0) rows.push_back({Meaning::Energy::everythingElse(), figure(restWatts, restCpu), std::string()});

  std::size_t nameWidth = 0, figureWidth = 0;
  for (const auto& row : rows) {
    nameWidth = std::max(nameWidth, width(row.name));
    figureWidth = std::max(figureWidth, width(row.figure));
  }
  for (const auto& row : rows) {
    std::string line = "  " + padded(row.name, nameWidth) + "  " +
                       std::string(figureWidth - width(row.figure), ' ') + row.figure;
    if (!row.level.empty()) line += "  " + row.level;
    out << line << "\n";
  }
  out << "\n";
  if (totalWatts) {
    const auto& first = uses.front();
    out << Meaning::Energy::total(*totalWatts, level) << "\n"
        << Meaning::Energy::summary(first.system ? Meaning::Energy::system() : first.name, first.watts.value_or(0),
                                    *totalWatts, level)
        << "\n";
    out << "\n" << Meaning::Energy::footer(level) << "\n";
  } else {
    // Without watts the footer's scale says nothing.
    out << Meaning::text("energy.noPower",
                         "The processor's power can't be read here, so programs are ranked by their share of "
                         "processor time.")
        << "\n";
  }
  return out.str();
}

}  // namespace kestrin::app
