#include "app/SettingsTable.hpp"

#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "tests/text/TextTesting.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace kestrin::app {
namespace {

using batterycore::AlertPolicy;
using batterycore::BatteryAlert;
using batterycore::DetailLevel;
using batterycore::Json;
using Kind = BatteryAlert::Kind;
using namespace std::chrono_literals;

SettingRow row(std::string_view key) {
  auto found = findSetting(key);
  EXPECT_TRUE(found.has_value()) << key;
  return found ? std::move(*found) : SettingRow{};
}

TEST(SettingsTable, HeaderExample) {
  const batterycore::testing::CurrentLocale english("en_US");
  Settings settings;
  const auto interval = row("interval");
  EXPECT_EQ(applySetting(settings, interval, "30"), std::nullopt);
  EXPECT_EQ(settings.interval, 30s);
  EXPECT_EQ(applySetting(settings, interval, "5"), "a whole number of seconds from 10 to 3600");
  EXPECT_EQ(interval.show(settings), "30");
  EXPECT_EQ(interval.show(Settings{}), "60");
  EXPECT_EQ(applySetting(settings, interval, "default"), std::nullopt);
  EXPECT_EQ(settings.interval, 60s);
  EXPECT_EQ(interval.explanation(), "Tick interval: How often, in seconds, Kestrin reads the battery.");
}

TEST(SettingsTable, ListsEverySettingOnceInOrder) {
  std::vector<std::string> keys;
  for (const auto& setting : settingRows()) keys.push_back(setting.key);
  std::vector<std::string> expected{"level"};
  for (const auto kind : BatteryAlert::allCases) {
    if (AlertPolicy::notifies(kind)) expected.push_back("alert." + std::string(BatteryAlert::rawValue(kind)));
  }
  for (const char* key : {"smartTopUp", "fullCharge.untilUnplug", "fullCharge.whenFull", "fullCharge.hours",
                          "interval", "locale", "keepLimitOn", "calendar.fullCharge", "calendar.allDay",
                          "calendar.keywords", "calendar.path"}) {
    expected.emplace_back(key);
  }
  EXPECT_EQ(keys, expected);
  EXPECT_EQ(expected.size(), 1u + 15u + 11u);
  EXPECT_FALSE(findSetting("alert.limitTurnedOn").has_value()) << "a list-only kind has no switch";
  EXPECT_FALSE(findSetting("Interval").has_value());
}

TEST(SettingsTable, DefaultsAsShown) {
  struct Case {
    const char* key;
    const char* shown;
  };
  const Case cases[] = {
      {"level", "simple"},
      {"alert.limitNotHolding", "on"},
      {"alert.fullChargeRestored", "off"},
      {"alert.healthMilestone", "off"},
      {"alert.backgroundDrain", "on"},
      {"smartTopUp", "off"},
      {"fullCharge.untilUnplug", "on"},
      {"fullCharge.whenFull", "off"},
      {"fullCharge.hours", "none"},
      {"interval", "60"},
      {"locale", "none"},
      {"keepLimitOn", "off"},
      {"calendar.fullCharge", "off"},
      {"calendar.allDay", "off"},
      {"calendar.keywords", "trip, flight, travel, vacation, Reise, Flug, Urlaub, 旅行, 出張"},
      {"calendar.path", "none"},
  };
  const Settings defaults;
  for (const auto& c : cases) EXPECT_EQ(row(c.key).show(defaults), c.shown) << c.key;
}

TEST(SettingsTable, TakesValuesOfEachKind) {
  struct Case {
    const char* key;
    const char* typed;
    const char* shown;  // after it was taken
  };
  const Case cases[] = {
      {"level", "technical", "technical"},
      {"alert.hot", "off", "off"},
      {"alert.healthMilestone", "true", "on"},
      {"smartTopUp", "on", "on"},
      {"fullCharge.whenFull", "on", "on"},
      {"fullCharge.hours", "1", "1"},
      {"fullCharge.hours", "24", "24"},
      {"interval", "10", "10"},
      {"interval", "3600", "3600"},
      {"locale", "de_DE", "de_DE"},
      {"locale", "de-AT", "de_AT"},
      {"locale", "ja", "ja"},
      {"keepLimitOn", "on", "on"},
      {"calendar.fullCharge", "on", "on"},
      {"calendar.allDay", "true", "on"},
      {"calendar.keywords", " trip ,flight,, Reise ,trip", "trip, flight, Reise"},
      {"calendar.keywords", "none", "none"},
      {"calendar.keywords", "", "none"},
      {"calendar.path", "/home/ana/.calendars", "/home/ana/.calendars"},
      {"calendar.path", " /home/ana/Meine Kalender/privat.ics ", "/home/ana/Meine Kalender/privat.ics"},
      {"calendar.path", "none", "none"},
  };
  for (const auto& c : cases) {
    Settings settings;
    const auto setting = row(c.key);
    EXPECT_EQ(applySetting(settings, setting, c.typed), std::nullopt) << c.key << " " << c.typed;
    EXPECT_EQ(setting.show(settings), c.shown) << c.key << " " << c.typed;
  }
}

TEST(SettingsTable, RefusesWithWhatIsAllowedAndChangesNothing) {
  struct Case {
    const char* key;
    const char* typed;
    const char* allowed;
  };
  const Case cases[] = {
      {"level", "expert", "simple or technical"},
      {"alert.hot", "yes", "on or off"},
      {"alert.hot", "On", "on or off"},
      {"smartTopUp", "1", "on or off"},
      {"fullCharge.hours", "0", "a whole number of hours from 1 to 24, or none"},
      {"fullCharge.hours", "25", "a whole number of hours from 1 to 24, or none"},
      {"fullCharge.hours", "2.5", "a whole number of hours from 1 to 24, or none"},
      {"interval", "9", "a whole number of seconds from 10 to 3600"},
      {"interval", "3601", "a whole number of seconds from 10 to 3600"},
      {"interval", "-30", "a whole number of seconds from 10 to 3600"},
      {"interval", "60s", "a whole number of seconds from 10 to 3600"},
      {"interval", " 60", "a whole number of seconds from 10 to 3600"},
      {"interval", "99999999999999999999", "a whole number of seconds from 10 to 3600"},
      {"locale", "xx", "a locale ICU knows, such as de_DE, en_GB or ja, or none"},
      {"locale", "de_XX", "a locale ICU knows, such as de_DE, en_GB or ja, or none"},
      {"locale", "", "a locale ICU knows, such as de_DE, en_GB or ja, or none"},
      {"calendar.path", "calendars/work", "the absolute path of an .ics file or of a folder of them, or none"},
      {"calendar.path", "~/calendars", "the absolute path of an .ics file or of a folder of them, or none"},
      {"calendar.path", "", "the absolute path of an .ics file or of a folder of them, or none"},
  };
  Settings changed;
  changed.interval = 120s;
  changed.alerts[Kind::hot] = false;
  changed.locale = "en_GB";
  for (const auto& c : cases) {
    Settings settings = changed;
    EXPECT_EQ(applySetting(settings, row(c.key), c.typed), c.allowed) << c.key << " " << c.typed;
    EXPECT_EQ(settings, changed) << c.key << " " << c.typed;
  }
}

// With no way left to end a full charge the limit would never come back.
TEST(SettingsTable, AFullChargeKeepsAtLeastOneEnd) {
  Settings settings;  // ends when unplugged, only
  EXPECT_EQ(applySetting(settings, row("fullCharge.untilUnplug"), "off"),
            "on, or off while fullCharge.whenFull is on or fullCharge.hours is set");
  EXPECT_TRUE(settings.fullCharge.untilUnplug);

  EXPECT_EQ(applySetting(settings, row("fullCharge.hours"), "8"), std::nullopt);
  EXPECT_EQ(applySetting(settings, row("fullCharge.untilUnplug"), "off"), std::nullopt);
  EXPECT_EQ(applySetting(settings, row("fullCharge.hours"), "none"),
            "a whole number of hours from 1 to 24; none only while fullCharge.untilUnplug or fullCharge.whenFull "
            "is on");
  EXPECT_EQ(settings.fullCharge.hours, 8);
  EXPECT_EQ(applySetting(settings, row("fullCharge.whenFull"), "on"), std::nullopt);
  EXPECT_EQ(applySetting(settings, row("fullCharge.hours"), "none"), std::nullopt);
  EXPECT_EQ(applySetting(settings, row("fullCharge.whenFull"), "off"),
            "on, or off while fullCharge.untilUnplug is on or fullCharge.hours is set");
  EXPECT_EQ(settings.fullCharge, (FullChargeOptions{false, true, std::nullopt}));
  // Other switches do not care how a full charge ends.
  EXPECT_EQ(applySetting(settings, row("keepLimitOn"), "on"), std::nullopt);
}

TEST(SettingsTable, DefaultGivesBackTheDefault) {
  Settings settings;
  const auto hot = row("alert.hot");
  ASSERT_EQ(applySetting(settings, hot, "off"), std::nullopt);
  ASSERT_EQ(applySetting(settings, hot, "default"), std::nullopt);
  // The switch follows its kind's default again rather than a stored copy of it.
  EXPECT_FALSE(settings.alerts.contains(Kind::hot));

  ASSERT_EQ(applySetting(settings, row("locale"), "de_DE"), std::nullopt);
  ASSERT_EQ(applySetting(settings, row("calendar.keywords"), "none"), std::nullopt);
  ASSERT_EQ(applySetting(settings, row("level"), "technical"), std::nullopt);
  ASSERT_EQ(applySetting(settings, row("calendar.path"), "/home/ana/.calendars"), std::nullopt);
  for (const char* key : {"locale", "calendar.keywords", "level", "calendar.path"}) {
    EXPECT_EQ(applySetting(settings, row(key), "default"), std::nullopt) << key;
  }
  EXPECT_EQ(settings, Settings{});
}

// What a row shows is what it reads back, whatever the values.
TEST(SettingsTable, EveryValueShownReadsBackUnchanged) {
  Settings changed;
  changed.level = DetailLevel::technical;
  changed.alerts = {{Kind::hot, false}, {Kind::healthMilestone, true}};
  changed.smartTopUp = true;
  changed.fullCharge = {false, true, 12};
  changed.interval = 300s;
  changed.locale = "ja_JP";
  changed.keepLimitOn = true;
  changed.calendarFullCharge = true;
  changed.calendarAllDay = true;
  changed.calendarKeywords = {"Konferenz", "出張"};
  changed.calendarPath = "/home/ana/.local/share/evolution/calendar";
  for (const auto& settings : {Settings{}, changed}) {
    for (const auto& setting : settingRows()) {
      Settings copy = settings;
      EXPECT_EQ(applySetting(copy, setting, setting.show(settings)), std::nullopt) << setting.key;
      EXPECT_EQ(setting.show(copy), setting.show(settings)) << setting.key;
    }
  }
}

TEST(SettingsTable, OnlyKeywordsRemarkOnAnEmptyList) {
  const batterycore::testing::CurrentLocale english("en_US");
  Settings settings;
  const auto keywords = row("calendar.keywords");
  ASSERT_TRUE(keywords.remark);
  EXPECT_EQ(keywords.remark(settings), std::nullopt);
  ASSERT_EQ(applySetting(settings, keywords, "none"), std::nullopt);
  EXPECT_EQ(keywords.remark(settings), "With no keywords, nothing counts as a trip.");
  for (const auto& setting : settingRows()) {
    if (setting.key != "calendar.keywords") {
      EXPECT_FALSE(setting.remark) << setting.key;
    }
  }
}

TEST(SettingsTable, ExplainsEverySettingInTheCurrentLanguage) {
  const batterycore::testing::CurrentLocale english("en_US");
  EXPECT_EQ(row("alert.limitNotHolding").explanation(),
            "Limit not holding: When the battery charges past your limit.");
  EXPECT_EQ(row("fullCharge.hours").explanation(),
            "After \"Charge to 100% once\", put the limit back on: After a number of hours");
  EXPECT_EQ(row("keepLimitOn").explanation(),
            "Keep the limit on: When the limit was dropped across a wake or a restart, Kestrin switches it back "
            "on. Off at first.");
  std::set<std::string> seen;
  for (const auto& setting : settingRows()) {
    const auto line = setting.describe();
    EXPECT_FALSE(line.title.empty()) << setting.key;
    EXPECT_FALSE(line.detail.empty()) << setting.key;
    EXPECT_TRUE(seen.insert(setting.explanation()).second) << setting.key << " explains itself like another";
  }
  const batterycore::testing::CurrentLocale german("de_DE");
  EXPECT_EQ(row("interval").explanation(), "Abfrageintervall: Wie oft Kestrin die Batterie abfragt, in Sekunden.");
}

TEST(KnownLocaleName, NamesOnlyLocalesIcuHasDataFor) {
  struct Case {
    const char* typed;
    std::optional<std::string> name;
  };
  const Case cases[] = {
      {"de_DE", "de_DE"},  {"de-DE", "de_DE"},  {"de_de", "de_DE"}, {"en", "en"},
      {"zh_CN", "zh_CN"},  {"sr_Latn_RS", "sr_Latn_RS"},            {"xx", std::nullopt},
      {"de_XX", std::nullopt}, {"english", std::nullopt},           {"", std::nullopt},
      {"-", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(knownLocaleName(c.typed), c.name) << c.typed;
}

// ---- The stored file ----

TEST(SettingsJson, WritesEveryKeyButAnAbsentLocaleOrCalendarPath) {
  const Json json = Settings{}.toJson();
  std::vector<std::string> keys;
  for (const auto& [key, value] : json.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"level", "alerts", "smartTopUp", "fullCharge", "interval",
                                            "keepLimitOn", "calendarFullCharge", "calendarAllDay",
                                            "calendarKeywords"}));
  EXPECT_EQ(json["interval"], 60);
  EXPECT_EQ(json["calendarKeywords"].size(), Settings::defaultCalendarKeywords().size());
}

TEST(SettingsJson, RoundTripsEveryField) {
  Settings settings;
  settings.level = DetailLevel::technical;
  settings.alerts = {{Kind::hot, false}, {Kind::weeklyNote, false}};
  settings.smartTopUp = true;
  settings.fullCharge = {true, true, 6};
  settings.interval = 15s;
  settings.locale = "de_CH";
  settings.keepLimitOn = true;
  settings.calendarFullCharge = true;
  settings.calendarAllDay = true;
  settings.calendarKeywords = {};
  settings.calendarPath = "/srv/calendars/ana.ics";
  EXPECT_EQ(Settings::fromJson(Json::parse(settings.toJson().dump())), settings);
  EXPECT_EQ(Settings::fromJson(Json::object()), Settings{});
}

// A file from before these settings existed keeps what it had and takes the
// defaults for the rest; a kind this version does not know is skipped.
TEST(SettingsJson, ReadsAnOlderFile) {
  const auto json = Json::parse(R"({"level": "technical", "alerts": {"hot": false, "solarFlare": true},
      "smartTopUp": true, "fullCharge": {"untilUnplug": false, "whenFull": true}})");
  Settings expected;
  expected.level = DetailLevel::technical;
  expected.alerts = {{Kind::hot, false}};
  expected.smartTopUp = true;
  expected.fullCharge = {false, true, std::nullopt};
  EXPECT_EQ(Settings::fromJson(json), expected);
}

TEST(SettingsJson, BringsAnIntervalOutOfRangeToItsNearestEnd) {
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"interval": 0})")).interval, 10s);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"interval": -5})")).interval, 10s);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"interval": 86400})")).interval, 3600s);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"locale": ""})")).locale, std::nullopt);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"calendarPath": ""})")).calendarPath, std::nullopt);
}

TEST(SettingsJson, RefusesValuesOfTheWrongType) {
  for (const char* text : {R"({"interval": "60"})", R"({"keepLimitOn": 1})", R"({"calendarKeywords": "trip"})",
                           R"({"calendarKeywords": ["trip", 3]})", R"({"locale": 7})",
                           R"({"calendarPath": ["/home/ana/.calendars"]})"}) {
    EXPECT_THROW(Settings::fromJson(Json::parse(text)), batterycore::DecodingError) << text;
  }
}

}  // namespace
}  // namespace kestrin::app
