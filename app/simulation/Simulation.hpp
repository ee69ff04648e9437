// Simulation: the monitor living through a scenario at full speed, telling
// what happened as a list of events.
//
//   Simulation simulation(Scenario::fromJson(json), {.tick = Seconds{60}});
//   simulation.run([](const SimulationEvent& e) { std::cout << e.story << "\n"; });
//   simulation.monitor().state().highCharge   // what the weeks left behind
//
// The person in a simulation says yes to the smart top-up when it is offered,
// and keeps the default alert switches. State lives in `stateFolder` (the
// caller makes a temporary one), so a simulation never touches real state.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "app/Monitor.hpp"
#include "app/simulation/BatterySimulator.hpp"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::simulation {

struct SimulationEvent {
  // alertHeldBack: waiting for its turn; alertListed: only in the alerts list
  // (switched off, or a kind that never notifies).
  enum class Kind { attention, alertPosted, alertHeldBack, alertListed, fullChargeStarted, fullChargeEnded,
                    limitFailed, widgetWritten };
  Kind kind;
  batterycore::Date at;
  std::string text;  // the words a person would have seen

  static std::string_view kindName(Kind kind);
  batterycore::Json toJson() const;
};

// The events one tick of the monitor makes for the story. `lastHeadline`
// carries the words last told, so the same words are not told twice.
std::vector<SimulationEvent> eventsOf(const TickReport& report, const Settings& settings,
                                      batterycore::Date now, std::string& lastHeadline);

struct SimulationOptions {
  std::optional<int> days;                       // shorter or longer than the scenario
  batterycore::Seconds tick{60};
  batterycore::DetailLevel level = batterycore::DetailLevel::simple;
  std::optional<std::string> timeZone;           // instead of the scenario's
  std::filesystem::path stateFolder;             // empty: nothing persisted
  bool durable = false;                          // fsync each write (a kept --state folder)
};

// The monitor's view of the simulated machine: its power log and, later,
// its processes, accessories and calendar.
Monitor::Hooks simulationHooks(BatterySimulator& battery);

class Simulation {
 public:
  Simulation(Scenario scenario, SimulationOptions options);

  using Sink = std::function<void(const SimulationEvent&)>;
  using Progress = std::function<void(double done)>;  // 0 ... 1
  void run(const Sink& sink, const Progress& progress = {});

  const Monitor& monitor() const { return monitor_; }
  const BatterySimulator& battery() const { return battery_; }
  batterycore::Date end() const { return end_; }

 private:
  static Scenario adjusted(Scenario scenario, const SimulationOptions& options);

  SimulationOptions options_;
  BatterySimulator battery_;
  Monitor monitor_;
  batterycore::Date end_;
};

}  // namespace kestrin::app::simulation
