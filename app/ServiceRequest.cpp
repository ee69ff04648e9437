#include "app/ServiceRequest.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningFullCharge.hpp"
#include "app/Monitor.hpp"

#include <cmath>

namespace kestrin::app {

using batterycore::Date;
namespace Meaning = batterycore::Meaning;
using widget::PreferenceDictionary;
using widget::entry;
using widget::number;

namespace {

constexpr int kAnswerPolls = 30;
constexpr batterycore::Seconds kPollInterval = std::chrono::milliseconds{100};

std::optional<Date> answeredAt(const std::optional<PreferenceDictionary>& answer) {
  if (!answer) return std::nullopt;
  const auto at = number(*answer, "at");
  if (!at || !std::isfinite(*at)) return std::nullopt;
  return batterycore::dateFromSecondsSince1970(*at);
}

ServiceRequest::Answer refused(std::string text) { return {false, std::move(text)}; }
ServiceRequest::Answer done(std::string text) { return {true, std::move(text)}; }

ServiceRequest::Answer chargeFull(Monitor& monitor, const ServiceRequest& request, Date now) {
  const auto& last = monitor.state().last;
  if (last && !last->pluggedIn) {
    return refused(Meaning::text("fullCharge.needsPower", "Plug in first to charge to 100%%."));
  }
  if (const auto failure = monitor.startFullCharge(now, request.options)) return refused(*failure);
  return done(Meaning::format(
      "intents.fullChargeStarted", "Charging to 100%%. The limit comes back on %@.",
      {Meaning::comesBackConditions(*monitor.state().session, /*includeWhenFull=*/true, now, monitor.calendar())}));
}

ServiceRequest::Answer stopFullCharge(Monitor& monitor, Date now) {
  if (!monitor.state().session) return refused(Meaning::text("intents.noFullCharge", "No full charge is running."));
  const int limit = monitor.state().session->limit;
  if (const auto failure = monitor.stopFullCharge(now)) return refused(*failure);
  return done(Meaning::format("intents.limit.on", "Charge limit on. The battery will rest at %@.",
                              {batterycore::Formatting::percent(limit)}));
}

ServiceRequest::Answer act(Monitor& monitor, const ServiceRequest& request, Date now) {
  switch (request.kind) {
    case ServiceRequest::Kind::chargeFull: return chargeFull(monitor, request, now);
    case ServiceRequest::Kind::stopFullCharge: return stopFullCharge(monitor, now);
    case ServiceRequest::Kind::skipToday:
      monitor.skipToday(now);
      return done(monitor.settings().level == batterycore::DetailLevel::technical
                      ? Meaning::text("plans.smart.skipped.technical",
                                      "Not today, as you asked. Back for your next usual departure.")
                      : Meaning::text("plans.smart.skipped.simple",
                                      "Not today, as you asked. Back for your next usual departure."));
    case ServiceRequest::Kind::forgetDepartures:
      monitor.forgetUnplugs();
      return done(Meaning::text("intents.departuresForgotten",
                                "Forgot the unplug times. Kestrin starts learning them again."));
    case ServiceRequest::Kind::clearAlerts:
      monitor.clearAlerts();
      return done(Meaning::text("intents.alertsCleared", "The alerts list is empty now."));
  }
  return refused("");
}

}  // namespace

std::string_view ServiceRequest::rawValue(Kind kind) {
  switch (kind) {
    case Kind::chargeFull: return "chargeFull";
    case Kind::stopFullCharge: return "stopFullCharge";
    case Kind::skipToday: return "skipToday";
    case Kind::forgetDepartures: return "forgetDepartures";
    case Kind::clearAlerts: return "clearAlerts";
  }
  return "";
}

std::string ServiceRequest::requestKey(Kind kind) { return "request." + std::string(rawValue(kind)); }
std::string ServiceRequest::answerKey(Kind kind) { return "answer." + std::string(rawValue(kind)); }

PreferenceDictionary ServiceRequest::dictionary() const {
  PreferenceDictionary dictionary{{"at", batterycore::secondsSince1970(at)}};
  if (kind == Kind::chargeFull) {
    dictionary.emplace("untilUnplug", options.untilUnplug);
    dictionary.emplace("whenFull", options.whenFull);
    if (options.hours) dictionary.emplace("hours", static_cast<std::int64_t>(*options.hours));
  }
  return dictionary;
}

std::optional<ServiceRequest> ServiceRequest::from(Kind kind, const std::optional<PreferenceDictionary>& dictionary) {
  const auto at = answeredAt(dictionary);
  if (!at) return std::nullopt;
  ServiceRequest request{kind, *at, {}};
  if (kind == Kind::chargeFull) {
    if (const auto* until = entry<bool>(*dictionary, "untilUnplug")) request.options.untilUnplug = *until;
    if (const auto* full = entry<bool>(*dictionary, "whenFull")) request.options.whenFull = *full;
    if (const auto* hours = entry<std::int64_t>(*dictionary, "hours"); hours && *hours > 0 && *hours <= 24 * 7) {
      request.options.hours = static_cast<int>(*hours);
    }
  }
  return request;
}

std::optional<ServiceRequest> ServiceRequest::pending(Kind kind, const widget::SharedPreferences& preferences,
                                                      Date now) {
  const auto asked = from(kind, preferences.dictionary(requestKey(kind)));
  if (!asked || std::abs(batterycore::secondsBetween(asked->at, now)) > freshFor.count()) return std::nullopt;
  if (answeredAt(preferences.dictionary(answerKey(kind))) == asked->at) return std::nullopt;
  return asked;
}

PreferenceDictionary ServiceRequest::answer(const ServiceRequest& request, const Answer& answer) {
  PreferenceDictionary dictionary{{"at", batterycore::secondsSince1970(request.at)}};
  dictionary.emplace(answer.done ? "reply" : "refusal", answer.text);
  return dictionary;
}

std::optional<ServiceRequest::Answer> ServiceRequest::ask(const widget::AppGroup& group, const ServiceRequest& request,
                                                          widget::Clock& clock) {
  if (!group.preferences || !group.preferences->setDictionary(requestKey(request.kind), request.dictionary())) {
    return std::nullopt;
  }
  group.notifications->post(widget::ControlRequest::notification);
  for (int poll = 0; poll < kAnswerPolls; ++poll) {
    clock.sleep(kPollInterval);
    const auto answer = group.preferences->dictionary(answerKey(request.kind));
    if (answeredAt(answer) != request.at) continue;
    if (const auto* reply = entry<std::string>(*answer, "reply")) return Answer{true, *reply};
    if (const auto* refusal = entry<std::string>(*answer, "refusal")) return Answer{false, *refusal};
  }
  return std::nullopt;
}

std::vector<std::string> answerServiceRequests(Monitor& monitor, widget::SharedPreferences& preferences, Date now) {
  std::vector<std::string> notes;
  for (const auto kind : ServiceRequest::allKinds) {
    const auto request = ServiceRequest::pending(kind, preferences, now);
    if (!request) continue;
    const auto answer = act(monitor, *request, now);
    preferences.setDictionary(ServiceRequest::answerKey(kind), ServiceRequest::answer(*request, answer));
    notes.push_back("asked to " + std::string(ServiceRequest::rawValue(kind)) + ": " +
                    (answer.done ? "" : "refused, ") + answer.text);
  }
  return notes;
}

}  // namespace kestrin::app
