#include "KestrinWidget/WidgetSnapshot.hpp"

#include "KestrinWidget/Log.hpp"

#include <cmath>

namespace kestrin::widget {

using batterycore::Date;
using batterycore::Json;

bool WidgetSnapshot::shouldWrite(const WidgetSnapshot& next, const std::optional<WidgetSnapshot>& previous,
                                 std::optional<Date> lastWriteAt, Date now) {
  if (!previous || !lastWriteAt) return true;
  const auto sinceLastWrite = now - *lastWriteAt;
  if (sinceLastWrite >= heartbeat) return true;
  WidgetSnapshot sameMoment = next;
  sameMoment.at = previous->at;
  if (sameMoment == *previous) return false;
  if (next.mood != previous->mood || next.limit != previous->limit) return true;
  return sinceLastWrite >= throttle;
}

bool WidgetSnapshot::isStale(Date now) const { return now - at > staleAfter; }

Json WidgetSnapshot::toJson() const {
  Json object = Json::object();
  // The widget's decoder reads ISO 8601 without fractions.
  batterycore::put(object, "at", batterycore::dateFromSecondsSince1970(std::round(batterycore::secondsSince1970(at))));
  batterycore::put(object, "percent", percent);
  batterycore::putIfPresent(object, "limit", limit);
  batterycore::put(object, "charging", charging);
  batterycore::put(object, "mood", mood);
  batterycore::put(object, "headline", headline);
  batterycore::putIfPresent(object, "health", health);
  batterycore::putIfPresent(object, "healthLine", healthLine);
  batterycore::putIfPresent(object, "highCharge", highCharge);
  batterycore::putIfPresent(object, "highChargeLine", highChargeLine);
  return object;
}

WidgetSnapshot WidgetSnapshot::fromJson(const Json& json) {
  using batterycore::optional;
  using batterycore::required;
  return WidgetSnapshot{required<Date>(json, "at"),
                        required<std::int64_t>(json, "percent"),
                        optional<int>(json, "limit"),
                        required<bool>(json, "charging"),
                        required<batterycore::Attention::Tone>(json, "mood"),
                        required<std::string>(json, "headline"),
                        optional<std::string>(json, "health"),
                        optional<std::string>(json, "healthLine"),
                        optional<std::string>(json, "highCharge"),
                        optional<std::string>(json, "highChargeLine")};
}

std::string WidgetSnapshot::encoded() const { return toJson().dump(); }

std::optional<WidgetSnapshot> WidgetSnapshot::decoded(std::string_view bytes) {
  const Json json = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) return std::nullopt;
  try {
    return fromJson(json);
  } catch (const batterycore::DecodingError&) {
    return std::nullopt;
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

bool WidgetSnapshot::write(const SharedContainer& container, SharedPreferences& preferences) const {
  const std::string bytes = encoded();
  bool stored = true;
  if (const auto folder = container.folder()) {
    // Not forced to disk: the service writes a newer one within minutes.
    if (!writeFileAtomically(*folder / fileName, bytes, /*durable=*/false)) {
      logNote("could not write the widget snapshot to " + (*folder / fileName).string());
      stored = false;
    }
  } else {
    logNote("no shared container for the widget snapshot");
    stored = false;
  }
  if (!preferences.setData(defaultsKey, bytes)) {
    logNote("could not store the widget snapshot in the shared preferences");
    stored = false;
  }
  return stored;
}

std::optional<WidgetSnapshot> WidgetSnapshot::load(const SharedContainer& container,
                                                   const SharedPreferences* preferences) {
  if (const auto folder = container.folder()) {
    if (const auto bytes = readWholeFile(*folder / fileName)) {
      if (auto snapshot = decoded(*bytes)) return snapshot;
    }
  }
  if (preferences != nullptr) {
    if (const auto bytes = preferences->data(defaultsKey)) return decoded(*bytes);
  }
  return std::nullopt;
}

std::optional<WidgetSnapshot> WidgetSnapshot::load(const AppGroup& group) {
  return load(*group.container, group.preferences.get());
}

std::optional<WidgetSnapshot> WidgetSnapshot::load() { return load(AppGroup::open()); }

}  // namespace kestrin::widget
