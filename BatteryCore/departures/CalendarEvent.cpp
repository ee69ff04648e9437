#include "BatteryCore/departures/CalendarEvent.hpp"

namespace batterycore {

std::string CalendarEvent::key() const { return uid + "@" + toIso8601(start); }

std::optional<Date> CalendarEvent::startOfKey(std::string_view key) {
  // A uid may hold "@" itself; the date never does.
  const auto at = key.rfind('@');
  if (at == std::string_view::npos) return std::nullopt;
  return parseIso8601(key.substr(at + 1));
}

Json CalendarEvent::toJson() const {
  Json object = Json::object();
  put(object, "uid", uid);
  put(object, "title", title);
  put(object, "start", start);
  put(object, "end", end);
  put(object, "allDay", allDay);
  return object;
}

CalendarEvent CalendarEvent::fromJson(const Json& json) {
  return {required<std::string>(json, "uid"), valueOr<std::string>(json, "title", {}), required<Date>(json, "start"),
          required<Date>(json, "end"), valueOr<bool>(json, "allDay", false)};
}

}  // namespace batterycore
