// The monitor's tick, with every rule, over long random streams of readings
// and clocks: nothing throws, every state survives its stored form (a
// restart changes nothing), and notifications keep their pace. Then what a
// save between ticks must keep, whatever the stream.
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"

#include "tests/common/RandomReadings.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::AlertPolicy;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::LimitState;
using batterycore::Seconds;
using batterycore::testing::RandomReadings;

constexpr int kTicks = 5000;
// Often enough that states which last a few ticks (a session, a wake) are
// stored too.
constexpr int kRestartEvery = 40;

// Readings from the random stream. The limit follows the app's switch until
// the stream itself moves the limit; a switch can be refused.
struct RandomBattery final : batterycore::BatterySource, LimitController {
  std::optional<BatterySnapshot> reading;
  std::optional<LimitState> switched;
  bool refuses = false;

  std::optional<BatterySnapshot> read() override {
    if (!reading) return std::nullopt;
    auto shown = *reading;
    if (switched) shown.limit = *switched;
    return shown;
  }
  std::optional<std::string> switchOn() override {
    if (refuses) return "refused";
    switched = LimitState::on(stored().value_or(80));
    return std::nullopt;
  }
  std::optional<std::string> switchOff() override {
    if (refuses) return "refused";
    switched = LimitState::off(stored());
    return std::nullopt;
  }

 private:
  // The percent the limit is, or was last, set to.
  std::optional<int> stored() const {
    if (!reading) return std::nullopt;
    const LimitState& shown = switched ? *switched : reading->limit;
    if (const auto on = shown.active()) return on;
    if (const auto* off = std::get_if<LimitState::Off>(&shown.value())) return off->stored;
    return std::nullopt;
  }
};

Calendar randomCalendar(RandomReadings& stream) {
  static constexpr std::array<const char*, 5> kZones{"UTC", "Europe/Berlin", "America/New_York", "Pacific/Kiritimati",
                                                     "Pacific/Pago_Pago"};
  return Calendar::gregorian(stream.pick(kZones));
}

// The widget reads its moment in whole seconds, so that is what is written.
widget::WidgetSnapshot toWholeSeconds(widget::WidgetSnapshot snapshot) {
  snapshot.at = batterycore::dateFromSecondsSince1970(std::round(batterycore::secondsSince1970(snapshot.at)));
  return snapshot;
}

// Every state the monitor keeps.
#define KESTRIN_MONITOR_STATES(X)                                                                               \
  X(last) X(lastTick) X(lastOwnChangeAt) X(watchdog) X(calibration) X(session) X(lastHot) X(departures)      \
      X(smartTopUp) X(trips) X(highCharge) X(health) X(milestone) X(weakCharger) X(chargers) X(weekly) X(drain) \
          X(accessories) X(policy) X(alerts) X(widget) X(widgetWrittenAt)

// The names of the states that differ.
std::string differences(const MonitorState& a, const MonitorState& b) {
  std::string names;
#define KESTRIN_DIFFERENT(field) \
  if (!(a.field == b.field)) names += " " #field;
  KESTRIN_MONITOR_STATES(KESTRIN_DIFFERENT)
#undef KESTRIN_DIFFERENT
  return names;
}

class MonitorProperty : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(folder_); }
  void run(std::uint64_t seed);
  Date at(const char* iso) const { return *batterycore::parseIso8601(iso); }

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-monitor-property-" + std::to_string(::getpid()));
  RandomBattery battery_;
};

void MonitorProperty::run(std::uint64_t seed) {
  // Ticks from ten seconds to ten minutes apart, the range of the setting.
  batterycore::testing::ClockMix mix;
  mix.shortestStepMillis = 10'000;
  RandomReadings stream(seed, mix);
  const Calendar calendar = randomCalendar(stream);
  SCOPED_TRACE(calendar.timeZone());
  fs::remove_all(folder_);
  std::vector<std::string> damaged;
  StateStore store(folder_, [&damaged](const std::string& line) { damaged.push_back(line); }, false);

  auto monitor = std::make_unique<Monitor>(battery_, battery_, calendar);
  Settings& settings = monitor->settings();
  settings.smartTopUp = stream.chance(0.5);
  settings.keepLimitOn = stream.chance(0.5);
  settings.level = stream.chance(0.5) ? batterycore::DetailLevel::technical : batterycore::DetailLevel::simple;
  for (const auto kind : BatteryAlert::allCases) {
    if (stream.chance(0.3)) settings.alerts[kind] = stream.chance(0.5);
  }

  std::optional<Date> wokeAt, lastPost;
  std::optional<LimitState> streamLimit;
  int posts = 0;
  for (int tick = 0; tick < kTicks; ++tick) {
    auto [now, reading] = stream.next();
    if (!streamLimit || !(*streamLimit == reading.limit)) battery_.switched.reset();
    streamLimit = reading.limit;
    battery_.reading = stream.chance(0.01) ? std::nullopt : std::optional(reading);
    battery_.refuses = stream.chance(0.1);
    if (stream.chance(0.02)) wokeAt = now - Seconds{stream.between(0, 200)};
    if (stream.chance(0.01)) wokeAt.reset();
    const auto where = [&, now = now] { return "tick " + std::to_string(tick) + " at " + batterycore::toIso8601(now); };
    try {
      // What the person does now and then.
      if (stream.chance(0.004)) {
        FullChargeOptions options;
        options.untilUnplug = stream.chance(0.5);
        options.whenFull = stream.chance(0.5);
        if (stream.chance(0.5)) options.hours = stream.between(0, 12);
        (void)monitor->startFullCharge(now, options);
      }
      if (stream.chance(0.002)) (void)monitor->stopFullCharge(now);
      if (stream.chance(0.001)) monitor->skipToday(now);
      if (stream.chance(0.0005)) monitor->forgetUnplugs();
      if (stream.chance(0.0005)) monitor->clearAlerts();
      // The system's time zone changes: days follow the new zone from now on.
      if (stream.chance(0.0005)) monitor->setCalendar(randomCalendar(stream));

      const AlertPolicy before = monitor->state().policy;
      const auto report = monitor->tick(now, wokeAt);
      ASSERT_LE(report.posted.size(), 1u) << where();
      if (!report.posted.empty()) {
        ++posts;
        const auto& out = report.posted.front();
        if (lastPost) {
          ASSERT_GE(now - *lastPost, AlertPolicy::spacing) << "posted too soon; " << where();
        }
        if (wokeAt) {
          ASSERT_GE(now - *wokeAt, AlertPolicy::afterWake) << "posted too soon after a wake; " << where();
        }
        ASSERT_TRUE(std::ranges::find(before.waiting, out) != before.waiting.end() ||
                    std::ranges::find(report.raised, out) != report.raised.end())
            << "posted an alert nobody raised; " << where();
        lastPost = now;
      }

      // A restart: everything written, read back, and ticking goes on from it.
      if (tick % kRestartEvery == kRestartEvery - 1) {
        monitor->save(store, now, true);
        auto restarted = std::make_unique<Monitor>(battery_, battery_, monitor->calendar());
        restarted->load(store);
        ASSERT_TRUE(damaged.empty()) << damaged.front() << "; " << where();
        MonitorState kept = monitor->state();
        if (kept.widget) kept.widget = toWholeSeconds(*kept.widget);
        ASSERT_TRUE(restarted->state() == kept) << "a restart changed" << differences(restarted->state(), kept)
                                                << "; " << where();
        ASSERT_TRUE(restarted->settings() == monitor->settings()) << where();
        monitor = std::move(restarted);
      }
    } catch (const std::exception& error) {
      FAIL() << "threw " << error.what() << "; " << where();
    }
  }
  EXPECT_GE(posts, 5) << "the stream hardly posted anything";
}

TEST_F(MonitorProperty, TicksThroughAnyStreamKeepingStatesStorableAndAlertsPaced) {
  for (const auto seed : batterycore::testing::propertySeeds(2)) {
    SCOPED_TRACE(batterycore::testing::rerunNote(seed));
    run(seed);
    if (HasFailure()) return;
  }
}

// The alerts list the person emptied and a new health sample (one a day) are
// saved with the next save, not only at shutdown.
TEST_F(MonitorProperty, WhatChangedIsSavedAtTheNextSave) {
  battery_.reading = batterycore::testing::reading(60, true, true, LimitState::on(80));
  battery_.reading->designCapacity = 5000;
  battery_.reading->fullChargeCapacity = 4600;
  const Date noon = at("2026-03-05T12:00:00Z");
  StateStore(folder_, {}, false)
      .save("alerts", std::vector<BatteryAlert>{{BatteryAlert::Kind::limitTurnedOn, noon - Seconds{3600},
                                                 "Charge limit back on", "Kestrin put it back on.", std::nullopt}});
  StateStore store(folder_, {}, false);
  Monitor monitor(battery_, battery_, Calendar::utc());
  monitor.load(store);
  for (int day = 0; day < 3; ++day) {
    const Date now = noon + Seconds{24.0 * 3600 * day};
    if (day == 1) monitor.clearAlerts();
    battery_.reading->at = now;
    (void)monitor.tick(now);
    monitor.save(store, now);
    const auto saved = Monitor::readState(store);
    EXPECT_EQ(saved.alerts.size(), day == 0 ? 1u : 0u) << "day " << day;
    EXPECT_EQ(saved.health, monitor.state().health) << "day " << day;
  }
  EXPECT_EQ(monitor.state().health.size(), 3u);
}

// The tick before an unplug is saved with the departures, so a service
// killed right after it does not learn it again from a saved tick that was
// still plugged in.
TEST_F(MonitorProperty, AnUnplugIsLearnedOnceAcrossAKillRightAfterIt) {
  battery_.reading = batterycore::testing::reading(80, true, false, LimitState::on(80));
  const Date morning = at("2026-03-05T08:00:00Z");
  for (int run = 0; run < 2; ++run) {  // the second after a kill: nothing more was saved
    StateStore store(folder_, {}, false);
    Monitor monitor(battery_, battery_, Calendar::utc());
    monitor.load(store);
    for (const auto& [seconds, plugged] : {std::pair{0.0, true}, {60.0, true}, {120.0, false}}) {
      battery_.reading->at = morning + Seconds{seconds + 180.0 * run};
      battery_.reading->pluggedIn = plugged && run == 0;
      (void)monitor.tick(battery_.reading->at);
      monitor.save(store, battery_.reading->at);
      store.commit();
    }
    EXPECT_EQ(monitor.state().departures.unplugs.size(), 1u) << "run " << run;
  }
}

// Plugged in above 80% with the limit off, only the time above 80% changes:
// the widget gets the new figure once the throttle has passed, not only at
// the two-hour heartbeat.
TEST_F(MonitorProperty, TheWidgetGetsNewWordingAfterTheThrottle) {
  battery_.reading = batterycore::testing::reading(95, true, false, LimitState::off());
  Monitor monitor(battery_, battery_, Calendar::utc());
  std::vector<widget::WidgetSnapshot> written;
  for (int minute = 0; minute <= 120; ++minute) {
    battery_.reading->at = at("2026-03-05T12:00:00Z") + Seconds{60.0 * minute};
    if (auto report = monitor.tick(battery_.reading->at); report.widgetWritten) written.push_back(*report.widgetWritten);
  }
  ASSERT_GE(written.size(), 2u);
  EXPECT_NE(written[1].highCharge, written[0].highCharge);
  for (std::size_t i = 1; i < written.size(); ++i) {
    EXPECT_GE(written[i].at - written[i - 1].at, widget::WidgetSnapshot::throttle);
  }
}

}  // namespace
}  // namespace kestrin::app
