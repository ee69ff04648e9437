// The alert policy and the limit watchdog over long random streams, the clock
// now and then set back, repeated or landing right on a threshold.
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include "tests/common/RandomReadings.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

using namespace std::chrono_literals;
using Kind = BatteryAlert::Kind;
using testing::RandomReadings;

constexpr int kSteps = 20000;

bool contains(const std::vector<BatteryAlert>& alerts, const BatteryAlert& alert) {
  return std::find(alerts.begin(), alerts.end(), alert) != alerts.end();
}

// Calls `filter` with random alerts, wakes and switches; checks every call.
void runPolicy(std::uint64_t seed) {
  // Ticks seconds apart, so that the minute between notifications and the
  // two minutes after a wake are what holds them back.
  RandomReadings stream(seed, testing::ClockMix{.shortestStepMillis = 1'000, .longestStepMillis = 90'000});
  AlertPolicy policy;
  std::array<bool, BatteryAlert::allCases.size()> switches{};
  for (auto& on : switches) on = stream.chance(0.8);
  const auto enabled = [&switches](Kind kind) { return switches[static_cast<std::size_t>(kind)]; };
  std::optional<Date> wokeAt;
  std::optional<Date> lastPost;
  std::map<Kind, Date> lastPostOf;
  int serial = 0;
  int posts = 0;

  for (int step = 0; step < kSteps; ++step) {
    const Date now = stream.nextTime();
    if (stream.chance(0.02)) wokeAt = now - Seconds{stream.between(0, 200)};
    if (stream.chance(0.01)) wokeAt.reset();
    if (stream.chance(0.005)) {
      auto& on = switches[stream.between<std::size_t>(0, switches.size() - 1)];
      on = !on;
    }
    std::vector<BatteryAlert> alerts;
    while (alerts.size() < 4 && stream.chance(alerts.empty() ? 0.3 : 0.4)) {
      alerts.push_back({stream.pick(BatteryAlert::allCases), now, "title", std::to_string(++serial), std::nullopt});
    }
    const AlertPolicy before = policy;
    const auto posted = policy.filter(alerts, now, wokeAt, enabled);
    SCOPED_TRACE("step " + std::to_string(step) + " at " + toIso8601(now));

    ASSERT_LE(posted.size(), 1u);
    if (!posted.empty()) {
      const BatteryAlert& out = posted.front();
      ++posts;
      ASSERT_TRUE(AlertPolicy::notifies(out.kind));
      if (lastPost) { ASSERT_GE(now - *lastPost, AlertPolicy::spacing) << "posted too soon"; }
      if (wokeAt) { ASSERT_GE(now - *wokeAt, AlertPolicy::afterWake) << "posted too soon after a wake"; }
      ASSERT_TRUE(contains(before.waiting, out) || contains(alerts, out));
      if (!before.waiting.empty()) { ASSERT_EQ(out.kind, before.waiting.front().kind) << "first in, first out"; }
      // The cooldown is checked when an alert comes in, whatever the clock did while it waited.
      if (lastPostOf.contains(out.kind)) { ASSERT_GE(out.at - lastPostOf[out.kind], AlertPolicy::cooldown(out.kind)); }
      lastPostOf[out.kind] = now;
      lastPost = now;
    }
    // The queue: one per kind, never a list-only kind.
    std::array<int, BatteryAlert::allCases.size()> perKind{};
    for (const auto& w : policy.waiting) {
      ASSERT_TRUE(AlertPolicy::notifies(w.kind));
      ASSERT_EQ(++perKind[static_cast<std::size_t>(w.kind)], 1) << "two waiting alerts of one kind";
    }
    const auto taken = [&](const BatteryAlert& a) { return contains(policy.waiting, a) || contains(posted, a); };
    // Nothing is lost: what waited still waits, left, or gave way to a newer one of its kind.
    for (const auto& w : before.waiting) {
      const bool replaced = std::any_of(alerts.begin(), alerts.end(),
                                        [&](const BatteryAlert& a) { return a.kind == w.kind && taken(a); });
      ASSERT_TRUE(replaced || taken(w)) << w.body << " vanished";
    }
    // A kind that is on and never went out is taken in, unless a later one of its kind in the batch is.
    for (std::size_t i = 0; i < alerts.size(); ++i) {
      const auto& a = alerts[i];
      if (!AlertPolicy::notifies(a.kind) || !enabled(a.kind) || before.lastPosted.contains(a.kind)) continue;
      const bool later = std::any_of(alerts.begin() + static_cast<std::ptrdiff_t>(i) + 1, alerts.end(),
                                     [&](const BatteryAlert& b) { return b.kind == a.kind; });
      ASSERT_TRUE(later || taken(a)) << a.body << " was dropped";
    }
    if (step % 97 == 0) { ASSERT_EQ(AlertPolicy::fromJson(policy.toJson()), policy); }
  }
  EXPECT_GT(posts, 100) << "the stream hardly posted anything";
}

TEST(AlertPolicyProperty, PacesEveryRandomStreamAndLosesNothing) {
  for (const auto seed : testing::propertySeeds()) {
    SCOPED_TRACE(testing::rerunNote(seed));
    runPolicy(seed);
    if (HasFailure()) return;
  }
}

// An episode is a run of readings that overshoot: the limit on, the battery
// charging on power at least 3 points above it, and the charge not ours. Any
// other reading ends it; a new limit value that is still overshot does not.
void runWatchdog(std::uint64_t seed) {
  RandomReadings stream(seed);
  LimitWatchdog watchdog;
  bool ours = false;
  std::optional<Date> episodeStart;
  bool alerted = false;
  int alertedEpisodes = 0;

  for (int step = 0; step < kSteps; ++step) {
    const auto [now, reading] = stream.next();
    if (stream.chance(ours ? 0.05 : 0.005)) ours = !ours;  // now and then a full charge of our own
    if (stream.chance(0.005)) {  // a restart: the state goes through its stored form
      const auto restored = LimitWatchdog::fromJson(watchdog.toJson());
      ASSERT_EQ(restored, watchdog) << "step " << step;
      watchdog = restored;
    }
    const auto limit = reading.limit.active();
    const bool over = !ours && limit && reading.pluggedIn && reading.charging && reading.percent >= *limit + 3;
    if (!over) {
      episodeStart.reset();
      alerted = false;
    } else if (!episodeStart) {
      episodeStart = now;
    }
    const auto result = LimitWatchdog::step(watchdog, reading, ours, now);
    watchdog = result.next;
    SCOPED_TRACE("step " + std::to_string(step) + " at " + toIso8601(now) + ", state " + watchdog.toJson().dump());

    ASSERT_LE(result.alerts.size(), 1u);
    if (!over) {
      ASSERT_TRUE(result.alerts.empty());
      ASSERT_FALSE(watchdog.state.since()) << "an episode outlived its overshoot";
      continue;
    }
    const bool due = now - *episodeStart >= LimitWatchdog::persistFor;
    if (!result.alerts.empty()) {
      ASSERT_FALSE(alerted) << "a second alert in one episode";
      ASSERT_TRUE(due) << "an alert before ten minutes of overshoot";
      ASSERT_EQ(result.alerts.front().kind, Kind::limitNotHolding);
      ASSERT_EQ(result.alerts.front().at, now);
      alerted = true;
      ++alertedEpisodes;
    }
    if (due) { ASSERT_TRUE(alerted) << "ten minutes of overshoot went by without an alert"; }
    ASSERT_EQ(watchdog.state, alerted ? LimitWatchdog::Verdict::notHolding(*episodeStart)
                                      : LimitWatchdog::Verdict::overshootSuspected(*episodeStart));
  }
  EXPECT_GT(alertedEpisodes, 10);
}

TEST(LimitWatchdogProperty, AlertsOncePerEpisodeOfOvershootAfterTenMinutes) {
  for (const auto seed : testing::propertySeeds()) {
    SCOPED_TRACE(testing::rerunNote(seed));
    runWatchdog(seed);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace batterycore
