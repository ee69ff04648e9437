// WidgetSnapshot: the application's latest state, already worded, that the
// widget and the Control Center control show without reading the battery.
//
//   WidgetSnapshot s{at, 82, 80, false, Attention::Tone::holding, "Resting at 80%",
//                    std::nullopt, std::nullopt, std::nullopt, std::nullopt};
//   s.encoded() == R"({"at":"2026-01-01T09:00:00Z","percent":82,"limit":80,)"
//                  R"("charging":false,"mood":"holding","headline":"Resting at 80%"})"
//   s.isStale(at + hours{3}) == false;   s.isStale(at + hours{3} + 1s) == true
//
// The application writes it after a tick when shouldWrite says so, to a file
// in the group's container and, as the reader's fallback, into the group's
// preferences. Dates are written in whole seconds, so the widget's plain
// ISO 8601 decoder (which knows no fractions) reads them.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "KestrinWidget/SharedPreferences.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kestrin::widget {

struct WidgetSnapshot {
  batterycore::Date at;                 // when the application wrote this state
  std::int64_t percent = 0;             // state of charge, 0 to 100
  std::optional<int> limit;             // the limit's percentage while it is on
  bool charging = false;
  batterycore::Attention::Tone mood = batterycore::Attention::Tone::battery;  // the widget's accent
  std::string headline;                 // the current attention, worded
  std::optional<std::string> health;          // short health figure
  std::optional<std::string> healthLine;      // one sentence on health
  std::optional<std::string> highCharge;      // short figure for time at high charge
  std::optional<std::string> highChargeLine;  // one sentence on it

  static constexpr std::string_view fileName = "snapshot.json";
  static constexpr std::string_view defaultsKey = "widget.snapshot";
  // Least time between two writes that only change numbers or wording.
  static constexpr batterycore::Seconds throttle = std::chrono::minutes{5};
  // Greatest time between two writes, so a running application never looks stale.
  static constexpr batterycore::Seconds heartbeat = std::chrono::hours{2};
  // Older than this, a reader shows its placeholder instead.
  static constexpr batterycore::Seconds staleAfter = std::chrono::hours{3};

  // Whether the application should write `next` now, given what it wrote last
  // and when. A change of mood or limit goes out at once, other changes at
  // most once per `throttle`, and even an unchanged state once per `heartbeat`.
  static bool shouldWrite(const WidgetSnapshot& next, const std::optional<WidgetSnapshot>& previous,
                          std::optional<batterycore::Date> lastWriteAt, batterycore::Date now);

  // Older than `staleAfter` at `now` (exactly `staleAfter` old is still fresh).
  bool isStale(batterycore::Date now) const;

  // Keys in field order; absent optionals are left out; `at` is rounded to
  // the whole second. On decoding, the five non-optional fields are required.
  batterycore::Json toJson() const;
  static WidgetSnapshot fromJson(const batterycore::Json& json);
  // The bytes written to the file and the preferences.
  std::string encoded() const;
  // Absent when the bytes are not a whole, valid snapshot.
  static std::optional<WidgetSnapshot> decoded(std::string_view bytes);

  // Stores the snapshot as `fileName` in the container (when it has a folder)
  // and under `defaultsKey` in the preferences. False when either failed;
  // the failure is logged, nothing is thrown.
  bool write(const SharedContainer& container, SharedPreferences& preferences) const;

  // The file in the container if it reads and decodes, else the preferences
  // copy if it decodes, else nothing. Silent: a reader never reports, repairs
  // or writes.
  static std::optional<WidgetSnapshot> load(const SharedContainer& container,
                                            const SharedPreferences* preferences);
  static std::optional<WidgetSnapshot> load(const AppGroup& group);
  // The platform's own group.
  static std::optional<WidgetSnapshot> load();

  friend bool operator==(const WidgetSnapshot&, const WidgetSnapshot&) = default;
};

}  // namespace kestrin::widget
