// The service in the test process, on a made-up machine: the watch between
// ticks (sleep seen as a gap, a limit dropped across a wake, the wall clock
// set back or forward, the system's time zone changed under it), and the
// service wiring the platform's parts to it, the store, the widget and the
// metrics.
#include "app/Service.hpp"
#include "app/Watch.hpp"

#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/live/HostTimeZone.hpp"
#include "tests/common/HeldBattery.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::Date;
using Kind = BatteryAlert::Kind;
using Strings = std::vector<std::string>;
using namespace std::chrono_literals;

// A held battery, plugged in, whose monitor counts days in Berlin.
struct Rig {
  Rig(const fs::path& folder, int percent)
      : battery(percent), group(widget::AppGroup::inFolder(folder / "group")), store(folder / "state", {}, false) {}

  Watch watch(std::function<std::string()> timeZone = {}) {
    WatchOptions options;
    options.interval = 60s;
    options.note = [this](std::string_view line) { notes.emplace_back(line); };
    options.timeZone = std::move(timeZone);
    return Watch(monitor, store, group, std::move(options));
  }
  // Ticks every minute from `from` to `to`, both included; what the rules
  // raised and the policy posted.
  TickReport tickEveryMinute(Watch& watch, Date from, Date to) {
    TickReport all;
    for (Date now = from; now <= to; now += 60s) {
      battery.reading.at = now;
      const auto report = watch.tick(now);
      all.raised.insert(all.raised.end(), report.raised.begin(), report.raised.end());
      all.posted.insert(all.posted.end(), report.posted.begin(), report.posted.end());
    }
    return all;
  }
  // Each day of the ledger: "day: minutes sampled, plugged in, above 80% plugged in".
  std::vector<std::string> days() const {
    std::vector<std::string> lines;
    for (const auto& d : monitor.state().highCharge.days) {
      std::ostringstream line;
      line << d.day << ": " << d.minutesSampled << ", " << d.minutesPlugged << ", " << d.minutesAbove80Plugged;
      lines.push_back(line.str());
    }
    return lines;
  }
  long notesSaying(const std::string& text) const {
    return std::ranges::count_if(notes, [&](const std::string& line) { return line.find(text) != std::string::npos; });
  }

  testing::HeldBattery battery;
  widget::AppGroup group;
  StateStore store;
  Monitor monitor{battery, battery, batterycore::Calendar::gregorian("Europe/Berlin", "de_DE"), watchHooks(group, {})};
  std::vector<std::string> notes;
};

class WatchTest : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(folder_); }

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-watch-" + std::to_string(::getpid()) + "-" +
                                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
  Date t0_ = *batterycore::parseIso8601("2026-03-02T09:00:00Z");  // a Monday, 10:00 in Berlin
};

TEST_F(WatchTest, AGapBetweenTicksIsAWakeThatHoldsAlertsBackALateTickIsNot) {
  Rig late(folder_ / "late", 80);
  auto lateWatch = late.watch();
  late.tickEveryMinute(lateWatch, t0_, t0_);
  late.battery.reading.thermal = batterycore::ThermalLevel::serious;
  const auto now = late.tickEveryMinute(lateWatch, t0_ + 90s, t0_ + 90s);
  ASSERT_EQ(now.posted.size(), 1u);
  EXPECT_EQ(now.posted[0].kind, Kind::hot);
  EXPECT_EQ(late.notesSaying("notified (hot): " + now.posted[0].title + ". " + now.posted[0].body), 1);

  Rig rig(folder_ / "asleep", 80);
  auto watch = rig.watch();
  rig.tickEveryMinute(watch, t0_, t0_ + 60s);
  // Two hours asleep; the laptop wakes up hot.
  rig.battery.reading.thermal = batterycore::ThermalLevel::serious;
  const Date woke = t0_ + 60s + 2h;
  const auto waking = rig.tickEveryMinute(watch, woke, woke + 60s);
  ASSERT_EQ(waking.raised.size(), 1u);
  EXPECT_EQ(waking.raised[0].kind, Kind::hot);
  EXPECT_TRUE(waking.posted.empty()) << "nothing leaves in the first two minutes after a wake";
  EXPECT_EQ(rig.tickEveryMinute(watch, woke + 121s, woke + 121s).posted.size(), 1u);
}

TEST_F(WatchTest, ALimitDroppedAcrossAWakeIsPutBackOnlyWithTheSetting) {
  const auto minutes = [](Date from, int count) {
    std::vector<Date> ticks;
    for (int i = 0; i < count; ++i) ticks.push_back(from + std::chrono::minutes(i));
    return ticks;
  };
  const Date back = t0_ + 3h + 5min - 1h;
  std::vector<Date> wokeThenBack;
  for (const auto& part : {minutes(t0_, 2), minutes(t0_ + 3h, 6), minutes(back, 4)}) {
    wokeThenBack.insert(wokeThenBack.end(), part.begin(), part.end());
  }
  const struct {
    const char* what;
    bool keepLimitOn;
    std::vector<Date> before;
    Date dropped;
    Kind raised;
  } cases[] = {
      {"firmware dropped it across a wake: on again at once", true, {t0_}, t0_ + 3h, Kind::limitTurnedOn},
      {"the person switched it off while awake", true, minutes(t0_, 2), t0_ + 2min, Kind::limitTurnedOff},
      {"without the setting a dropped limit is reported", false, {t0_}, t0_ + 3h, Kind::limitTurnedOff},
      {"a wake before the clock went back holds nothing after it", true, wokeThenBack, back + 4min,
       Kind::limitTurnedOff},
  };
  int row = 0;
  for (const auto& c : cases) {
    Rig rig(folder_ / std::to_string(row++), 80);
    rig.monitor.settings().keepLimitOn = c.keepLimitOn;
    auto watch = rig.watch();
    for (const Date now : c.before) rig.tickEveryMinute(watch, now, now);
    rig.battery.reading.limit = batterycore::LimitState::off();
    const auto report = rig.tickEveryMinute(watch, c.dropped, c.dropped);
    EXPECT_EQ(rig.battery.reading.limit.isOn(), c.raised == Kind::limitTurnedOn) << c.what;
    ASSERT_EQ(report.raised.size(), 1u) << c.what;
    EXPECT_EQ(report.raised[0].kind, c.raised) << c.what;
    const auto& alerts = rig.monitor.state().alerts;
    EXPECT_TRUE(!alerts.empty() && alerts.back().kind == c.raised) << c.what << ": the alerts list";
  }
}

TEST_F(WatchTest, AClockSetBackOrForwardOrIntoAnotherZoneBooksOnlyTheTimeThatPassed) {
  Rig rig(folder_, 90);
  auto watch = rig.watch();
  EXPECT_TRUE(rig.tickEveryMinute(watch, t0_, t0_ + 10min).raised.empty());
  // Set back an hour; the battery moved on meanwhile.
  const Date back = t0_ + 10min - 1h;
  rig.battery.reading.percent = 91;
  EXPECT_TRUE(rig.tickEveryMinute(watch, back, back).raised.empty());
  EXPECT_EQ(rig.days(), (Strings{"2026-03-02: 10, 10, 10"})) << "nothing for the step back";
  EXPECT_EQ(widget::WidgetSnapshot::load(rig.group).value().percent, 91) << "the widget is not held back";
  EXPECT_TRUE(rig.tickEveryMinute(watch, back + 1min, back + 5min).raised.empty());
  EXPECT_EQ(rig.monitor.state().lastTick, back + 5min);
  // Set forward a day: nothing raised or posted, nothing booked for the gap.
  const Date ahead = back + 5min + 24h;
  const auto after = rig.tickEveryMinute(watch, ahead, ahead + 2min);
  EXPECT_TRUE(after.raised.empty() && after.posted.empty());
  EXPECT_EQ(rig.days(), (Strings{"2026-03-02: 15, 15, 15", "2026-03-03: 2, 2, 2"}));

  Rig traveller(folder_ / "traveller", 90);
  std::string zone = "Europe/Berlin";
  auto travelling = traveller.watch([&zone] { return zone; });
  const Date from = *batterycore::parseIso8601("2026-03-02T22:50:00Z");  // 23:50 to 00:05 in Berlin
  EXPECT_TRUE(traveller.tickEveryMinute(travelling, from, from + 15min).raised.empty());
  zone = "America/New_York";  // landed: 18:06 on the 2nd there
  EXPECT_TRUE(traveller.tickEveryMinute(travelling, from + 16min, from + 17min).raised.empty());
  EXPECT_EQ(traveller.days(), (Strings{"2026-03-02: 10, 10, 10", "2026-03-03: 5, 5, 5", "2026-03-02: 2, 2, 2"}));
  const auto& calendar = traveller.monitor.calendar();
  EXPECT_EQ(calendar.timeZone(), "America/New_York");
  EXPECT_EQ(calendar.locale(), "de_DE");
  EXPECT_EQ(calendar.firstWeekday(), 2) << "Monday, as in the calendar before";
  EXPECT_EQ(traveller.notesSaying("America/New_York"), 1);
  // A zone this system does not know leaves the days as they are, said once.
  zone = "Mars/Olympus_Mons";
  traveller.tickEveryMinute(travelling, from + 18min, from + 19min);
  EXPECT_EQ(traveller.monitor.calendar().timeZone(), "America/New_York");
  EXPECT_EQ(traveller.notesSaying("Mars/"), 1);
}

TEST_F(WatchTest, TheNextTickIsOneIntervalAwayWhateverWakesTheWait) {
  // A descriptor that is always ready and never asks for a tick (a udev
  // event about another device), a clock that moves 10 s per look and is
  // set back an hour after the second tick.
  Rig rig(folder_, 90);
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
  Watch(rig.monitor, rig.store, rig.group, std::move(options)).run(stop);
  ::close(wake[0]);
  ::close(wake[1]);
  const Date first = t0_ + 20s;  // the second look
  EXPECT_EQ(ticks, (std::vector<Date>{first, first + 60s, first + 60s - 1h + 70s, first + 60s - 1h + 130s}));
}

// The service runs on its platform until stopped, saying so in its log and
// on the terminal. The control switches the limit, the widget shows it at
// once, the log says so, and the limit-change rule blames nobody for it.
TEST_F(WatchTest, TheServiceRunsAndAnswersTheControlAsItsOwnChange) {
  const auto battery = std::make_shared<testing::HeldBattery>(80);
  std::vector<std::string> logged, echoed;
  volatile std::sig_atomic_t stop = 0;
  Platform platform;
  platform.battery = battery;
  platform.limit = battery;
  platform.batteryName = "the held battery";
  platform.group = widget::AppGroup::inFolder(folder_ / "group");
  platform.clock = [this] { return t0_; };
  platform.log = [&logged](std::string_view line, bool) { logged.emplace_back(line); };
  platform.startNotes = {"no udev monitor (none here)"};
  platform.persist = [&stop](StateStore&) { stop = 1; };  // as a signal would, right after the first tick
  ServiceOptions options;
  options.stateFolder = folder_ / "state";
  options.echo = [&echoed](std::string_view line) { echoed.emplace_back(line); };
  Service service(std::move(platform), std::move(options));
  service.run(stop);
  EXPECT_EQ(logged, (Strings{"no udev monitor (none here)",
                             "watching the held battery every 60 s; states in " + (folder_ / "state").string() +
                                 "; widget in " + (folder_ / "group").string(),
                             "stopped; every state saved"}));
  EXPECT_EQ(echoed, logged) << "a terminal sees what the log sees";
  // Bare figures: the widget adds "health" and "above 80%" itself.
  const auto running = widget::WidgetSnapshot::load(widget::AppGroup::inFolder(folder_ / "group")).value();
  EXPECT_EQ(running.health, "89%");  // 4000 of 4500 mAh
  EXPECT_EQ(running.highCharge, "0 h");

  const widget::ControlRequest request{false, t0_ + 30s};
  ASSERT_TRUE(service.platform().group.preferences->setDictionary(widget::ControlRequest::requestKey,
                                                                   request.dictionary()));
  t0_ += 31s;
  EXPECT_EQ(service.tick(t0_).controlAnswered, false);
  EXPECT_TRUE(battery->reading.limit.isOff());
  const auto widget = widget::WidgetSnapshot::load(service.platform().group);
  EXPECT_EQ(widget.value().limit, std::nullopt) << "without waiting for the next tick";
  EXPECT_EQ(service.monitor().state().lastOwnChangeAt, t0_);
  EXPECT_EQ(logged.back(), "control asked for the limit off");
  t0_ += 60s;
  EXPECT_TRUE(std::ranges::none_of(service.tick(t0_).raised,
                                   [](const BatteryAlert& alert) { return alert.kind == Kind::limitTurnedOff; }));
}

TEST(HostTimeZone, IsTheZoneLocaltimeLinksTo) {
  const fs::path folder = fs::temp_directory_path() / ("kestrin-zone-" + std::to_string(::getpid()));
  fs::create_directories(folder);
  const fs::path link = folder / "localtime";
  fs::create_symlink("/usr/share/zoneinfo/America/New_York", link);
  EXPECT_EQ(live::hostTimeZone(nullptr, link), "America/New_York");
  EXPECT_EQ(live::hostTimeZone("Asia/Tokyo", link), std::nullopt) << "TZ stands as read at startup";
  fs::remove(link);
  fs::create_symlink("../usr/share/zoneinfo/posix/Europe/Berlin", link);
  EXPECT_EQ(live::hostTimeZone(nullptr, link), "Europe/Berlin");
  fs::remove(link);
  std::ofstream(link) << "TZif2";  // a copied zone file names no zone
  EXPECT_EQ(live::hostTimeZone(nullptr, link), std::nullopt);
  EXPECT_EQ(live::hostTimeZone(nullptr, folder / "missing"), std::nullopt);
  fs::remove_all(folder);
}

}  // namespace
}  // namespace kestrin::app
