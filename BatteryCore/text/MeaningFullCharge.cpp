#include "BatteryCore/text/MeaningFullCharge.hpp"

#include "BatteryCore/text/Formatting.hpp"

#include <vector>

namespace batterycore::Meaning {

std::string comesBackConditions(const FullChargeSession& session, bool includeWhenFull, Date now,
                                const Calendar& calendar) {
  std::vector<std::string> ways;
  if (includeWhenFull && session.restoreWhenFull) ways.push_back(text("comesBack.whenFull", "when it's full"));
  if (session.restoreOnUnplug) ways.push_back(text("comesBack.whenUnplug", "when you unplug"));
  if (session.deadline) ways.push_back(Formatting::at(*session.deadline, now, calendar));
  if (ways.empty()) return text("comesBack.whenStopped", "when you stop it");
  return Formatting::listOr(ways);
}

std::string limitComesBack(const FullChargeSession& session, bool includeWhenFull, Date now,
                           const Calendar& calendar) {
  return format("detail.limitComesBack", "The limit comes back on %@.",
                {comesBackConditions(session, includeWhenFull, now, calendar)});
}

std::string departureTime(Date departure, const Calendar& calendar) {
  // Formatting writes ICU's narrow no-break space before "AM" as a plain one.
  return Formatting::time(departure, calendar);
}

Line fullChargeDoneAlert(const FullChargeSession& session, bool restoring, Date now, const Calendar& calendar) {
  std::string title = text("alert.chargedTo100", "Charged to 100%%");
  if (restoring) {
    return {std::move(title), text("alert.fullChargeDone.backOn", "Ready to go. Your limit is back on.")};
  }
  if (const auto departure = session.origin.departure()) {
    return {std::move(title),
            join({format("detail.smart.ready.simple", "Ready for your %@ departure.",
                         {departureTime(*departure, calendar)}),
                  text("detail.smart.backOnUnplug", "The limit comes back on when you unplug.")})};
  }
  return {std::move(title), join({text("detail.readyToGo", "Ready to go."),
                                  limitComesBack(session, /*includeWhenFull=*/false, now, calendar)})};
}

Line limitBackOnAlert(int limit) {
  return {text("alert.limitBackOn.title", "Limit back on"),
          format("alert.restsAgain", "Your battery will rest at %@ again.", {Formatting::percent(limit)})};
}

Line restoreFailedAlert() {
  return {text("alert.restoreFailed.title", "Couldn't turn the limit back on"),
          text("alert.restoreFailed.body",
               "The battery may charge to 100%%. Turn the limit on in System Settings > Battery.")};
}

}  // namespace batterycore::Meaning
