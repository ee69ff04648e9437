#include "BatteryCore/departures/CalendarTrigger.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::at;
using testing::reading;
using testing::UsingLocale;
using namespace std::chrono_literals;

#define REQUIRE_LOCALE(name) \
  if (!testing::hasLocaleData(name)) GTEST_SKIP() << "ICU has no data for " << (name)

const Calendar& berlin() {
  static const Calendar calendar = Calendar::gregorian("Europe/Berlin", "en_US");
  return calendar;
}

// Monday 2026-03-02 and Tuesday 2026-03-03 in Berlin.
Date monday(int hour, int minute, int second = 0) { return *berlin().date(2026, 3, 2, hour, minute, second); }
Date tuesday(int hour, int minute, int second = 0) { return *berlin().date(2026, 3, 3, hour, minute, second); }
Date wednesday(int hour, int minute) { return *berlin().date(2026, 3, 4, hour, minute); }

const std::vector<std::string> kKeywords{"trip", "flight", "Reise", "Flug"};

CalendarEvent timed(std::string uid, std::string title, Date start, Seconds length = 2h) {
  return {std::move(uid), std::move(title), start, start + length, false};
}

CalendarEvent allDay(std::string uid, std::string title, Date day, int days = 1) {
  const Date start = berlin().startOfDay(day);
  return {std::move(uid), std::move(title), start, berlin().addingDays(start, days), true};
}

// Tuesday's flight at 08:00.
const CalendarEvent& flight() {
  static const CalendarEvent event = timed("flight-1", "Flight to Lisbon", tuesday(8, 0));
  return event;
}

std::optional<CalendarTrigger::Start> decide(const CalendarTrigger& state, const std::vector<CalendarEvent>& events,
                                             Date now, bool pluggedIn = true, std::int64_t percent = 79,
                                             bool allDayCounts = true) {
  return CalendarTrigger::decision(state, events, reading(percent, pluggedIn, now), 80, true, allDayCounts, kKeywords,
                                   now, berlin());
}

// ---- When a charge starts ----

TEST(CalendarTrigger, StartsAtSixTheEveningBeforeAndSaysForTomorrow) {
  const UsingLocale english("en_US");
  EXPECT_EQ(decide({}, {flight()}, monday(17, 59, 59)), std::nullopt);
  const auto start = decide({}, {flight()}, monday(18, 0));
  ASSERT_TRUE(start.has_value());
  EXPECT_EQ(start->event, flight());

  FullChargeSession expected;
  expected.startedAt = monday(18, 0);
  expected.deadline = std::nullopt;
  expected.origin = FullChargeSession::Origin::calendar("Flight to Lisbon");
  expected.restoreOnUnplug = true;
  expected.restoreWhenFull = false;
  expected.limit = 80;
  expected.reachedFull = false;
  expected.restoreFailingSince = std::nullopt;
  expected.restoreAlertSent = false;
  EXPECT_EQ(start->session, expected);

  EXPECT_EQ(start->alert.kind, BatteryAlert::Kind::calendarFullCharge);
  EXPECT_EQ(start->alert.at, monday(18, 0));
  EXPECT_EQ(start->alert.title, "Charging to 100% for tomorrow");
  EXPECT_EQ(start->alert.body,
            "For Flight to Lisbon tomorrow, the battery is charging to 100% tonight. The limit comes back on when "
            "you unplug.");
  EXPECT_EQ(start->alert.technicalBody, std::nullopt);
}

TEST(CalendarTrigger, FoundOnTheMorningOfTheTripItChargesForToday) {
  const UsingLocale english("en_US");
  const auto start = decide({}, {flight()}, tuesday(6, 30));
  ASSERT_TRUE(start.has_value());
  EXPECT_EQ(start->alert.title, "Charging to 100% for today");
  EXPECT_EQ(start->alert.body,
            "For Flight to Lisbon today, the battery is charging to 100% now. The limit comes back on when you "
            "unplug.");
  // Just after midnight is the trip's day too.
  EXPECT_EQ(decide({}, {flight()}, tuesday(0, 0))->alert.title, "Charging to 100% for today");
}

TEST(CalendarTrigger, AnUntitledTripIsATrip) {
  const UsingLocale english("en_US");
  const auto start = decide({}, {allDay("day-off", "", tuesday(0, 0))}, monday(20, 0));
  ASSERT_TRUE(start.has_value());
  EXPECT_EQ(start->session.origin, FullChargeSession::Origin::calendar(""));
  EXPECT_EQ(start->alert.body,
            "For a trip tomorrow, the battery is charging to 100% tonight. The limit comes back on when you unplug.");
}

TEST(CalendarTrigger, NothingOnceTheTripHasBegun) {
  EXPECT_TRUE(decide({}, {flight()}, tuesday(7, 59, 59)).has_value());
  EXPECT_EQ(decide({}, {flight()}, tuesday(8, 0)), std::nullopt);
  EXPECT_EQ(decide({}, {flight()}, tuesday(9, 0)), std::nullopt);   // under way
  EXPECT_EQ(decide({}, {flight()}, tuesday(12, 0)), std::nullopt);  // over
}

TEST(CalendarTrigger, OnlyTodayAndTomorrow) {
  const CalendarEvent thursday = timed("later", "Flight to Oslo", *berlin().date(2026, 3, 5, 8, 0));
  EXPECT_EQ(decide({}, {thursday}, monday(20, 0)), std::nullopt);
  EXPECT_EQ(decide({}, {thursday}, wednesday(17, 59)), std::nullopt);
  EXPECT_TRUE(decide({}, {thursday}, wednesday(18, 0)).has_value());
}

TEST(CalendarTrigger, EachTestOfTheDecisionCanRefuse) {
  struct Case {
    std::string name;
    bool enabled = true;
    std::optional<int> canStart = 80;
    std::int64_t percent = 79;
    bool pluggedIn = true;
    bool starts = false;
  };
  const Case cases[] = {
      {.name = "everything in place", .starts = true},         {.name = "switched off", .enabled = false},
      {.name = "no limit in force", .canStart = std::nullopt}, {.name = "already full", .percent = 100},
      {.name = "at 99%", .percent = 99, .starts = true},       {.name = "unplugged", .pluggedIn = false},
  };
  for (const auto& c : cases) {
    const Date now = monday(19, 0);
    const std::vector<CalendarEvent> events{flight()};
    const auto start = CalendarTrigger::decision({}, events, reading(c.percent, c.pluggedIn, now), c.canStart,
                                                 c.enabled, true, kKeywords, now, berlin());
    EXPECT_EQ(start.has_value(), c.starts) << c.name;
  }
}

TEST(CalendarTrigger, AnUnpluggedLaptopWaitsAndStartsOncePluggedIn) {
  const UsingLocale english("en_US");
  CalendarTrigger state;
  for (const Date now : {monday(18, 0), monday(22, 0), tuesday(5, 0)}) {
    EXPECT_EQ(decide(state, {flight()}, now, /*pluggedIn=*/false), std::nullopt);
  }
  const auto start = decide(state, {flight()}, tuesday(6, 0));
  ASSERT_TRUE(start.has_value());
  EXPECT_EQ(start->alert.title, "Charging to 100% for today");
  EXPECT_EQ(start->session.startedAt, tuesday(6, 0));
}

TEST(CalendarTrigger, NeverTwiceForOneOccurrence) {
  CalendarTrigger state;
  const auto first = decide(state, {flight()}, monday(18, 0));
  ASSERT_TRUE(first.has_value());
  state = CalendarTrigger::started(state, first->event, monday(18, 0), berlin());
  EXPECT_TRUE(state.handled.contains(flight().key()));
  // Unplugged at 22:00 (the session ended), plugged in again in the morning.
  state = CalendarTrigger::restored(state, first->session, monday(22, 0));
  EXPECT_EQ(decide(state, {flight()}, monday(22, 30)), std::nullopt);
  EXPECT_EQ(decide(state, {flight()}, tuesday(6, 0)), std::nullopt);
  // Moved to 09:00 it is another occurrence.
  EXPECT_TRUE(decide(state, {timed("flight-1", "Flight to Lisbon", tuesday(9, 0))}, tuesday(6, 0)).has_value());
}

TEST(CalendarTrigger, NotTonightSkipsThatTripOnly) {
  CalendarTrigger state;
  const auto start = decide(state, {flight()}, monday(18, 0));
  ASSERT_TRUE(start.has_value());
  state = CalendarTrigger::started(state, start->event, monday(18, 0), berlin());
  EXPECT_EQ(state.skippableKey(), flight().key());  // the running charge's trip
  state = CalendarTrigger::skip(state, *state.skippableKey());
  EXPECT_TRUE(state.skipped.contains(flight().key()));

  // Skipped before any charge: it never starts, and the next trip still does.
  const CalendarEvent back = timed("flight-2", "Flight home", wednesday(19, 0));
  CalendarTrigger fresh = CalendarTrigger::skip({}, flight().key());
  EXPECT_EQ(decide(fresh, {flight()}, monday(18, 0)), std::nullopt);
  EXPECT_EQ(decide(fresh, {flight()}, tuesday(7, 0)), std::nullopt);
  EXPECT_EQ(decide(fresh, {flight(), back}, tuesday(18, 0))->event, back);
}

TEST(CalendarTrigger, TheEarliestTripGoesFirstAndTheNextGetsItsOwnCharge) {
  const CalendarEvent train = timed("train", "Train trip to Bonn", tuesday(7, 30));
  const CalendarEvent talk = timed("talk", "Talk (no keyword)", tuesday(6, 0));
  const std::vector<CalendarEvent> events{flight(), talk, train};
  CalendarTrigger state;
  const auto first = decide(state, events, monday(18, 0));
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->event, train);
  state = CalendarTrigger::started(state, first->event, monday(18, 0), berlin());
  state = CalendarTrigger::restored(state, first->session, tuesday(6, 45));  // unplugged, off to the station
  // Back on a charger before the flight: the flight gets its own charge.
  const auto second = decide(state, events, tuesday(7, 0));
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(second->event, flight());
  // Same start: the uid decides, whatever order the files came in.
  const CalendarEvent twin = timed("a-twin", "Flight to Lisbon", tuesday(8, 0));
  EXPECT_EQ(decide({}, {flight(), twin}, monday(18, 0))->event, twin);
  EXPECT_EQ(decide({}, {twin, flight()}, monday(18, 0))->event, twin);
}

// ---- What counts as a trip ----

TEST(CalendarTrigger, AllDayEventsCountOnlyWithTheOption) {
  const CalendarEvent conference = allDay("conf", "Konferenz", tuesday(12, 0), 2);
  EXPECT_TRUE(decide({}, {conference}, monday(18, 0), true, 79, /*allDayCounts=*/true).has_value());
  EXPECT_EQ(decide({}, {conference}, monday(18, 0), true, 79, /*allDayCounts=*/false), std::nullopt);
  // With a keyword in its title it counts either way.
  const CalendarEvent holiday = allDay("hol", "Urlaubsreise", tuesday(12, 0));
  EXPECT_TRUE(decide({}, {holiday}, monday(18, 0), true, 79, /*allDayCounts=*/false).has_value());
}

TEST(CalendarTrigger, AnAllDayTripCountsUntilNoonOfItsFirstDay) {
  const CalendarEvent conference = allDay("conf", "Konferenz", tuesday(12, 0), 2);
  EXPECT_EQ(decide({}, {conference}, monday(17, 59)), std::nullopt);
  EXPECT_TRUE(decide({}, {conference}, monday(18, 0)).has_value());
  EXPECT_TRUE(decide({}, {conference}, tuesday(11, 59)).has_value());
  EXPECT_EQ(decide({}, {conference}, tuesday(12, 0)), std::nullopt);
  EXPECT_EQ(decide({}, {conference}, wednesday(9, 0)), std::nullopt);  // its second day
}

TEST(CalendarTrigger, KeywordsMatchWithoutRegardToCase) {
  REQUIRE_LOCALE("de_DE");
  struct Case {
    const char* title;
    std::vector<std::string> keywords;
    const char* locale;
    bool trip;
  };
  const Case cases[] = {
      {"DIENSTREISE nach Hamburg", {"Dienstreise"}, "de_DE", true},
      {"Dienstreise nach Hamburg", {"DIENSTREISE"}, "de_DE", true},
      {"FLUG LH 1234", {"flug"}, "de_DE", true},
      {"Rückflug", {"Flug"}, "de_DE", true},  // inside a word
      {"STRASSENFEST", {"Straße"}, "de_DE", true},
      {"Zahnarzt", {"Reise", "Flug"}, "de_DE", false},
      {"東京へ出張", {"出張"}, "ja_JP", true},
      {"Team meeting", {"", "  "}, "en_US", false},  // empty and blank keywords never match
      {"", {"trip"}, "en_US", false},
      {"Flight", {}, "en_US", false},
  };
  for (const auto& c : cases) {
    const CalendarEvent event = timed("e", c.title, tuesday(8, 0));
    EXPECT_EQ(CalendarTrigger::isTrip(event, c.keywords, false, c.locale), c.trip) << c.title << " " << c.locale;
  }
}

TEST(CalendarTrigger, TurkishCaseRulesComeFromTheLocale) {
  REQUIRE_LOCALE("tr_TR");
  const CalendarEvent izmir = timed("e", "İZMİR UÇUŞU", tuesday(8, 0));
  const CalendarEvent isparta = timed("e", "ISPARTA GEZİSİ", tuesday(8, 0));
  const std::vector<std::string> izmirWord{"izmir"};
  const std::vector<std::string> ispartaWord{"ısparta"};
  EXPECT_TRUE(CalendarTrigger::isTrip(izmir, izmirWord, false, "tr_TR"));
  EXPECT_TRUE(CalendarTrigger::isTrip(isparta, ispartaWord, false, "tr_TR"));
  // Elsewhere a capital I is a plain i, and İ is not.
  EXPECT_FALSE(CalendarTrigger::isTrip(isparta, ispartaWord, false, "en_US"));
  EXPECT_FALSE(CalendarTrigger::isTrip(izmir, izmirWord, false, "en_US"));
}

TEST(CalendarTrigger, TheDecisionComparesInTheCalendarsLocale) {
  REQUIRE_LOCALE("tr_TR");
  const Calendar istanbul = Calendar::gregorian("Europe/Istanbul", "tr_TR");
  const Date now = *istanbul.date(2026, 3, 2, 19, 0);
  const std::vector<CalendarEvent> events{timed("e", "İZMİR", *istanbul.date(2026, 3, 3, 9, 0))};
  const std::vector<std::string> keywords{"izmir"};
  EXPECT_TRUE(CalendarTrigger::decision({}, events, reading(70, true, now), 80, true, false, keywords, now, istanbul));
}

// ---- What the state remembers ----

TEST(CalendarTrigger, SeenKeepsTheNextTripAndWhetherItWasFoundLate) {
  const CalendarEvent dinner = timed("dinner", "Dinner", monday(20, 0));
  const std::vector<CalendarEvent> events{dinner, flight()};
  CalendarTrigger state = CalendarTrigger::seen({}, events, true, kKeywords, monday(15, 0), berlin());
  ASSERT_TRUE(state.next.has_value());
  EXPECT_EQ(*state.next, CalendarTrigger::Trip::of(flight(), false));
  // Seen again on its day: still not found late.
  state = CalendarTrigger::seen(state, events, true, kKeywords, tuesday(6, 0), berlin());
  EXPECT_FALSE(state.next->foundLate);
  // First seen on its day: found late.
  EXPECT_TRUE(CalendarTrigger::seen({}, events, true, kKeywords, tuesday(6, 0), berlin()).next->foundLate);
  // Two days ahead, begun, or handled: not next.
  EXPECT_EQ(CalendarTrigger::seen({}, events, true, kKeywords, *berlin().date(2026, 3, 1, 23, 0), berlin()).next,
            std::nullopt);
  EXPECT_EQ(CalendarTrigger::seen({}, events, true, kKeywords, tuesday(8, 0), berlin()).next, std::nullopt);
  const auto handled = CalendarTrigger::started({}, flight(), monday(18, 0), berlin());
  EXPECT_EQ(CalendarTrigger::seen(handled, events, true, kKeywords, monday(18, 5), berlin()).next, std::nullopt);
}

TEST(CalendarTrigger, StartedAndRestoredFollowTheTrip) {
  CalendarTrigger state =
      CalendarTrigger::seen({}, std::vector<CalendarEvent>{flight()}, true, kKeywords, tuesday(5, 0), berlin());
  const auto start = decide(state, {flight()}, tuesday(5, 0));
  ASSERT_TRUE(start.has_value());
  state = CalendarTrigger::started(state, start->event, tuesday(5, 0), berlin());
  EXPECT_EQ(state.next, std::nullopt);
  EXPECT_EQ(state.current, CalendarTrigger::Trip::of(flight(), true));

  // Another kind of session ending changes nothing.
  auto user = *FullChargeSession::start(tuesday(5, 0), 80, true, false, std::nullopt);
  EXPECT_EQ(CalendarTrigger::restored(state, user, tuesday(6, 0)), state);

  state = CalendarTrigger::restored(state, start->session, tuesday(7, 10));
  EXPECT_EQ(state.current, std::nullopt);
  EXPECT_EQ(state.lastRestored,
            (CalendarTrigger::Restored{CalendarTrigger::Trip::of(flight(), true), 80, tuesday(7, 10)}));
  EXPECT_EQ(state.skippableKey(), std::nullopt);
}

TEST(CalendarTrigger, ForgetsKeysTwoDaysAfterTheirTrip) {
  CalendarTrigger state = CalendarTrigger::started({}, flight(), monday(18, 0), berlin());
  state = CalendarTrigger::skip(state, "other@2026-03-03T10:00:00Z");
  state = CalendarTrigger::skip(state, "not a key");
  state = CalendarTrigger::seen(state, {}, true, kKeywords, tuesday(8, 0) + 48h, berlin());
  EXPECT_EQ(state.handled, std::set<std::string>{flight().key()});
  EXPECT_EQ(state.skipped, std::set<std::string>{"other@2026-03-03T10:00:00Z"});
  state = CalendarTrigger::seen(state, {}, true, kKeywords, tuesday(8, 0) + 48h + 1s, berlin());
  EXPECT_TRUE(state.handled.empty());
  EXPECT_EQ(state.skipped, std::set<std::string>{"other@2026-03-03T10:00:00Z"});
}

TEST(CalendarTrigger, KeysNameUidAndStart) {
  EXPECT_EQ(flight().key(), "flight-1@2026-03-03T07:00:00Z");
  EXPECT_EQ(CalendarEvent::startOfKey("a@b.example@2026-03-03T07:00:00Z"), at("2026-03-03T07:00:00Z"));
  EXPECT_EQ(CalendarEvent::startOfKey("no date here"), std::nullopt);
}

// ---- Stored ----

TEST(CalendarTrigger, JsonRoundTripsAndLeavesOutWhatIsAbsent) {
  EXPECT_EQ(CalendarTrigger{}.toJson().dump(), R"({"handled":[],"skipped":[]})");
  CalendarTrigger state =
      CalendarTrigger::seen({}, std::vector<CalendarEvent>{flight()}, true, kKeywords, monday(12, 0), berlin());
  state = CalendarTrigger::skip(state, "x@2026-03-02T10:00:00Z");
  state.current = CalendarTrigger::Trip{"y@2026-03-02T11:00:00Z", "", monday(0, 0), true, true};
  state.lastRestored = CalendarTrigger::Restored{*state.current, 75, monday(9, 0)};
  EXPECT_EQ(state.toJson()["next"].dump(),
            R"({"key":"flight-1@2026-03-03T07:00:00Z","title":"Flight to Lisbon","start":"2026-03-03T07:00:00Z",)"
            R"("allDay":false,"foundLate":false})");
  EXPECT_EQ(CalendarTrigger::fromJson(Json::parse(state.toJson().dump())), state);
}

TEST(CalendarTrigger, MissingKeysTakeDefaultsAndMalformedOnesFail) {
  EXPECT_EQ(CalendarTrigger::fromJson(Json::object()), CalendarTrigger{});
  EXPECT_EQ(CalendarTrigger::fromJson(Json::parse(R"({"skipped":["k@2026-03-02T10:00:00Z"]})")).skipped,
            std::set<std::string>{"k@2026-03-02T10:00:00Z"});
  EXPECT_EQ(CalendarTrigger::fromJson(Json::parse(R"({"next":{"key":"k","start":"2026-03-02T10:00:00Z"}})")).next,
            (CalendarTrigger::Trip{"k", "", at("2026-03-02T10:00:00Z"), false, false}));
  for (const char* text : {R"([])", R"({"handled":"k"})", R"({"skipped":[1]})", R"({"next":{"key":"k"}})",
                           R"({"current":{"start":"2026-03-02T10:00:00Z"}})", R"({"next":{"key":"k","start":"soon"}})",
                           R"({"lastRestored":{"limit":80,"at":"2026-03-02T10:00:00Z"}})"}) {
    EXPECT_THROW(CalendarTrigger::fromJson(Json::parse(text)), DecodingError) << text;
  }
}

}  // namespace
}  // namespace batterycore
