#include "BatteryCore/text/MeaningTrips.hpp"

#include "BatteryCore/text/Formatting.hpp"

namespace batterycore::Meaning::Trips {

namespace {

using Trip = CalendarTrigger::Trip;

// The title as the plans texts put it in a sentence.
std::string titleOrYours(const std::string& title) {
  return title.empty() ? text("plans.trip.yours", "your trip") : title;
}

bool isTomorrowOrLater(Date start, Date now, const Calendar& calendar) { return calendar.daysBetween(now, start) >= 1; }

std::optional<std::string> lateNote(const Trip& trip, const BatterySnapshot& snapshot, DetailLevel level) {
  if (!trip.foundLate || snapshot.percent >= 100) return std::nullopt;
  return leveled("plans.trip.found.late", level, "Found a bit late, so it may not reach 100%% in time.",
                 "Found late. A full charge may not finish before it starts.");
}

std::string checked(DetailLevel level) {
  return leveled("plans.trip.found.checked", level, "Already at 100%%, so you're ready for it.",
                 "Battery already at 100%%. No full charge needed.");
}

std::string today(bool pluggedIn, DetailLevel level) {
  if (pluggedIn) {
    return leveled("plans.trip.found.today.plugged", level, "Charging to 100%% for it now.",
                   "Full charge running. The limit comes back on when you unplug.");
  }
  return leveled("plans.trip.found.today.unplugged", level, "Plug in and it charges to 100%% for it.",
                 "Plug in to start a full charge. The limit comes back on when you unplug.");
}

std::string evening(bool pluggedIn, DetailLevel level) {
  if (level == DetailLevel::technical) {
    return text("plans.trip.found.evening.technical",
                "Full charge runs this evening while plugged in. The limit comes back on when you unplug.");
  }
  if (pluggedIn) {
    return text("plans.trip.found.evening.plugged.simple", "Charging to 100%% tonight, ready for the morning.");
  }
  return text("plans.trip.found.evening.unplugged.simple", "Plug in tonight and it'll be at 100%% by morning.");
}

std::vector<std::string> tripLines(std::string heading, std::string detail) {
  return {Formatting::capitalizedFirst(heading), std::move(detail)};
}

// A charge for a trip is running.
std::vector<std::string> charging(const std::optional<Trip>& trip, const FullChargeSession& session,
                                  const BatterySnapshot& snapshot, Date now, const Calendar& calendar,
                                  DetailLevel level) {
  const std::string title = trip ? trip->title : session.origin.eventTitle().value_or("");
  const std::string heading = trip ? name(*trip, now, calendar) : titleOrYours(title);
  std::string first;
  if (level == DetailLevel::technical) {
    first = format("plans.trip.charging.technical", "Charging to 100%% for %@, limit off.", {titleOrYours(title)});
  } else if (snapshot.percent >= 100) {
    first = checked(level);
  } else if (trip && isTomorrowOrLater(trip->start, now, calendar)) {
    first = evening(true, level);
  } else {
    first = today(true, level);
  }
  return tripLines(heading, join({std::move(first), trip ? lateNote(*trip, snapshot, level) : std::nullopt}));
}

// A trip lies ahead and no charge for it has run.
std::vector<std::string> ahead(const CalendarTrigger& state, const Trip& trip, const BatterySnapshot& snapshot,
                               Date now, const Calendar& calendar, DetailLevel level) {
  const std::string heading = name(trip, now, calendar);
  const std::string title = titleOrYours(trip.title);
  if (state.skipped.contains(trip.key)) {
    return tripLines(heading, leveled("plans.trip.skipped", level, "Not charging to 100%% for %@, as you asked.",
                                      "Skipped the full charge for %@, as you asked.", {title}));
  }
  if (!snapshot.limit.active()) {
    return tripLines(heading, format("plans.trip.limitOff",
                                     "The limit is off, so the battery will be full for %@ anyway.", {title}));
  }
  if (snapshot.percent >= 100) return tripLines(heading, checked(level));
  if (now < CalendarTrigger::opens(trip.start, calendar)) {
    return tripLines(heading,
                     leveled("plans.trip.found.before", level, "It charges to 100%% this evening, ready for it.",
                             "Full charge starts this evening when plugged in. The limit comes back on "
                             "when you unplug."));
  }
  if (isTomorrowOrLater(trip.start, now, calendar)) return tripLines(heading, evening(snapshot.pluggedIn, level));
  return tripLines(heading, join({today(snapshot.pluggedIn, level), lateNote(trip, snapshot, level)}));
}

}  // namespace

Line alert(std::string_view eventTitle, bool tomorrow) {
  const std::string title = eventTitle.empty() ? text("calendar.aTrip", "a trip") : std::string(eventTitle);
  if (tomorrow) {
    return {text("calendar.alert.title", "Charging to 100%% for tomorrow"),
            format("calendar.alert.body",
                   "For %@ tomorrow, the battery is charging to 100%% tonight. The limit comes back on when you "
                   "unplug.",
                   {title})};
  }
  return {
      text("calendar.alert.titleToday", "Charging to 100%% for today"),
      format("calendar.alert.bodyToday",
             "For %@ today, the battery is charging to 100%% now. The limit comes back on when you unplug.", {title})};
}

std::string notTonight() { return text("action.notTonight", "Not tonight"); }

std::string pausedDetail(const FullChargeSession& session) {
  const std::string limit = Formatting::percent(session.limit);
  if (session.origin.kind() == FullChargeSession::Origin::Kind::calendar) {
    return format("fullCharge.pausedDetail.calendar", "For your trip. Then it rests at %@.", {limit});
  }
  return format("fullCharge.pausedDetail", "Then it rests at %@.", {limit});
}

std::string name(const Trip& trip, Date now, const Calendar& calendar) {
  const std::string title = titleOrYours(trip.title);
  switch (calendar.daysBetween(now, trip.start)) {
    case 0:
      return format("plans.trip.today", "%@ today", {title});
    case 1:
      return format("plans.trip.tomorrow", "%@ tomorrow", {title});
    default:
      return title;
  }
}

std::vector<std::string> plans(const CalendarTrigger& state, const BatterySnapshot& snapshot,
                               const std::optional<FullChargeSession>& session, Date now, const Calendar& calendar,
                               DetailLevel level) {
  if (session && session->origin.kind() == FullChargeSession::Origin::Kind::calendar) {
    return charging(state.current, *session, snapshot, now, calendar, level);
  }
  if (state.next) return ahead(state, *state.next, snapshot, now, calendar, level);
  if (const auto& last = state.lastRestored;
      last && now < calendar.addingDays(calendar.startOfDay(last->trip.start), 1)) {
    return tripLines(name(last->trip, now, calendar),
                     leveled("plans.trip.restored", level, "Charged for %@. The limit is back at %@.",
                             "Full charge for %@ ended. Limit restored to %@.",
                             {titleOrYours(last->trip.title), Formatting::percent(last->limit)}));
  }
  return {leveled("plans.trip.watching", level, "Watching your calendar for trips.",
                  "Checking calendar events for trip keywords, today and tomorrow.")};
}

}  // namespace batterycore::Meaning::Trips
