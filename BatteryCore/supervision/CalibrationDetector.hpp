// CalibrationDetector: tells a macOS gauge recalibration (which charges past
// the limit on purpose) from a limit that is broken, so the user hears
// "nothing is broken" instead of an alarm.
//
// A calibration is confirmed by a power-management log line, or by the limit
// failing at 98% or more on two different days within two weeks. It is over
// once the battery has rested at its limit for six uninterrupted hours.
//
//   auto d = CalibrationDetector::step({}, notHolding, at98, false, day1, calendar).next;
//   d.state.kind() == CalibrationDetector::Verdict::Kind::suspected
//   auto [next, alerts] = CalibrationDetector::step(d, notHolding, at98, false, day2, calendar);
//   next.state.isConfirmed() && alerts.front().kind == BatteryAlert::Kind::calibrating
//
// Run the watchdog first: the detector reads its verdict for the same reading.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace batterycore {

struct CalibrationDetector {
  class Verdict {
   public:
    enum class Kind { suspected, confirmed, recovered, normal };

    // One full-while-limited day seen; not sure yet.
    static Verdict suspected(Date since) { return Verdict(Kind::suspected, since); }
    // A calibration is running.
    static Verdict confirmed(Date since) { return Verdict(Kind::confirmed, since); }
    // The calibration just ended; lasts one step.
    static Verdict recovered(Date at) { return Verdict(Kind::recovered, at); }
    static Verdict normal() { return Verdict(Kind::normal, Date{}); }

    Kind kind() const { return kind_; }
    // `since` of suspected and confirmed, `at` of recovered; absent for normal.
    std::optional<Date> moment() const;
    bool isConfirmed() const { return kind_ == Kind::confirmed; }

    friend bool operator==(const Verdict&, const Verdict&) = default;

    Json toJson() const;
    static Verdict fromJson(const Json& json);

   private:
    Verdict(Kind kind, Date moment) : kind_(kind), moment_(moment) {}
    Kind kind_;
    Date moment_;  // the epoch for normal, so equality stays by case
  };

  struct Step;

  // Least time between two `calibrating` alerts.
  static constexpr Seconds cooldown = std::chrono::days{7};
  // How long the battery must rest at its limit before a calibration is over.
  static constexpr Seconds recoveryAfter = std::chrono::hours{6};
  // How far back full-while-limited days are remembered (today and the 13 before).
  static constexpr std::chrono::days dayWindow{14};

  Verdict state = Verdict::normal();
  // Day keys ("2026-03-07") on which the limit failed at 98% or more.
  std::set<std::string> fullWhileLimitedDays;
  // When the last `calibrating` alert was raised.
  std::optional<Date> lastAlertAt;
  // Start of the current uninterrupted rest at the limit.
  std::optional<Date> restingSince;

  CalibrationDetector() = default;
  // A fresh detector that remembers when the last `calibrating` alert went out.
  explicit CalibrationDetector(std::optional<Date> lastAlert) : lastAlertAt(lastAlert) {}

  // `watchdog` is the watchdog's verdict for this same snapshot; `logHit`
  // whether the latest look into the power-management log found a line.
  static Step step(const CalibrationDetector& previous, const LimitWatchdog::Verdict& watchdog,
                   const BatterySnapshot& snapshot, bool logHit, Date now, const Calendar& calendar);

  friend bool operator==(const CalibrationDetector&, const CalibrationDetector&) = default;

  // Every key may be missing (older files load); only malformed values fail.
  Json toJson() const;
  static CalibrationDetector fromJson(const Json& json);
};

struct CalibrationDetector::Step {
  CalibrationDetector next;
  std::vector<BatteryAlert> alerts;  // none or one
};

}  // namespace batterycore
