// RandomReadings: a seeded, reproducible stream of (time, battery reading)
// pairs for property tests, and the seeds to run them with.
//
//   for (const auto seed : testing::propertySeeds()) {
//     SCOPED_TRACE(testing::rerunNote(seed));   // "seed 7; rerun with KESTRIN_SEED=7"
//     testing::RandomReadings stream(seed);
//     for (int i = 0; i < 5000; ++i) {
//       const auto tick = stream.next();        // tick.now, tick.reading (reading.at == tick.now)
//       ...
//     }
//   }
//
// The battery wanders the way a laptop's does (charging fills it, battery
// drains it, the charger comes and goes, the limit is switched and moved,
// the Mac warms up) with now and then a reading out of nowhere. The clock
// mostly steps 1 to 10 minutes (or as a ClockMix says); sometimes it goes
// back, repeats a moment exactly, lands on a threshold (60 s, 120 s, 600 s,
// 3900 s and a hair either side) or jumps hours, days or weeks ahead.
// Moments are whole milliseconds, so they survive the millisecond-precise
// dates of the persisted records unchanged.
//
// KESTRIN_SEED=N runs one seed only; otherwise a fixed list plus one seed
// new to each run. A seed replays the same stream with the same standard
// library (the distributions are the library's own).
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/readings/Adapter.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace batterycore::testing {

// How often the clock does something other than a plain step. The rest of
// the time it steps 1 to 10 minutes, or as far as set here.
struct ClockMix {
  std::int64_t shortestStepMillis = 60'000;
  std::int64_t longestStepMillis = 600'000;

  double backwards = 0.02;  // 1 s to 2 days back
  double repeat = 0.02;     // the same moment again
  double edge = 0.02;       // a step right on or next to a threshold
  double hours = 0.01;      // 66 minutes to 12 hours ahead
  double days = 0.005;      // 1 to 6 days ahead
  double weeks = 0.002;     // 1 to 8 weeks ahead
};

// The seed named by KESTRIN_SEED, or the first `fixed` seeds of the fixed
// list and one fresh seed.
inline std::vector<std::uint64_t> propertySeeds(std::size_t fixed = 3) {
  if (const char* text = std::getenv("KESTRIN_SEED"); text != nullptr && *text != '\0') {
    char* end = nullptr;
    const auto seed = std::strtoull(text, &end, 10);
    if (end == nullptr || *end != '\0') {
      throw std::invalid_argument(std::string("KESTRIN_SEED is not a number: ") + text);
    }
    return {seed};
  }
  static constexpr std::array<std::uint64_t, 3> kFixed{1, 20260302, 987654321};
  std::vector<std::uint64_t> seeds(kFixed.begin(),
                                   kFixed.begin() + static_cast<std::ptrdiff_t>(std::min(fixed, kFixed.size())));
  std::random_device device;
  seeds.push_back((static_cast<std::uint64_t>(device()) << 32) ^ device());
  return seeds;
}

inline std::string rerunNote(std::uint64_t seed) {
  return "seed " + std::to_string(seed) + "; rerun with KESTRIN_SEED=" + std::to_string(seed);
}

struct RandomTick {
  Date now;
  BatterySnapshot reading;  // taken at `now`
};

class RandomReadings {
 public:
  // Starts somewhere in 2024 to 2027, picked by the seed.
  explicit RandomReadings(std::uint64_t seed, ClockMix mix = {})
      : engine_(seed), mix_(mix), reading_(initialReading()) {
    constexpr std::int64_t kFirst = 1704067200000;  // 2024-01-01T00:00:00Z
    constexpr std::int64_t kSpan = 4LL * 365 * 24 * 3600 * 1000;
    millis_ = kFirst + between<std::int64_t>(0, kSpan / 1000) * 1000;
  }

  std::mt19937_64& engine() { return engine_; }
  bool chance(double p) { return std::bernoulli_distribution(p)(engine_); }
  template <class T>
  T between(T low, T high) {  // both ends included
    return std::uniform_int_distribution<T>(low, high)(engine_);
  }
  template <class T, std::size_t N>
  const T& pick(const std::array<T, N>& values) {
    return values[between<std::size_t>(0, N - 1)];
  }

  // The moment of the last tick (the start before the first).
  Date now() const { return dateFromSecondsSince1970(static_cast<double>(millis_) / 1000.0); }

  // Moves the clock and returns the new moment; the reading stays as it was.
  Date nextTime() {
    millis_ += stepMillis();
    return now();
  }

  RandomTick next() {
    const Date at = nextTime();
    wander();
    reading_.at = at;
    return {at, reading_};
  }

 private:
  static BatterySnapshot initialReading() {
    return BatterySnapshot(Date{}, 60, true, false, false, std::nullopt, std::nullopt, LimitState::on(80), 0, 0, 0,
                           ThermalLevel::nominal, 4600, 4700, 5000, 2800, 120, 1000, 12500, 0);
  }

  std::int64_t stepMillis() {
    constexpr std::int64_t kSecond = 1000;
    constexpr std::int64_t kMinute = 60 * kSecond;
    constexpr std::int64_t kHour = 60 * kMinute;
    constexpr std::int64_t kDay = 24 * kHour;
    static constexpr std::array<std::int64_t, 9> kEdges{59'999, 60'000, 119'999, 120'000, 599'999,
                                                        600'000, 3'899'999, 3'900'000, 3'900'001};
    double roll = std::uniform_real_distribution<double>(0, 1)(engine_);
    const auto within = [&roll](double p) {
      roll -= p;
      return roll < 0;
    };
    if (within(mix_.backwards)) return -between<std::int64_t>(kSecond, 2 * kDay);
    if (within(mix_.repeat)) return 0;
    if (within(mix_.edge)) return pick(kEdges);
    if (within(mix_.hours)) return between<std::int64_t>(66 * kMinute, 12 * kHour);
    if (within(mix_.days)) return between<std::int64_t>(kDay, 6 * kDay);
    if (within(mix_.weeks)) return between<std::int64_t>(7 * kDay, 56 * kDay);
    // Mostly whole seconds, now and then a clock with a fraction.
    const std::int64_t step = between(mix_.shortestStepMillis, mix_.longestStepMillis);
    return chance(0.9) ? std::max<std::int64_t>(kSecond, step / kSecond * kSecond) : step;
  }

  LimitState randomLimit() {
    static constexpr std::array<int, 10> kPercents{50, 55, 60, 70, 75, 80, 85, 90, 95, 100};
    switch (between(0, 9)) {
      case 0: return LimitState::off();
      case 1:
      case 2: return LimitState::off(pick(kPercents));
      case 3: return LimitState::unavailable("not supported on this Mac");
      default: return LimitState::on(pick(kPercents));
    }
  }

  std::optional<int> sometimes(int low, int high) {
    if (chance(0.2)) return std::nullopt;
    return between(low, high);
  }

  void wander() {
    BatterySnapshot& r = reading_;
    if (chance(0.02)) r.pluggedIn = !r.pluggedIn;
    if (chance(0.04)) r.charging = !r.charging;
    if (!r.pluggedIn && chance(0.9)) r.charging = false;  // mostly, not always
    if (chance(0.015)) r.limit = randomLimit();

    if (chance(0.01)) {
      r.percent = between<std::int64_t>(0, 100);  // out of nowhere
    } else if (r.charging) {
      r.percent += between<std::int64_t>(0, 2);
    } else if (!r.pluggedIn) {
      r.percent -= between<std::int64_t>(0, 2);
    } else if (chance(0.2)) {
      r.percent += between<std::int64_t>(-1, 1);
    }
    r.percent = std::clamp<std::int64_t>(r.percent, 0, 100);
    r.fullyCharged = r.percent == 100 && r.pluggedIn && !r.charging;

    if (chance(0.03)) r.thermal = static_cast<ThermalLevel>(between(0, 3));
    if (chance(0.01)) r.thermallyLimitedSeconds = between(0, 900);
    if (chance(0.02)) r.notChargingReason = chance(0.5) ? 0 : between<std::uint64_t>(1, 1u << 24);
    if (chance(0.02)) r.slowChargingReason = chance(0.5) ? 0 : between<std::uint64_t>(1, 1u << 16);

    // Capacities drift slowly; a gauge that cannot say reads 0.
    if (chance(0.01)) r.fullChargeCapacity = chance(0.05) ? 0 : between(3000, 5400);
    if (chance(0.01)) r.nominalChargeCapacity = chance(0.05) ? 0 : between(3000, 5500);
    if (chance(0.003)) r.designCapacity = chance(0.1) ? 0 : between(4000, 6000);
    if (chance(0.001)) r.cycleCount += between(0, 3);
    r.remainingCapacity = static_cast<int>(r.fullChargeCapacity * r.percent / 100);
    r.voltageMilliV = between(11000, 13100);

    const int load = between(2000, 60000);
    const int intoBattery = r.charging ? between(500, 90000) : (r.pluggedIn ? 0 : -load);
    r.amperageMilliA = intoBattery * 1000 / std::max(r.voltageMilliV, 1);
    r.batteryPowerMilliW = chance(0.1) ? std::nullopt : std::optional(intoBattery);
    r.systemLoadMilliW = chance(0.1) ? std::nullopt : std::optional(load);
    r.systemPowerInMilliW = r.pluggedIn ? sometimes(0, 140000) : std::optional(0);
    r.minutesToEmpty = r.pluggedIn ? std::nullopt : sometimes(0, 900);
    r.minutesToFull = r.charging ? sometimes(0, 300) : std::nullopt;

    if (!r.pluggedIn) {
      r.adapter.reset();
    } else if (!r.adapter || chance(0.01)) {
      static constexpr std::array<int, 7> kWatts{0, 5, 20, 30, 67, 96, 140};
      r.adapter = Adapter{pick(kWatts), chance(0.5) ? std::optional<std::string>("USB-C Power Adapter") : std::nullopt,
                          chance(0.1)};
    }
  }

  std::mt19937_64 engine_;
  ClockMix mix_;
  BatterySnapshot reading_;
  std::int64_t millis_ = 0;
};

}  // namespace batterycore::testing
