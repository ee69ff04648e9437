#include "BatteryCore/text/MeaningSituation.hpp"

#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "Readings.hpp"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>
#include "tests/common/UsingLocale.hpp"

namespace batterycore {
namespace {

using Origin = FullChargeSession::Origin;
using Watchdog = LimitWatchdog::Verdict;
using Calibration = CalibrationDetector::Verdict;
using fixtures::at;

const Date kNow = at("2026-03-02T10:03:00Z");
const Calendar kUtc = Calendar::utc();
const Date kDeparture = at("2026-03-03T07:30:00Z");

// A reading described by what the texts look at.
struct Reading {
  std::int64_t percent = 80;
  bool pluggedIn = true;
  bool charging = false;
  LimitState limit = LimitState::on(80);
  std::optional<int> minutesToFull = std::nullopt;
  std::optional<int> minutesToEmpty = std::nullopt;
  ThermalLevel thermal = ThermalLevel::nominal;
  bool fullyCharged = false;
  std::uint64_t notChargingReason = 0;
  std::uint64_t slowChargingReason = 0;
  int thermallyLimitedSeconds = 0;
  std::optional<int> batteryMilliW = std::nullopt;  // 25 W while charging, 0 resting, -8 W on battery
  int adapterWatts = 96;
};

BatterySnapshot snapshot(const Reading& r) {
  BatterySnapshot s(kNow, r.percent, r.pluggedIn, r.charging, r.fullyCharged, r.minutesToEmpty, r.minutesToFull,
                    r.limit, r.notChargingReason, r.slowChargingReason, r.thermallyLimitedSeconds, r.thermal, 4000,
                    4100, 4500, 3200, 120, 1000, 12500, 0);
  s.batteryPowerMilliW = r.batteryMilliW.value_or(!r.pluggedIn ? -8000 : r.charging ? 25000 : 0);
  if (r.pluggedIn) s.adapter = Adapter{r.adapterWatts, std::nullopt, false};
  return s;
}

FullChargeSession fullCharge(bool untilUnplug, bool whenFull, std::optional<Date> deadline = std::nullopt,
                             Origin origin = Origin::user()) {
  FullChargeSession s;
  s.startedAt = kNow - std::chrono::minutes{20};
  s.deadline = deadline;
  s.origin = std::move(origin);
  s.restoreOnUnplug = untilUnplug;
  s.restoreWhenFull = whenFull;
  s.limit = 80;
  return s;
}

// One moment as the panel sees it.
struct Scene {
  const char* name;
  Reading reading;
  std::optional<FullChargeSession> session = std::nullopt;
  Watchdog watchdog = Watchdog::holding();
  Calibration calibration = Calibration::normal();
};

struct Shown {
  Attention attention;
  BatterySnapshot snapshot;
};

Shown show(const Scene& scene) {
  const auto s = snapshot(scene.reading);
  return {Attention::of(Situation{s, scene.watchdog, scene.session, scene.calibration,
                                  LimitAvailability::available()}),
          s};
}

std::string headline(const Scene& scene, DetailLevel level) {
  const auto [attention, s] = show(scene);
  return Meaning::headline(attention, s, scene.session, level);
}

std::string detail(const Scene& scene, DetailLevel level) {
  const auto [attention, s] = show(scene);
  return Meaning::detail(attention, s, scene.session, level, kNow, kUtc);
}

std::string why(const Scene& scene) {
  const auto [attention, s] = show(scene);
  return Meaning::whyTitle(attention, s);
}

using batterycore::testing::UsingLocale;

constexpr auto kSimple = DetailLevel::simple;
constexpr auto kTechnical = DetailLevel::technical;
const LimitState kOn80 = LimitState::on(80);
const LimitState kOff = LimitState::off(80);
const LimitState kUnreadable = LimitState::unavailable("not reported");

// Every kind of attention and phase, with the variants its texts tell apart.
std::vector<Scene> everyScene() {
  const Date noon = at("2026-03-02T12:05:00Z");
  const Reading fullChargeCharging{.percent = 90, .charging = true, .limit = kOff, .minutesToFull = 40};
  const Reading fullAtHundred{.percent = 100, .limit = kOff, .fullyCharged = true};
  return {
      {"charging to the limit", {.percent = 62, .charging = true, .minutesToFull = 35}},
      {"charging to the limit, no estimate", {.percent = 62, .charging = true}},
      {"charging to the limit, zero estimate", {.percent = 62, .charging = true, .minutesToFull = 0}},
      {"charging to the limit, hot", {.percent = 62, .charging = true, .minutesToFull = 35,
                                      .thermal = ThermalLevel::serious}},
      {"charging slowly, small charger", {.percent = 62, .charging = true, .minutesToFull = 95,
                                          .slowChargingReason = 4, .adapterWatts = 20}},
      {"charging slowly, held back by heat", {.percent = 62, .charging = true, .slowChargingReason = 4,
                                              .thermallyLimitedSeconds = 120}},
      {"charging, limit off", {.percent = 50, .charging = true, .limit = kOff}},
      {"charging, limit unreadable", {.percent = 50, .charging = true, .limit = kUnreadable}},
      {"resting at the limit", {.percent = 80}},
      {"resting a little under the limit", {.percent = 75}},
      {"resting one over the limit", {.percent = 81, .thermal = ThermalLevel::critical}},
      {"paused under the limit", {.percent = 70}},
      {"held under the limit by the charger", {.percent = 70, .notChargingReason = ChargerReason::atLimitBit}},
      {"settling to the limit", {.percent = 85}},
      {"full, limit off", {.percent = 100, .limit = kOff}},
      {"reported full, limit off", {.percent = 97, .limit = kOff, .fullyCharged = true}},
      {"paused, limit off", {.percent = 90, .limit = kOff}},
      {"full, limit unreadable", {.percent = 100, .limit = kUnreadable}},
      {"paused, limit unreadable", {.percent = 60, .limit = kUnreadable}},
      {"on battery, hours left", {.percent = 64, .pluggedIn = false, .minutesToEmpty = 200}},
      {"on battery, an hour and a half left", {.percent = 64, .pluggedIn = false, .minutesToEmpty = 90}},
      {"on battery, minutes left", {.percent = 30, .pluggedIn = false, .minutesToEmpty = 25}},
      {"on battery, low", {.percent = 15, .pluggedIn = false, .minutesToEmpty = 45}},
      {"on battery, no estimate", {.percent = 64, .pluggedIn = false}},
      {"on battery, low, no estimate", {.percent = 12, .pluggedIn = false}},
      {"full charge starting", {.percent = 60, .charging = true}, fullCharge(true, true, noon)},
      {"full charge", fullChargeCharging, fullCharge(true, true, noon)},
      {"full charge, no estimate", {.percent = 90, .charging = true, .limit = kOff}, fullCharge(true, true, noon)},
      {"full charge by shortcut", fullChargeCharging, fullCharge(false, true, std::nullopt, Origin::shortcut())},
      {"full charge, no way back", fullChargeCharging, fullCharge(false, false)},
      {"smart top-up", fullChargeCharging, fullCharge(true, false, kDeparture, Origin::smart(kDeparture))},
      {"calendar trip", fullChargeCharging, fullCharge(true, false, std::nullopt, Origin::calendar("Flight to Lisbon"))},
      {"calendar trip without a title", fullChargeCharging, fullCharge(true, false, std::nullopt, Origin::calendar(""))},
      {"full charge done", fullAtHundred, fullCharge(true, false)},
      {"smart top-up done", fullAtHundred, fullCharge(true, false, kDeparture, Origin::smart(kDeparture))},
      {"calendar trip done", fullAtHundred, fullCharge(true, false, std::nullopt, Origin::calendar("Flight to Lisbon"))},
      {"full charge paused", {.percent = 90, .limit = kOff}, fullCharge(true, false)},
      {"limit not holding", {.percent = 86, .charging = true}, std::nullopt, Watchdog::notHolding(kNow)},
      {"recalibrating", {.percent = 97, .charging = true}, std::nullopt, Watchdog::notHolding(kNow),
       Calibration::confirmed(kNow)},
      {"recalibrating, resting", {.percent = 98}, std::nullopt, Watchdog::holding(), Calibration::confirmed(kNow)},
  };
}

const Scene* find(const std::vector<Scene>& scenes, std::string_view name) {
  for (const auto& scene : scenes) {
    if (scene.name == name) return &scene;
  }
  ADD_FAILURE() << "no scene named " << name;
  return nullptr;
}

TEST(SituationTexts, HeaderExample) {
  const Scene scene{"", {.percent = 62, .charging = true, .minutesToFull = 35, .batteryMilliW = 18000}};
  const auto [attention, s] = show(scene);
  EXPECT_EQ(attention.kind, Attention::Kind::phase(ChargePhase::charging(80)));
  EXPECT_EQ(Meaning::headline(attention, s, std::nullopt, kSimple), "Charging to 80%");
  EXPECT_EQ(Meaning::detail(attention, s, std::nullopt, kSimple, kNow, kUtc),
            "It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick.");
  EXPECT_EQ(Meaning::detail(attention, s, std::nullopt, kTechnical, kNow, kUtc),
            "Charging to the 80% limit, 18 W into the battery. macOS estimates 35 min to go.");
}

TEST(SituationTexts, EnglishWording) {
  // An empty detail is not checked here.
  struct Expected {
    const char* scene;
    const char* headline;
    std::string simple;
    std::string technical;
    const char* why;
  };
  const char* const charging = "Why is it charging?";
  const char* const resting = "Why isn't it charging?";
  const char* const battery = "Why is it using the battery?";
  const char* const pausedSimple =
      "Plugged in, but not charging right now. macOS does this now and then, often to keep the battery cool.";
  const char* const holdingSimple =
      "That's the healthiest place for it. Your Mac runs on the charger and the battery rests. A nap, not a strike.";
  const char* const fullNoLimit = "Full at 100%. With no limit on, it stays there, where a battery ages fastest.";
  const char* const comesBackAll = "The limit comes back on when it's full, when you unplug or at 12:05 PM.";
  const Expected table[] = {
      {"charging to the limit", "Charging to 80%",
       "It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick.",
       "Charging to the 80% limit, 25 W into the battery. macOS estimates 35 min to go.", charging},
      {"charging to the limit, no estimate", "Charging to 80%",
       "It'll stop at 80% and rest there. No rush, it knows where to stop.",
       "Charging to the 80% limit, 25 W into the battery. No time estimate from macOS yet.", charging},
      {"charging to the limit, zero estimate", "Charging to 80%",
       "It'll stop at 80% and rest there. No rush, it knows where to stop.",
       "Charging to the 80% limit, 25 W into the battery. No time estimate from macOS yet.", charging},
      {"charging to the limit, hot", "Charging to 80%", "It'll stop at 80% in about 35 min.",
       "Charging to the 80% limit, 25 W into the battery. macOS estimates 35 min to go.", charging},
      {"charging slowly, small charger", "Charging to 80%",
       "It'll stop at 80% in about 1 h 35 min. This 20 W charger is small for your Mac, so the battery fills slowly.",
       "Charging to the 80% limit, 25 W into the battery. macOS estimates 1 h 35 min to go. This 20 W charger is "
       "small for your Mac, so the battery fills slowly.",
       charging},
      {"charging slowly, held back by heat", "Charging to 80%",
       "It'll stop at 80% and rest there. Your Mac is running hot while charging. Heat ages a battery. Give it some "
       "air or pause the heavy work.",
       "Charging to the 80% limit, 25 W into the battery. No time estimate from macOS yet. Your Mac is running hot "
       "while charging. Heat ages a battery. Give it some air or pause the heavy work.",
       charging},
      {"charging, limit off", "Charging to 100%",
       "No limit is on, so it'll charge all the way to 100%, where a battery ages fastest.",
       "Charging to 100% with the limit off, 25 W into the battery.", charging},
      {"charging, limit unreadable", "Charging to 100%",
       "Charging. The limit can't be read right now, so it's unclear where it will stop.",
       "Charging, 25 W into the battery. The limit state is unavailable, so the stop point is unknown.", charging},
      {"resting at the limit", "Resting at 80%", holdingSimple,
       "Holding at the 80% limit. The Mac runs on adapter power and the battery is idle.", resting},
      {"resting a little under the limit", "Resting at 75%", holdingSimple,
       "Holding at the 80% limit. The Mac runs on adapter power and the battery is idle.", resting},
      {"resting one over the limit", "Resting at 81%",
       "That's the healthiest place for it. Your Mac runs on the charger and the battery rests.",
       "Holding at the 80% limit. The Mac runs on adapter power and the battery is idle.", resting},
      {"paused under the limit", "Not charging", pausedSimple,
       "Not charging at 70%, below the 80% limit. macOS can pause charging for heat or its own battery management.",
       resting},
      {"held under the limit by the charger", "Resting at 70%", holdingSimple,
       "Holding at the 80% limit. The Mac runs on adapter power and the battery is idle.", resting},
      {"settling to the limit", "Settling to 80%",
       "It's above your 80% limit, so your Mac runs on the battery until it gets there. That's on purpose.",
       "At 85%, above the 80% limit. Charging is off and the Mac draws on the battery until it reaches the limit.",
       battery},
      {"full, limit off", "Fully charged", fullNoLimit, fullNoLimit, resting},
      {"reported full, limit off", "Fully charged", fullNoLimit, fullNoLimit, resting},
      {"paused, limit off", "Not charging", pausedSimple,
       "Plugged in, not charging, at 90% with no limit on. macOS can pause charging for heat or its own battery "
       "management.",
       resting},
      {"full, limit unreadable", "Fully charged",
       "The charge limit can't be read right now, so the battery may charge to 100%.",
       "Plugged in, not charging, at 100%. The limit state is unavailable.", resting},
      {"paused, limit unreadable", "Not charging", "Plugged in and not charging. The limit can't be read right now.",
       "Plugged in, not charging, at 60%. The limit state is unavailable.", resting},
      {"on battery, hours left", "On battery", "Good for a couple of hours at least.", "About 3 h 20 min left.",
       battery},
      {"on battery, an hour and a half left", "On battery", "About an hour and a half left. Enough for a meeting.",
       "About 1 h 30 min left.",
       battery},
      {"on battery, minutes left", "On battery", "About half an hour left. Plug in soon.",
       "About 25 min left. Plug in soon.", battery},
      {"on battery, low", "On battery", "About an hour left. Plug in soon.", "About 45 min left. Plug in soon.",
       battery},
      {"on battery, no estimate", "On battery", "Still working out how long it'll last.",
       "No estimate of the time left yet.", battery},
      {"on battery, low, no estimate", "On battery", "Still working out how long it'll last. Time to find a charger.",
       "No estimate of the time left yet. Time to find a charger.", battery},
      {"full charge starting", "Charging to 100%",
       "Getting ready to charge to 100%. The limit turns off in a moment.",
       "Getting ready to charge to 100%. The limit turns off in a moment.", charging},
      {"full charge", "Charging to 100%", std::string("It'll stop at 100% in about 40 min. ") + comesBackAll,
       "", charging},
      {"full charge, no estimate", "Charging to 100%", comesBackAll, "", charging},
      {"full charge by shortcut", "Charging to 100%",
       "It'll stop at 100% in about 40 min. The limit comes back on when it's full.",
       "Charging to 100% with the limit off, 25 W into the battery. The limit comes back on when it's full.",
       charging},
      {"full charge, no way back", "Charging to 100%",
       "It'll stop at 100% in about 40 min. The limit comes back on when you stop it.",
       "Charging to 100% with the limit off, 25 W into the battery. The limit comes back on when you stop it.",
       charging},
      {"smart top-up", "Charging to 100%",
       "Topping up for your 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM.",
       "Timed full charge for the usual 7:30 AM departure, 25 W into the battery. The limit comes back on when you "
       "unplug or tomorrow at 7:30 AM.",
       charging},
      {"calendar trip", "Charging to 100%",
       "Charging to 100% for Flight to Lisbon. The limit comes back on when you unplug.",
       "Limit off for the calendar event Flight to Lisbon, 25 W into the battery. The limit comes back on when you "
       "unplug.",
       charging},
      {"calendar trip without a title", "Charging to 100%",
       "Charging to 100% for a trip. The limit comes back on when you unplug.",
       "Limit off for the calendar event a trip, 25 W into the battery. The limit comes back on when you unplug.",
       charging},
      {"full charge done", "Fully charged", "Ready to go. The limit comes back on when you unplug.",
       "Ready to go. The limit comes back on when you unplug.", resting},
      {"smart top-up done", "Fully charged",
       "Ready for your 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM.",
       "At 100% for the usual 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM.",
       resting},
      {"calendar trip done", "Fully charged",
       "Ready for Flight to Lisbon. The limit comes back on when you unplug.",
       "At 100% for the calendar event Flight to Lisbon. The limit comes back on when you unplug.", resting},
      {"full charge paused", "Not charging",
       std::string(pausedSimple) + " The limit comes back on when you unplug.",
       "Plugged in, not charging, at 90% with no limit on. macOS can pause charging for heat or its own battery "
       "management. The limit comes back on when you unplug.",
       resting},
      {"limit not holding", "Limit not holding", "The battery is at 86% and still charging past your 80% limit.",
       "The battery is at 86% and still charging past your 80% limit. The limit is on, but the battery kept charging "
       "past it for more than 10 minutes. If macOS isn't recalibrating, turn the limit off and on again in System "
       "Settings > Battery.",
       charging},
      {"recalibrating", "Recalibrating the battery",
       "macOS is charging past your limit to re-learn the battery. Nothing is broken, and the limit takes over "
       "again by itself.",
       "Now and then macOS charges past your limit to re-learn how much the battery holds. It's normal and can take "
       "a day or two. The limit takes over again by itself.",
       charging},
      {"recalibrating, resting", "Recalibrating the battery", "", "", resting},
  };
  const auto scenes = everyScene();
  for (const auto& expected : table) {
    const Scene* scene = find(scenes, expected.scene);
    if (!scene) continue;
    EXPECT_EQ(headline(*scene, kSimple), expected.headline) << expected.scene;
    EXPECT_EQ(headline(*scene, kTechnical), expected.headline) << expected.scene;
    if (!expected.simple.empty()) {
      EXPECT_EQ(detail(*scene, kSimple), expected.simple) << expected.scene;
    }
    if (!expected.technical.empty()) {
      EXPECT_EQ(detail(*scene, kTechnical), expected.technical) << expected.scene;
    }
    EXPECT_EQ(why(*scene), expected.why) << expected.scene;
  }
}

TEST(SituationTexts, FullChargeTechnicalNamesTheWatts) {
  const auto scenes = everyScene();
  const Scene* scene = find(scenes, "full charge");
  ASSERT_TRUE(scene);
  EXPECT_EQ(detail(*scene, kTechnical),
            "Charging to 100% with the limit off, 25 W into the battery. The limit comes back on when it's full, "
            "when you unplug or at 12:05 PM.");
}

TEST(SituationTexts, JokesOnlyWhenSimpleAndCool) {
  struct Case {
    ThermalLevel thermal;
    DetailLevel level;
    bool joke;
  };
  const Case cases[] = {
      {ThermalLevel::nominal, kSimple, true},      {ThermalLevel::fair, kSimple, true},
      {ThermalLevel::serious, kSimple, false},     {ThermalLevel::critical, kSimple, false},
      {ThermalLevel::nominal, kTechnical, false},  {ThermalLevel::fair, kTechnical, false},
  };
  const std::pair<Reading, const char*> jokes[] = {
      {{.percent = 80}, "A nap, not a strike."},
      {{.percent = 60, .charging = true, .minutesToFull = 30}, "Stopping at 80% is the whole trick."},
      {{.percent = 60, .charging = true}, "No rush, it knows where to stop."},
  };
  for (const auto& [base, joke] : jokes) {
    for (const auto& c : cases) {
      Reading reading = base;
      reading.thermal = c.thermal;
      const auto text = detail(Scene{"", reading}, c.level);
      EXPECT_EQ(text.find(joke) != std::string::npos, c.joke)
          << text << " (thermal " << thermalLevelName(c.thermal) << ", " << detailLevelRaw(c.level) << ")";
    }
  }
}

TEST(SituationTexts, BannersOnlyWhileMacOSDecides) {
  const auto scenes = everyScene();
  for (const auto& scene : scenes) {
    const auto [attention, s] = show(scene);
    const auto banner = Meaning::banner(attention, kSimple);
    EXPECT_EQ(banner.has_value(), attention.limitOutOfControl()) << scene.name;
  }
  const auto notHolding = Meaning::banner({Attention::Kind::notHolding(75), Attention::Tone::calibrating,
                                           Attention::Tone::alert},
                                          kTechnical);
  ASSERT_TRUE(notHolding);
  EXPECT_EQ(*notHolding, (Meaning::Line{"Limit not holding",
                                        "The battery keeps charging past your 75% limit. If it goes on, check "
                                        "System Settings > Battery."}));
  const auto calibrating = Meaning::banner({Attention::Kind::calibrating(), Attention::Tone::calibrating,
                                            Attention::Tone::warning},
                                           kSimple);
  ASSERT_TRUE(calibrating);
  EXPECT_EQ(*calibrating, (Meaning::Line{"Recalibrating the battery",
                                         "macOS is charging past your limit to re-learn the battery. Nothing is "
                                         "broken, and the limit takes over again by itself."}));
}

TEST(SituationTexts, DeadlineTomorrowInTheCalendarsZone) {
  // 23:30 UTC is already tomorrow in Berlin.
  const auto berlin = Calendar::gregorian("Europe/Berlin");
  const Scene scene{"", {.percent = 90, .charging = true, .limit = kOff},
                    fullCharge(false, false, at("2026-03-02T23:30:00Z"))};
  const auto [attention, s] = show(scene);
  EXPECT_EQ(Meaning::detail(attention, s, scene.session, kTechnical, kNow, berlin),
            "Charging to 100% with the limit off, 25 W into the battery. The limit comes back on tomorrow at "
            "12:30 AM.");
}

// ---- Every text, in every language the catalogue ships, at both levels ----

// "%@", "%lld", "%1$@", "%%" ... left in a text means a value never went in.
bool hasPlaceholder(const std::string& text) {
  static const std::regex placeholder(R"(%(\d+\$)?(@|lld|ld|d|i|%))");
  return std::regex_search(text, placeholder);
}

struct Rendered {
  std::string headline;
  std::string simple;
  std::string technical;
  std::string why;
  std::optional<Meaning::Line> banner;
};

std::vector<Rendered> renderAll(const std::vector<Scene>& scenes) {
  std::vector<Rendered> all;
  for (const auto& scene : scenes) {
    const auto [attention, s] = show(scene);
    all.push_back({Meaning::headline(attention, s, scene.session, kSimple),
                   Meaning::detail(attention, s, scene.session, kSimple, kNow, kUtc),
                   Meaning::detail(attention, s, scene.session, kTechnical, kNow, kUtc),
                   Meaning::whyTitle(attention, s), Meaning::banner(attention, kSimple)});
  }
  return all;
}

TEST(SituationTexts, EveryKindAndPhaseIsCovered) {
  std::set<std::string> kinds;
  for (const auto& scene : everyScene()) {
    const auto [attention, s] = show(scene);
    const auto& kind = attention.kind;
    kinds.insert(kind.chargePhase() ? "phase " + std::to_string(static_cast<int>(kind.chargePhase()->kind()))
                                    : kind.description().substr(0, kind.description().find('(')));
  }
  EXPECT_EQ(kinds, (std::set<std::string>{"phase 0", "phase 1", "phase 2", "phase 3", "phase 4", "notHolding",
                                          "fullCharge", "calibrating"}));
}

TEST(SituationTexts, EveryTextRendersInEveryLanguage) {
  const auto scenes = everyScene();
  const auto english = renderAll(scenes);
  for (const char* locale : {"en_US", "de_DE"}) {
    UsingLocale scope(locale);
    const auto rendered = std::string(locale) == "en_US" ? english : renderAll(scenes);
    for (std::size_t i = 0; i < scenes.size(); ++i) {
      const auto& r = rendered[i];
      const std::string where = std::string(locale) + ", " + scenes[i].name;
      std::vector<std::pair<const char*, std::string>> texts = {
          {"headline", r.headline}, {"simple detail", r.simple}, {"technical detail", r.technical}, {"why", r.why}};
      if (r.banner) {
        texts.emplace_back("banner title", r.banner->title);
        texts.emplace_back("banner detail", r.banner->detail);
      }
      for (const auto& [what, text] : texts) {
        EXPECT_FALSE(text.empty()) << where << ": empty " << what;
        EXPECT_FALSE(hasPlaceholder(text)) << where << ": placeholder left in " << what << ": " << text;
      }
      if (std::string(locale) != "en_US") {
        // A key missing from the language's table would show the English text.
        EXPECT_NE(r.headline, english[i].headline) << where;
        EXPECT_NE(r.simple, english[i].simple) << where;
        EXPECT_NE(r.technical, english[i].technical) << where;
        EXPECT_NE(r.why, english[i].why) << where;
      }
    }
  }
}

TEST(SituationTexts, GermanWording) {
  UsingLocale german("de_DE");
  const auto scenes = everyScene();
  const Scene* charging = find(scenes, "charging to the limit");
  ASSERT_TRUE(charging);
  EXPECT_EQ(headline(*charging, kSimple), "Lädt auf 80\u00A0%");
  // The German template puts the duration first.
  EXPECT_EQ(detail(*charging, kSimple),
            "Das Laden stoppt in etwa 35 min bei 80\u00A0%. Bei 80\u00A0% aufzuhören ist der ganze Trick.");
  const Scene* smart = find(scenes, "smart top-up");
  ASSERT_TRUE(smart);
  EXPECT_EQ(detail(*smart, kSimple).rfind("Lädt voll für deinen Aufbruch um 07:30. ", 0), 0u) << detail(*smart, kSimple);
}

// ---- The catalogue keys the texts name ----

std::string readFile(const std::string& path) {
  std::ifstream file(path);
  std::stringstream content;
  content << file.rdbuf();
  return content.str();
}

// Each `"key", "default"` pair in a source file: a key literal followed by a
// comma and one or more adjacent string literals (the English default).
std::vector<std::pair<std::string, std::string>> keyedDefaults(const std::string& source) {
  struct Literal {
    std::size_t begin, end;
    std::string value;
  };
  std::vector<Literal> literals;
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (source[i] == '/' && i + 1 < source.size() && source[i + 1] == '/') {
      i = source.find('\n', i);
      if (i == std::string::npos) break;
      continue;
    }
    if (source[i] == '\'') {  // a character literal such as '%'
      i = source.find('\'', i + 2);
      continue;
    }
    if (source[i] != '"') continue;
    Literal literal{i, 0, {}};
    for (++i; i < source.size() && source[i] != '"'; ++i) {
      if (source[i] == '\\' && i + 1 < source.size()) ++i;
      literal.value += source[i];
    }
    literal.end = i + 1;
    literals.push_back(std::move(literal));
  }
  const auto between = [&](std::size_t from, std::size_t to) { return source.substr(from, to - from); };
  const auto blank = [](const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c); });
  };
  static const std::regex keyShape(R"([a-z][A-Za-z0-9]*(\.[A-Za-z0-9]+)+)");
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::size_t k = 0; k + 1 < literals.size(); ++k) {
    if (!std::regex_match(literals[k].value, keyShape)) continue;
    std::string gap = between(literals[k].end, literals[k + 1].begin);
    gap.erase(std::remove_if(gap.begin(), gap.end(), [](unsigned char c) { return std::isspace(c); }), gap.end());
    if (gap != ",") continue;
    std::string english = literals[k + 1].value;
    std::size_t next = k + 2;
    while (next < literals.size() && blank(between(literals[next - 1].end, literals[next].begin))) {
      english += literals[next].value;
      ++next;
    }
    pairs.emplace_back(literals[k].value, english);
    k = next - 1;
  }
  return pairs;
}

TEST(SituationTexts, EveryKeyIsInTheCatalogueWithItsEnglishDefault) {
  const std::string bundle = std::string(KESTRIN_SOURCE_DIR) + "/BatteryCore/resources/BatteryCore_BatteryCore.bundle/";
  const auto en = Json::parse(readFile(bundle + "en.json"));
  const auto de = Json::parse(readFile(bundle + "de.json"));
  std::size_t checked = 0;
  for (const char* file : {"MeaningSituation.cpp", "MeaningFullCharge.cpp"}) {
    const auto source = readFile(std::string(KESTRIN_SOURCE_DIR) + "/BatteryCore/text/" + file);
    ASSERT_FALSE(source.empty()) << file;
    for (const auto& [key, english] : keyedDefaults(source)) {
      ++checked;
      ASSERT_TRUE(en.contains(key)) << file << ": " << key << " is not in en.json";
      EXPECT_EQ(en[key].get<std::string>(), english) << file << ": the default of " << key << " differs from en.json";
      EXPECT_TRUE(de.contains(key)) << file << ": " << key << " is not in de.json";
    }
  }
  EXPECT_GT(checked, 50u) << "the key scan found too few texts; is the pattern still right?";
}

}  // namespace
}  // namespace batterycore
