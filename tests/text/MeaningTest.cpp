#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using ::testing::HasSubstr;
using batterycore::testing::CurrentLocale;

const icu::Locale kGermanAustria("de", "AT");
const icu::Locale kEnglishUS("en", "US");
const icu::Locale kFrench("fr", "FR");

ResourceBundle sampleBundle() {
  return ResourceBundle::fromTables({
      {"en", {{"smart.header", "Before you usually leave"}}},
      {"de",
       {{"smart.header", "Bevor du meist gehst"},
        {"date.onDayAt", "%2$@ am %1$@"},
        {"alert.notHolding.body", "Der Akku ist bei %@ und lädt über dein Limit hinaus."},
        {"fullCharge.once", "Einmal auf 100\u00a0%% laden"},
        {"unit.hMin", "%lld Std. %lld Min."}}},
  });
}

std::vector<TemplateArg> values(std::initializer_list<TemplateArg> args) { return args; }

TEST(Meaning, HeaderExampleHolds) {
  const CurrentLocale english("en_US");
  EXPECT_EQ(Meaning::text("smart.header", "Before you usually leave"), "Before you usually leave");
  EXPECT_EQ(Meaning::format("flow.battery", "Battery %@", {Formatting::watts(4.26)}), "Battery 4.3 W");
  EXPECT_EQ(Meaning::join({"Charging.", std::nullopt, "", "Done."}), "Charging. Done.");
  EXPECT_EQ(Meaning::thermal(ThermalLevel::fair, false, DetailLevel::simple),
            (Meaning::Line{"Warm", "Warm, nothing to worry about."}));
}

TEST(Meaning, LanguageWithoutTheKeyGivesTheEnglishDefault) {
  const auto bundle = sampleBundle();
  EXPECT_EQ(Meaning::textIn(bundle, kGermanAustria, "smart.nothingLearned", "Nothing learned yet."),
            "Nothing learned yet.");
  EXPECT_EQ(Meaning::formatIn(bundle, kGermanAustria, "flow.battery", "Battery %@", values({"4.3 W"})),
            "Battery 4.3 W");
  EXPECT_EQ(Meaning::formatIn(bundle, kFrench, "unit.hMin", "%lld h %lld min", values({1, 5})), "1 h 5 min");
}

TEST(Meaning, RegionFallsBackToItsLanguage) {
  const auto bundle = sampleBundle();
  EXPECT_EQ(Meaning::textIn(bundle, kGermanAustria, "smart.header", "Before you usually leave"),
            "Bevor du meist gehst");
  EXPECT_EQ(Meaning::formatIn(bundle, icu::Locale("de", "CH"), "unit.hMin", "%lld h %lld min", values({1, 5})),
            "1 Std. 5 Min.");
}

// Like any language, English reads its own table first: the table is what
// translators and reviewers edit.
TEST(Meaning, EnglishTableComesBeforeTheCallersDefault) {
  const auto bundle = sampleBundle();
  EXPECT_EQ(Meaning::textIn(bundle, kEnglishUS, "smart.header", "Before you leave"), "Before you usually leave");
}

TEST(Meaning, TranslationMayReorderValues) {
  const auto bundle = sampleBundle();
  EXPECT_EQ(Meaning::formatIn(bundle, kGermanAustria, "date.onDayAt", "%@ at %@", values({"Friday", "7:30"})),
            "7:30 am Friday");
}

TEST(Meaning, EveryTextIsATemplate) {
  const auto bundle = sampleBundle();
  EXPECT_EQ(Meaning::textIn(bundle, kGermanAustria, "fullCharge.once", "Charge to 100%% once"),
            "Einmal auf 100\u00a0% laden");
  EXPECT_EQ(Meaning::textIn(bundle, kFrench, "fullCharge.once", "Charge to 100%% once"), "Charge to 100% once");
  // A default written with a plain percent sign reads as it stands.
  EXPECT_EQ(Meaning::textIn(bundle, kFrench, "fullCharge.once", "Charge to 100% once"), "Charge to 100% once");
}

TEST(Meaning, TranslationThatDoesNotFitFallsBackToEnglishAndIsToldOnce) {
  const auto bundle = sampleBundle();
  const char* english = "The battery is at %@ and still charging past your %@ limit.";
  ::testing::internal::CaptureStderr();
  const auto first = Meaning::formatIn(bundle, kGermanAustria, "alert.notHolding.body", english,
                                       values({"83%", "80%"}));
  const auto second = Meaning::formatIn(bundle, kGermanAustria, "alert.notHolding.body", english,
                                        values({"84%", "80%"}));
  const std::string told = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(first, "The battery is at 83% and still charging past your 80% limit.");
  EXPECT_EQ(second, "The battery is at 84% and still charging past your 80% limit.");
  EXPECT_THAT(told, HasSubstr("\"alert.notHolding.body\""));
  EXPECT_EQ(told.find("alert.notHolding.body"), told.rfind("alert.notHolding.body")) << told;
}

TEST(Meaning, DefaultThatDoesNotFitIsShownAsWritten) {
  const auto bundle = sampleBundle();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Meaning::formatIn(bundle, kFrench, "test.misfit", "%@ and %@", values({"one"})), "%@ and %@");
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("\"test.misfit\""));
}

TEST(Meaning, CurrentLocaleChoosesTheTable) {
  const auto& bundle = Meaning::bundle();
  const auto* german = bundle.table("de");
  if (german == nullptr || !german->contains("smart.header")) {
    GTEST_SKIP() << "the catalogue has no German text for smart.header";
  }
  const CurrentLocale austria("de_AT");
  EXPECT_EQ(Meaning::text("smart.header", "Before you usually leave"), german->at("smart.header"));
}

TEST(Meaning, PlainTextsInEnglish) {
  const CurrentLocale english("en_US");
  EXPECT_EQ(Meaning::text("smart.nothingLearned",
                          "Nothing learned yet. It takes about 4 weeks of unplugging at similar times."),
            "Nothing learned yet. It takes about 4 weeks of unplugging at similar times.");
  EXPECT_EQ(Meaning::text("smart.header", "Before you usually leave"), "Before you usually leave");
  EXPECT_EQ(Meaning::text("no.such.key", "Shown as given"), "Shown as given");
}

TEST(Meaning, LevelPicksTheKeyOfItsName) {
  EXPECT_EQ(Meaning::levelKey("energy.footer", DetailLevel::simple), "energy.footer.simple");
  EXPECT_EQ(Meaning::levelKey("energy.footer", DetailLevel::technical), "energy.footer.technical");

  const CurrentLocale english("en_US");
  const char* simple =
      "Think of watts as how fast an app drinks from the battery. The screen, Wi-Fi and Bluetooth aren't "
      "counted.";
  const char* technical =
      "Processor energy only, sampled over a few seconds. The screen, Wi-Fi and Bluetooth aren't counted. "
      "Working hard is 5 W and up, busy 1 to 5 W, idle under 1 W.";
  EXPECT_EQ(Meaning::leveled("energy.footer", DetailLevel::simple, simple, technical), simple);
  EXPECT_EQ(Meaning::leveled("energy.footer", DetailLevel::technical, simple, technical), technical);
  EXPECT_EQ(Meaning::leveled("test.pair", DetailLevel::technical, "%@ plain", "%@ exact", {"x"}), "x exact");
}

TEST(Meaning, JoinDropsAbsentAndEmptyPieces) {
  struct Case {
    std::vector<std::optional<std::string>> pieces;
    const char* joined;
  };
  const Case cases[] = {
      {{}, ""},
      {{std::nullopt}, ""},
      {{"", std::nullopt, "First.", "Second."}, "First. Second."},
      {{"First.", "", std::nullopt, "Second."}, "First. Second."},
      {{"Only."}, "Only."},
      {{"\u5145\u96fb\u4e2d\u3002", "\u6b21\u3002"}, "\u5145\u96fb\u4e2d\u3002\u6b21\u3002"},
      {{"\uff08\u6ce8\uff09", "\u6b21"}, "\uff08\u6ce8\uff09\u6b21"},
      {{"\u5145\u96fb\u4e2d\u3002", "", "Next."}, "\u5145\u96fb\u4e2d\u3002Next."},
      {{"(note)", "Next."}, "(note) Next."},
      {{"A", "B", "C"}, "A B C"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::join(c.pieces), c.joined);
  }
  EXPECT_EQ(Meaning::join({}), "");
  EXPECT_EQ(Meaning::join({"", std::nullopt, "Charging.", "Done."}), "Charging. Done.");
}

TEST(Meaning, JokeOnlyAtTheSimpleLevelWhileCool) {
  struct Case {
    DetailLevel level;
    ThermalLevel thermal;
    bool joke;
  };
  const Case cases[] = {
      {DetailLevel::simple, ThermalLevel::nominal, true},
      {DetailLevel::simple, ThermalLevel::fair, true},
      {DetailLevel::simple, ThermalLevel::serious, false},
      {DetailLevel::simple, ThermalLevel::critical, false},
      {DetailLevel::technical, ThermalLevel::nominal, false},
      {DetailLevel::technical, ThermalLevel::fair, false},
      {DetailLevel::technical, ThermalLevel::serious, false},
      {DetailLevel::technical, ThermalLevel::critical, false},
  };
  for (const auto& c : cases) {
    int asked = 0;
    const auto detail = Meaning::withJoke("Plain.", c.level, c.thermal, [&] {
      ++asked;
      return std::string("Joke.");
    });
    EXPECT_EQ(detail, c.joke ? "Plain. Joke." : "Plain.")
        << detailLevelRaw(c.level) << " " << thermalLevelName(c.thermal);
    EXPECT_EQ(asked, c.joke ? 1 : 0) << "the companion is only looked up when shown";
  }
}

TEST(Meaning, HoldingAtTheLimitWhileCoolGetsItsCompanion) {
  const CurrentLocale english("en_US");
  const auto detail = Meaning::withJoke(
      Meaning::text("detail.holding.simple",
                    "That's the healthiest place for it. Your Mac runs on the charger and the battery rests."),
      DetailLevel::simple, ThermalLevel::nominal,
      [] { return Meaning::text("detail.holding.joke", "A nap, not a strike."); });
  EXPECT_EQ(detail,
            "That's the healthiest place for it. Your Mac runs on the charger and the battery rests. A nap, "
            "not a strike.");
}

TEST(Meaning, ThermalLineInEnglish) {
  const CurrentLocale english("en_US");
  const char* cool = "Cool enough that heat isn't wearing the battery.";
  const char* hotCharging =
      "Your Mac is running hot while charging. Heat ages a battery. Give it some air or pause the heavy work.";
  const char* hotUnplugged =
      "Your Mac is running hot. Heat ages a battery, so ease off the heavy work when you can.";
  struct Case {
    ThermalLevel thermal;
    bool pluggedIn;
    DetailLevel level;
    Meaning::Line line;
  };
  const Case cases[] = {
      {ThermalLevel::nominal, true, DetailLevel::simple, {"Comfortable", cool}},
      {ThermalLevel::nominal, false, DetailLevel::simple, {"Comfortable", cool}},
      {ThermalLevel::nominal, true, DetailLevel::technical,
       {"Normal", "Thermal state nominal. Heat isn't wearing the battery."}},
      {ThermalLevel::fair, false, DetailLevel::simple, {"Warm", "Warm, nothing to worry about."}},
      {ThermalLevel::fair, true, DetailLevel::technical, {"Warm", "Thermal state fair. Nothing to worry about."}},
      {ThermalLevel::serious, true, DetailLevel::simple, {"Hot", hotCharging}},
      {ThermalLevel::serious, false, DetailLevel::technical, {"Hot", hotUnplugged}},
      {ThermalLevel::critical, true, DetailLevel::technical, {"Very hot", hotCharging}},
      {ThermalLevel::critical, false, DetailLevel::simple, {"Very hot", hotUnplugged}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Meaning::thermal(c.thermal, c.pluggedIn, c.level), c.line)
        << thermalLevelName(c.thermal) << (c.pluggedIn ? " plugged in " : " unplugged ") << detailLevelRaw(c.level);
  }
}

// In Japanese the sentences of the technical detail end in "。" and are joined
// without a space.
TEST(Meaning, ThermalLineFollowsTheLanguage) {
  const auto* japanese = Meaning::bundle().table("ja");
  if (japanese == nullptr || !japanese->contains("thermal.warm") || !japanese->contains("thermal.state")) {
    GTEST_SKIP() << "the catalogue has no Japanese thermal texts";
  }
  const CurrentLocale japan("ja_JP");
  const auto line = Meaning::thermal(ThermalLevel::fair, false, DetailLevel::technical);
  EXPECT_EQ(line.title, japanese->at("thermal.warm"));
  EXPECT_EQ(line.detail.find(' '), std::string::npos) << line.detail;
  EXPECT_NE(line.detail.find("fair"), std::string::npos) << "the raw level name is put in: " << line.detail;
}

TEST(Meaning, LinesAreEqualFieldByField) {
  EXPECT_EQ((Meaning::Line{"Warm", ""}), (Meaning::Line{"Warm", ""}));
  EXPECT_NE((Meaning::Line{"Warm", ""}), (Meaning::Line{"Warm", " "}));
  EXPECT_NE((Meaning::Line{"Warm", "x"}), (Meaning::Line{"Hot", "x"}));
}

}  // namespace
}  // namespace batterycore
