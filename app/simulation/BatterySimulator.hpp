// BatterySimulator: a laptop battery living through a Scenario, as a
// BatterySource and a LimitController, so the whole application can run on it.
//
//   BatterySimulator battery(scenario);            // at the scenario's first midnight
//   battery.advance(Seconds{60});                  // one minute of charge and use
//   auto reading = battery.read();                 // what the operating system would report
//   battery.switchOff();                           // the application lets it charge to 100%
//
// The model is deliberately simple: state of charge moves with the power into
// or out of the battery (adapter watts less the machine's load, tapering above
// 80%); the limit stops charging at its percentage and lets a battery above it
// sink slowly; the full-charge capacity fades a little each day, faster while
// the charge sits high. Scenario events bend it: heat, a weak charger, a limit
// that fails or is switched off outside the app, a gauge recalibration (which
// writes the system's calibration phrase into the power log).
// Everything follows from the scenario and its seed: two runs are identical.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/health/ProcessSample.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "app/LimitController.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "app/simulation/Scenario.hpp"

#include <string>
#include <vector>

namespace kestrin::app::simulation {

class BatterySimulator final : public batterycore::BatterySource, public LimitController {
 public:
  explicit BatterySimulator(Scenario scenario);

  batterycore::Date now() const { return now_; }
  batterycore::Date start() const { return start_; }
  batterycore::Date end() const { return end_; }
  const Scenario& scenario() const { return scenario_; }
  const batterycore::Calendar& calendar() const { return calendar_; }

  // Moves time on, charging or draining the battery on the way.
  void advance(batterycore::Seconds step);

  std::optional<batterycore::BatterySnapshot> read() override;
  std::optional<std::string> switchOn() override;
  std::optional<std::string> switchOff() override;

  // Power-management log lines written since the last call.
  std::string takePowerLog();

  // Where the machine is now (the time, the charge, the limit, what has
  // happened), so that a simulation killed part-way can go on from here:
  // restore() on a simulator of the same scenario makes it the one that was
  // saved. restore() throws DecodingError for a point it cannot take.
  batterycore::Json checkpoint() const;
  void restore(const batterycore::Json& point);

  // Where the scenario says the person is at this moment.
  bool isAway(batterycore::Date at) const;

  // The machine's process table: the browser the person works in (in the
  // foreground), the system's own threads, and any runaway program of the
  // scenario once it has started.
  std::vector<batterycore::ProcessSample> processes() const;
  // The scenario's wireless accessories as the system would list them now.
  std::vector<batterycore::AccessoryBattery> accessories() const;

 private:
  struct Stretch {
    batterycore::Date from;
    batterycore::Date to;
    double loadW = 0;
  };
  // Sorted, non-overlapping stretches with a cursor that only moves forward,
  // so a tick costs the same on day 1 and day 365.
  struct Timeline {
    std::vector<Stretch> stretches;
    mutable std::size_t cursor = 0;
    const Stretch* find(batterycore::Date at) const;
  };
  struct Conditions {
    bool pluggedIn;
    double loadW;
    int adapterWatts;
    std::optional<std::string> adapterDescription;
    int thermal;
    bool limitFails;
    bool calibrating;
  };

  void plan();
  Conditions conditionsAt(batterycore::Date at) const;
  double chargeTarget() const;
  void decidePower();
  bool eventActive(std::size_t index, batterycore::Date at) const;
  batterycore::Date dayStart(int day) const;
  batterycore::Date onDay(int day, int minuteOfDay) const;

  Scenario scenario_;
  batterycore::Calendar calendar_;
  batterycore::Date start_;
  batterycore::Date end_;
  batterycore::Date now_;
  Timeline away_;
  Timeline nights_;
  std::vector<Stretch> eventTimes_;  // one per scenario event, same order
  std::vector<bool> eventFired_;

  double percent_;
  double fullChargeMilliAh_;
  double dischargedMilliAh_ = 0;
  int cycles_;
  bool limitOn_ = true;
  bool charging_ = false;
  double batteryW_ = 0;
  double systemInW_ = 0;
  double loadW_ = 0;
  Conditions conditions_{};
  // CPU seconds so far: the browser, the kernel, and each runaway event's program.
  double browserCpu_ = 0;
  double kernelCpu_ = 0;
  std::vector<double> runawayCpu_;
  bool calibrationLogged_ = false;
  std::string powerLog_;
};

}  // namespace kestrin::app::simulation
