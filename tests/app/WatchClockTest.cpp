// The watch across clock faults: the wall clock set back or forward while it
// runs, and the system's time zone changed under it.
#include "app/Watch.hpp"

#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/live/HostTimeZone.hpp"
#include "tests/app/HeldBattery.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::HighChargeLedger;
using batterycore::LimitState;
using namespace std::chrono_literals;

double minutesSampled(const HighChargeLedger& ledger) {
  return std::accumulate(ledger.days.begin(), ledger.days.end(), 0.0,
                         [](double sum, const HighChargeLedger::Day& day) { return sum + day.minutesSampled; });
}

class WatchClockTest : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(folder_); }

  Watch makeWatch(std::function<std::string()> timeZone = {}) {
    WatchOptions options;
    options.interval = 60s;
    options.note = [this](std::string_view line) { notes_.emplace_back(line); };
    options.timeZone = std::move(timeZone);
    return Watch(monitor_, store_, group_, std::move(options));
  }
  // Ticks every minute from `from` to `to`, both included; what the rules raised.
  std::vector<BatteryAlert> tickEveryMinute(Watch& watch, Date from, Date to) {
    std::vector<BatteryAlert> raised;
    for (Date now = from; now <= to; now += 60s) {
      battery_.reading.at = now;
      const auto report = watch.tick(now);
      raised.insert(raised.end(), report.raised.begin(), report.raised.end());
    }
    return raised;
  }
  const HighChargeLedger& ledger() const { return monitor_.state().highCharge; }

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-watch-clock-" + std::to_string(::getpid()) + "-" +
                                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
  testing::HeldBattery battery_{90};
  widget::AppGroup group_ = widget::AppGroup::inFolder(folder_ / "group");
  StateStore store_{folder_ / "state", {}, false};
  Monitor monitor_{battery_, battery_, Calendar::gregorian("Europe/Berlin", "de_DE"), watchHooks(group_, {})};
  std::vector<std::string> notes_;
  Date t0_ = *batterycore::parseIso8601("2026-03-02T09:00:00Z");  // a Monday, 10:00 in Berlin
};

TEST_F(WatchClockTest, AClockSetBackAnHourBooksOnlyTheTimeThatPassed) {
  auto watch = makeWatch();
  EXPECT_TRUE(tickEveryMinute(watch, t0_, t0_ + 10min).empty());
  ASSERT_EQ(minutesSampled(ledger()), 10);

  // Set back an hour; the battery moved on meanwhile.
  const Date back = t0_ + 10min - 1h;
  battery_.reading.percent = 91;
  battery_.reading.at = back;
  const auto jump = watch.tick(back);
  EXPECT_TRUE(jump.raised.empty());
  EXPECT_EQ(minutesSampled(ledger()), 10) << "nothing for the step back";
  const auto widget = widget::WidgetSnapshot::load(group_);
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->percent, 91) << "the widget is not held back until the clock catches up";

  EXPECT_TRUE(tickEveryMinute(watch, back + 1min, back + 5min).empty());
  ASSERT_EQ(ledger().days.size(), 1u);
  const auto& day = ledger().days[0];
  EXPECT_EQ(day.day, "2026-03-02");
  EXPECT_EQ(day.minutesSampled, 15) << "ten minutes before the jump, five after";
  EXPECT_EQ(day.minutesAbove80Plugged, 15);
  EXPECT_EQ(day.minutesPlugged, 15);
  EXPECT_EQ(monitor_.state().lastTick, back + 5min);
}

TEST_F(WatchClockTest, AWakeBeforeTheClockWentBackHoldsNothingAfterIt) {
  monitor_.settings().keepLimitOn = true;
  auto watch = makeWatch();
  tickEveryMinute(watch, t0_, t0_ + 1min);
  tickEveryMinute(watch, t0_ + 3h, t0_ + 3h + 5min);  // woke from a three-hour sleep
  const Date back = t0_ + 3h + 5min - 1h;
  tickEveryMinute(watch, back, back + 3min);
  // The person switches the limit off: not the firmware after a wake.
  battery_.reading.limit = LimitState::off();
  const auto raised = tickEveryMinute(watch, back + 4min, back + 4min);
  EXPECT_TRUE(battery_.reading.limit.isOff());
  ASSERT_EQ(raised.size(), 1u);
  EXPECT_EQ(raised[0].kind, BatteryAlert::Kind::limitTurnedOff);
}

TEST_F(WatchClockTest, AClockSetForwardADayBooksNothingForTheGap) {
  auto watch = makeWatch();
  EXPECT_TRUE(tickEveryMinute(watch, t0_, t0_ + 5min).empty());
  const Date ahead = t0_ + 5min + 24h;
  std::vector<BatteryAlert> posted;
  for (Date now = ahead; now <= ahead + 2min; now += 60s) {
    battery_.reading.at = now;
    const auto report = watch.tick(now);
    EXPECT_TRUE(report.raised.empty());
    posted.insert(posted.end(), report.posted.begin(), report.posted.end());
  }
  EXPECT_TRUE(posted.empty());
  ASSERT_EQ(ledger().days.size(), 2u);
  EXPECT_EQ(ledger().days[0].day, "2026-03-02");
  EXPECT_EQ(ledger().days[0].minutesSampled, 5);
  EXPECT_EQ(ledger().days[1].day, "2026-03-03");
  EXPECT_EQ(ledger().days[1].minutesSampled, 2) << "only the two minutes after the jump";
}

TEST_F(WatchClockTest, AfterAZoneChangeTheDaysAreThoseOfTheNewZone) {
  std::string zone = "Europe/Berlin";
  auto watch = makeWatch([&zone] { return zone; });
  // 23:50 to 00:05 in Berlin.
  const Date from = *batterycore::parseIso8601("2026-03-02T22:50:00Z");
  EXPECT_TRUE(tickEveryMinute(watch, from, from + 15min).empty());
  ASSERT_EQ(ledger().days.size(), 2u);
  EXPECT_EQ(ledger().days[1].day, "2026-03-03");

  // Landed in New York: 18:06 on the 2nd there.
  zone = "America/New_York";
  EXPECT_TRUE(tickEveryMinute(watch, from + 16min, from + 17min).empty());
  EXPECT_EQ(monitor_.calendar().timeZone(), "America/New_York");
  EXPECT_EQ(monitor_.calendar().locale(), "de_DE");
  EXPECT_EQ(monitor_.calendar().firstWeekday(), 2) << "Monday, as in the calendar before";
  ASSERT_EQ(ledger().days.size(), 3u);
  EXPECT_EQ(ledger().days[0].minutesSampled, 10);
  EXPECT_EQ(ledger().days[1].minutesSampled, 5);
  EXPECT_EQ(ledger().days[2].day, "2026-03-02");
  EXPECT_EQ(ledger().days[2].minutesSampled, 2);
  EXPECT_EQ(minutesSampled(ledger()), 17) << "every minute booked once";
  EXPECT_EQ(std::count_if(notes_.begin(), notes_.end(),
                          [](const std::string& line) { return line.find("America/New_York") != std::string::npos; }),
            1);

  // A zone this system does not know leaves the days as they are, said once.
  zone = "Mars/Olympus_Mons";
  tickEveryMinute(watch, from + 18min, from + 19min);
  EXPECT_EQ(monitor_.calendar().timeZone(), "America/New_York");
  EXPECT_EQ(std::count_if(notes_.begin(), notes_.end(),
                          [](const std::string& line) { return line.find("Mars/") != std::string::npos; }),
            1);
}

TEST_F(WatchClockTest, TheNextTickIsOneIntervalAwayWhateverWakesTheWait) {
  // A descriptor that is always ready and never asks for a tick (a udev
  // event about another device), a clock that moves 10 s per look and is
  // set back an hour after the second tick.
  int wake[2] = {-1, -1};
  ASSERT_EQ(::pipe(wake), 0);
  ASSERT_EQ(::write(wake[1], "x", 1), 1);
  volatile std::sig_atomic_t stop = 0;
  Date clock = t0_;
  int looks = 0;
  std::vector<Date> ticks;
  WatchOptions options;  // the interval from the settings: 60 s
  options.clock = [&] {
    if (++looks > 2000) stop = 1;  // the watch stopped ticking
    return clock += 10s;
  };
  options.sources.push_back({wake[0], {}, [] { return false; }});
  options.ticked = [&](const TickReport&, Date now) {
    ticks.push_back(now);
    if (ticks.size() == 2) clock -= 1h;
    if (ticks.size() == 4) stop = 1;
  };
  Watch watch(monitor_, store_, group_, std::move(options));
  watch.run(stop);
  ::close(wake[0]);
  ::close(wake[1]);
  const Date first = t0_ + 20s;  // the second look
  const std::vector<Date> expected = {first, first + 60s, first + 60s - 1h + 70s, first + 60s - 1h + 130s};
  EXPECT_EQ(ticks, expected);
}

TEST(HostTimeZoneTest, IsTheZoneLocaltimeLinksTo) {
  const fs::path folder = fs::temp_directory_path() / ("kestrin-zone-" + std::to_string(::getpid()));
  fs::create_directories(folder);
  const fs::path link = folder / "localtime";
  fs::create_symlink("/usr/share/zoneinfo/America/New_York", link);
  EXPECT_EQ(live::hostTimeZone(nullptr, link), "America/New_York");
  fs::remove(link);
  fs::create_symlink("../usr/share/zoneinfo/posix/Europe/Berlin", link);
  EXPECT_EQ(live::hostTimeZone(nullptr, link), "Europe/Berlin");
  EXPECT_EQ(live::hostTimeZone("Asia/Tokyo", link), std::nullopt) << "TZ stands as read at startup";
  fs::remove(link);
  std::ofstream(link) << "TZif2";  // a copied zone file names no zone
  EXPECT_EQ(live::hostTimeZone(nullptr, link), std::nullopt);
  EXPECT_EQ(live::hostTimeZone(nullptr, folder / "missing"), std::nullopt);
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app
