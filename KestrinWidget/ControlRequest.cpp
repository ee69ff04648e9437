#include "KestrinWidget/ControlRequest.hpp"

#include <cmath>

namespace kestrin::widget {

using batterycore::Date;

std::optional<ControlRequest> ControlRequest::from(const std::optional<PreferenceDictionary>& dictionary) {
  if (!dictionary) return std::nullopt;
  const auto* on = entry<bool>(*dictionary, "on");
  const auto at = number(*dictionary, "at");
  if (on == nullptr || !at || !std::isfinite(*at)) return std::nullopt;
  return ControlRequest{*on, batterycore::dateFromSecondsSince1970(*at)};
}

PreferenceDictionary ControlRequest::dictionary() const {
  return {{"on", on}, {"at", batterycore::secondsSince1970(at)}};
}

PreferenceDictionary ControlRequest::answer(const ControlRequest& request, const std::optional<std::string>& refusal) {
  auto answer = request.dictionary();
  if (refusal) answer.emplace(refusalKey, *refusal);
  return answer;
}

std::optional<std::string> ControlRequest::refusal(const PreferenceDictionary& answer) {
  if (const auto* text = entry<std::string>(answer, refusalKey)) return *text;
  return std::nullopt;
}

bool ControlRequest::isFresh(Date now) const {
  return std::abs(batterycore::secondsBetween(at, now)) <= freshFor.count();
}

std::optional<ControlRequest> ControlRequest::pending(const std::optional<PreferenceDictionary>& request,
                                                      const std::optional<PreferenceDictionary>& applied,
                                                      Date now) {
  const auto asked = from(request);
  if (!asked || !asked->isFresh(now)) return std::nullopt;
  const auto answered = from(applied);
  if (answered && answered->on == asked->on && answered->at == asked->at) return std::nullopt;
  return asked;
}

}  // namespace kestrin::widget
