// The texts of alerts: what each alert says when a rule raises it, and how
// each kind is presented in the alert settings and the alerts list.
//
//   Meaning::notHoldingAlert(83, 80)
//       == Line{"Your limit isn't holding",
//               "The battery is at 83% and still charging past your 80% limit."}
//   Meaning::alertSetting(BatteryAlert::Kind::calibrating).title == "Battery recalibrating"
//   Meaning::alertSetting(BatteryAlert::Kind::limitTurnedOn).detail == "Shown in the alerts list only."
//
// Every text comes from the catalogue in the current language, with the
// English default given here; percentages are formatted for the locale.
#pragma once

#include "BatteryCore/supervision/BatteryAlert.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <cstdint>
#include <string>

namespace batterycore::Meaning {

// Alert texts: the title, and the body in the simple wording.
Line notHoldingAlert(std::int64_t percent, int limit);
Line limitOffAlert();
// Body: "Your battery will rest at 80% again."
Line limitOnAlert(int limit);
Line calibratingAlert();
Line calibrationOverAlert(int limit);
Line hotAlert();

// A kind's row in the alert settings: its switch's title and the line under
// it. The list-only kinds have no switch; their row names what happened and
// says that it only shows in the alerts list.
Line alertSetting(BatteryAlert::Kind kind);
// What an alert of this kind means, shown with it in the alerts list. The
// weekly note explains itself, so it repeats its setting's line.
std::string alertExplanation(BatteryAlert::Kind kind);

}  // namespace batterycore::Meaning
