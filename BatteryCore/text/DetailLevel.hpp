// DetailLevel: how much a text explains — plain words or the figures behind them.
//
//   detailLevelFromRaw("technical") == DetailLevel::technical
//   detailLevelFromRaw("expert")    == std::nullopt       // callers use simple
//   detailLevelRaw(DetailLevel::simple) == "simple"
//   title(DetailLevel::technical)   == "Technical"       (in English)
//   encode(DetailLevel::simple)     == "simple"
//
// The level is a user setting owned by the application (simple unless the
// user picks otherwise) and passed into every text that has two wordings.
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace batterycore {

enum class DetailLevel { simple, technical };

// Every level, in the order the setting lists them.
inline constexpr DetailLevel kAllDetailLevels[] = {DetailLevel::simple, DetailLevel::technical};

// The stored raw value: "simple" or "technical".
std::string_view detailLevelRaw(DetailLevel level);
// Absent for any other text; the caller falls back to simple.
std::optional<DetailLevel> detailLevelFromRaw(std::string_view raw);

// The level's name as the setting shows it, in the current language.
std::string title(DetailLevel level);

// Stored as the raw value. A stored value this version does not know reads as
// simple, so a setting written by a newer version never stops the app.
template <>
struct JsonCoding<DetailLevel> {
  static Json encode(DetailLevel level) { return std::string(detailLevelRaw(level)); }
  static DetailLevel decode(const Json& json) {
    return detailLevelFromRaw(JsonCoding<std::string>::decode(json)).value_or(DetailLevel::simple);
  }
};

}  // namespace batterycore
