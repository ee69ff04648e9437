// The calendar trigger: which trip starts a full charge and when, what it
// remembers of each trip, and what the alert and the plans card say about it.
#include "BatteryCore/departures/CalendarTrigger.hpp"
#include "BatteryCore/text/MeaningTrips.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using testing::berlin;
using testing::march;
using testing::reading;
using testing::UsingLocale;
using Trip = CalendarTrigger::Trip;
using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

const std::vector<std::string> kKeywords{"trip", "flight", "Reise", "Flug"};

CalendarEvent timed(std::string uid, std::string title, Date start) {
  return {std::move(uid), std::move(title), start, start + 2h, false};
}

CalendarEvent allDay(std::string uid, std::string title, Date day, int days = 1) {
  const Date start = berlin().startOfDay(day);
  return {std::move(uid), std::move(title), start, berlin().addingDays(start, days), true};
}

// Tuesday's flight at 08:00.
CalendarEvent flight() { return timed("flight-1", "Flight to Lisbon", march(3, 8, 0)); }

std::optional<CalendarTrigger::Start> decide(const CalendarTrigger& state, const std::vector<CalendarEvent>& events,
                                             Date now, std::optional<int> canStart = 80) {
  return CalendarTrigger::decision(state, events, reading(79, true, now), canStart, true, true, kKeywords, now,
                                   berlin());
}

TEST(CalendarTrigger, DecidesWhichTripStartsACharge) {
  const CalendarEvent train = timed("train", "Train trip to Bonn", march(3, 7, 30));
  const CalendarEvent talk = timed("talk", "Talk (no keyword)", march(3, 6, 0));
  const CalendarEvent twin = timed("a-twin", "Flight to Lisbon", march(3, 8, 0));
  const CalendarEvent home = timed("home", "Flight home", march(3, 10, 0));
  const CalendarEvent conference = allDay("conf", "Konferenz", march(3, 12, 0), 2);
  const CalendarEvent holiday = allDay("hol", "Urlaubsreise", march(3, 12, 0));
  const CalendarEvent longAgo = timed("old", "Flight out", march(2, 8, 0) - 72h);
  const CalendarEvent farOff = timed("far", "Flight back", march(3, 8, 0) + 72h);
  const CalendarTrigger handled = CalendarTrigger::started({}, flight(), march(2, 18, 0), berlin());
  const CalendarTrigger skipped = CalendarTrigger::skip({}, flight().key());
  struct Case {
    const char* name;
    std::vector<CalendarEvent> events;
    Date now;
    const char* chosen;  // the uid, or null for no charge
    std::int64_t percent = 79;
    bool pluggedIn = true, enabled = true;
    std::optional<int> canStart = 80;
    bool allDayCounts = true;
    CalendarTrigger state{};
  };
  const Case cases[] = {
      {"a second before 18:00 the evening before", {flight()}, march(2, 17, 59, 59), nullptr},
      {"18:00 the evening before", {flight()}, march(2, 18, 0), "flight-1"},
      {"a second before it begins", {flight()}, march(3, 7, 59, 59), "flight-1"},
      {"as it begins", {flight()}, march(3, 8, 0), nullptr},
      {"trips three days either side are not looked at", {longAgo, flight(), farOff}, march(2, 18, 0), "flight-1"},
      {"switched off", {flight()}, march(2, 19, 0), nullptr, 79, true, false},
      {"no limit in force", {flight()}, march(2, 19, 0), nullptr, 79, true, true, std::nullopt},
      {"already full", {flight()}, march(2, 19, 0), nullptr, 100},
      {"at 99%", {flight()}, march(2, 19, 0), "flight-1", 99},
      {"unplugged", {flight()}, march(2, 19, 0), nullptr, 79, false},
      {"the earliest trip first, a talk is no trip", {flight(), talk, train}, march(2, 18, 0), "train"},
      {"same start: the uid decides", {flight(), twin}, march(2, 18, 0), "a-twin"},
      {"same start, other order", {twin, flight()}, march(2, 18, 0), "a-twin"},
      {"already charged for", {flight()}, march(3, 6, 0), nullptr, 79, true, true, 80, true, handled},
      {"moved to 10:00, another occurrence", {timed("flight-1", "Flight", march(3, 10, 0))}, march(3, 6, 0),
       "flight-1", 79, true, true, 80, true, handled},
      {"skipped, the next trip still counts", {flight(), home}, march(2, 18, 0), "home", 79, true, true, 80, true,
       skipped},
      {"all-day, before the evening", {conference}, march(2, 17, 59), nullptr},
      {"all-day, the evening before", {conference}, march(2, 18, 0), "conf"},
      {"all-day, until noon of its first day", {conference}, march(3, 11, 59), "conf"},
      {"all-day, at noon", {conference}, march(3, 12, 0), nullptr},
      {"all-day without the option", {conference}, march(2, 18, 0), nullptr, 79, true, true, 80, false},
      {"all-day with a keyword, without the option", {holiday}, march(2, 18, 0), "hol", 79, true, true, 80, false},
  };
  for (const auto& c : cases) {
    const auto start = CalendarTrigger::decision(c.state, c.events, reading(c.percent, c.pluggedIn, c.now),
                                                 c.canStart, c.enabled, c.allDayCounts, kKeywords, c.now, berlin());
    EXPECT_EQ(start ? start->event.uid : "none", c.chosen ? c.chosen : "none") << c.name;
  }
}

TEST(CalendarTrigger, TheChargeEndsOnUnplugAndTheAlertSaysForWhichDay) {
  const UsingLocale english("en_US");
  const auto start = decide({}, {flight()}, march(2, 18, 0), 75);
  ASSERT_TRUE(start.has_value());
  FullChargeSession expected;
  expected.startedAt = march(2, 18, 0);
  expected.origin = FullChargeSession::Origin::calendar("Flight to Lisbon");
  expected.restoreOnUnplug = true;
  expected.limit = 75;
  EXPECT_EQ(start->session, expected);
  const std::string unplug = " The limit comes back on when you unplug.";
  EXPECT_EQ(start->alert, (BatteryAlert{BatteryAlert::Kind::calendarFullCharge, march(2, 18, 0),
                                        "Charging to 100% for tomorrow",
                                        "For Flight to Lisbon tomorrow, the battery is charging to 100% tonight." +
                                            unplug,
                                        std::nullopt}));
  const auto today = decide({}, {flight()}, march(3, 0, 0));
  EXPECT_EQ(today->alert.title, "Charging to 100% for today");
  EXPECT_EQ(today->alert.body, "For Flight to Lisbon today, the battery is charging to 100% now." + unplug);
  const auto untitled = decide({}, {allDay("day-off", "", march(3, 0, 0))}, march(2, 20, 0));
  EXPECT_EQ(untitled->alert.body, "For a trip tomorrow, the battery is charging to 100% tonight." + unplug);
}

TEST(CalendarTrigger, RemembersEachTripThroughItsCharge) {
  const CalendarEvent home = timed("home", "Trip home", march(3, 20, 0));
  const std::vector<CalendarEvent> events{timed("dinner", "Dinner", march(2, 20, 0)), flight(), home};
  const auto seen = [&](const CalendarTrigger& state, Date now) {
    return CalendarTrigger::seen(state, events, true, kKeywords, now, berlin());
  };
  // Seen the day before, it is not found late, even when seen again on its day.
  CalendarTrigger state = seen({}, march(2, 15, 0));
  EXPECT_EQ(state.next, Trip::of(flight(), false));
  state = seen(state, march(3, 6, 0));
  EXPECT_EQ(state.next, Trip::of(flight(), false));
  EXPECT_EQ(seen({}, march(3, 6, 0)).next, Trip::of(flight(), true));
  EXPECT_EQ(seen(state, march(3, 8, 0)).next, Trip::of(home, true));  // the flight has begun
  EXPECT_EQ(seen({}, march(1, 23, 0)).next, std::nullopt);             // two days ahead

  const auto start = decide(state, {flight()}, march(3, 6, 0));
  ASSERT_TRUE(start.has_value());
  state = CalendarTrigger::started(state, start->event, march(3, 6, 0), berlin());
  EXPECT_EQ(state.next, std::nullopt);
  EXPECT_EQ(state.current, Trip::of(flight(), false));
  EXPECT_EQ(state.handled, std::set<std::string>{flight().key()});
  EXPECT_EQ(state.skippableKey(), flight().key());
  EXPECT_EQ(seen(state, march(3, 6, 5)).next, Trip::of(home, true));  // a handled trip is not next

  // Another kind of full charge ending changes nothing.
  const auto user = *FullChargeSession::start(march(3, 6, 0), 80, true, false, std::nullopt);
  EXPECT_EQ(CalendarTrigger::restored(state, user, march(3, 7, 0)), state);
  state = CalendarTrigger::restored(state, start->session, march(3, 7, 10));
  EXPECT_EQ(state.current, std::nullopt);
  EXPECT_EQ(state.lastRestored, (CalendarTrigger::Restored{Trip::of(flight(), false), 80, march(3, 7, 10)}));
  EXPECT_EQ(state.skippableKey(), std::nullopt);
  state.next = Trip::of(home, true);
  EXPECT_EQ(state.skippableKey(), home.key());
  EXPECT_EQ(CalendarTrigger::skip(state, home.key()).skippableKey(), std::nullopt);
}

TEST(CalendarTrigger, ForgetsKeysTwoDaysAfterTheirTrip) {
  EXPECT_EQ(flight().key(), "flight-1@2026-03-03T07:00:00Z");
  EXPECT_EQ(CalendarEvent::startOfKey("a@b.example@2026-03-03T07:00:00Z"), testing::at("2026-03-03T07:00:00Z"));
  CalendarTrigger state = CalendarTrigger::started({}, flight(), march(2, 18, 0), berlin());
  state = CalendarTrigger::skip(CalendarTrigger::skip(state, "other@2026-03-03T10:00:00Z"), "not a key");
  state = CalendarTrigger::seen(state, {}, true, kKeywords, march(3, 8, 0) + 48h, berlin());
  EXPECT_EQ(state.handled, std::set<std::string>{flight().key()});
  EXPECT_EQ(state.skipped, std::set<std::string>{"other@2026-03-03T10:00:00Z"});
  state = CalendarTrigger::seen(state, {}, true, kKeywords, march(3, 8, 0) + 48h + 1s, berlin());
  EXPECT_TRUE(state.handled.empty());
  EXPECT_EQ(state.skipped, std::set<std::string>{"other@2026-03-03T10:00:00Z"});
}

TEST(CalendarTrigger, KeywordsMatchWithoutRegardToCaseByTheLocalesRules) {
  REQUIRE_LOCALE("de_DE");
  REQUIRE_LOCALE("tr_TR");
  struct Case { const char* title; std::vector<std::string> keywords; const char* locale; bool trip; };
  const Case cases[] = {
      {"DIENSTREISE nach Hamburg", {"Dienstreise"}, "de_DE", true}, {"Dienstreise", {"DIENSTREISE"}, "de_DE", true},
      {"Rückflug", {"Flug"}, "de_DE", true},  // inside a word
      {"STRASSENFEST", {"Straße"}, "de_DE", true}, {"Zahnarzt", {"Reise", "Flug"}, "de_DE", false},
      {"東京へ出張", {"出張"}, "ja_JP", true}, {"", {"trip"}, "en_US", false},
      // Empty and blank keywords never match.
      {"Team meeting", {"", "  "}, "en_US", false}, {"Ärztin", {"", " "}, "de_DE", false},
      // In Turkish a capital I is a dotless ı; elsewhere it is a plain i, and İ is not.
      {"İZMİR UÇUŞU", {"izmir"}, "tr_TR", true}, {"ISPARTA GEZİSİ", {"ısparta"}, "tr_TR", true},
      {"ISPARTA GEZİSİ", {"ısparta"}, "en_US", false}, {"İZMİR UÇUŞU", {"izmir"}, "en_US", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CalendarTrigger::isTrip(timed("e", c.title, march(3, 8, 0)), c.keywords, false, c.locale), c.trip)
        << c.title << " " << c.locale;
  }
  // The decision compares in the calendar's locale.
  const Calendar istanbul = Calendar::gregorian("Europe/Istanbul", "tr_TR");
  const Date now = *istanbul.date(2026, 3, 2, 19, 0);
  const std::vector<CalendarEvent> events{timed("e", "İZMİR", *istanbul.date(2026, 3, 3, 9, 0))};
  const std::vector<std::string> keywords{"izmir"};
  EXPECT_TRUE(CalendarTrigger::decision({}, events, reading(70, true, now), 80, true, false, keywords, now, istanbul));
}

// ---- What the plans card says ----

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

FullChargeSession calendarSession(std::string title = "Flight to Lisbon") {
  auto session = *FullChargeSession::start(march(2, 18, 0), 80, true, false, std::nullopt);
  session.origin = FullChargeSession::Origin::calendar(std::move(title));
  return session;
}

// Texts chosen by the detail level alone are told at one level here: the
// catalogue's tests hold each level's wording to the English table.
TEST(TripTexts, ThePlansCardSaysWhatHappensForTheTrip) {
  const UsingLocale english("en_US");
  const Trip trip = Trip::of(flight(), false);
  const Trip late = Trip::of(flight(), true);
  const Trip untitled{"k@2026-03-03T07:00:00Z", "", march(3, 8, 0), false, false};
  const CalendarTrigger after = CalendarTrigger::restored(charging(trip), calendarSession(), march(3, 7, 10));
  CalendarTrigger afterWithNext = after;
  afterWithNext.next = Trip{"k@2026-03-04T07:00:00Z", "Trip home", march(4, 8, 0), false, false};
  const auto user = FullChargeSession::start(march(2, 18, 0), 75, true, false, std::nullopt);
  const std::optional<FullChargeSession> none;
  const auto simple = DetailLevel::simple;
  const auto technical = DetailLevel::technical;
  struct Case {
    CalendarTrigger state;
    Date now;
    std::int64_t percent;
    bool pluggedIn, limitOn;
    std::optional<FullChargeSession> session;
    DetailLevel level;
    Lines lines;
  };
  const std::string tomorrow = "Flight to Lisbon tomorrow";
  const std::string today = "Flight to Lisbon today";
  const std::string lateNote = " Found a bit late, so it may not reach 100% in time.";
  const std::string evening = "Charging to 100% tonight, ready for the morning.";
  const Case cases[] = {
      {ahead(trip), march(2, 15, 0), 79, false, true, none, simple,
       {tomorrow, "It charges to 100% this evening, ready for it."}},
      {ahead(trip), march(2, 21, 0), 79, false, true, none, simple,
       {tomorrow, "Plug in tonight and it'll be at 100% by morning."}},
      {ahead(trip), march(2, 21, 0), 79, false, true, none, technical,
       {tomorrow, "Full charge runs this evening while plugged in. The limit comes back on when you unplug."}},
      {ahead(late), march(3, 6, 0), 79, false, true, none, simple,
       {today, "Plug in and it charges to 100% for it." + lateNote}},
      {ahead(late), march(2, 19, 0), 100, true, true, none, simple,
       {tomorrow, "Already at 100%, so you're ready for it."}},
      {ahead(trip), march(2, 19, 0), 70, true, false, none, simple,
       {tomorrow, "The limit is off, so the battery will be full for Flight to Lisbon anyway."}},
      {CalendarTrigger::skip(ahead(trip), trip.key), march(2, 19, 0), 70, true, false, none, simple,
       {tomorrow, "Not charging to 100% for Flight to Lisbon, as you asked."}},
      {ahead(untitled), march(3, 6, 0), 70, true, false, none, simple,
       {"Your trip today", "The limit is off, so the battery will be full for your trip anyway."}},
      // While its charge runs.
      {charging(trip), march(2, 19, 0), 85, true, true, calendarSession(), simple, {tomorrow, evening}},
      {charging(trip), march(2, 19, 0), 85, true, true, calendarSession(), technical,
       {tomorrow, "Charging to 100% for Flight to Lisbon, limit off."}},
      {charging(late), march(3, 6, 0), 85, true, true, calendarSession(), simple,
       {today, "Charging to 100% for it now." + lateNote}},
      {charging(late), march(3, 7, 0), 100, true, true, calendarSession(), simple,
       {today, "Already at 100%, so you're ready for it."}},
      {charging(trip), march(4, 0, 30), 90, true, true, calendarSession(), simple,
       {"Flight to Lisbon", "Charging to 100% for it now."}},
      // A state that kept no trip tells the charge by its title.
      {CalendarTrigger{}, march(2, 19, 0), 85, true, true, calendarSession(""), simple,
       {"Your trip", "Charging to 100% for it now."}},
      // Another kind of full charge leaves the trip part as it was.
      {ahead(trip), march(2, 19, 0), 85, true, true, user, simple, {tomorrow, evening}},
      // After the charge, until the trip's day is over (it ended at 07:10).
      {after, march(3, 23, 59), 60, true, true, none, simple,
       {today, "Charged for Flight to Lisbon. The limit is back at 80%."}},
      {after, march(4, 0, 0), 60, true, true, none, simple, {"Watching your calendar for trips."}},
      {afterWithNext, march(3, 12, 0), 60, true, true, none, simple,
       {"Trip home tomorrow", "It charges to 100% this evening, ready for it."}},
  };
  for (const auto& c : cases) {
    BatterySnapshot snapshot = reading(c.percent, c.pluggedIn, c.now);
    if (!c.limitOn) snapshot.limit = LimitState::off(80);
    EXPECT_EQ(Meaning::Trips::plans(c.state, snapshot, c.session, c.now, berlin(), c.level), c.lines)
        << toIso8601(c.now) << " " << c.lines.back();
  }
  EXPECT_EQ(Meaning::Trips::notTonight(), "Not tonight");
  EXPECT_EQ(Meaning::Trips::pausedDetail(calendarSession()), "For your trip. Then it rests at 80%.");
  EXPECT_EQ(Meaning::Trips::pausedDetail(*user), "Then it rests at 75%.");
}

}  // namespace
}  // namespace batterycore
