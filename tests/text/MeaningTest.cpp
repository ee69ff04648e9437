#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/MeaningTimeLeft.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace batterycore {
namespace {

using ::testing::HasSubstr;
using batterycore::testing::CurrentLocale;
using Thermal = ThermalLevel;
constexpr auto kSimple = DetailLevel::simple;
constexpr auto kTechnical = DetailLevel::technical;

const icu::Locale kAustria("de", "AT");
const icu::Locale kFrench("fr", "FR");

std::vector<TemplateArg> values(std::initializer_list<TemplateArg> args) { return args; }

ResourceBundle sampleBundle() {
  return ResourceBundle::fromTables(
      {{"en", {{"smart.header", "Before you usually leave"}}},
       {"de", {{"smart.header", "Bevor du meist gehst"}, {"date.onDayAt", "%2$@ am %1$@"},
               {"alert.notHolding.body", "Der Akku ist bei %@ und lädt über dein Limit hinaus."},
               {"fullCharge.once", "Einmal auf 100\u00a0%% laden"}, {"unit.hMin", "%lld Std. %lld Min."}}}});
}

// Every language, English too, reads its own table first: the table is what
// translators and reviewers edit. A region falls back to its language, and a
// language without the key to the default written at the call.
TEST(Meaning, ReadsTheMostSpecificTableThenTheDefault) {
  const auto bundle = sampleBundle();
  const struct { icu::Locale locale; const char *key, *fallback; std::vector<TemplateArg> args; const char* text; }
      cases[] = {
      {kAustria, "smart.header", "Before you usually leave", {}, "Bevor du meist gehst"},
      {icu::Locale("de", "CH"), "unit.hMin", "%lld h %lld min", {1, 5}, "1 Std. 5 Min."},
      {kAustria, "smart.nothingLearned", "Nothing learned yet.", {}, "Nothing learned yet."},
      {kAustria, "flow.battery", "Battery %@", {"4.3 W"}, "Battery 4.3 W"},
      {kFrench, "unit.hMin", "%lld h %lld min", {1, 5}, "1 h 5 min"},
      {icu::Locale("en", "US"), "smart.header", "Before you leave", {}, "Before you usually leave"},
      {kAustria, "date.onDayAt", "%@ at %@", {"Friday", "7:30"}, "7:30 am Friday"},
      {kAustria, "fullCharge.once", "Charge to 100%% once", {}, "Einmal auf 100\u00a0% laden"},
      {kFrench, "fullCharge.once", "Charge to 100%% once", {}, "Charge to 100% once"},
      // A default written with a plain percent sign reads as it stands.
      {kFrench, "fullCharge.once", "Charge to 100% once", {}, "Charge to 100% once"},
  };
  for (const auto& c : cases) {
    const auto shown = c.args.empty() ? Meaning::textIn(bundle, c.locale, c.key, c.fallback)
                                      : Meaning::formatIn(bundle, c.locale, c.key, c.fallback, c.args);
    EXPECT_EQ(shown, c.text) << c.locale.getName() << " " << c.key;
  }
}

TEST(Meaning, TextThatDoesNotFitItsValuesIsToldOnceAndEnglishShown) {
  const auto bundle = sampleBundle();
  const char* english = "The battery is at %@ and still charging past your %@ limit.";
  ::testing::internal::CaptureStderr();
  const auto first = Meaning::formatIn(bundle, kAustria, "alert.notHolding.body", english, values({"83%", "80%"}));
  const auto second = Meaning::formatIn(bundle, kAustria, "alert.notHolding.body", english, values({"84%", "80%"}));
  // A default that does not fit either is shown as written.
  EXPECT_EQ(Meaning::formatIn(bundle, kFrench, "test.misfit", "%@ and %@", values({"one"})), "%@ and %@");
  const std::string told = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(first, "The battery is at 83% and still charging past your 80% limit.");
  EXPECT_EQ(second, "The battery is at 84% and still charging past your 80% limit.");
  EXPECT_THAT(told, HasSubstr("\"alert.notHolding.body\""));
  EXPECT_EQ(told.find("alert.notHolding.body"), told.rfind("alert.notHolding.body")) << told;
  EXPECT_THAT(told, HasSubstr("\"test.misfit\""));
}

TEST(Meaning, JoinDropsAbsentAndEmptyPiecesAndSpacesOnlyAfterLatinText) {
  const std::pair<std::vector<std::optional<std::string>>, const char*> cases[] = {
      {{}, ""},
      {{"", std::nullopt, "First.", "", "Second."}, "First. Second."},
      {{"\u5145\u96fb\u4e2d\u3002", "\u6b21\u3002"}, "\u5145\u96fb\u4e2d\u3002\u6b21\u3002"},
      {{"\uff08\u6ce8\uff09", "\u6b21"}, "\uff08\u6ce8\uff09\u6b21"},
      {{"\u5145\u96fb\u4e2d\u3002", "", "Next."}, "\u5145\u96fb\u4e2d\u3002Next."},
      {{"(note)", "Next."}, "(note) Next."},
  };
  for (const auto& [pieces, joined] : cases) EXPECT_EQ(Meaning::join(pieces), joined);
  EXPECT_EQ(Meaning::join({"", std::nullopt, "Charging.", "Done."}), "Charging. Done.");
}

TEST(Meaning, JokeOnlyAtTheSimpleLevelWhileCoolAndOnlyLookedUpThen) {
  const struct { DetailLevel level; Thermal thermal; bool joke; } cases[] = {
      {kSimple, Thermal::nominal, true},    {kSimple, Thermal::fair, true},    {kSimple, Thermal::serious, false},
      {kSimple, Thermal::critical, false},  {kTechnical, Thermal::nominal, false}, {kTechnical, Thermal::fair, false}};
  for (const auto& c : cases) {
    int asked = 0;
    const auto detail = Meaning::withJoke("Plain.", c.level, c.thermal, [&] { return ++asked, std::string("Joke."); });
    SCOPED_TRACE(std::string(detailLevelRaw(c.level)) + " " + std::string(thermalLevelName(c.thermal)));
    EXPECT_EQ(detail, c.joke ? "Plain. Joke." : "Plain.");
    EXPECT_EQ(asked, c.joke ? 1 : 0);
  }
}

TEST(Meaning, ThermalLineInEnglish) {
  const CurrentLocale english("en_US");
  const char* hotCharging =
      "Your Mac is running hot while charging. Heat ages a battery. Give it some air or pause the heavy work.";
  const char* hotUnplugged = "Your Mac is running hot. Heat ages a battery, so ease off the heavy work when you can.";
  const struct { Thermal thermal; bool pluggedIn; DetailLevel level; Meaning::Line line; } cases[] = {
      {Thermal::nominal, true, kSimple, {"Comfortable", "Cool enough that heat isn't wearing the battery."}},
      {Thermal::nominal, true, kTechnical, {"Normal", "Thermal state nominal. Heat isn't wearing the battery."}},
      {Thermal::fair, false, kSimple, {"Warm", "Warm, nothing to worry about."}},
      {Thermal::fair, true, kTechnical, {"Warm", "Thermal state fair. Nothing to worry about."}},
      {Thermal::serious, true, kSimple, {"Hot", hotCharging}},
      {Thermal::critical, false, kTechnical, {"Very hot", hotUnplugged}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::thermal(c.thermal, c.pluggedIn, c.level), c.line)
        << thermalLevelName(c.thermal) << (c.pluggedIn ? " plugged in " : " unplugged ") << detailLevelRaw(c.level);
  }
}

TEST(Meaning, TimeLeftTellsThePaceAtEachBoundary) {
  const CurrentLocale english("en_US");
  const std::optional<std::string> plugIn = "Plug in soon.", meeting = "Enough for a meeting.", none;
  const struct { int minutes; const char* left; std::optional<std::string> remark; } cases[] = {
      {-5, "Under 20 minutes left", plugIn},   {19, "Under 20 minutes left", plugIn},
      {20, "About half an hour left", none},   {44, "About half an hour left", none},
      {45, "About an hour left", meeting},     {74, "About an hour left", meeting},
      {75, "About an hour and a half left", meeting}, {119, "About an hour and a half left", meeting},
      {120, "About 2 hours left", meeting},    {149, "About 2 hours left", meeting},
      {150, "About 3 hours left", "Plenty for now."},
  };
  for (const auto& c : cases) {
    const auto pace = Meaning::timeLeft(c.minutes, kSimple);
    EXPECT_EQ(pace, (Meaning::TimeLeft{std::string(c.left, std::strlen(c.left) - 5), c.left, c.remark})) << c.minutes;
  }
  EXPECT_EQ(Meaning::timeLeft(65, kTechnical), (Meaning::TimeLeft{"1 h 5 min to empty", "1 h 5 min left", none}));
}

// A level written by a newer version reads as simple; a value of another type is refused.
TEST(DetailLevel, ReadsStoresAndNamesOnlyItsOwnRawValues) {
  const std::pair<const char*, std::optional<DetailLevel>> cases[] = {
      {"simple", kSimple}, {"technical", kTechnical}, {"Simple", std::nullopt}, {"technical ", std::nullopt}};
  for (const auto& [raw, level] : cases) EXPECT_EQ(detailLevelFromRaw(raw), level) << '"' << raw << '"';
  EXPECT_EQ(encode(kTechnical), Json("technical"));
  EXPECT_EQ(decode<DetailLevel>(Json("technical")), kTechnical);
  EXPECT_EQ(decode<DetailLevel>(Json("expert")), kSimple);
  EXPECT_THROW(decode<DetailLevel>(Json(1)), DecodingError);
  const CurrentLocale english("en_US");
  EXPECT_EQ(title(kSimple), "Simple");
  EXPECT_EQ(title(kTechnical), "Technical");
  EXPECT_EQ(Meaning::levelKey("energy.footer", kTechnical), "energy.footer.technical");
  EXPECT_EQ(Meaning::leveled("test.pair", kTechnical, "%@ plain", "%@ exact", {"x"}), "x exact");
  EXPECT_EQ(Meaning::leveled("test.pair", kSimple, "%@ plain", "%@ exact", {"x"}), "x plain");
}

}  // namespace
}  // namespace batterycore
