// HealthTrend: one battery-health sample per calendar day, the smoothed health
// curve of the chart, and the projection of when health reaches 80%, the point
// at which a battery service is recommended.
//
//   Sample s{"2026-03-05", 4600, 5000, 120};
//   HealthTrend::healthPercent(s) == 92                         // 4600 / 5000, rounded
//   HealthTrend::shouldSample(s, tenAmOnMarch5, calendar) == false   // one a day
//   // 30 daily samples up to today, falling evenly from 95% to 92%:
//   HealthTrend::projection(samples, now, calendar)->slopePerMonth   // about -3.15
//   HealthTrend::projection(samples, now, calendar)->monthsTo80      // about 3.8
//
// Pure functions over the array the application keeps; nothing here stores or
// trims it.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace batterycore::HealthTrend {

struct Sample {
  std::string day;  // day key "yyyy-MM-dd"
  int fullChargeCapacity = 0;  // mAh
  int designCapacity = 0;      // mAh; 0 or less: not reported
  int cycleCount = 0;

  Sample(std::string day, int fullChargeCapacity, int designCapacity, int cycleCount);
  // The sample of the reading's day.
  Sample(const BatterySnapshot& snapshot, const Calendar& calendar);

  friend bool operator==(const Sample&, const Sample&) = default;
  Json toJson() const;
  static Sample fromJson(const Json& json);
};

struct Point {
  std::string day;
  double percent = 0;  // smoothed health, unrounded

  friend bool operator==(const Point&, const Point&) = default;
};

struct Projection {
  double monthsTo80 = 0;
  double slopePerMonth = 0;  // points per month, negative when declining
  int basedOnDays = 0;

  friend bool operator==(const Projection&, const Projection&) = default;
};

// Days in an average month, to turn a per-day slope into a per-month one.
inline constexpr double daysPerMonth = 30.4375;
inline constexpr int windowDays = 180;
inline constexpr int minimumSamples = 30;
// The fitted line must fall at least this many points across its samples.
inline constexpr double minimumFall = 1.0;
inline constexpr double serviceThreshold = 80.0;

// Absent when the design capacity is not reported; otherwise full charge over
// design capacity in percent, rounded half away from zero.
std::optional<int> healthPercent(const Sample& sample);

// True when there is no sample yet or the last one is from another day.
bool shouldSample(const std::optional<Sample>& last, Date now, const Calendar& calendar);

// The start of the day a key names; absent when the key does not parse.
std::optional<Date> date(std::string_view day, const Calendar& calendar);

// The chart curve: the median of a centred window of up to seven samples,
// one point per sample. A sample without design capacity counts as 0%.
std::vector<Point> smoothed(const std::vector<Sample>& samples);

// How many samples a projection can use: those of the last 180 days with a
// readable day and a reported design capacity.
int daysInWindow(const std::vector<Sample>& samples, Date now, const Calendar& calendar);

// A least-squares line through the usable samples, projected to 80%. Absent
// with fewer than 30 samples, a line that falls less than one point across
// them, or a fitted health already at or below 80%.
std::optional<Projection> projection(const std::vector<Sample>& samples, Date now,
                                     const Calendar& calendar);

}  // namespace batterycore::HealthTrend
