#include "app/simulation/BatterySimulator.hpp"

#include "BatteryCore/foundation/DecodingError.hpp"

#include <algorithm>
#include <cmath>
#include <random>

namespace kestrin::app::simulation {

using batterycore::BatterySnapshot;
using batterycore::Date;
using batterycore::DecodingError;
using batterycore::Json;
using batterycore::put;
using batterycore::required;
using batterycore::LimitState;
using batterycore::Seconds;

namespace {

constexpr double kNominalVolts = 11.55;
constexpr double kAdapterEfficiency = 0.92;
constexpr double kMaxChargeC = 0.8;          // fastest charge, as a share of capacity per hour
constexpr double kLoweringW = 2.5;           // how fast a battery above its limit sinks
constexpr double kRestartBelowLimit = 0.6;   // points below the target before charging resumes
constexpr double kFadePerDay = 4e-5;         // share of design capacity lost per day
constexpr double kFadePerDayHigh = 8e-5;     // extra while the charge sits above 80%
constexpr int kNightStartMinute = 23 * 60;
constexpr int kNightEndMinute = 7 * 60;
constexpr Seconds kOneDay{86400};
constexpr double kBrowserCores = 0.3;  // the person's browser, while they are awake
constexpr double kKernelCores = 0.02;
constexpr double kRunawayCores = 1.6;  // a program stuck in a loop on more than one core
constexpr int kBrowserPid = 1000;
constexpr int kAccessoryChargedAtMinute = 9 * 60;

}  // namespace

const BatterySimulator::Stretch* BatterySimulator::Timeline::find(Date at) const {
  if (cursor > 0 && cursor <= stretches.size() && at < stretches[cursor - 1].to) cursor = 0;  // went back
  while (cursor < stretches.size() && stretches[cursor].to <= at) ++cursor;
  if (cursor < stretches.size() && stretches[cursor].from <= at) return &stretches[cursor];
  return nullptr;
}

BatterySimulator::BatterySimulator(Scenario scenario)
    : scenario_(std::move(scenario)),
      calendar_(batterycore::Calendar::gregorian(scenario_.timeZone)),
      percent_(scenario_.startPercent),
      fullChargeMilliAh_(scenario_.fullChargeCapacity),
      cycles_(scenario_.cycleCount) {
  const auto first = batterycore::parseDayKey(scenario_.start).value();
  start_ = calendar_.date(first.year, first.month, first.day).value();
  end_ = dayStart(scenario_.days);
  now_ = start_;
  plan();
  decidePower();
}

Date BatterySimulator::dayStart(int day) const { return calendar_.startOfDay(calendar_.addingDays(start_ + Seconds{43200}, day)); }

Date BatterySimulator::onDay(int day, int minuteOfDay) const {
  if (minuteOfDay >= 24 * 60) return dayStart(day + 1);
  return calendar_.onSameDay(calendar_.addingDays(start_ + Seconds{43200}, day), minuteOfDay / 60, minuteOfDay % 60);
}

void BatterySimulator::plan() {
  // mt19937's raw output is fixed by the standard, unlike its distributions,
  // so a seed means the same weeks on every machine.
  std::mt19937 random(scenario_.seed);
  auto jitter = [&](int spread) {
    if (spread <= 0) return 0;
    return static_cast<int>(random() % static_cast<unsigned>(2 * spread + 1)) - spread;
  };

  for (const auto& event : scenario_.events) {
    eventTimes_.push_back({onDay(event.day, event.fromMinute), onDay(event.toDay, event.toMinute), 0});
  }
  eventFired_.assign(scenario_.events.size(), false);

  for (int day = 0; day < scenario_.days; ++day) {
    const Date midday = dayStart(day) + Seconds{43200};
    nights_.stretches.push_back({onDay(day, kNightStartMinute), onDay(day + 1, kNightEndMinute), 0});
    bool home = false;
    for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
      const auto& event = scenario_.events[i];
      if (event.kind == ScenarioEvent::Kind::stayHome && event.day <= day && day <= event.toDay) home = true;
    }
    const int weekday = calendar_.weekday(midday);
    const auto& routine = (weekday == 1 || weekday == 7) ? scenario_.weekend : scenario_.weekday;
    for (const auto& stretch : routine) {
      // Draw the jitter even on a day at home, so one changed day leaves the
      // others as they were.
      const int from = std::clamp(stretch.fromMinute + jitter(stretch.spreadMinutes), 0, 24 * 60 - 1);
      int to = stretch.toMinute + jitter(stretch.spreadMinutes);
      if (home) continue;
      to = std::max(to, from + 5);
      const Date fromDate = onDay(day, from);
      const Date toDate = to >= 24 * 60 ? onDay(day + 1, to - 24 * 60) : onDay(day, to);
      if (!away_.stretches.empty() && fromDate < away_.stretches.back().to) continue;  // overlapping: skip
      away_.stretches.push_back({fromDate, toDate, stretch.loadW});
    }
  }
}

bool BatterySimulator::eventActive(std::size_t index, Date at) const {
  return eventTimes_[index].from <= at && at < eventTimes_[index].to;
}

BatterySimulator::Conditions BatterySimulator::conditionsAt(Date at) const {
  Conditions c{true, scenario_.pluggedLoadW, scenario_.adapterWatts, scenario_.adapterDescription, 0, false, false};
  if (const auto* stretch = away_.find(at)) {
    c.pluggedIn = false;
    c.loadW = stretch->loadW;
  } else if (nights_.find(at) != nullptr) {
    c.loadW = scenario_.nightLoadW;
  }
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    if (!eventActive(i, at)) continue;
    const auto& event = scenario_.events[i];
    switch (event.kind) {
      case ScenarioEvent::Kind::heat: c.thermal = std::clamp(event.thermal, 0, 3); break;
      case ScenarioEvent::Kind::charger:
        c.adapterWatts = event.watts;
        c.adapterDescription = event.description;
        break;
      case ScenarioEvent::Kind::load: c.loadW = event.watts; break;
      case ScenarioEvent::Kind::runaway: c.loadW += event.watts; break;
      case ScenarioEvent::Kind::limitFails: c.limitFails = true; break;
      case ScenarioEvent::Kind::calibration: c.calibrating = true; break;
      case ScenarioEvent::Kind::limitSwitchedOff:
      case ScenarioEvent::Kind::controlFails:
      case ScenarioEvent::Kind::stayHome: break;
    }
  }
  return c;
}

bool BatterySimulator::isAway(Date at) const { return away_.find(at) != nullptr; }

void BatterySimulator::advance(Seconds step) {
  const Date next = now_ + step;
  // One-off events happen the moment their time is passed.
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    if (eventFired_[i] || eventTimes_[i].from > next) continue;
    eventFired_[i] = true;
    const auto& event = scenario_.events[i];
    if (event.kind == ScenarioEvent::Kind::limitSwitchedOff) limitOn_ = false;
    if (event.kind == ScenarioEvent::Kind::calibration) {
      powerLog_ += batterycore::toIso8601(eventTimes_[i].from) +
                   " Charge: ChargingUpForGauging: charging to full to recalibrate the gauge\n";
    }
  }

  // What the programs used of the processor meanwhile.
  const double seconds = static_cast<double>(step.count());
  const bool asleep = nights_.find(now_) != nullptr;
  browserCpu_ += seconds * (asleep ? 0.0 : kBrowserCores);
  kernelCpu_ += seconds * kKernelCores;
  runawayCpu_.resize(scenario_.events.size(), 0.0);
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    if (scenario_.events[i].kind == ScenarioEvent::Kind::runaway && eventActive(i, now_)) {
      runawayCpu_[i] += seconds * kRunawayCores;
    }
  }

  const double hours = step.count() / 3600.0;
  const double capacityWh = fullChargeMilliAh_ * kNominalVolts / 1000.0;
  const double target = chargeTarget();
  const double before = percent_;
  percent_ = std::clamp(percent_ + batteryW_ * hours / capacityWh * 100.0, 0.0, 100.0);
  if (charging_ && percent_ >= target) {
    percent_ = target;
    charging_ = percent_ < target;
  }
  if (percent_ < before) {
    dischargedMilliAh_ += (before - percent_) / 100.0 * fullChargeMilliAh_;
    while (dischargedMilliAh_ >= fullChargeMilliAh_) {
      dischargedMilliAh_ -= fullChargeMilliAh_;
      ++cycles_;
    }
  }
  const double fade = kFadePerDay + (percent_ > 80 ? kFadePerDayHigh : 0.0);
  fullChargeMilliAh_ -= scenario_.designCapacity * fade * (step / kOneDay);
  now_ = next;
  decidePower();
}

double BatterySimulator::chargeTarget() const {
  const bool limitHolds = limitOn_ && !conditions_.limitFails && !conditions_.calibrating;
  return limitHolds ? scenario_.limit : 100.0;
}

// What flows where from this moment on, given where the person is and what
// the limit says; the next advance() integrates it.
void BatterySimulator::decidePower() {
  const Conditions c = conditionsAt(now_);
  conditions_ = c;
  const double capacityWh = fullChargeMilliAh_ * kNominalVolts / 1000.0;
  const bool limitHolds = limitOn_ && !c.limitFails && !c.calibrating;
  const double target = chargeTarget();

  loadW_ = c.loadW;
  if (c.pluggedIn) {
    const double available = c.adapterWatts * kAdapterEfficiency - c.loadW;
    const bool wantsCharge = percent_ < target - (charging_ ? 0.0 : kRestartBelowLimit);
    const double taper = percent_ > 80 ? std::max((100.0 - percent_) / 20.0, 0.08) : 1.0;
    if (wantsCharge && available > 0.5) {
      charging_ = true;
      batteryW_ = std::min(available, capacityWh * kMaxChargeC * taper);
    } else if (limitHolds && std::llround(percent_) > scenario_.limit + 1) {
      // Above the limit the system lets the battery sink until it shows at
      // most one point over, where it rests.
      charging_ = false;
      batteryW_ = -kLoweringW;
    } else {
      charging_ = false;
      batteryW_ = std::min(available, 0.0);  // a charger too small for the load drains the battery
    }
    systemInW_ = std::max(0.0, std::min(c.adapterWatts * kAdapterEfficiency, c.loadW + batteryW_));
  } else {
    charging_ = false;
    batteryW_ = -c.loadW;
    systemInW_ = 0;
  }
}

std::optional<BatterySnapshot> BatterySimulator::read() {
  const Conditions& c = conditions_;
  const bool plugged = c.pluggedIn;
  const double capacityWh = fullChargeMilliAh_ * kNominalVolts / 1000.0;
  const auto percent = static_cast<std::int64_t>(std::llround(percent_));
  const int voltage = static_cast<int>(std::lround(11000 + 1900 * percent_ / 100.0));
  const bool limitHolds = limitOn_ && !c.limitFails && !c.calibrating;
  const double target = limitHolds ? scenario_.limit : 100.0;

  std::optional<int> toEmpty;
  std::optional<int> toFull;
  if (!plugged && loadW_ > 0) {
    toEmpty = static_cast<int>(percent_ / 100.0 * capacityWh / loadW_ * 60.0);
  }
  if (charging_ && batteryW_ > 0) {
    toFull = static_cast<int>(std::ceil((target - percent_) / 100.0 * capacityWh / batteryW_ * 60.0));
  }
  std::optional<batterycore::Adapter> adapter;
  if (plugged) adapter = batterycore::Adapter{c.adapterWatts, c.adapterDescription, false};

  BatterySnapshot snapshot(
      now_, percent, plugged, charging_, plugged && !charging_ && percent_ >= 99.5, toEmpty, toFull,
      limitOn_ ? LimitState::on(scenario_.limit) : LimitState::off(scenario_.limit), 0, 0, 0,
      batterycore::thermalLevelFromInt(c.thermal).value_or(batterycore::ThermalLevel::nominal),
      static_cast<int>(std::lround(fullChargeMilliAh_)),
      static_cast<int>(std::lround(fullChargeMilliAh_ * 1.025)), scenario_.designCapacity,
      static_cast<int>(std::lround(fullChargeMilliAh_ * percent_ / 100.0)), cycles_,
      scenario_.designCycleCount, voltage, static_cast<int>(std::lround(batteryW_ * 1e6 / voltage)),
      plugged ? std::optional<int>(static_cast<int>(std::lround(systemInW_ * 1000))) : std::nullopt,
      static_cast<int>(std::lround(loadW_ * 1000)), static_cast<int>(std::lround(batteryW_ * 1000)),
      adapter);
  return snapshot;
}

std::optional<std::string> BatterySimulator::switchOn() {
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    if (scenario_.events[i].kind == ScenarioEvent::Kind::controlFails && eventActive(i, now_)) {
      return "The system did not accept the change.";
    }
  }
  limitOn_ = true;
  decidePower();
  return std::nullopt;
}

std::optional<std::string> BatterySimulator::switchOff() {
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    if (scenario_.events[i].kind == ScenarioEvent::Kind::controlFails && eventActive(i, now_)) {
      return "The system did not accept the change.";
    }
  }
  limitOn_ = false;
  decidePower();
  return std::nullopt;
}

std::vector<batterycore::ProcessSample> BatterySimulator::processes() const {
  std::vector<batterycore::ProcessSample> table{{2, "kthreadd", kernelCpu_, false, true},
                                               {kBrowserPid, "browser", browserCpu_, true, false}};
  for (std::size_t i = 0; i < scenario_.events.size(); ++i) {
    const auto& event = scenario_.events[i];
    if (event.kind != ScenarioEvent::Kind::runaway || eventTimes_[i].from > now_) continue;
    const double cpu = i < runawayCpu_.size() ? runawayCpu_[i] : 0.0;
    table.push_back({kBrowserPid + 1 + static_cast<int>(i), event.description.value_or("runaway"), cpu, false, false});
  }
  return table;
}

std::vector<batterycore::AccessoryBattery> BatterySimulator::accessories() const {
  using batterycore::AccessoryBattery;
  std::vector<AccessoryBattery> list;
  for (std::size_t i = 0; i < scenario_.accessories.size(); ++i) {
    const auto& accessory = scenario_.accessories[i];
    // From the last charge that has happened, else from the start.
    double base = accessory.startPercent;
    Date since = start_;
    for (const int day : accessory.chargedOnDays) {
      const Date charged = onDay(day, kAccessoryChargedAtMinute);
      if (charged <= now_ && charged > since) {
        base = 100;
        since = charged;
      }
    }
    const double days = std::chrono::duration<double>(now_ - since) / kOneDay;
    const double percent = std::clamp(base - accessory.perDay * days, 0.0, 100.0);
    list.push_back(AccessoryBattery::fromReading("sim-accessory-" + std::to_string(i), accessory.name,
                                                 static_cast<std::int64_t>(std::floor(percent)), std::nullopt,
                                                 AccessoryBattery::Status::discharging));
  }
  return list;
}

Json BatterySimulator::checkpoint() const {
  Json json = Json::object();
  put(json, "scenario", scenario_.name);
  put(json, "now", now_);
  put(json, "percent", percent_);
  put(json, "fullChargeMilliAh", fullChargeMilliAh_);
  put(json, "dischargedMilliAh", dischargedMilliAh_);
  put(json, "cycles", cycles_);
  put(json, "limitOn", limitOn_);
  put(json, "charging", charging_);
  put(json, "batteryW", batteryW_);
  put(json, "systemInW", systemInW_);
  put(json, "loadW", loadW_);
  put(json, "eventFired", std::vector<bool>(eventFired_.begin(), eventFired_.end()));
  put(json, "browserCpu", browserCpu_);
  put(json, "kernelCpu", kernelCpu_);
  put(json, "runawayCpu", runawayCpu_);
  put(json, "calibrationLogged", calibrationLogged_);
  put(json, "powerLog", powerLog_);
  return json;
}

void BatterySimulator::restore(const Json& point) {
  if (required<std::string>(point, "scenario") != scenario_.name) {
    throw DecodingError("the saved simulation is of another scenario");
  }
  const Date at = required<Date>(point, "now");
  if (at < start_ || at > end_) throw DecodingError("the saved simulation lies outside this scenario's days");
  const auto fired = required<std::vector<bool>>(point, "eventFired");
  if (fired.size() != eventFired_.size()) throw DecodingError("the saved simulation has other events");
  const auto runaway = required<std::vector<double>>(point, "runawayCpu");
  if (runaway.size() > scenario_.events.size()) throw DecodingError("the saved simulation has other events");
  now_ = at;
  percent_ = required<double>(point, "percent");
  fullChargeMilliAh_ = required<double>(point, "fullChargeMilliAh");
  dischargedMilliAh_ = required<double>(point, "dischargedMilliAh");
  cycles_ = required<int>(point, "cycles");
  limitOn_ = required<bool>(point, "limitOn");
  charging_ = required<bool>(point, "charging");
  batteryW_ = required<double>(point, "batteryW");
  systemInW_ = required<double>(point, "systemInW");
  loadW_ = required<double>(point, "loadW");
  eventFired_.assign(fired.begin(), fired.end());
  browserCpu_ = required<double>(point, "browserCpu");
  kernelCpu_ = required<double>(point, "kernelCpu");
  runawayCpu_ = runaway;
  calibrationLogged_ = required<bool>(point, "calibrationLogged");
  powerLog_ = required<std::string>(point, "powerLog");
  away_.cursor = 0;
  nights_.cursor = 0;
  conditions_ = conditionsAt(now_);
}

std::string BatterySimulator::takePowerLog() { return std::exchange(powerLog_, {}); }

}  // namespace kestrin::app::simulation
