// The settings a person can change: each one's key, default and the values it
// takes or refuses; and the stored file, old and new.
#include "app/SettingsTable.hpp"

#include <gtest/gtest.h>

#include <set>

namespace kestrin::app {
namespace {

using batterycore::Json;
using Kind = batterycore::BatteryAlert::Kind;
using namespace std::chrono_literals;

SettingRow row(std::string_view key) {
  auto found = findSetting(key);
  EXPECT_TRUE(found.has_value()) << key;
  return found ? std::move(*found) : SettingRow{};
}

// The settings named by `typed` ("key value" pairs), applied to the defaults.
Settings settingsWith(std::initializer_list<std::pair<const char*, const char*>> typed) {
  Settings settings;
  for (const auto& [key, value] : typed) EXPECT_EQ(applySetting(settings, row(key), value), std::nullopt) << key;
  return settings;
}

TEST(SettingsTable, EverySettingOnceInOrderWithItsDefault) {
  std::string listed;
  for (const auto& setting : settingRows()) listed += setting.key + "=" + setting.show(Settings{}) + " ";
  EXPECT_EQ(listed,
            "level=simple alert.limitNotHolding=on alert.limitTurnedOff=on alert.hot=on alert.fullChargeDone=on "
            "alert.fullChargeRestored=off alert.limitRestoreFailed=on alert.calibrating=on alert.calibrationOver=on "
            "alert.healthMilestone=off alert.weakCharger=on alert.accessoryLow=on alert.calendarFullCharge=on "
            "alert.weeklyNote=on alert.smartFullCharge=on alert.backgroundDrain=on smartTopUp=off "
            "fullCharge.untilUnplug=on fullCharge.whenFull=off fullCharge.hours=none interval=60 locale=none "
            "keepLimitOn=off calendar.fullCharge=off calendar.allDay=off calendar.keywords=trip, flight, travel, "
            "vacation, Reise, Flug, Urlaub, 旅行, 出張 calendar.path=none ");
  EXPECT_FALSE(findSetting("alert.limitTurnedOn").has_value()) << "a list-only kind has no switch";
  EXPECT_FALSE(findSetting("Interval").has_value());
}

TEST(SettingsTable, TakesOrRefusesWhatIsTyped) {
  // "= shown" when the value is taken, else what is allowed.
  const char* const kHours = "a whole number of hours from 1 to 24, or none";
  const char* const kSeconds = "a whole number of seconds from 10 to 3600";
  const char* const kLocale = "a locale ICU knows, such as de_DE, en_GB or ja, or none";
  const char* const kPath = "the absolute path of an .ics file or of a folder of them, or none";
  const struct {
    const char* key;
    const char* typed;
    std::string result;
  } cases[] = {
      {"level", "technical", "= technical"}, {"level", "expert", "simple or technical"},
      {"alert.hot", "off", "= off"}, {"alert.healthMilestone", "true", "= on"}, {"alert.hot", "On", "on or off"},
      {"smartTopUp", "on", "= on"}, {"smartTopUp", "1", "on or off"}, {"fullCharge.whenFull", "on", "= on"},
      {"fullCharge.hours", "1", "= 1"}, {"fullCharge.hours", "24", "= 24"}, {"fullCharge.hours", "0", kHours},
      {"fullCharge.hours", "25", kHours}, {"fullCharge.hours", "2.5", kHours},
      {"interval", "10", "= 10"}, {"interval", "3600", "= 3600"}, {"interval", "9", kSeconds},
      {"interval", "3601", kSeconds}, {"interval", "-30", kSeconds}, {"interval", " 60", kSeconds},
      {"interval", "99999999999999999999", kSeconds},
      {"locale", "de-AT", "= de_AT"}, {"locale", "de_de", "= de_DE"}, {"locale", "ja", "= ja"},
      {"locale", "sr_Latn_RS", "= sr_Latn_RS"}, {"locale", "de_XX", kLocale}, {"locale", "xx", kLocale},
      {"locale", "english", kLocale}, {"locale", "-", kLocale}, {"locale", "", kLocale},
      {"calendar.keywords", " trip ,flight,, Reise ,trip", "= trip, flight, Reise"},
      {"calendar.keywords", "", "= none"},
      {"calendar.path", " /home/ana/Meine Kalender/privat.ics ", "= /home/ana/Meine Kalender/privat.ics"},
      {"calendar.path", "calendars/work", kPath}, {"calendar.path", "", kPath},
  };
  const Settings changed = settingsWith({{"interval", "120"}, {"alert.hot", "off"}, {"locale", "en_GB"}});
  for (const auto& c : cases) {
    Settings settings = changed;
    const auto setting = row(c.key);
    const auto refusal = applySetting(settings, setting, c.typed);
    EXPECT_EQ(refusal.value_or("= " + setting.show(settings)), c.result) << c.key << " " << c.typed;
    EXPECT_TRUE(!refusal || settings == changed) << c.key << " " << c.typed << ": a refusal changes nothing";
  }
}

// With no way left to end a full charge the limit would never come back.
TEST(SettingsTable, AFullChargeKeepsAtLeastOneEnd) {
  Settings settings;  // ends when unplugged, only
  const auto apply = [&](const char* key, const char* value) { return applySetting(settings, row(key), value); };
  EXPECT_EQ(apply("fullCharge.untilUnplug", "off"),
            "on, or off while fullCharge.whenFull is on or fullCharge.hours is set");
  EXPECT_EQ(apply("fullCharge.hours", "8"), std::nullopt);
  EXPECT_EQ(apply("fullCharge.untilUnplug", "off"), std::nullopt);
  EXPECT_EQ(apply("fullCharge.hours", "none"),
            "a whole number of hours from 1 to 24; none only while fullCharge.untilUnplug or fullCharge.whenFull "
            "is on");
  EXPECT_EQ(apply("fullCharge.whenFull", "on"), std::nullopt);
  EXPECT_EQ(apply("fullCharge.hours", "none"), std::nullopt);
  EXPECT_EQ(apply("fullCharge.whenFull", "off"),
            "on, or off while fullCharge.untilUnplug is on or fullCharge.hours is set");
  EXPECT_EQ(settings.fullCharge, (FullChargeOptions{false, true, std::nullopt}));
}

Settings changedEverywhere() {
  return settingsWith({{"level", "technical"}, {"alert.hot", "off"}, {"alert.healthMilestone", "on"},
                       {"smartTopUp", "on"}, {"fullCharge.hours", "12"}, {"fullCharge.whenFull", "on"},
                       {"fullCharge.untilUnplug", "off"}, {"interval", "300"}, {"locale", "ja_JP"},
                       {"keepLimitOn", "on"}, {"calendar.fullCharge", "on"}, {"calendar.allDay", "on"},
                       {"calendar.keywords", "Konferenz, 出張"},
                       {"calendar.path", "/home/ana/.local/share/evolution/calendar"}});
}

TEST(SettingsTable, WhatIsShownReadsBackAndDefaultGivesBackTheDefault) {
  const Settings changed = changedEverywhere();
  std::set<std::string> explanations;
  for (const auto& setting : settingRows()) {
    for (const auto& shown : {Settings{}, changed}) {
      Settings copy = shown;
      EXPECT_EQ(applySetting(copy, setting, setting.show(shown)), std::nullopt) << setting.key;
      EXPECT_EQ(setting.show(copy), setting.show(shown)) << setting.key;
    }
    const auto line = setting.describe();
    EXPECT_FALSE(line.title.empty() || line.detail.empty()) << setting.key;
    EXPECT_TRUE(explanations.insert(setting.explanation()).second) << setting.key << " explains itself like another";
  }
  Settings settings = settingsWith({{"alert.hot", "off"}, {"locale", "de_DE"}, {"calendar.keywords", "none"},
                                    {"level", "technical"}, {"calendar.path", "/home/ana/.calendars"}});
  for (const char* key : {"alert.hot", "locale", "calendar.keywords", "level", "calendar.path"}) {
    EXPECT_EQ(applySetting(settings, row(key), "default"), std::nullopt) << key;
  }
  // An alert's switch follows its kind's default again rather than a stored copy of it.
  EXPECT_EQ(settings, Settings{});
}

TEST(SettingsTable, TheFileHoldsEveryKeyButAnAbsentLocaleOrCalendarPathAndReadsItBack) {
  const Json json = Settings{}.toJson();
  std::vector<std::string> keys;
  for (const auto& [key, value] : json.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"level", "alerts", "smartTopUp", "fullCharge", "interval",
                                            "keepLimitOn", "calendarFullCharge", "calendarAllDay",
                                            "calendarKeywords"}));
  Settings changed = changedEverywhere();
  EXPECT_EQ(Settings::fromJson(Json::parse(changed.toJson().dump())), changed);
  Settings none = changed;
  none.calendarKeywords = {};
  EXPECT_EQ(Settings::fromJson(Json::parse(none.toJson().dump())), none);
}

// A file from before these settings existed keeps what it had and takes the
// defaults for the rest; a kind this version does not know is skipped, an
// interval out of range is brought to its nearest end.
TEST(SettingsTable, TheFileReadsOlderAndOddFilesAndRefusesWrongTypes) {
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"level": "technical", "alerts": {"hot": false, "solarFlare": true},
      "smartTopUp": true, "fullCharge": {"untilUnplug": false, "whenFull": true}})")),
            settingsWith({{"level", "technical"}, {"alert.hot", "off"}, {"smartTopUp", "on"},
                          {"fullCharge.whenFull", "on"}, {"fullCharge.untilUnplug", "off"}}));
  EXPECT_EQ(Settings::fromJson(Json::object()), Settings{});
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"interval": -5})")).interval, 10s);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"interval": 86400})")).interval, 3600s);
  EXPECT_EQ(Settings::fromJson(Json::parse(R"({"locale": "", "calendarPath": ""})")), Settings{});
  for (const char* text : {R"({"interval": "60"})", R"({"keepLimitOn": 1})", R"({"calendarKeywords": "trip"})",
                           R"({"calendarKeywords": ["trip", 3]})", R"({"locale": 7})",
                           R"({"calendarPath": ["/home/ana/.calendars"]})"}) {
    EXPECT_THROW(Settings::fromJson(Json::parse(text)), batterycore::DecodingError) << text;
  }
}

}  // namespace
}  // namespace kestrin::app
