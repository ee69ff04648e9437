// MonitorRecords: the monitor's own small records as its state folder holds
// them: the tick record ("monitor.json") and the two states that may be
// absent, written as null when they are ("session.json", "milestone.json").
//
//   store.save("monitor", TickRecord{last, lastTick, lastOwnChangeAt, lastHot, widget, widgetWrittenAt});
//   auto session = store.load<OptionalSession>("session", OptionalSession{}).session;
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/health/HealthMilestone.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/supervision/HeatRule.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <optional>

namespace kestrin::app {

template <class T>
batterycore::Json encodeOptional(const std::optional<T>& value) {
  return value ? batterycore::encode(*value) : batterycore::Json(nullptr);
}

template <class T>
std::optional<T> decodeOptional(const batterycore::Json& json) {
  if (json.is_null()) return std::nullopt;
  return batterycore::decode<T>(json);
}

// The last reading and when it was taken, with what else changes every tick.
struct TickRecord {
  std::optional<batterycore::BatterySnapshot> last;
  std::optional<batterycore::Date> lastTick;
  std::optional<batterycore::Date> lastOwnChangeAt;
  std::optional<batterycore::HeatRule::Last> lastHot;
  std::optional<widget::WidgetSnapshot> widget;
  std::optional<batterycore::Date> widgetWrittenAt;

  friend bool operator==(const TickRecord&, const TickRecord&) = default;

  batterycore::Json toJson() const {
    using batterycore::putIfPresent;
    batterycore::Json json = batterycore::Json::object();
    putIfPresent(json, "last", last);
    putIfPresent(json, "lastTick", lastTick);
    putIfPresent(json, "lastOwnChangeAt", lastOwnChangeAt);
    putIfPresent(json, "lastHot", lastHot);
    putIfPresent(json, "widget", widget);
    putIfPresent(json, "widgetWrittenAt", widgetWrittenAt);
    return json;
  }
  static TickRecord fromJson(const batterycore::Json& json) {
    using batterycore::Date;
    using batterycore::optional;
    return {optional<batterycore::BatterySnapshot>(json, "last"),   optional<Date>(json, "lastTick"),
            optional<Date>(json, "lastOwnChangeAt"),                optional<batterycore::HeatRule::Last>(json, "lastHot"),
            optional<widget::WidgetSnapshot>(json, "widget"),       optional<Date>(json, "widgetWrittenAt")};
  }
};

struct OptionalSession {
  std::optional<batterycore::FullChargeSession> session;
  friend bool operator==(const OptionalSession&, const OptionalSession&) = default;
  batterycore::Json toJson() const { return encodeOptional(session); }
  static OptionalSession fromJson(const batterycore::Json& json) {
    return {decodeOptional<batterycore::FullChargeSession>(json)};
  }
};

struct OptionalMilestone {
  std::optional<batterycore::HealthMilestone> milestone;
  friend bool operator==(const OptionalMilestone&, const OptionalMilestone&) = default;
  batterycore::Json toJson() const { return encodeOptional(milestone); }
  static OptionalMilestone fromJson(const batterycore::Json& json) {
    return {decodeOptional<batterycore::HealthMilestone>(json)};
  }
};

}  // namespace kestrin::app
