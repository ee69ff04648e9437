#include "BatteryCore/text/MeaningSituation.hpp"

#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "Readings.hpp"
#include "tests/common/UsingLocale.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using Origin = FullChargeSession::Origin;
using Watchdog = LimitWatchdog::Verdict;
using Calibration = CalibrationDetector::Verdict;
using fixtures::at;

// Clock times in the texts are Berlin's, an hour ahead of UTC in March.
const Calendar kBerlin = Calendar::gregorian("Europe/Berlin");
const Date kNow = at("2026-03-02T10:03:00Z");
const Date kNoon = at("2026-03-02T11:05:00Z");
const Date kDeparture = at("2026-03-03T06:30:00Z");
const LimitState kOff = LimitState::off(80);
const LimitState kUnreadable = LimitState::unavailable("not reported");

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
  int adapterWatts = 96;
};

FullChargeSession fullCharge(bool untilUnplug, bool whenFull, std::optional<Date> deadline = std::nullopt,
                             Origin origin = Origin::user()) {
  FullChargeSession s;
  s.startedAt = kNow - std::chrono::minutes{20};
  s.deadline = deadline;
  s.origin = std::move(origin);
  s.restoreOnUnplug = untilUnplug;
  s.restoreWhenFull = whenFull;
  return s;
}

// One moment as the panel sees it.
struct Given {
  Reading reading;
  std::optional<FullChargeSession> session = std::nullopt;
  Watchdog watchdog = Watchdog::holding();
  Calibration calibration = Calibration::normal();

  BatterySnapshot snapshot() const {
    const Reading& r = reading;
    BatterySnapshot s(kNow, r.percent, r.pluggedIn, r.charging, r.fullyCharged, r.minutesToEmpty, r.minutesToFull,
                      r.limit, r.notChargingReason, r.slowChargingReason, r.thermallyLimitedSeconds, r.thermal, 4000,
                      4100, 4500, 3200, 120, 1000, 12500, 0);
    s.batteryPowerMilliW = !r.pluggedIn ? -8000 : r.charging ? 25000 : 0;
    if (r.pluggedIn) s.adapter = Adapter{r.adapterWatts, std::nullopt, false};
    return s;
  }
  Attention attention() const {
    return Attention::of(Situation{snapshot(), watchdog, session, calibration, LimitAvailability::available()});
  }
};

struct Texts {
  std::string headline;
  std::string why;
  std::string simple;
  std::string technical;
  std::optional<Meaning::Line> banner;
};

Texts render(const Given& given) {
  const auto attention = given.attention();
  const auto s = given.snapshot();
  const auto detail = [&](DetailLevel level) {
    return Meaning::detail(attention, s, given.session, level, kNow, kBerlin);
  };
  return {Meaning::headline(attention, s, given.session, DetailLevel::simple), Meaning::whyTitle(attention, s),
          detail(DetailLevel::simple), detail(DetailLevel::technical), Meaning::banner(attention, DetailLevel::simple)};
}

const char* const kCharging = "Why is it charging?";
const char* const kResting = "Why isn't it charging?";
const char* const kBattery = "Why is it using the battery?";
const char* const kPaused =
    "Plugged in, but not charging right now. macOS does this now and then, often to keep the battery cool.";
const char* const kHolding =
    "That's the healthiest place for it. Your Mac runs on the charger and the battery rests.";

// Every kind of attention and phase, with the variants its texts tell apart,
// and the English texts; an empty one is pinned by another row.
struct Row {
  const char* name;
  Given given;
  const char* headline;
  const char* why;
  std::string simple;
  std::string technical;
};

std::vector<Row> everyRow() {
  const Reading fullChargeCharging{.percent = 90, .charging = true, .limit = kOff, .minutesToFull = 40};
  const Reading fullAtHundred{.percent = 100, .limit = kOff, .fullyCharged = true};
  const auto smart = fullCharge(true, false, kDeparture, Origin::smart(kDeparture));
  const auto trip = fullCharge(true, false, std::nullopt, Origin::calendar("Flight to Lisbon"));
  const std::string comesBackAll = "The limit comes back on when it's full, when you unplug or at 12:05 PM.";
  return {
      {"charging to the limit", {{.percent = 62, .charging = true, .minutesToFull = 35}}, "Charging to 80%", kCharging,
       "It'll stop at 80% in about 35 min. Stopping at 80% is the whole trick.",
       "Charging to the 80% limit, 25 W into the battery. macOS estimates 35 min to go."},
      {"charging to the limit, no estimate", {{.percent = 62, .charging = true}}, "", "",
       "It'll stop at 80% and rest there. No rush, it knows where to stop.",
       "Charging to the 80% limit, 25 W into the battery. No time estimate from macOS yet."},
      {"charging to the limit, zero estimate", {{.percent = 62, .charging = true, .minutesToFull = 0}}, "", "",
       "It'll stop at 80% and rest there. No rush, it knows where to stop.", ""},
      {"charging to the limit, hot",
       {{.percent = 62, .charging = true, .minutesToFull = 35, .thermal = ThermalLevel::serious}}, "", "",
       "It'll stop at 80% in about 35 min.", ""},
      {"charging slowly, small charger",
       {{.percent = 62, .charging = true, .minutesToFull = 95, .slowChargingReason = 4, .adapterWatts = 20}}, "", "",
       "It'll stop at 80% in about 1 h 35 min. This 20 W charger is small for your Mac, so the battery fills slowly.",
       "Charging to the 80% limit, 25 W into the battery. macOS estimates 1 h 35 min to go. This 20 W charger is "
       "small for your Mac, so the battery fills slowly."},
      {"charging slowly, held back by heat",
       {{.percent = 62, .charging = true, .slowChargingReason = 4, .thermallyLimitedSeconds = 120}}, "", "",
       "It'll stop at 80% and rest there. Your Mac is running hot while charging. Heat ages a battery. Give it some "
       "air or pause the heavy work.",
       ""},
      {"charging, limit off", {{.percent = 50, .charging = true, .limit = kOff}}, "Charging to 100%", kCharging,
       "No limit is on, so it'll charge all the way to 100%, where a battery ages fastest.",
       "Charging to 100% with the limit off, 25 W into the battery."},
      {"charging, limit unreadable", {{.percent = 50, .charging = true, .limit = kUnreadable}}, "Charging to 100%",
       kCharging, "Charging. The limit can't be read right now, so it's unclear where it will stop.",
       "Charging, 25 W into the battery. The limit state is unavailable, so the stop point is unknown."},
      {"resting at the limit, warm", {{.percent = 80, .thermal = ThermalLevel::fair}}, "Resting at 80%", kResting,
       std::string(kHolding) + " A nap, not a strike.",
       "Holding at the 80% limit. The Mac runs on adapter power and the battery is idle."},
      {"resting a little under the limit", {{.percent = 75}}, "Resting at 75%", kResting, "", ""},
      {"resting one over the limit, hot", {{.percent = 81, .thermal = ThermalLevel::critical}}, "Resting at 81%", "",
       kHolding, ""},
      {"paused under the limit", {{.percent = 70}}, "Not charging", kResting, kPaused,
       "Not charging at 70%, below the 80% limit. macOS can pause charging for heat or its own battery management."},
      {"held under the limit by the charger", {{.percent = 70, .notChargingReason = ChargerReason::atLimitBit}},
       "Resting at 70%", "", "", ""},
      {"settling to the limit", {{.percent = 85}}, "Settling to 80%", kBattery,
       "It's above your 80% limit, so your Mac runs on the battery until it gets there. That's on purpose.",
       "At 85%, above the 80% limit. Charging is off and the Mac draws on the battery until it reaches the limit."},
      {"full, limit off", {{.percent = 100, .limit = kOff}}, "Fully charged", kResting,
       "Full at 100%. With no limit on, it stays there, where a battery ages fastest.", ""},
      {"reported full, limit off", {{.percent = 97, .limit = kOff, .fullyCharged = true}}, "Fully charged", "", "",
       ""},
      {"paused, limit off", {{.percent = 90, .limit = kOff}}, "Not charging", kResting, kPaused,
       "Plugged in, not charging, at 90% with no limit on. macOS can pause charging for heat or its own battery "
       "management."},
      {"full, limit unreadable", {{.percent = 100, .limit = kUnreadable}}, "Fully charged", kResting,
       "The charge limit can't be read right now, so the battery may charge to 100%.",
       "Plugged in, not charging, at 100%. The limit state is unavailable."},
      {"paused, limit unreadable", {{.percent = 60, .limit = kUnreadable}}, "Not charging", kResting,
       "Plugged in and not charging. The limit can't be read right now.",
       "Plugged in, not charging, at 60%. The limit state is unavailable."},
      {"on battery, hours left", {{.percent = 64, .pluggedIn = false, .minutesToEmpty = 200}}, "On battery", kBattery,
       "Good for a couple of hours at least.", "About 3 h 20 min left."},
      {"on battery, an hour and a half left", {{.percent = 64, .pluggedIn = false, .minutesToEmpty = 90}}, "", "",
       "About an hour and a half left. Enough for a meeting.", "About 1 h 30 min left."},
      {"on battery, minutes left", {{.percent = 30, .pluggedIn = false, .minutesToEmpty = 25}}, "", "",
       "About half an hour left. Plug in soon.", "About 25 min left. Plug in soon."},
      {"on battery, low", {{.percent = 15, .pluggedIn = false, .minutesToEmpty = 45}}, "", "",
       "About an hour left. Plug in soon.", "About 45 min left. Plug in soon."},
      {"on battery, no estimate", {{.percent = 64, .pluggedIn = false}}, "", "",
       "Still working out how long it'll last.", "No estimate of the time left yet."},
      {"on battery, low, no estimate", {{.percent = 12, .pluggedIn = false}}, "", "",
       "Still working out how long it'll last. Time to find a charger.",
       "No estimate of the time left yet. Time to find a charger."},
      {"full charge starting", {{.percent = 60, .charging = true}, fullCharge(true, true, kNoon)}, "Charging to 100%",
       kCharging, "Getting ready to charge to 100%. The limit turns off in a moment.", ""},
      {"full charge", {fullChargeCharging, fullCharge(true, true, kNoon)}, "Charging to 100%", kCharging,
       "It'll stop at 100% in about 40 min. " + comesBackAll,
       "Charging to 100% with the limit off, 25 W into the battery. " + comesBackAll},
      {"full charge, no estimate", {{.percent = 90, .charging = true, .limit = kOff}, fullCharge(true, true, kNoon)},
       "", "", comesBackAll, ""},
      {"full charge by shortcut", {fullChargeCharging, fullCharge(false, true, std::nullopt, Origin::shortcut())}, "",
       "", "It'll stop at 100% in about 40 min. The limit comes back on when it's full.", ""},
      {"full charge, no way back", {fullChargeCharging, fullCharge(false, false)}, "", "",
       "It'll stop at 100% in about 40 min. The limit comes back on when you stop it.", ""},
      {"full charge until late tonight", {fullChargeCharging, fullCharge(false, false, at("2026-03-02T23:30:00Z"))},
       "", "", "", "Charging to 100% with the limit off, 25 W into the battery. The limit comes back on tomorrow at "
       "12:30 AM."},
      {"smart top-up", {fullChargeCharging, smart}, "", "",
       "Topping up for your 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM.",
       "Timed full charge for the usual 7:30 AM departure, 25 W into the battery. The limit comes back on when you "
       "unplug or tomorrow at 7:30 AM."},
      {"calendar trip", {fullChargeCharging, trip}, "", "",
       "Charging to 100% for Flight to Lisbon. The limit comes back on when you unplug.",
       "Limit off for the calendar event Flight to Lisbon, 25 W into the battery. The limit comes back on when you "
       "unplug."},
      {"calendar trip without a title",
       {fullChargeCharging, fullCharge(true, false, std::nullopt, Origin::calendar(""))}, "", "",
       "Charging to 100% for a trip. The limit comes back on when you unplug.", ""},
      // Already full: "when it's full" is no longer a way back worth naming.
      {"full charge done", {fullAtHundred, fullCharge(true, true)}, "Fully charged", kResting,
       "Ready to go. The limit comes back on when you unplug.", ""},
      {"smart top-up done", {fullAtHundred, smart}, "", "",
       "Ready for your 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM.",
       "At 100% for the usual 7:30 AM departure. The limit comes back on when you unplug or tomorrow at 7:30 AM."},
      {"calendar trip done", {fullAtHundred, trip}, "", "",
       "Ready for Flight to Lisbon. The limit comes back on when you unplug.",
       "At 100% for the calendar event Flight to Lisbon. The limit comes back on when you unplug."},
      {"full charge paused", {{.percent = 90, .limit = kOff}, fullCharge(true, false)}, "Not charging", kResting,
       std::string(kPaused) + " The limit comes back on when you unplug.", ""},
      {"limit not holding", {{.percent = 86, .charging = true}, std::nullopt, Watchdog::notHolding(kNow)},
       "Limit not holding", kCharging, "The battery is at 86% and still charging past your 80% limit.",
       "The battery is at 86% and still charging past your 80% limit. The limit is on, but the battery kept charging "
       "past it for more than 10 minutes. If macOS isn't recalibrating, turn the limit off and on again in System "
       "Settings > Battery."},
      {"recalibrating",
       {{.percent = 97, .charging = true}, std::nullopt, Watchdog::notHolding(kNow), Calibration::confirmed(kNow)},
       "Recalibrating the battery", kCharging,
       "macOS is charging past your limit to re-learn the battery. Nothing is broken, and the limit takes over "
       "again by itself.",
       "Now and then macOS charges past your limit to re-learn how much the battery holds. It's normal and can take "
       "a day or two. The limit takes over again by itself."},
      {"recalibrating, resting", {{.percent = 98}, std::nullopt, Watchdog::holding(), Calibration::confirmed(kNow)},
       "", kResting, "", ""},
      {"recalibrating, on battery",
       {{.percent = 60, .pluggedIn = false}, std::nullopt, Watchdog::holding(), Calibration::confirmed(kNow)}, "",
       kBattery, "", ""},
  };
}

TEST(SituationTexts, EnglishWording) {
  for (const auto& row : everyRow()) {
    SCOPED_TRACE(row.name);
    const auto texts = render(row.given);
    if (*row.headline) { EXPECT_EQ(texts.headline, row.headline); }
    if (*row.why) { EXPECT_EQ(texts.why, row.why); }
    if (!row.simple.empty()) { EXPECT_EQ(texts.simple, row.simple); }
    if (!row.technical.empty()) { EXPECT_EQ(texts.technical, row.technical); }
    // Only while macOS, not the limit, decides where charging stops.
    EXPECT_EQ(texts.banner.has_value(), row.given.attention().limitOutOfControl());
  }
}

TEST(SituationTexts, BannersInEnglish) {
  using Kind = Attention::Kind;
  using Tone = Attention::Tone;
  EXPECT_EQ(Meaning::banner({Kind::notHolding(75), Tone::calibrating, Tone::alert}, DetailLevel::technical),
            (Meaning::Line{"Limit not holding", "The battery keeps charging past your 75% limit. If it goes on, check "
                                                "System Settings > Battery."}));
  EXPECT_EQ(Meaning::banner({Kind::calibrating(), Tone::calibrating, Tone::warning}, DetailLevel::simple),
            (Meaning::Line{"Recalibrating the battery",
                           "macOS is charging past your limit to re-learn the battery. Nothing is broken, and the "
                           "limit takes over again by itself."}));
}

// A key missing from a language's table shows the English text; a value that
// never went in leaves "%@", "%lld", "%1$@" or "%%" behind.
TEST(SituationTexts, EveryTextRendersInGerman) {
  static const std::regex placeholder(R"(%(\d+\$)?(@|lld|ld|d|i|%))");
  const auto rows = everyRow();
  std::vector<Texts> english;
  for (const auto& row : rows) english.push_back(render(row.given));
  const testing::UsingLocale german("de_DE");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name);
    const auto texts = render(rows[i].given);
    std::vector<std::pair<std::string, std::string>> pairs = {{texts.headline, english[i].headline},
                                                              {texts.why, english[i].why},
                                                              {texts.simple, english[i].simple},
                                                              {texts.technical, english[i].technical}};
    if (texts.banner) pairs.insert(pairs.end(), {{texts.banner->title, ""}, {texts.banner->detail, ""}});
    for (const auto& [text, inEnglish] : pairs) {
      EXPECT_FALSE(text.empty());
      EXPECT_NE(text, inEnglish);
      EXPECT_FALSE(std::regex_search(text, placeholder)) << text;
    }
  }
}

}  // namespace
}  // namespace batterycore
