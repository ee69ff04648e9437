#include "app/simulation/Scenario.hpp"

#include "BatteryCore/foundation/Calendar.hpp"

#include <charconv>
#include <cstdio>

namespace kestrin::app::simulation {

using batterycore::DecodingError;
using batterycore::Json;
using batterycore::optional;
using batterycore::put;
using batterycore::putIfPresent;
using batterycore::required;
using batterycore::valueOr;

namespace {

constexpr const char* kKindNames[] = {"heat",        "charger",      "load",     "limitFails",
                                      "limitSwitchedOff", "calibration", "controlFails", "stayHome", "runaway"};

std::string clockText(int minute) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%02d:%02d", minute / 60, minute % 60);
  return buffer;
}

int minuteField(const Json& json, const char* key, int fallback) {
  const auto text = optional<std::string>(json, key);
  if (!text) return fallback;
  try {
    return minuteOfDayFromText(*text);
  } catch (const DecodingError& error) {
    throw error.within(key);
  }
}

}  // namespace

int minuteOfDayFromText(const std::string& text) {
  int hour = 0;
  int minute = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  const auto [colon, e1] = std::from_chars(begin, end, hour);
  if (e1 != std::errc{} || colon == end || *colon != ':') throw DecodingError("expected a clock time like \"08:20\"");
  const auto [last, e2] = std::from_chars(colon + 1, end, minute);
  // "24:00" is the end of the day.
  if (e2 != std::errc{} || last != end || hour < 0 || minute < 0 || minute > 59 ||
      hour * 60 + minute > 24 * 60) {
    throw DecodingError("expected a clock time like \"08:20\"");
  }
  return hour * 60 + minute;
}

AwayStretch AwayStretch::fromJson(const Json& json) {
  AwayStretch stretch;
  stretch.fromMinute = minuteField(json, "from", 0);
  stretch.toMinute = minuteField(json, "to", 0);
  stretch.spreadMinutes = valueOr<int>(json, "spread", 0);
  stretch.loadW = valueOr<double>(json, "load", 8.0);
  if (!json.contains("from") || !json.contains("to")) throw DecodingError("an away stretch needs \"from\" and \"to\"");
  return stretch;
}

Json AwayStretch::toJson() const {
  Json json = Json::object();
  put(json, "from", clockText(fromMinute));
  put(json, "to", clockText(toMinute));
  put(json, "spread", spreadMinutes);
  put(json, "load", loadW);
  return json;
}

ScenarioEvent ScenarioEvent::fromJson(const Json& json) {
  ScenarioEvent event;
  const auto kind = required<std::string>(json, "kind");
  bool known = false;
  for (int i = 0; i < static_cast<int>(std::size(kKindNames)); ++i) {
    if (kind == kKindNames[i]) {
      event.kind = static_cast<Kind>(i);
      known = true;
    }
  }
  if (!known) throw DecodingError("unknown event kind \"" + kind + "\"", "kind");
  event.day = required<int>(json, "day");
  event.toDay = valueOr<int>(json, "toDay", event.day);
  event.fromMinute = minuteField(json, "from", 0);
  event.toMinute = minuteField(json, "to", 24 * 60);
  event.thermal = valueOr<int>(json, "thermal", 0);
  event.watts = valueOr<int>(json, "watts", 0);
  event.description = optional<std::string>(json, "description");
  if (event.toDay < event.day) throw DecodingError("an event cannot end before it starts", "toDay");
  return event;
}

Json ScenarioEvent::toJson() const {
  Json json = Json::object();
  put(json, "kind", std::string(kKindNames[static_cast<int>(kind)]));
  put(json, "day", day);
  if (toDay != day) put(json, "toDay", toDay);
  put(json, "from", clockText(fromMinute));
  put(json, "to", clockText(toMinute));
  if (thermal != 0) put(json, "thermal", thermal);
  if (watts != 0) put(json, "watts", watts);
  putIfPresent(json, "description", description);
  return json;
}

ScenarioAccessory ScenarioAccessory::fromJson(const Json& json) {
  ScenarioAccessory accessory;
  accessory.name = required<std::string>(json, "name");
  accessory.startPercent = valueOr<double>(json, "percent", accessory.startPercent);
  accessory.perDay = valueOr<double>(json, "perDay", accessory.perDay);
  accessory.chargedOnDays = valueOr<std::vector<int>>(json, "chargedOnDays", {});
  if (!(accessory.startPercent >= 0 && accessory.startPercent <= 100)) {
    throw DecodingError("a percentage from 0 to 100", "percent");
  }
  if (accessory.perDay < 0) throw DecodingError("percent used per day, 0 or more", "perDay");
  return accessory;
}

Json ScenarioAccessory::toJson() const {
  Json json = Json::object();
  put(json, "name", name);
  put(json, "percent", startPercent);
  put(json, "perDay", perDay);
  put(json, "chargedOnDays", chargedOnDays);
  return json;
}

Scenario Scenario::fromJson(const Json& json) {
  Scenario s;
  s.name = required<std::string>(json, "name");
  s.summary = valueOr<std::string>(json, "summary", "");
  s.start = valueOr<std::string>(json, "start", s.start);
  s.timeZone = valueOr<std::string>(json, "timeZone", s.timeZone);
  s.days = valueOr<int>(json, "days", s.days);
  s.seed = valueOr<unsigned>(json, "seed", s.seed);
  s.limit = valueOr<int>(json, "limit", s.limit);
  s.startPercent = valueOr<double>(json, "startPercent", s.startPercent);
  if (const auto battery = optional<Json>(json, "battery")) {
    s.designCapacity = valueOr<int>(*battery, "designCapacity", s.designCapacity);
    s.fullChargeCapacity = valueOr<int>(*battery, "fullChargeCapacity", s.fullChargeCapacity);
    s.cycleCount = valueOr<int>(*battery, "cycleCount", s.cycleCount);
    s.designCycleCount = valueOr<int>(*battery, "designCycleCount", s.designCycleCount);
  }
  if (const auto adapter = optional<Json>(json, "adapter")) {
    s.adapterWatts = valueOr<int>(*adapter, "watts", s.adapterWatts);
    s.adapterDescription = valueOr<std::string>(*adapter, "description", s.adapterDescription);
  }
  s.pluggedLoadW = valueOr<double>(json, "pluggedLoad", s.pluggedLoadW);
  s.nightLoadW = valueOr<double>(json, "nightLoad", s.nightLoadW);
  if (const auto week = optional<Json>(json, "week")) {
    s.weekday = valueOr<std::vector<AwayStretch>>(*week, "weekday", {});
    s.weekend = valueOr<std::vector<AwayStretch>>(*week, "weekend", {});
  }
  s.events = valueOr<std::vector<ScenarioEvent>>(json, "events", {});
  s.calendar = optional<std::string>(json, "calendar");
  s.accessories = valueOr<std::vector<ScenarioAccessory>>(json, "accessories", {});
  if (s.days < 1) throw DecodingError("a scenario lasts at least one day", "days");
  if (s.limit < 50 || s.limit > 100) throw DecodingError("the limit is a percentage from 50 to 100", "limit");
  if (!batterycore::parseDayKey(s.start)) throw DecodingError("expected a day like \"2026-03-02\"", "start");
  if (!(s.startPercent >= 0 && s.startPercent <= 100)) {
    throw DecodingError("a percentage from 0 to 100", "startPercent");
  }
  if (s.designCapacity < 1) throw DecodingError("a capacity in mAh, 1 or more", "battery.designCapacity");
  if (s.fullChargeCapacity < 1) throw DecodingError("a capacity in mAh, 1 or more", "battery.fullChargeCapacity");
  if (s.cycleCount < 0) throw DecodingError("a count of cycles, 0 or more", "battery.cycleCount");
  if (s.designCycleCount < 1) throw DecodingError("a count of cycles, 1 or more", "battery.designCycleCount");
  if (s.adapterWatts < 1) throw DecodingError("watts, 1 or more", "adapter.watts");
  if (!(s.pluggedLoadW >= 0) || !(s.nightLoadW >= 0)) {
    throw DecodingError("watts, 0 or more", s.pluggedLoadW >= 0 ? "nightLoad" : "pluggedLoad");
  }
  return s;
}

Json Scenario::toJson() const {
  Json json = Json::object();
  put(json, "name", name);
  put(json, "summary", summary);
  put(json, "start", start);
  put(json, "timeZone", timeZone);
  put(json, "days", days);
  put(json, "seed", seed);
  put(json, "limit", limit);
  put(json, "startPercent", startPercent);
  put(json, "battery", Json{{"designCapacity", designCapacity},
                            {"fullChargeCapacity", fullChargeCapacity},
                            {"cycleCount", cycleCount},
                            {"designCycleCount", designCycleCount}});
  put(json, "adapter", Json{{"watts", adapterWatts}, {"description", adapterDescription}});
  put(json, "pluggedLoad", pluggedLoadW);
  put(json, "nightLoad", nightLoadW);
  put(json, "week", Json{{"weekday", batterycore::encode(weekday)}, {"weekend", batterycore::encode(weekend)}});
  put(json, "events", events);
  putIfPresent(json, "calendar", calendar);
  if (!accessories.empty()) put(json, "accessories", accessories);
  return json;
}

}  // namespace kestrin::app::simulation
