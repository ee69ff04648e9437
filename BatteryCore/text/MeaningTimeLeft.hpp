// Time left on battery as a pace a person can plan by, from the operating
// system's estimate in minutes.
//
//   Meaning::timeLeft(15, DetailLevel::simple)  == {"Under 20 minutes", "Under 20 minutes left", "Plug in soon."}
//   Meaning::timeLeft(50, DetailLevel::simple)  == {"About an hour", "About an hour left", "Enough for a meeting."}
//   Meaning::timeLeft(200, DetailLevel::simple) == {"About 3 hours", "About 3 hours left", "Plenty for now."}
//   Meaning::timeLeft(65, DetailLevel::technical) == {"1 h 5 min to empty", "1 h 5 min left", none}
//
// The simple paces: under 20 minutes; about half an hour (20 to 44); about an
// hour (45 to 74); about an hour and a half (75 to 119); from two hours,
// about so many hours, halves rounded up. From 45 minutes to under three
// hours there is enough for a meeting; from three hours, plenty for now.
#pragma once

#include "BatteryCore/text/DetailLevel.hpp"

#include <optional>
#include <string>

namespace batterycore::Meaning {

struct TimeLeft {
  std::string phrase;                 // "About an hour"
  std::string left;                   // "About an hour left"
  std::optional<std::string> remark;  // a short sentence that may follow
  friend bool operator==(const TimeLeft&, const TimeLeft&) = default;
};

TimeLeft timeLeft(int minutes, DetailLevel level);

}  // namespace batterycore::Meaning
