// ChargerVerdict: whether the plugged-in adapter is big enough for this Mac.
//
//   chargerVerdictName(ChargerVerdict::tooSmall) == "tooSmall"
//
// `plenty`, `enough`, `slow` and `tooSmall` compare with the model's rating;
// `fallbackSeen` and `unknown` are what is left when the model is not known.
#pragma once

#include <optional>
#include <string_view>

namespace batterycore {

enum class ChargerVerdict { plenty, enough, slow, tooSmall, fallbackSeen, unknown };

inline constexpr ChargerVerdict kAllChargerVerdicts[] = {
    ChargerVerdict::plenty,   ChargerVerdict::enough,       ChargerVerdict::slow,
    ChargerVerdict::tooSmall, ChargerVerdict::fallbackSeen, ChargerVerdict::unknown};

std::string_view chargerVerdictName(ChargerVerdict verdict);
std::optional<ChargerVerdict> chargerVerdictFromName(std::string_view name);

}  // namespace batterycore
