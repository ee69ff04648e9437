// The alert policy and the limit watchdog over long random streams.
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

constexpr int kPolicySteps = 20000;
constexpr int kWatchdogSteps = 20000;

std::string describe(const std::vector<BatteryAlert>& alerts) {
  std::string text = "[";
  for (const auto& a : alerts) text += " " + a.body;
  return text + " ]";
}

bool contains(const std::vector<BatteryAlert>& alerts, const BatteryAlert& alert) {
  return std::find(alerts.begin(), alerts.end(), alert) != alerts.end();
}

// Calls `filter` with random alerts, wakes and switches; checks every call.
void runPolicy(std::uint64_t seed) {
  // Ticks seconds apart, so that the minute between notifications and the
  // two minutes after a wake are what holds them back.
  testing::ClockMix mix;
  mix.shortestStepMillis = 1'000;
  mix.longestStepMillis = 90'000;
  RandomReadings stream(seed, mix);
  AlertPolicy policy;
  std::array<bool, BatteryAlert::allCases.size()> switches{};
  for (auto& on : switches) on = stream.chance(0.8);
  const auto enabled = [&switches](Kind kind) { return switches[static_cast<std::size_t>(kind)]; };

  std::optional<Date> wokeAt;
  std::optional<Date> lastPost;
  std::map<Kind, Date> lastPostOf;  // when each kind last went out
  int serial = 0;
  int posts = 0;

  for (int step = 0; step < kPolicySteps; ++step) {
    const Date now = stream.nextTime();
    if (stream.chance(0.02)) wokeAt = now - Seconds{stream.between(0, 200)};
    if (stream.chance(0.01)) wokeAt.reset();
    if (stream.chance(0.005)) {
      auto& on = switches[stream.between<std::size_t>(0, switches.size() - 1)];
      on = !on;
    }
    std::vector<BatteryAlert> alerts;
    while (alerts.size() < 4 && stream.chance(alerts.empty() ? 0.3 : 0.4)) {
      const Kind kind = stream.pick(BatteryAlert::allCases);
      alerts.push_back(BatteryAlert{kind, now, "title", std::to_string(++serial), std::nullopt});
    }

    const AlertPolicy before = policy;
    const auto posted = policy.filter(alerts, now, wokeAt, enabled);
    const auto where = [&] {
      return "step " + std::to_string(step) + " at " + toIso8601(now) + ", raised " + describe(alerts) +
             ", waiting before " + describe(before.waiting) + ", after " + describe(policy.waiting);
    };

    ASSERT_LE(posted.size(), 1u) << where();
    if (!posted.empty()) {
      const BatteryAlert& out = posted.front();
      ++posts;
      ASSERT_TRUE(AlertPolicy::notifies(out.kind)) << where();
      if (lastPost) { ASSERT_GE(now - *lastPost, AlertPolicy::spacing) << "posted too soon; " << where(); }
      if (wokeAt) { ASSERT_GE(now - *wokeAt, AlertPolicy::afterWake) << "posted too soon after a wake; " << where(); }
      ASSERT_TRUE(contains(before.waiting, out) || contains(alerts, out)) << where();
      if (!before.waiting.empty()) {
        ASSERT_EQ(out.kind, before.waiting.front().kind) << "first in, first out; " << where();
      }
      // The cooldown is checked when an alert comes in (here: when it was
      // raised), whatever the clock did while it waited.
      if (const auto last = lastPostOf.find(out.kind); last != lastPostOf.end()) {
        ASSERT_GE(out.at - last->second, AlertPolicy::cooldown(out.kind)) << where();
      }
      lastPostOf[out.kind] = now;
      lastPost = now;
    }

    // The queue: one per kind, never a list-only kind.
    std::array<int, BatteryAlert::allCases.size()> perKind{};
    for (const auto& w : policy.waiting) {
      ASSERT_TRUE(AlertPolicy::notifies(w.kind)) << where();
      ASSERT_EQ(++perKind[static_cast<std::size_t>(w.kind)], 1) << "two waiting alerts of one kind; " << where();
    }
    // Nothing is lost: what waited still waits, left, or gave way to a newer one of its kind.
    for (const auto& w : before.waiting) {
      const bool left = !posted.empty() && posted.front() == w;
      const bool replaced = std::any_of(alerts.begin(), alerts.end(), [&](const BatteryAlert& a) {
        return a.kind == w.kind && (contains(policy.waiting, a) || (!posted.empty() && posted.front() == a));
      });
      ASSERT_TRUE(left || replaced || contains(policy.waiting, w)) << w.body << " vanished; " << where();
    }
    // A kind that is on and never went out is always taken in (or gives way
    // to a later one of its kind in the same batch).
    for (std::size_t i = 0; i < alerts.size(); ++i) {
      const auto& a = alerts[i];
      if (!AlertPolicy::notifies(a.kind) || !enabled(a.kind) || before.lastPosted.contains(a.kind)) continue;
      const bool later = std::any_of(alerts.begin() + static_cast<std::ptrdiff_t>(i) + 1, alerts.end(),
                                     [&](const BatteryAlert& b) { return b.kind == a.kind; });
      const bool taken = contains(policy.waiting, a) || (!posted.empty() && posted.front() == a);
      ASSERT_TRUE(later || taken) << a.body << " was dropped; " << where();
    }
    if (step % 97 == 0) { ASSERT_EQ(AlertPolicy::fromJson(policy.toJson()), policy) << where(); }
  }
  EXPECT_GT(posts, 100) << "the stream hardly posted anything";

  // A quiet spell empties the queue, one alert a minute.
  Date t = std::max({stream.now(), lastPost.value_or(Date{}), wokeAt.value_or(Date{})}) + 2min;
  const std::size_t waiting = policy.waiting.size();
  for (std::size_t i = 0; i < waiting; ++i, t += AlertPolicy::spacing) {
    ASSERT_EQ(policy.filter({}, t, wokeAt, enabled).size(), 1u) << "quiet call " << i << " of " << waiting;
  }
  EXPECT_TRUE(policy.waiting.empty());
}

TEST(AlertPolicyProperty, PacesEveryRandomStreamAndLosesNothing) {
  for (const auto seed : testing::propertySeeds()) {
    SCOPED_TRACE(testing::rerunNote(seed));
    runPolicy(seed);
    if (HasFailure()) return;
  }
}

// An episode is a run of consecutive readings that overshoot: the limit is on,
// the battery charges on power at least 3 points above it, and the charge is
// not ours. Any other reading ends it; a new limit value that is still
// overshot does not.
bool overshoots(const BatterySnapshot& s, bool ours) {
  const auto limit = s.limit.active();
  return !ours && limit && s.pluggedIn && s.charging && s.percent >= *limit + 3;
}

void runWatchdog(std::uint64_t seed) {
  RandomReadings stream(seed);
  LimitWatchdog watchdog;
  bool ours = false;
  std::optional<Date> episodeStart;
  bool alerted = false;
  int episodes = 0;
  int alertedEpisodes = 0;

  for (int step = 0; step < kWatchdogSteps; ++step) {
    const auto [now, reading] = stream.next();
    // Now and then a full charge of our own, for a while.
    if (stream.chance(ours ? 0.05 : 0.005)) ours = !ours;
    // A restart: the state goes through its stored form.
    if (stream.chance(0.005)) {
      const auto restored = LimitWatchdog::fromJson(watchdog.toJson());
      ASSERT_EQ(restored, watchdog) << "step " << step;
      watchdog = restored;
    }
    const bool over = overshoots(reading, ours);
    if (!over) {
      episodeStart.reset();
      alerted = false;
    } else if (!episodeStart) {
      episodeStart = now;
      ++episodes;
    }

    const auto result = LimitWatchdog::step(watchdog, reading, ours, now);
    watchdog = result.next;
    const auto where = [&, now = now] {
      return "step " + std::to_string(step) + " at " + toIso8601(now) + ", episode since " +
             (episodeStart ? toIso8601(*episodeStart) : std::string("-")) + ", state " + watchdog.toJson().dump();
    };

    ASSERT_LE(result.alerts.size(), 1u) << where();
    const auto kind = watchdog.state.kind();
    if (!over) {
      ASSERT_TRUE(result.alerts.empty()) << where();
      ASSERT_NE(kind, LimitWatchdog::Verdict::Kind::overshootSuspected) << where();
      ASSERT_NE(kind, LimitWatchdog::Verdict::Kind::notHolding) << where();
      continue;
    }
    const bool due = now - *episodeStart >= LimitWatchdog::persistFor;
    if (!result.alerts.empty()) {
      ASSERT_FALSE(alerted) << "a second alert in one episode; " << where();
      ASSERT_TRUE(due) << "an alert before ten minutes of overshoot; " << where();
      ASSERT_EQ(result.alerts.front().kind, Kind::limitNotHolding) << where();
      ASSERT_EQ(result.alerts.front().at, now) << where();
      alerted = true;
      ++alertedEpisodes;
    }
    if (due) { ASSERT_TRUE(alerted) << "ten minutes of overshoot went by without an alert; " << where(); }
    ASSERT_EQ(watchdog.state, alerted ? LimitWatchdog::Verdict::notHolding(*episodeStart)
                                      : LimitWatchdog::Verdict::overshootSuspected(*episodeStart))
        << where();
  }
  EXPECT_GT(alertedEpisodes, 10) << "of " << episodes << " episodes";
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
