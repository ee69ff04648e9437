#include "app/views/Plans.hpp"

#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/readings/PowerFlow.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/Situation.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningSituation.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"
#include "BatteryCore/text/MeaningTrips.hpp"

#include <cmath>

namespace kestrin::app {

using namespace batterycore;

namespace {

// The smart top-up: today's skip or restore, the next one, or why there is none.
std::optional<std::string> smartLine(const MonitorState& state, const Settings& settings, Date now,
                                     const Calendar& calendar) {
  if (!settings.smartTopUp) return std::nullopt;
  const auto level = settings.level;
  const std::string today = calendar.dayKey(now);
  if (state.smartTopUp.skippedDay == today) return Meaning::Smart::plansSkipped(level);
  const auto limit = state.last ? state.last->limit.active() : std::nullopt;
  if (state.smartTopUp.lastStartedDay == today && limit) return Meaning::Smart::plansRestored(*limit, level);

  const auto departure = DepartureModel::nextDeparture(state.departures, now, calendar);
  if (!departure) {
    const auto days = DepartureModel::learned(state.departures, now, calendar);
    return Meaning::Smart::learned(days, calendar, level);
  }
  const int lead = state.smartTopUp.lead();
  const bool windowOpen = calendar.dayKey(*departure) == today && *departure - now <= std::chrono::minutes{lead};
  if (windowOpen) return Meaning::Smart::plansWindow(*departure, state.last && state.last->pluggedIn, calendar, level);
  return Meaning::Smart::plansNext(*departure, lead, calendar, level);
}

// On battery: how long it lasts at the present pace.
std::optional<std::string> paceLine(const BatterySnapshot& reading, Date now, const Calendar& calendar,
                                    DetailLevel level) {
  if (reading.pluggedIn || !reading.minutesToEmpty || *reading.minutesToEmpty <= 0) return std::nullopt;
  const int minutes = *reading.minutesToEmpty;
  if (level == DetailLevel::technical) {
    const double watts = std::abs(PowerFlow::from(reading).batteryW);
    if (watts > 0) {
      return Meaning::format("plans.drain.technical", "At %@, the battery lasts about %@.",
                             {Formatting::watts(watts), Formatting::duration(minutes)});
    }
  }
  const Date empty = now + std::chrono::minutes{minutes};
  return Meaning::format("plans.drain.simple", "At this pace, the battery lasts until about %@.",
                         {Formatting::when(empty, now, calendar)});
}

}  // namespace

std::vector<std::string> planLines(const MonitorState& state, const Settings& settings, Date now,
                                   const Calendar& calendar) {
  std::vector<std::string> lines;
  const bool forTrip = state.session && state.session->origin.kind() == FullChargeSession::Origin::Kind::calendar;
  if (state.session && state.last && !forTrip) {
    const LimitAvailability control = state.last->limit.isAvailable()
                                          ? LimitAvailability::available()
                                          : LimitAvailability::unavailable(state.last->limit.unavailableReason().value_or(""));
    const auto attention = Attention::of(
        Situation{*state.last, state.watchdog.state, state.session, state.calibration.state, control});
    lines.push_back(Meaning::detail(attention, *state.last, state.session, settings.level, now, calendar));
  } else if (auto smart = !state.session ? smartLine(state, settings, now, calendar) : std::nullopt) {
    lines.push_back(std::move(*smart));
  }
  if (settings.calendarFullCharge && state.last) {
    auto trip = Meaning::Trips::plans(state.trips, *state.last, state.session, now, calendar, settings.level);
    lines.insert(lines.end(), std::make_move_iterator(trip.begin()), std::make_move_iterator(trip.end()));
  }
  if (state.last) {
    if (auto pace = paceLine(*state.last, now, calendar, settings.level)) lines.push_back(std::move(*pace));
  }
  return lines;
}

}  // namespace kestrin::app
