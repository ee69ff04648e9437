// LimitWatchdog: notices a charge limit that is on but does not hold — the
// battery keeps charging at least 3 points past it for ten minutes — and
// raises one `limitNotHolding` alert per episode.
//
//   LimitWatchdog w;                                         // holding
//   w = LimitWatchdog::step(w, charging(83, limitOn(80)), false, t).next;
//   w.state == LimitWatchdog::Verdict::overshootSuspected(t)
//   auto [next, alerts] = LimitWatchdog::step(w, charging(84, limitOn(80)), false, t + 600s);
//   next.state == LimitWatchdog::Verdict::notHolding(t) && alerts.size() == 1
//
// Only the time since the first overshooting reading counts, and that moment
// is kept in the persisted state, so a suspicion survives a restart. Any
// reading that does not overshoot ends the episode.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <optional>
#include <vector>

namespace batterycore {

struct LimitWatchdog {
  class Verdict {
   public:
    enum class Kind { overshootSuspected, notHolding, holding, charging, ours };

    // The limit is on and the battery charges at least 3 points above it,
    // first seen at `since`.
    static Verdict overshootSuspected(Date since) { return Verdict(Kind::overshootSuspected, since); }
    // The overshoot has lasted `persistFor`; `since` is still its first sighting.
    static Verdict notHolding(Date since) { return Verdict(Kind::notHolding, since); }
    // The limit holds, or there is nothing to watch.
    static Verdict holding() { return Verdict(Kind::holding, Date{}); }
    // Charging normally: below the overshoot, or with no limit on.
    static Verdict charging() { return Verdict(Kind::charging, Date{}); }
    // This application lets the battery pass the limit; nothing is judged.
    static Verdict ours() { return Verdict(Kind::ours, Date{}); }

    Kind kind() const { return kind_; }
    // The first overshooting reading; absent for the cases without one.
    std::optional<Date> since() const;
    bool isNotHolding() const { return kind_ == Kind::notHolding; }

    friend bool operator==(const Verdict&, const Verdict&) = default;

    Json toJson() const;
    static Verdict fromJson(const Json& json);

   private:
    Verdict(Kind kind, Date since) : kind_(kind), since_(since) {}
    Kind kind_;
    Date since_;  // the epoch for the cases without payload, so equality stays by case
  };

  struct Step;

  // How long an overshoot must last before the limit counts as not holding.
  static constexpr Seconds persistFor = std::chrono::minutes{10};

  Verdict state = Verdict::holding();

  // `ours` is true while this application itself lets the battery charge past
  // the limit (a full charge it started).
  static Step step(const LimitWatchdog& previous, const BatterySnapshot& snapshot, bool ours, Date now);

  friend bool operator==(const LimitWatchdog&, const LimitWatchdog&) = default;

  // {"state": verdict}; the key is required.
  Json toJson() const;
  static LimitWatchdog fromJson(const Json& json);
};

struct LimitWatchdog::Step {
  LimitWatchdog next;
  std::vector<BatteryAlert> alerts;  // none or one
};

}  // namespace batterycore
