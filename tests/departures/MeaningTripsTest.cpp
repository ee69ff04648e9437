#include "BatteryCore/text/MeaningTrips.hpp"

#include "tests/departures/Departures.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::reading;
using testing::UsingLocale;
using Lines = std::vector<std::string>;
using Trip = CalendarTrigger::Trip;
namespace Trips = Meaning::Trips;

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin", "en_US");
  return calendar;
}

Date monday(int hour, int minute) { return *berlin().date(2026, 3, 2, hour, minute); }
Date tuesday(int hour, int minute) { return *berlin().date(2026, 3, 3, hour, minute); }
Date wednesday(int hour, int minute) { return *berlin().date(2026, 3, 4, hour, minute); }

// Tuesday's flight at 08:00, as the trigger keeps it.
Trip flight(bool foundLate = false) {
  return {"flight-1@2026-03-03T07:00:00Z", "Flight to Lisbon", tuesday(8, 0), false, foundLate};
}

CalendarTrigger ahead(Trip trip) {
  CalendarTrigger state;
  state.next = std::move(trip);
  return state;
}

CalendarTrigger charging(Trip trip) {
  CalendarTrigger state;
  state.handled.insert(trip.key);
  state.current = std::move(trip);
  return state;
}

FullChargeSession calendarSession(Date startedAt, std::string title = "Flight to Lisbon") {
  auto session = *FullChargeSession::start(startedAt, 80, true, false, std::nullopt);
  session.origin = FullChargeSession::Origin::calendar(std::move(title));
  return session;
}

BatterySnapshot limitOff(std::int64_t percent, Date now) {
  BatterySnapshot snapshot = reading(percent, true, now);
  snapshot.limit = LimitState::off(80);
  return snapshot;
}

Lines plans(const CalendarTrigger& state, const BatterySnapshot& snapshot, Date now,
            DetailLevel level = DetailLevel::simple, const std::optional<FullChargeSession>& session = std::nullopt) {
  return Trips::plans(state, snapshot, session, now, berlin(), level);
}

TEST(MeaningTrips, ATripAheadTellsWhatHappensForIt) {
  const UsingLocale english("en_US");
  struct Case {
    std::string name;
    CalendarTrigger state;
    BatterySnapshot snapshot;
    Date now;
    DetailLevel level;
    Lines lines;
  };
  const Case cases[] = {
      {"tomorrow, in the afternoon",
       ahead(flight()),
       reading(79, false, monday(15, 0)),
       monday(15, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "It charges to 100% this evening, ready for it."}},
      {"tomorrow, in the afternoon, technical",
       ahead(flight()),
       reading(79, true, monday(15, 0)),
       monday(15, 0),
       DetailLevel::technical,
       {"Flight to Lisbon tomorrow",
        "Full charge starts this evening when plugged in. The limit comes back on when you unplug."}},
      {"tomorrow, in the evening, plugged in",
       ahead(flight()),
       reading(79, true, monday(18, 0)),
       monday(18, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "Charging to 100% tonight, ready for the morning."}},
      {"tomorrow, in the evening, unplugged",
       ahead(flight()),
       reading(79, false, monday(21, 0)),
       monday(21, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "Plug in tonight and it'll be at 100% by morning."}},
      {"tomorrow, in the evening, technical",
       ahead(flight()),
       reading(79, false, monday(21, 0)),
       monday(21, 0),
       DetailLevel::technical,
       {"Flight to Lisbon tomorrow",
        "Full charge runs this evening while plugged in. The limit comes back on when you unplug."}},
      {"today, plugged in",
       ahead(flight()),
       reading(79, true, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::simple,
       {"Flight to Lisbon today", "Charging to 100% for it now."}},
      {"today, unplugged",
       ahead(flight()),
       reading(79, false, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::simple,
       {"Flight to Lisbon today", "Plug in and it charges to 100% for it."}},
      {"today, plugged in, technical",
       ahead(flight()),
       reading(79, true, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::technical,
       {"Flight to Lisbon today", "Full charge running. The limit comes back on when you unplug."}},
      {"today, unplugged, technical",
       ahead(flight()),
       reading(79, false, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::technical,
       {"Flight to Lisbon today", "Plug in to start a full charge. The limit comes back on when you unplug."}},
      {"found late",
       ahead(flight(true)),
       reading(79, false, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::simple,
       {"Flight to Lisbon today",
        "Plug in and it charges to 100% for it. Found a bit late, so it may not reach 100% in time."}},
      {"found late, technical",
       ahead(flight(true)),
       reading(79, true, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::technical,
       {"Flight to Lisbon today",
        "Full charge running. The limit comes back on when you unplug. Found late. A full charge may not finish "
        "before it starts."}},
      {"already full",
       ahead(flight(true)),
       reading(100, true, monday(19, 0)),
       monday(19, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "Already at 100%, so you're ready for it."}},
      {"already full, technical",
       ahead(flight()),
       reading(100, false, monday(19, 0)),
       monday(19, 0),
       DetailLevel::technical,
       {"Flight to Lisbon tomorrow", "Battery already at 100%. No full charge needed."}},
      {"limit off",
       ahead(flight()),
       limitOff(70, monday(19, 0)),
       monday(19, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "The limit is off, so the battery will be full for Flight to Lisbon anyway."}},
      {"skipped",
       CalendarTrigger::skip(ahead(flight()), flight().key),
       reading(79, true, monday(19, 0)),
       monday(19, 0),
       DetailLevel::simple,
       {"Flight to Lisbon tomorrow", "Not charging to 100% for Flight to Lisbon, as you asked."}},
      {"skipped, technical",
       CalendarTrigger::skip(ahead(flight()), flight().key),
       limitOff(70, monday(19, 0)),
       monday(19, 0),
       DetailLevel::technical,
       {"Flight to Lisbon tomorrow", "Skipped the full charge for Flight to Lisbon, as you asked."}},
      {"untitled",
       ahead(Trip{"k@2026-03-03T07:00:00Z", "", tuesday(8, 0), false, false}),
       limitOff(70, tuesday(6, 0)),
       tuesday(6, 0),
       DetailLevel::simple,
       {"Your trip today", "The limit is off, so the battery will be full for your trip anyway."}},
  };
  for (const auto& c : cases) EXPECT_EQ(plans(c.state, c.snapshot, c.now, c.level), c.lines) << c.name;
}

TEST(MeaningTrips, WhileItsChargeRuns) {
  const UsingLocale english("en_US");
  const auto session = calendarSession(monday(18, 0));
  EXPECT_EQ(plans(charging(flight()), reading(85, true, monday(19, 0)), monday(19, 0), DetailLevel::simple, session),
            (Lines{"Flight to Lisbon tomorrow", "Charging to 100% tonight, ready for the morning."}));
  EXPECT_EQ(plans(charging(flight()), reading(85, true, monday(19, 0)), monday(19, 0), DetailLevel::technical, session),
            (Lines{"Flight to Lisbon tomorrow", "Charging to 100% for Flight to Lisbon, limit off."}));
  EXPECT_EQ(plans(charging(flight(true)), reading(85, true, tuesday(6, 0)), tuesday(6, 0), DetailLevel::simple,
                  calendarSession(tuesday(5, 30))),
            (Lines{"Flight to Lisbon today",
                   "Charging to 100% for it now. Found a bit late, so it may not reach 100% in time."}));
  EXPECT_EQ(plans(charging(flight(true)), reading(100, true, tuesday(7, 0)), tuesday(7, 0), DetailLevel::simple,
                  calendarSession(tuesday(5, 30))),
            (Lines{"Flight to Lisbon today", "Already at 100%, so you're ready for it."}));
  // A session from a state that kept no trip is told by its title.
  EXPECT_EQ(plans(CalendarTrigger{}, reading(85, true, monday(19, 0)), monday(19, 0), DetailLevel::technical,
                  calendarSession(monday(18, 0), "")),
            (Lines{"Your trip", "Charging to 100% for your trip, limit off."}));
  // Another kind of full charge leaves the trip part as it was.
  const auto user = FullChargeSession::start(monday(18, 0), 80, true, false, std::nullopt);
  EXPECT_EQ(plans(ahead(flight()), reading(85, true, monday(19, 0)), monday(19, 0), DetailLevel::simple, user),
            (Lines{"Flight to Lisbon tomorrow", "Charging to 100% tonight, ready for the morning."}));
}

TEST(MeaningTrips, AfterTheChargeUntilTheTripsDayIsOverThenWatching) {
  const UsingLocale english("en_US");
  CalendarTrigger state = CalendarTrigger::restored(charging(flight()), calendarSession(monday(18, 0)), tuesday(7, 10));
  EXPECT_EQ(plans(state, reading(97, false, tuesday(7, 10)), tuesday(7, 10)),
            (Lines{"Flight to Lisbon today", "Charged for Flight to Lisbon. The limit is back at 80%."}));
  EXPECT_EQ(plans(state, reading(60, true, tuesday(23, 59)), tuesday(23, 59), DetailLevel::technical),
            (Lines{"Flight to Lisbon today", "Full charge for Flight to Lisbon ended. Limit restored to 80%."}));
  EXPECT_EQ(plans(state, reading(60, true, wednesday(0, 0)), wednesday(0, 0)),
            (Lines{"Watching your calendar for trips."}));
  EXPECT_EQ(plans(CalendarTrigger{}, reading(60, true, wednesday(0, 0)), wednesday(0, 0), DetailLevel::technical),
            (Lines{"Checking calendar events for trip keywords, today and tomorrow."}));
  // A trip ahead comes before the last one's news.
  state.next = Trip{"k@2026-03-04T07:00:00Z", "Trip home", wednesday(8, 0), false, false};
  EXPECT_EQ(plans(state, reading(60, true, tuesday(12, 0)), tuesday(12, 0)),
            (Lines{"Trip home tomorrow", "It charges to 100% this evening, ready for it."}));
}

TEST(MeaningTrips, GermanReadsInGerman) {
  if (!testing::hasLocaleData("de_DE")) GTEST_SKIP() << "ICU has no data for de_DE";
  const UsingLocale german("de_DE");
  EXPECT_EQ(
      plans(ahead(Trip{"k@2026-03-03T07:00:00Z", "", tuesday(8, 0), false, false}), reading(79, false, monday(21, 0)),
            monday(21, 0)),
      (Lines{"Deine Reise morgen", "Schließ deinen Mac heute Abend an, dann ist er morgen früh bei 100\u00A0%."}));
  EXPECT_EQ(Trips::alert("", false).title, "Lädt für heute auf 100\u00A0%");
  EXPECT_EQ(Trips::notTonight(), "Heute Nacht nicht");
}

TEST(MeaningTrips, ActionAndPausedDetail) {
  const UsingLocale english("en_US");
  EXPECT_EQ(Trips::notTonight(), "Not tonight");
  EXPECT_EQ(Trips::pausedDetail(calendarSession(monday(18, 0))), "For your trip. Then it rests at 80%.");
  EXPECT_EQ(Trips::pausedDetail(*FullChargeSession::start(monday(18, 0), 75, true, false, std::nullopt)),
            "Then it rests at 75%.");
}

// Every plans.trip text of the catalogue is said in some situation: each of
// its fixed pieces shows in one line.
TEST(MeaningTrips, EveryPlansTextIsReachable) {
  const UsingLocale english("en_US");
  std::vector<Lines> said;
  const auto tell = [&](const CalendarTrigger& state, const BatterySnapshot& snapshot, Date now,
                        const std::optional<FullChargeSession>& session = std::nullopt) {
    for (const auto level : kAllDetailLevels) said.push_back(plans(state, snapshot, now, level, session));
  };
  const CalendarTrigger untitled = ahead(Trip{"k@2026-03-03T07:00:00Z", "", tuesday(8, 0), false, true});
  for (const bool plugged : {false, true}) {
    for (const Date now : {monday(12, 0), monday(19, 0), tuesday(6, 0)}) {
      tell(ahead(flight(true)), reading(79, plugged, now), now);
      tell(untitled, reading(79, plugged, now), now);
      tell(untitled, limitOff(70, now), now);
      tell(ahead(flight()), reading(100, plugged, now), now);
      tell(ahead(flight()), limitOff(70, now), now);
      tell(CalendarTrigger::skip(ahead(flight()), flight().key), reading(79, plugged, now), now);
      tell(charging(flight()), reading(85, true, now), now, calendarSession(monday(18, 0)));
      tell(CalendarTrigger::restored(charging(flight()), calendarSession(monday(18, 0)), now),
           reading(79, plugged, now), now);
      tell(CalendarTrigger{}, reading(79, plugged, now), now);
    }
  }

  std::ifstream in(testing::sourceBundleFolder() / "en.json");
  const Json table = Json::parse(in);
  int checked = 0;
  for (const auto& [key, value] : table.items()) {
    if (!key.starts_with("plans.trip.")) continue;
    ++checked;
    std::string text = value.get<std::string>();
    for (std::size_t at; (at = text.find("%%")) != std::string::npos;) text.replace(at, 2, "%");
    std::vector<std::string> pieces;
    for (std::size_t from = 0;;) {
      const auto at = text.find("%@", from);
      pieces.push_back(text.substr(from, at == std::string::npos ? std::string::npos : at - from));
      if (at == std::string::npos) break;
      from = at + 2;
    }
    const bool found = std::any_of(said.begin(), said.end(), [&](const Lines& lines) {
      return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return std::all_of(pieces.begin(), pieces.end(),
                           [&](const std::string& piece) { return line.find(piece) != std::string::npos; });
      });
    });
    EXPECT_TRUE(found) << key << ": " << text;
  }
  EXPECT_GE(checked, 20) << "the English table has too few plans.trip texts";
}

}  // namespace
}  // namespace batterycore
