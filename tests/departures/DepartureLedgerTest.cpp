#include "BatteryCore/departures/DepartureLedger.hpp"

#include "tests/departures/Departures.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>

namespace batterycore {
namespace {

using testing::at;
using testing::reading;
using namespace std::chrono_literals;

TEST(DepartureLedger, HeaderExampleHolds) {
  const Date t0800 = at("2026-03-02T08:00:00Z");
  const Date t0801 = at("2026-03-02T08:01:00Z");
  const auto ledger =
      DepartureLedger::step(DepartureLedger{}, reading(80, true, t0800), reading(80, false, t0801), t0800, t0801);
  EXPECT_EQ(ledger.unplugs, (std::vector<DepartureLedger::Unplug>{{t0801, false}}));
}

TEST(DepartureLedger, FirstTickAfterLaunchRecordsNothing) {
  const Date now = at("2026-03-02T08:01:00Z");
  const auto ledger = DepartureLedger::step(DepartureLedger{}, std::nullopt, reading(80, false, now), std::nullopt, now);
  EXPECT_TRUE(ledger.unplugs.empty());
}

TEST(DepartureLedger, OnlyThePluggedInToUnpluggedEdgeCounts) {
  struct Case {
    bool previousPlugged;
    bool currentPlugged;
    bool recorded;
  };
  const Case cases[] = {
      {true, false, true},    // unplugged
      {false, false, false},  // stays unplugged
      {false, true, false},   // plugged in
      {true, true, false},    // stays plugged in
  };
  const Date before = at("2026-03-02T08:00:00Z");
  const Date now = at("2026-03-02T08:01:00Z");
  for (const auto& c : cases) {
    const auto ledger = DepartureLedger::step(DepartureLedger{}, reading(80, c.previousPlugged, before),
                                              reading(80, c.currentPlugged, now), before, now);
    EXPECT_EQ(ledger.unplugs.size(), c.recorded ? 1u : 0u)
        << "previous plugged " << c.previousPlugged << ", current plugged " << c.currentPlugged;
  }
}

TEST(DepartureLedger, AnUnplugAfterAGapOfMoreThanNinetySecondsIsAfterWake) {
  struct Case {
    std::optional<Seconds> gap;  // absent: no previous tick time
    bool afterWake;
  };
  const Case cases[] = {
      {Seconds{60}, false},
      {Seconds{90}, false},  // exactly maxGap is still awake
      {Seconds{91}, true},
      {Seconds{3600}, true},
      {std::nullopt, true},
  };
  const Date now = at("2026-03-02T08:01:00Z");
  for (const auto& c : cases) {
    const std::optional<Date> lastTick = c.gap ? std::optional<Date>(now - *c.gap) : std::nullopt;
    const auto ledger = DepartureLedger::step(DepartureLedger{}, reading(80, true, now - 60s),
                                              reading(80, false, now), lastTick, now);
    ASSERT_EQ(ledger.unplugs.size(), 1u);
    EXPECT_EQ(ledger.unplugs[0].at, now);
    EXPECT_EQ(ledger.unplugs[0].afterWake, c.afterWake) << (c.gap ? c.gap->count() : -1.0) << " s";
  }
}

TEST(DepartureLedger, EveryEdgeIsRecordedWithoutDeduplication) {
  // Two unplugs a minute apart; the same moment met twice; an edge whose
  // tick before lies behind the newest recorded unplug: each is appended.
  const Date first = at("2026-03-02T08:00:00Z");
  const Date second = at("2026-03-02T08:01:00Z");
  auto unplug = [](const DepartureLedger& ledger, Date lastTick, Date now) {
    return DepartureLedger::step(ledger, reading(80, true, lastTick), reading(80, false, now), lastTick, now);
  };
  auto ledger = unplug(DepartureLedger{}, first - 30s, first);
  ledger = unplug(ledger, second - 30s, second);
  ledger = unplug(ledger, second - 30s, second);
  ledger = unplug(ledger, first - 60s, second);
  EXPECT_EQ(ledger.unplugs, (std::vector<DepartureLedger::Unplug>{
                                {first, false}, {second, false}, {second, false}, {second, true}}));
}

TEST(DepartureLedger, KeepsTheLatestFourHundred) {
  DepartureLedger ledger;
  const Date start = at("2026-01-01T08:00:00Z");
  for (int i = 0; i < 401; ++i) {
    const Date now = start + std::chrono::hours{i};
    ledger = DepartureLedger::step(ledger, reading(80, true, now - 30s), reading(80, false, now), now - 30s, now);
  }
  ASSERT_EQ(ledger.unplugs.size(), DepartureLedger::keep);
  EXPECT_EQ(ledger.unplugs.front().at, start + std::chrono::hours{1});
  EXPECT_EQ(ledger.unplugs.back().at, start + std::chrono::hours{400});
}

TEST(DepartureLedger, JsonHasUnplugsWithTheirMomentAndWakeMark) {
  const auto ledger = testing::ledgerOf({at("2026-03-02T07:20:00Z")});
  const Json json = ledger.toJson();
  EXPECT_EQ(json.dump(), R"({"unplugs":[{"at":"2026-03-02T07:20:00Z","afterWake":false}]})");
  EXPECT_EQ(DepartureLedger::fromJson(json), ledger);
}

TEST(DepartureLedger, MissingUnplugsReadAsTheEmptyLedger) {
  EXPECT_EQ(DepartureLedger::fromJson(Json::object()), DepartureLedger{});
  EXPECT_EQ(DepartureLedger{}.toJson().dump(), R"({"unplugs":[]})");
}

TEST(DepartureLedger, AnIncompleteUnplugFailsTheWholeLedger) {
  const char* broken[] = {
      R"({"unplugs":[{"at":"2026-03-02T07:20:00Z","afterWake":true},{"at":"2026-03-03T07:20:00Z"}]})",
      R"({"unplugs":[{"afterWake":true}]})",
      R"({"unplugs":[{"at":"yesterday","afterWake":true}]})",
  };
  for (const char* text : broken) {
    EXPECT_THROW(DepartureLedger::fromJson(Json::parse(text)), DecodingError) << text;
  }
}

}  // namespace
}  // namespace batterycore
