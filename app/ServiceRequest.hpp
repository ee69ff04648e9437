// ServiceRequest: an action a person asks the running service for from
// another process, through the group's preferences, the way the charge-limit
// control asks for the limit: one request and one answer per kind of action,
// a request counts for three seconds, and only an answer that repeats its
// moment exactly belongs to it.
//
//   // kestrin charge-full:
//   auto answer = ServiceRequest::ask(group, {ServiceRequest::Kind::chargeFull, now, options}, clock);
//   if (!answer) say(notRunning);  else say(answer->text), exit(answer->done ? 0 : 1);
//
//   // kestrin watch, on the wake-up call and on every tick:
//   answerServiceRequests(monitor, *group.preferences, now);
//
// Keys: "request.<kind>" and "answer.<kind>" (kind as rawValue names it).
// A request is {"at": seconds since 1970} plus, for a full charge, its ways
// back ("untilUnplug", "whenFull", "hours"); an answer repeats "at" and holds
// either "reply" or "refusal", worded for the person.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "app/Settings.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrin::app {

class Monitor;

struct ServiceRequest {
  enum class Kind { chargeFull, stopFullCharge, skipToday, forgetDepartures, clearAlerts };
  static constexpr std::array<Kind, 5> allKinds{Kind::chargeFull, Kind::stopFullCharge, Kind::skipToday,
                                                Kind::forgetDepartures, Kind::clearAlerts};
  static constexpr batterycore::Seconds freshFor = std::chrono::seconds{3};

  Kind kind = Kind::skipToday;
  batterycore::Date at;
  FullChargeOptions options;  // chargeFull only

  static std::string_view rawValue(Kind kind);
  static std::string requestKey(Kind kind);
  static std::string answerKey(Kind kind);

  widget::PreferenceDictionary dictionary() const;
  // Absent unless the dictionary has a finite "at"; options fall back to their defaults.
  static std::optional<ServiceRequest> from(Kind kind, const std::optional<widget::PreferenceDictionary>& dictionary);

  // The request still to act on: fresh at `now`, and not answered yet.
  static std::optional<ServiceRequest> pending(Kind kind, const widget::SharedPreferences& preferences,
                                               batterycore::Date now);

  struct Answer {
    bool done = false;  // false: refused, `text` says why
    std::string text;
  };
  static widget::PreferenceDictionary answer(const ServiceRequest& request, const Answer& answer);

  // Stores the request, wakes the service and waits up to three seconds for
  // its answer. Absent when nothing answered: the service is not running.
  static std::optional<Answer> ask(const widget::AppGroup& group, const ServiceRequest& request,
                                   widget::Clock& clock);
};

// Acts on every pending request with the monitor's own actions and leaves the
// answers. One line per request answered, for the log.
std::vector<std::string> answerServiceRequests(Monitor& monitor, widget::SharedPreferences& preferences,
                                               batterycore::Date now);

}  // namespace kestrin::app
