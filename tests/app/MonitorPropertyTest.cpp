// The monitor's tick, with every rule, over long random streams of readings
// and clocks: nothing throws, every state survives its stored form, a
// restart changes nothing, and notifications keep their pace.
#include "app/Monitor.hpp"
#include "app/StateStore.hpp"

#include "tests/common/RandomReadings.hpp"
#include "tests/readings/Readings.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::AlertPolicy;
using batterycore::BatteryAlert;
using batterycore::BatterySnapshot;
using batterycore::Calendar;
using batterycore::Date;
using batterycore::Json;
using batterycore::LimitState;
using batterycore::Seconds;
using batterycore::testing::RandomReadings;

constexpr int kTicks = 5000;
constexpr int kRoundTripEvery = 25;
constexpr int kRestartEvery = 1000;

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

// Through the text the state folder holds, and back.
template <class T>
void expectRoundTrips(const T& value, const char* name) {
  const Json json = batterycore::encode(value);
  const T back = batterycore::decode<T>(Json::parse(json.dump()));
  ASSERT_TRUE(back == value) << name << " does not survive " << json.dump();
}

// The widget reads its moment in whole seconds, so that is what is written.
widget::WidgetSnapshot toWholeSeconds(widget::WidgetSnapshot snapshot) {
  snapshot.at = batterycore::dateFromSecondsSince1970(std::round(batterycore::secondsSince1970(snapshot.at)));
  return snapshot;
}

void expectRoundTrips(const widget::WidgetSnapshot& value, const char* name) {
  expectRoundTrips<widget::WidgetSnapshot>(toWholeSeconds(value), name);
}

MonitorState withWidgetInWholeSeconds(MonitorState state) {
  if (state.widget) state.widget = toWholeSeconds(*state.widget);
  return state;
}

template <class T>
void expectRoundTrips(const std::optional<T>& value, const char* name) {
  if (value) expectRoundTrips(*value, name);
}

// The long lists change at their end: their newest entries are checked at
// each look, the whole lists at each restart.
template <class T>
std::vector<T> newest(const std::vector<T>& values, std::size_t count) {
  return {values.end() - static_cast<std::ptrdiff_t>(std::min(count, values.size())), values.end()};
}

void expectRoundTrips(const batterycore::HighChargeLedger& ledger, const char* name) {
  expectRoundTrips<batterycore::HighChargeLedger>(batterycore::HighChargeLedger{newest(ledger.days, 2)}, name);
}

template <class T>
void expectRoundTrips(const std::vector<T>& values, const char* name) {
  expectRoundTrips<std::vector<T>>(newest(values, 4), name);
}

// Every state the monitor keeps.
#define KESTRIN_MONITOR_STATES(X)                                                                               \
  X(last) X(lastTick) X(lastOwnChangeAt) X(watchdog) X(calibration) X(session) X(lastHot) X(departures)      \
      X(smartTopUp) X(trips) X(highCharge) X(health) X(milestone) X(weakCharger) X(chargers) X(weekly) X(drain) \
          X(accessories) X(policy) X(alerts) X(widget) X(widgetWrittenAt)

// Every state that changed since `seen`.
void expectStatesRoundTrip(const MonitorState& state, const MonitorState& seen) {
#define KESTRIN_ROUND_TRIP(field) \
  if (!(state.field == seen.field)) expectRoundTrips(state.field, #field);
  KESTRIN_MONITOR_STATES(KESTRIN_ROUND_TRIP)
#undef KESTRIN_ROUND_TRIP
}

template <class T>
Json stored(const T& value) {
  return batterycore::encode(value);
}
template <class T>
Json stored(const std::optional<T>& value) {
  return value ? batterycore::encode(*value) : Json(nullptr);
}

// The states that differ, each with the end of its stored form on both sides.
std::string differences(const MonitorState& a, const MonitorState& b) {
  const auto tail = [](const Json& json) {
    const std::string text = json.dump();
    return text.size() > 400 ? "..." + text.substr(text.size() - 400) : text;
  };
  std::string names;
#define KESTRIN_DIFFERENT(field)                                                                             \
  if (!(a.field == b.field)) {                                                                               \
    names += "\n  " #field ": " + tail(stored(a.field)) + "\n  vs " + tail(stored(b.field)); \
  }
  KESTRIN_MONITOR_STATES(KESTRIN_DIFFERENT)
#undef KESTRIN_DIFFERENT
  return names;
}

class MonitorProperty : public ::testing::Test {
 protected:
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  void run(std::uint64_t seed);

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-monitor-property-" + std::to_string(::getpid()));
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

  RandomBattery battery;
  auto monitor = std::make_unique<Monitor>(battery, battery, calendar);
  Settings& settings = monitor->settings();
  settings.smartTopUp = stream.chance(0.5);
  settings.keepLimitOn = stream.chance(0.5);
  settings.level = stream.chance(0.5) ? batterycore::DetailLevel::technical : batterycore::DetailLevel::simple;
  for (const auto kind : BatteryAlert::allCases) {
    if (stream.chance(0.3)) settings.alerts[kind] = stream.chance(0.5);
  }

  std::optional<Date> wokeAt;
  std::optional<Date> lastPost;
  std::optional<LimitState> streamLimit;
  MonitorState seen;
  int posts = 0;

  for (int tick = 0; tick < kTicks; ++tick) {
    auto [now, reading] = stream.next();
    if (!streamLimit || !(*streamLimit == reading.limit)) battery.switched.reset();
    streamLimit = reading.limit;
    battery.reading = stream.chance(0.01) ? std::nullopt : std::optional(reading);
    battery.refuses = stream.chance(0.1);
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
        if (lastPost) { ASSERT_GE(now - *lastPost, AlertPolicy::spacing) << "posted too soon; " << where(); }
        if (wokeAt) { ASSERT_GE(now - *wokeAt, AlertPolicy::afterWake) << "posted too soon after a wake; " << where(); }
        const bool known = std::find(before.waiting.begin(), before.waiting.end(), out) != before.waiting.end() ||
                           std::find(report.raised.begin(), report.raised.end(), out) != report.raised.end();
        ASSERT_TRUE(known) << "posted an alert nobody raised; " << where();
        lastPost = now;
      }

      // Every few ticks, what changed since the last look goes through its stored form.
      if (tick % kRoundTripEvery == 0) {
        expectStatesRoundTrip(monitor->state(), seen);
        if (HasFatalFailure()) {
          ADD_FAILURE() << where();
          return;
        }
        seen = monitor->state();
      }

      // A restart: everything written, read back, and ticking goes on from it.
      if (tick % kRestartEvery == kRestartEvery - 1) {
        monitor->save(store, now, true);
        auto restarted = std::make_unique<Monitor>(battery, battery, monitor->calendar());
        restarted->load(store);
        ASSERT_TRUE(damaged.empty()) << damaged.front() << "; " << where();
        const MonitorState kept = withWidgetInWholeSeconds(monitor->state());
        ASSERT_TRUE(restarted->state() == kept)
            << "a restart changed" << differences(restarted->state(), kept) << "; " << where();
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

// Found with seed 1: the clock goes back a day after midnight, and the
// ledger books the hours that follow into a new record of the earlier day.
// That record must come back after a restart like any other.
TEST_F(MonitorProperty, ADayBookedAgainAfterTheClockWentBackSurvivesARestart) {
  RandomBattery battery;
  battery.reading = batterycore::testing::reading(90, true, false, LimitState::on(80));
  Monitor monitor(battery, battery, Calendar::utc());
  const Date evening = *batterycore::parseIso8601("2026-03-05T23:40:00Z");
  const Date noonBefore = *batterycore::parseIso8601("2026-03-05T12:00:00Z");
  for (const Date now : {evening, evening + Seconds{600}, evening + Seconds{1200}, evening + Seconds{1800},
                         noonBefore, noonBefore + Seconds{600}}) {
    battery.reading->at = now;
    (void)monitor.tick(now);
  }
  const auto& days = monitor.state().highCharge.days;
  ASSERT_EQ(days.size(), 3u);
  EXPECT_EQ(days.back().day, "2026-03-05");

  StateStore store(folder_, {}, false);
  monitor.save(store, noonBefore + Seconds{600}, true);
  EXPECT_EQ(batterycore::encode(Monitor::readState(store).highCharge).dump(),
            batterycore::encode(monitor.state().highCharge).dump());
}

// The alerts list is saved as soon as the person empties it, not only at
// shutdown.
TEST_F(MonitorProperty, AnEmptiedAlertsListIsSavedAtTheNextSave) {
  RandomBattery battery;
  battery.reading = batterycore::testing::reading(60, true, true, LimitState::on(80));
  const Date noon = *batterycore::parseIso8601("2026-03-05T12:00:00Z");
  {
    StateStore store(folder_, {}, false);
    store.save("alerts", std::vector<BatteryAlert>{{BatteryAlert::Kind::limitTurnedOn, noon - Seconds{3600},
                                                    "Charge limit back on", "Kestrin put it back on.", std::nullopt}});
  }
  StateStore store(folder_, {}, false);
  Monitor monitor(battery, battery, Calendar::utc());
  monitor.load(store);
  ASSERT_EQ(monitor.state().alerts.size(), 1u);
  battery.reading->at = noon;
  (void)monitor.tick(noon);
  monitor.save(store, noon);
  ASSERT_EQ(Monitor::readState(store).alerts.size(), 1u);

  monitor.clearAlerts();
  (void)monitor.tick(noon + Seconds{60});
  monitor.save(store, noon + Seconds{60});
  EXPECT_TRUE(Monitor::readState(store).alerts.empty()) << "emptied, and saved at once";
}

// A health sample (one a day) is saved with the next save, not only at shutdown.
TEST_F(MonitorProperty, ANewHealthSampleIsSavedAtTheNextSave) {
  RandomBattery battery;
  battery.reading = batterycore::testing::reading(60, true, true, LimitState::on(80));
  battery.reading->designCapacity = 5000;
  battery.reading->fullChargeCapacity = 4600;
  StateStore store(folder_, {}, false);
  Monitor monitor(battery, battery, Calendar::utc());
  monitor.load(store);
  const Date noon = *batterycore::parseIso8601("2026-03-05T12:00:00Z");
  for (const Date now : {noon, noon + Seconds{24 * 3600}, noon + Seconds{48 * 3600}}) {
    battery.reading->at = now;
    (void)monitor.tick(now);
    monitor.save(store, now);
    EXPECT_EQ(Monitor::readState(store).health, monitor.state().health) << batterycore::toIso8601(now);
  }
  EXPECT_EQ(monitor.state().health.size(), 3u);
}

// The ledger learns every unplug; the tick before it is saved with the
// ledger, so a service killed right after an unplug does not learn it again
// from a saved tick that was still plugged in.
TEST_F(MonitorProperty, AnUnplugIsLearnedOnceAcrossAKillRightAfterIt) {
  RandomBattery battery;
  battery.reading = batterycore::testing::reading(80, true, false, LimitState::on(80));
  const Date morning = *batterycore::parseIso8601("2026-03-05T08:00:00Z");
  {
    StateStore store(folder_, {}, false);
    Monitor monitor(battery, battery, Calendar::utc());
    monitor.load(store);
    for (const auto& [seconds, plugged] : {std::pair{0, true}, {60, true}, {120, false}}) {
      battery.reading->at = morning + Seconds{double(seconds)};
      battery.reading->pluggedIn = plugged;
      (void)monitor.tick(battery.reading->at);
      monitor.save(store, battery.reading->at);
      store.commit();
    }
    ASSERT_EQ(monitor.state().departures.unplugs.size(), 1u);
  }  // killed: nothing more is saved
  StateStore store(folder_, {}, false);
  Monitor monitor(battery, battery, Calendar::utc());
  monitor.load(store);
  battery.reading->at = morning + Seconds{180.0};
  (void)monitor.tick(battery.reading->at);
  EXPECT_EQ(monitor.state().departures.unplugs.size(), 1u);
}

// Plugged in above 80% with the limit off, nothing but the time above 80%
// changes: the widget gets the new figure once the throttle has passed, not
// only at the two-hour heartbeat.
TEST_F(MonitorProperty, TheWidgetGetsNewWordingAfterTheThrottle) {
  RandomBattery battery;
  battery.reading = batterycore::testing::reading(95, true, false, LimitState::off());
  Monitor monitor(battery, battery, Calendar::utc());
  const Date noon = *batterycore::parseIso8601("2026-03-05T12:00:00Z");
  std::vector<widget::WidgetSnapshot> written;
  for (int minute = 0; minute <= 120; ++minute) {
    battery.reading->at = noon + Seconds{60.0 * minute};
    if (auto report = monitor.tick(battery.reading->at); report.widgetWritten) {
      written.push_back(*report.widgetWritten);
    }
  }
  ASSERT_GE(written.size(), 2u);
  EXPECT_NE(written[1].highCharge, written[0].highCharge);
  for (std::size_t i = 1; i < written.size(); ++i) {
    EXPECT_GE(written[i].at - written[i - 1].at, widget::WidgetSnapshot::throttle);
  }
}

}  // namespace
}  // namespace kestrin::app
