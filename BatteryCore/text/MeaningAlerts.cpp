#include "BatteryCore/text/MeaningAlerts.hpp"

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"

namespace batterycore::Meaning {

namespace {

using Kind = BatteryAlert::Kind;

std::string percentOf(std::int64_t value) { return Formatting::percent(static_cast<double>(value)); }

}  // namespace

Line notHoldingAlert(std::int64_t percent, int limit) {
  return {text("alert.notHolding.title", "Your limit isn't holding"),
          format("alert.notHolding.body", "The battery is at %@ and still charging past your %@ limit.",
                 {percentOf(percent), percentOf(limit)})};
}

Line limitOffAlert() {
  return {text("alert.limitOff.title", "Charge limit turned off"),
          text("alert.limitOff.body",
               "Your battery will now charge to 100%%. Turn it back on if that wasn't you.")};
}

Line limitOnAlert(int limit) {
  return {text("alert.limitOn.title", "Charge limit back on"),
          format("alert.restsAgain", "Your battery will rest at %@ again.", {percentOf(limit)})};
}

Line calibratingAlert() {
  return {text("alert.calibrating.title", "Your Mac is recalibrating its battery"),
          text("alert.calibrating.body",
               "It ignores the limit while this runs. Nothing is broken. Click for what helps.")};
}

Line calibrationOverAlert(int limit) {
  return {text("alert.calibrationOver.title", "Calibration finished"),
          format("alert.calibrationOver.body", "Your limit is holding again at %@.", {percentOf(limit)})};
}

Line hotAlert() {
  return {text("alert.hot.title", "Running hot while charging"),
          text("alert.hot.body", "Heat ages a battery. Give your Mac some air or pause the heavy work.")};
}

namespace {

std::string settingTitle(Kind kind) {
  switch (kind) {
    case Kind::limitNotHolding: return text("alertSetting.limitNotHolding", "Limit not holding");
    case Kind::limitTurnedOff: return text("alertSetting.limitTurnedOff", "Limit turned off");
    case Kind::hot: return text("alertSetting.hot", "Running hot while charging");
    case Kind::fullChargeDone: return text("alertSetting.fullChargeDone", "Full charge done");
    case Kind::fullChargeRestored:
      return text("alertSetting.fullChargeRestored", "Limit back on after a full charge");
    case Kind::limitRestoreFailed:
      return text("alertSetting.limitRestoreFailed", "Limit didn't come back on");
    case Kind::calibrating: return text("alertSetting.calibrating", "Battery recalibrating");
    case Kind::calibrationOver: return text("alertSetting.calibrationOver", "Recalibration finished");
    case Kind::healthMilestone: return text("alertSetting.healthMilestone", "Battery health drops a point");
    case Kind::weakCharger: return text("alertSetting.weakCharger", "Charger can't keep up");
    case Kind::accessoryLow: return text("alertSetting.accessoryLow", "Mouse, keyboard or trackpad low");
    case Kind::calendarFullCharge:
      return text("alertSetting.calendarFullCharge", "Charging to 100%% for a trip");
    case Kind::weeklyNote: return text("alertSetting.weeklyNote", "Weekly battery note");
    case Kind::smartFullCharge:
      return text("alertSetting.smartFullCharge", "Charging to 100%% before you leave");
    case Kind::backgroundDrain:
      return text("alertSetting.backgroundDrain", "App draining the battery in the background");
    case Kind::limitTurnedOn: return text("alert.limitOn.title", "Charge limit back on");
    case Kind::limitUnavailable: return text("limit.unavailable.title", "Charge limit unavailable");
  }
  return std::string(BatteryAlert::rawValue(kind));
}

std::string settingDetail(Kind kind) {
  switch (kind) {
    case Kind::limitNotHolding:
      return text("alertSetting.limitNotHolding.detail", "When the battery charges past your limit.");
    case Kind::limitTurnedOff:
      return text("alertSetting.limitTurnedOff.detail", "When the limit is switched off outside Kestrin.");
    case Kind::hot: return text("alertSetting.hot.detail", "When heat could age the battery.");
    case Kind::fullChargeDone:
      return text("alertSetting.fullChargeDone.detail", "When a full charge you started is done.");
    case Kind::fullChargeRestored:
      return text("alertSetting.fullChargeRestored.detail",
                  "When a full charge ends and the battery rests again. Off at first.");
    case Kind::limitRestoreFailed:
      return text("alertSetting.limitRestoreFailed.detail",
                  "When a full charge ends but the limit stays off.");
    case Kind::calibrating:
      return text("alertSetting.calibrating.detail",
                  "When macOS ignores the limit while it re-learns the battery.");
    case Kind::calibrationOver:
      return text("alertSetting.calibrationOver.detail", "When the limit is in control again.");
    case Kind::healthMilestone:
      return text("alertSetting.healthMilestone.detail",
                  "When health falls a whole point, like 91%% to 90%%. Off at first.");
    case Kind::weakCharger:
      return text("alertSetting.weakCharger.detail",
                  "When the battery drains or fills slowly while plugged in.");
    case Kind::accessoryLow: return text("alertSetting.accessoryLow.detail", "When one is down to 10%%.");
    case Kind::calendarFullCharge:
      return text("alertSetting.calendarFullCharge.detail",
                  "When your calendar has a trip today or tomorrow. Needs the option in Charge to 100%%.");
    case Kind::weeklyNote:
      return text("alertSetting.weeklyNote.detail",
                  "A short note every Monday on the week's time above 80%%.");
    case Kind::smartFullCharge:
      return format("alertSetting.smartFullCharge.detail",
                    "%@ starts a timed full charge. Needs the option in Charge to 100%%.", {AppInfo::name});
    case Kind::backgroundDrain:
      return text("alertSetting.backgroundDrain.detail",
                  "On battery, when an app you're not using takes more than 2.5%% of the battery in "
                  "15 minutes.");
    case Kind::limitTurnedOn:
    case Kind::limitUnavailable: return text("alertSetting.listOnly", "Shown in the alerts list only.");
  }
  return {};
}

}  // namespace

Line alertSetting(Kind kind) { return {settingTitle(kind), settingDetail(kind)}; }

std::string alertExplanation(Kind kind) {
  switch (kind) {
    case Kind::limitNotHolding:
      return text("explain.limitNotHolding",
                  "The limit is on, but the battery kept charging past it for more than 10 minutes. If "
                  "macOS isn't recalibrating, turn the limit off and on again in System Settings > Battery.");
    case Kind::limitTurnedOff:
      return text("explain.limitTurnedOff",
                  "The charge limit was switched off outside Kestrin, perhaps in System Settings. The "
                  "battery now charges to 100%%, where it ages fastest.");
    case Kind::hot:
      return text("explain.hot",
                  "Heat ages a battery, most of all while it charges. Give your Mac some air, or pause "
                  "heavy work until it cools down.");
    case Kind::fullChargeDone:
      return text("explain.fullChargeDone",
                  "The battery reached 100%% for the full charge you started. The limit comes back on the "
                  "way you chose.");
    case Kind::fullChargeRestored:
      return text("explain.fullChargeRestored",
                  "The full charge you asked for has ended, and the battery rests at your limit again.");
    case Kind::limitRestoreFailed:
      return text("explain.limitRestoreFailed",
                  "The full charge ended, but the limit couldn't be turned back on, so the battery may "
                  "charge to 100%%. Turn it on in System Settings > Battery.");
    case Kind::calibrating:
      return text("explain.calibrating",
                  "Now and then macOS charges past your limit to re-learn how much the battery holds. "
                  "It's normal and can take a day or two. The limit takes over again by itself.");
    case Kind::calibrationOver:
      return text("explain.calibrationOver",
                  "macOS finished re-learning the battery, and your limit is in control again.");
    case Kind::healthMilestone:
      return text("explain.healthMilestone",
                  "Battery health fell by a whole point. That's normal wear: every battery loses a little "
                  "with use. Keeping the limit on slows it down.");
    case Kind::weakCharger:
      return text("explain.weakCharger",
                  "This charger gives less power than your Mac needs, so the battery fills slowly or even "
                  "drains while plugged in. A bigger charger fixes it.");
    case Kind::accessoryLow:
      return text("explain.accessoryLow",
                  "A mouse, keyboard or trackpad is down to 10%%. Charge it soon so it doesn't run out "
                  "mid-task.");
    case Kind::calendarFullCharge:
      return text("explain.calendarFullCharge",
                  "Kestrin found a trip in your calendar and charged to 100%% for it. Turn this off in "
                  "Settings > Charge to 100%%.");
    case Kind::weeklyNote: return settingDetail(kind);
    case Kind::smartFullCharge:
      return text("explain.smartFullCharge",
                  "Kestrin learned when you usually unplug and charged to 100%% just before. Turn this off "
                  "in Settings > Charge to 100%%.");
    case Kind::backgroundDrain:
      return text("explain.backgroundDrain",
                  "An app you weren't using kept working in the background and took a noticeable share of "
                  "the battery. Quitting it saves charge.");
    case Kind::limitTurnedOn:
      return text("explain.limitTurnedOn",
                  "The charge limit is on again, so the battery stops there and rests.");
    case Kind::limitUnavailable:
      return text("explain.limitUnavailable",
                  "macOS isn't reporting the charge limit right now, so it can't be switched from here. "
                  "This can happen after an update. Check System Settings > Battery.");
  }
  return {};
}

}  // namespace batterycore::Meaning
