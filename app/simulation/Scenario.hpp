// Scenario: a person's weeks for the battery simulator, read from JSON.
//
//   {"name": "office-worker", "start": "2026-03-02", "timeZone": "Europe/Berlin", "days": 56,
//    "seed": 7, "limit": 80,
//    "week": {"weekday": [{"from": "08:20", "to": "09:00", "spread": 12, "load": 7}],
//             "weekend": [{"from": "11:00", "to": "16:00", "spread": 120, "load": 8}]},
//    "events": [{"kind": "heat", "day": 17, "from": "13:00", "to": "15:00", "thermal": 2},
//               {"kind": "runaway", "day": 23, "from": "20:00", "to": "21:30", "watts": 12,
//                "description": "tracker-miner-fs"}],
//    "calendar": "office-worker.ics",
//    "accessories": [{"name": "MX Master 3", "percent": 48, "perDay": 3.5, "chargedOnDays": [13]}]}
//
// Each "week" entry is a stretch away from the charger on that kind of day,
// its ends moved by up to ±spread minutes, the same way for the same seed.
// Event days count from the first day (0); clock times are local to the
// scenario's zone, so a scenario reads the same across daylight saving.
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::simulation {

struct AwayStretch {
  int fromMinute = 0;  // minute of the day the laptop is unplugged
  int toMinute = 0;    // minute of the day it is plugged in again
  int spreadMinutes = 0;
  double loadW = 8;    // what the laptop draws meanwhile

  static AwayStretch fromJson(const batterycore::Json& json);
  batterycore::Json toJson() const;
};

struct ScenarioEvent {
  enum class Kind {
    heat,              // thermal pressure rises
    charger,           // a different adapter is plugged in
    load,              // heavy work: the machine draws more
    limitFails,        // the limit stops holding: charging runs past it
    limitSwitchedOff,  // somebody switches the limit off outside the app
    calibration,       // the system recalibrates its gauge, charging to 100%
    controlFails,      // switching the limit is refused
    stayHome,          // a day without the usual outings
    runaway,           // a background program (description) spins, drawing `watts` more
  };
  Kind kind = Kind::heat;
  int day = 0;
  int toDay = 0;  // the day it ends (defaults to `day`)
  int fromMinute = 0;
  int toMinute = 24 * 60;
  int thermal = 0;
  int watts = 0;
  std::optional<std::string> description;

  static ScenarioEvent fromJson(const batterycore::Json& json);
  batterycore::Json toJson() const;
};

// A wireless mouse or keyboard whose battery runs down day by day and is
// charged to full on the given days (at 09:00).
struct ScenarioAccessory {
  std::string name;
  double startPercent = 100;
  double perDay = 3;
  std::vector<int> chargedOnDays;

  static ScenarioAccessory fromJson(const batterycore::Json& json);
  batterycore::Json toJson() const;
};

struct Scenario {
  std::string name;
  std::string summary;
  std::string start = "2026-03-02";  // first day, local
  std::string timeZone = "UTC";
  int days = 56;
  unsigned seed = 1;
  int limit = 80;
  double startPercent = 80;
  int designCapacity = 6075;
  int fullChargeCapacity = 5700;
  int cycleCount = 200;
  int designCycleCount = 1000;
  int adapterWatts = 96;
  std::string adapterDescription = "96W USB-C Power Adapter";
  double pluggedLoadW = 12;  // at the desk
  double nightLoadW = 1.5;   // asleep between 23:00 and 07:00
  std::vector<AwayStretch> weekday;
  std::vector<AwayStretch> weekend;
  std::vector<ScenarioEvent> events;
  // An iCalendar file with the person's appointments; a relative path is
  // relative to the scenario file (the loader makes it absolute).
  std::optional<std::string> calendar;
  std::vector<ScenarioAccessory> accessories;

  static Scenario fromJson(const batterycore::Json& json);
  batterycore::Json toJson() const;
};

// "08:20" -> 500; throws DecodingError for anything else.
int minuteOfDayFromText(const std::string& text);

}  // namespace kestrin::app::simulation
