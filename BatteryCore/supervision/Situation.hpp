// Situation: everything the rules know at one tick, gathered so that one
// attention can be chosen from it (see Attention.hpp).
//
//   Situation now{snapshot, watchdog.state, session, detector.state, LimitAvailability::available()};
//   Attention::of(now).kind == Attention::Kind::phase(ChargePhase::holding(80))
//
// A plain value: built from all five parts, compared part by part.
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include <optional>

namespace batterycore {

struct Situation {
  // The latest reading.
  BatterySnapshot snapshot;
  // The watchdog's verdict for that reading.
  LimitWatchdog::Verdict watchdog;
  // The running full charge, if any.
  std::optional<FullChargeSession> session;
  // The calibration detector's verdict.
  CalibrationDetector::Verdict calibration;
  // Whether the limit can be switched on this Mac.
  LimitAvailability control;

  friend bool operator==(const Situation&, const Situation&) = default;
};

}  // namespace batterycore
