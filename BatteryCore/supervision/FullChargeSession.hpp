// FullChargeSession: a one-off charge to 100% with the limit switched off,
// and the rules that decide, reading by reading, when to put the limit back.
//
//   auto s = FullChargeSession::start(at("2026-03-02T10:03:10Z"), 80, false, false, 2);
//   s->deadline == at("2026-03-02T12:05:00Z")                  // two hours, rounded up to 5 min
//   FullChargeSession::evaluate(*s, stillLimited, s->startedAt + 10s).isKeepGoing()
//   FullChargeSession::evaluate(*s, stillLimited, s->startedAt + 30s)
//       == FullChargeSession::Outcome::restore(RestoreReason::limitBackOn)
//
// The session is the persisted record: the application switches the limit off
// when it starts one, steps it on every reading, and switches the limit back
// on when `step` ends it. `startedAt` and the deadline are absolute moments,
// so a restart never extends a session. Restoring is the application's job;
// each failed attempt goes through `restoreFailed`, which alerts once after
// two minutes of failing.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/BatteryAlert.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace batterycore {

struct FullChargeSession {
  // Who started the session.
  class Origin {
   public:
    enum class Kind { calendar, smart, user, shortcut };

    // For a trip found in the calendar; the title may be empty.
    static Origin calendar(std::string eventTitle) { return Origin(Trip{std::move(eventTitle)}); }
    // By the smart top-up, for the departure it expects.
    static Origin smart(Date departure) { return Origin(Smart{departure}); }
    static Origin user() { return Origin(User{}); }
    static Origin shortcut() { return Origin(Shortcut{}); }

    Kind kind() const { return static_cast<Kind>(value_.index()); }
    // The payloads; absent for the other cases.
    std::optional<std::string> eventTitle() const;
    std::optional<Date> departure() const;

    friend bool operator==(const Origin&, const Origin&) = default;

    // {"calendar": {"eventTitle": ...}}, {"smart": {"departure": ...}},
    // {"user": {}}, {"shortcut": {}}.
    Json toJson() const;
    static Origin fromJson(const Json& json);

   private:
    struct Trip {
      std::string eventTitle;
      friend bool operator==(const Trip&, const Trip&) = default;
    };
    struct Smart {
      Date departure;
      friend bool operator==(const Smart&, const Smart&) = default;
    };
    struct User {
      friend bool operator==(const User&, const User&) = default;
    };
    struct Shortcut {
      friend bool operator==(const Shortcut&, const Shortcut&) = default;
    };
    // In the order of Kind.
    using Value = std::variant<Trip, Smart, User, Shortcut>;
    explicit Origin(Value value) : value_(std::move(value)) {}
    Value value_;
  };

  // Why a session ended; stored as its case name.
  enum class RestoreReason { unplugged, full, timer, userCancelled, limitBackOn };
  static std::string_view rawValue(RestoreReason reason);
  static std::optional<RestoreReason> restoreReasonFromRawValue(std::string_view raw);

  // What one reading means for a running session.
  class Outcome {
   public:
    static Outcome restore(RestoreReason reason) { return Outcome(reason); }
    static Outcome keepGoing() { return Outcome(std::nullopt); }

    bool isKeepGoing() const { return !reason_; }
    // The reason of a restore; absent for keepGoing.
    const std::optional<RestoreReason>& restoreReason() const { return reason_; }

    friend bool operator==(const Outcome&, const Outcome&) = default;

   private:
    explicit Outcome(std::optional<RestoreReason> reason) : reason_(reason) {}
    std::optional<RestoreReason> reason_;
  };

  struct Step;
  struct RestoreFailure;

  // While the switch-off is still on its way, the limit reads as on; only
  // after this long does a limit that reads as on mean someone put it back.
  static constexpr Seconds settle{30};
  // How long putting the limit back may fail before the person is told.
  static constexpr Seconds restoreGrace = std::chrono::minutes{2};
  // Deadlines fall on whole five minutes, so "at 12:05" is what it says.
  static constexpr Seconds deadlineGrid = std::chrono::minutes{5};
  // Where the deadline grid is counted from: 2001-01-01 00:00:00 UTC.
  static constexpr Date gridEpoch = dateFromSecondsSince1970(978307200.0);

  Date startedAt;
  // Put the limit back at this moment; absent for no time limit.
  std::optional<Date> deadline;
  Origin origin = Origin::user();
  bool restoreOnUnplug = false;
  bool restoreWhenFull = false;
  // The limit to put back on, in percent.
  int limit = 80;
  // The "Charged to 100%" alert has been raised.
  bool reachedFull = false;
  // First moment a restore attempt failed.
  std::optional<Date> restoreFailingSince;
  // The "couldn't turn the limit back on" alert has been raised.
  bool restoreAlertSent = false;

  // A session started by the person (origin user); the smart top-up and the
  // calendar trigger set their own origin on the result. Absent when no way
  // back is chosen: not until unplug, not when full, and no hours. A negative
  // number of hours counts as none (the deadline is now, on the grid).
  static std::optional<FullChargeSession> start(Date now, int limit, bool untilUnplug, bool whenFull,
                                                std::optional<int> hours);

  // The first moment on the five-minute grid at or after `date`.
  static Date roundedUpToGrid(Date date);

  // Keep going, or put the limit back (and why). The first that applies: the
  // limit reads as on after the settle time; unplugged; full; the deadline.
  static Outcome evaluate(const FullChargeSession& session, const BatterySnapshot& snapshot, Date now);

  // One reading: the outcome, the "Charged to 100%" alert the first time the
  // battery is full, and the "Limit back on" alert when the session ends
  // (unless somebody else already put the limit back). The calendar gives the
  // time zone for the clock times in the texts.
  static Step step(const FullChargeSession& session, const BatterySnapshot& snapshot, Date now,
                   const Calendar& calendar);

  // The one alert that announces a restored limit.
  static std::vector<BatteryAlert> stopped(const FullChargeSession& session, Date now);

  // Called on every failed attempt to put the limit back. The session keeps
  // running; once the attempts have failed for restoreGrace, one alert.
  static RestoreFailure restoreFailed(const FullChargeSession& session, Date now);

  friend bool operator==(const FullChargeSession&, const FullChargeSession&) = default;

  // Writes "smartDeparture" beside a smart origin for readers of the older
  // layout, which had only that key; reads either layout.
  Json toJson() const;
  static FullChargeSession fromJson(const Json& json);
};

struct FullChargeSession::Step {
  // The session to keep; absent when it ends.
  std::optional<FullChargeSession> session;
  std::optional<RestoreReason> ended;
  std::vector<BatteryAlert> alerts;
};

struct FullChargeSession::RestoreFailure {
  FullChargeSession session;
  std::optional<BatteryAlert> alert;
};

template <>
struct JsonCoding<FullChargeSession::RestoreReason> {
  static Json encode(FullChargeSession::RestoreReason reason) {
    return std::string(FullChargeSession::rawValue(reason));
  }
  static FullChargeSession::RestoreReason decode(const Json& json) {
    const auto raw = JsonCoding<std::string>::decode(json);
    const auto reason = FullChargeSession::restoreReasonFromRawValue(raw);
    if (!reason) throw DecodingError("unknown restore reason \"" + raw + "\"");
    return *reason;
  }
};

}  // namespace batterycore
