#include "app/Watch.hpp"

#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "tests/app/NotificationServer.hpp"
#include "tests/app/PrivateBus.hpp"
#include "tests/app/HeldBattery.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <functional>
#include <thread>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::LimitState;
using batterycore::Seconds;
using batterycore::ThermalLevel;
using namespace std::chrono_literals;

class WatchTest : public ::testing::Test {
 protected:
  static bool eventually_(const std::function<bool()>& done) {
    for (int i = 0; i < 100; ++i) {
      if (done()) return true;
      std::this_thread::sleep_for(20ms);
    }
    return false;
  }

  void TearDown() override { fs::remove_all(folder_); }

  Watch makeWatch(std::vector<std::string>* notes = nullptr) {
    WatchOptions options;
    options.interval = 60s;
    options.note = [notes](std::string_view line) {
      if (notes) notes->emplace_back(line);
    };
    return Watch(monitor_, store_, group_, std::move(options));
  }
  TickReport tickAt(Watch& watch, Date now) {
    battery_.reading.at = now;
    return watch.tick(now);
  }

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-watch-" + std::to_string(::getpid()) + "-" +
                                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
  testing::HeldBattery battery_{80};
  widget::AppGroup group_ = widget::AppGroup::inFolder(folder_ / "group");
  StateStore store_{folder_ / "state", {}, false};
  Monitor monitor_{battery_, battery_, Calendar::utc(), watchHooks(group_, {})};
  Date t0_ = *batterycore::parseIso8601("2026-03-02T09:00:00Z");
};

TEST_F(WatchTest, AGapBetweenTicksIsAWakeThatHoldsAlertsBack) {
  auto watch = makeWatch();
  tickAt(watch, t0_);
  tickAt(watch, t0_ + 60s);
  // Two hours asleep; the laptop wakes up hot.
  battery_.reading.thermal = ThermalLevel::serious;
  const Date woke = t0_ + 60s + 2h;
  auto report = tickAt(watch, woke);
  ASSERT_EQ(report.raised.size(), 1u);
  EXPECT_EQ(report.raised[0].kind, BatteryAlert::Kind::hot);
  EXPECT_TRUE(report.posted.empty()) << "nothing leaves in the first two minutes after a wake";
  EXPECT_TRUE(tickAt(watch, woke + 60s).posted.empty());
  report = tickAt(watch, woke + 121s);
  ASSERT_EQ(report.posted.size(), 1u);
  EXPECT_EQ(report.posted[0].kind, BatteryAlert::Kind::hot);
}

TEST_F(WatchTest, TicksAnIntervalApartAreNoWake) {
  auto watch = makeWatch();
  tickAt(watch, t0_);
  battery_.reading.thermal = ThermalLevel::serious;
  const auto report = tickAt(watch, t0_ + 90s);  // a late tick, not sleep
  ASSERT_EQ(report.posted.size(), 1u);
  EXPECT_EQ(report.posted[0].kind, BatteryAlert::Kind::hot);
}

TEST_F(WatchTest, AnsweringTheControlRefreshesTheWidgetAtOnce) {
  std::vector<std::string> notes;
  auto watch = makeWatch(&notes);
  tickAt(watch, t0_);
  const auto first = widget::WidgetSnapshot::load(group_);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->limit, 80);
  // Bare figures: the widget adds "health" and "above 80%" itself.
  EXPECT_EQ(first->health, "89%");  // 4000 of 4500 mAh
  EXPECT_EQ(first->highCharge, "0 h");

  const widget::ControlRequest request{false, t0_ + 30s};
  ASSERT_TRUE(group_.preferences->setDictionary(widget::ControlRequest::requestKey, request.dictionary()));
  const auto report = tickAt(watch, t0_ + 31s);
  EXPECT_EQ(report.controlAnswered, false);
  EXPECT_TRUE(battery_.reading.limit.isOff());
  const auto shown = widget::WidgetSnapshot::load(group_);
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->limit, std::nullopt) << "the widget shows the limit off without waiting for the next tick";
  EXPECT_NE(std::find(notes.begin(), notes.end(), "control asked for the limit off"), notes.end());
}

TEST_F(WatchTest, KeepsTheLimitOnWhenFirmwareDroppedItAcrossAWake) {
  monitor_.settings().keepLimitOn = true;
  auto watch = makeWatch();
  tickAt(watch, t0_);
  battery_.reading.limit = LimitState::off();  // as firmware leaves it after suspend
  const auto report = tickAt(watch, t0_ + 3h);
  EXPECT_EQ(battery_.reading.limit, LimitState::on(80)) << "switched back on at once";
  ASSERT_EQ(report.raised.size(), 1u);
  EXPECT_EQ(report.raised[0].kind, BatteryAlert::Kind::limitTurnedOn);
  EXPECT_TRUE(report.posted.empty()) << "the alerts list only";
  EXPECT_EQ(monitor_.state().alerts.back().kind, BatteryAlert::Kind::limitTurnedOn);
}

TEST_F(WatchTest, LeavesALimitSwitchedOffWhileAwake) {
  monitor_.settings().keepLimitOn = true;
  auto watch = makeWatch();
  tickAt(watch, t0_);
  tickAt(watch, t0_ + 60s);
  battery_.reading.limit = LimitState::off();  // the person, in the system's settings
  const auto report = tickAt(watch, t0_ + 120s);
  EXPECT_TRUE(battery_.reading.limit.isOff());
  ASSERT_EQ(report.raised.size(), 1u);
  EXPECT_EQ(report.raised[0].kind, BatteryAlert::Kind::limitTurnedOff);
}

TEST_F(WatchTest, WithoutTheSettingADroppedLimitIsReported) {
  auto watch = makeWatch();
  tickAt(watch, t0_);
  battery_.reading.limit = LimitState::off();
  const auto report = tickAt(watch, t0_ + 3h);
  EXPECT_TRUE(battery_.reading.limit.isOff());
  ASSERT_EQ(report.raised.size(), 1u);
  EXPECT_EQ(report.raised[0].kind, BatteryAlert::Kind::limitTurnedOff);
}

TEST_F(WatchTest, NotTodayOnTheDesktopSkipsTodaysTopUp) {
  if (!live::PrivateBus::program()) GTEST_SKIP() << live::PrivateBus::missingProgram;
  live::PrivateBus bus;
  ASSERT_TRUE(bus.started()) << bus.failure();
  live::NotificationServer server(bus.address());
  ASSERT_TRUE(server.ready()) << server.failure();
  live::DesktopNotifications desktop(bus.address());

  const BatteryAlert topUp{BatteryAlert::Kind::smartFullCharge, t0_, "Charging to 100%", "Ready for 8:00.", {}};
  const BatteryAlert hot{BatteryAlert::Kind::hot, t0_, "Mac is hot", "Charging slows down.", {}};
  ASSERT_EQ(desktop.post(hot, batterycore::DetailLevel::simple), live::DesktopNotifications::Outcome::shown);
  ASSERT_EQ(desktop.post(topUp, batterycore::DetailLevel::simple), live::DesktopNotifications::Outcome::shown);
  const auto shown = server.received();
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_TRUE(shown[0].actions.empty());
  ASSERT_EQ(shown[1].actions.size(), 2u);
  EXPECT_EQ(shown[1].actions[0], "notToday");
  EXPECT_EQ(shown[1].actions[1], "Not today");

  // A button on another notification does nothing; "Not today" on the
  // top-up's records the skip.
  server.invoke(shown[0].id, "notToday");
  server.invoke(shown[1].id, "notToday");
  std::vector<live::DesktopNotifications::InvokedAction> pressed;
  ASSERT_TRUE(eventually_([&] {
    for (auto& action : desktop.process()) pressed.push_back(action);
    return pressed.size() >= 1 && pressed.back().kind == BatteryAlert::Kind::smartFullCharge;
  }));
  EXPECT_TRUE(actOnButtons(monitor_, pressed, t0_));
  EXPECT_EQ(monitor_.state().smartTopUp.skippedDay, "2026-03-02");
  EXPECT_FALSE(actOnButtons(monitor_, {{BatteryAlert::Kind::hot, "notToday"}}, t0_));
}

TEST(TickNotesTest, TellsWhatAPersonWouldWantInTheLog) {
  TickReport quiet;
  EXPECT_TRUE(tickNotes(quiet).empty());

  TickReport busy;
  busy.posted.push_back(BatteryAlert{BatteryAlert::Kind::hot, Date{}, "Mac is hot", "Charging slows down.", {}});
  busy.sessionEnded = batterycore::FullChargeSession::RestoreReason::unplugged;
  busy.limitFailure = "no permission";
  EXPECT_EQ(tickNotes(busy), (std::vector<std::string>{"notified (hot): Mac is hot. Charging slows down.",
                                                       "full charge ended (unplugged)",
                                                       "could not switch the limit: no permission"}));
}

}  // namespace
}  // namespace kestrin::app
