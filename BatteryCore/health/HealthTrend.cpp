#include "BatteryCore/health/HealthTrend.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace batterycore::HealthTrend {

namespace {

constexpr double kSecondsPerDay = 86400.0;
constexpr double kPercent = 100.0;
// Half of the seven-sample smoothing window.
constexpr std::size_t kSmoothingReach = 3;
// Health is a ratio of whole mAh, so a line that falls exactly one point, or
// ends exactly at 80%, comes out of the fit a few units in the last place
// off. Comparisons allow for that much and no more.
constexpr double kRoundingSlack = 1e-9;

double health(const Sample& sample) {
  return static_cast<double>(sample.fullChargeCapacity) / static_cast<double>(sample.designCapacity) *
         kPercent;
}

struct FitPoint {
  double x;  // days since the window start
  double y;  // health in percent, unrounded
};

Date windowStart(Date now, const Calendar& calendar) {
  try {
    return calendar.addingDays(now, -windowDays);
  } catch (const std::runtime_error&) {
    return now;
  }
}

std::vector<FitPoint> usablePoints(const std::vector<Sample>& samples, Date start,
                                   const Calendar& calendar) {
  std::vector<FitPoint> points;
  for (const Sample& sample : samples) {
    const auto at = date(sample.day, calendar);
    if (!at || *at <= start || sample.designCapacity < 1) continue;
    points.push_back({(*at - start).count() / kSecondsPerDay, health(sample)});
  }
  return points;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}

}  // namespace

Sample::Sample(std::string day, int fullChargeCapacity, int designCapacity, int cycleCount)
    : day(std::move(day)),
      fullChargeCapacity(fullChargeCapacity),
      designCapacity(designCapacity),
      cycleCount(cycleCount) {}

Sample::Sample(const BatterySnapshot& snapshot, const Calendar& calendar)
    : Sample(calendar.dayKey(snapshot.at), snapshot.fullChargeCapacity, snapshot.designCapacity,
             snapshot.cycleCount) {}

Json Sample::toJson() const {
  Json json = Json::object();
  put(json, "day", day);
  put(json, "fullChargeCapacity", fullChargeCapacity);
  put(json, "designCapacity", designCapacity);
  put(json, "cycleCount", cycleCount);
  return json;
}

Sample Sample::fromJson(const Json& json) {
  return Sample(required<std::string>(json, "day"), required<int>(json, "fullChargeCapacity"),
                required<int>(json, "designCapacity"), required<int>(json, "cycleCount"));
}

std::optional<int> healthPercent(const Sample& sample) {
  if (sample.designCapacity < 1) return std::nullopt;
  return static_cast<int>(std::lround(health(sample)));
}

bool shouldSample(const std::optional<Sample>& last, Date now, const Calendar& calendar) {
  return !last || last->day != calendar.dayKey(now);
}

std::optional<Date> date(std::string_view day, const Calendar& calendar) {
  return calendar.startOfDay(day);
}

std::vector<Point> smoothed(const std::vector<Sample>& samples) {
  std::vector<double> values;
  values.reserve(samples.size());
  for (const Sample& sample : samples) {
    values.push_back(sample.designCapacity >= 1 ? health(sample) : 0.0);
  }
  std::vector<Point> points;
  points.reserve(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::size_t first = std::max(i, kSmoothingReach) - kSmoothingReach;
    const std::size_t last = std::min(i + kSmoothingReach, samples.size() - 1);
    const std::vector<double> window(values.begin() + static_cast<std::ptrdiff_t>(first),
                                     values.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    points.push_back({samples[i].day, median(window)});
  }
  return points;
}

int daysInWindow(const std::vector<Sample>& samples, Date now, const Calendar& calendar) {
  return static_cast<int>(usablePoints(samples, windowStart(now, calendar), calendar).size());
}

std::optional<Projection> projection(const std::vector<Sample>& samples, Date now,
                                     const Calendar& calendar) {
  const Date start = windowStart(now, calendar);
  const auto points = usablePoints(samples, start, calendar);
  if (points.size() < static_cast<std::size_t>(minimumSamples)) return std::nullopt;

  // Two passes, centred on the means: summing raw squares of x near 180 loses
  // the small differences the slope is made of.
  const double n = static_cast<double>(points.size());
  double sumX = 0;
  double sumY = 0;
  for (const FitPoint& p : points) {
    sumX += p.x;
    sumY += p.y;
  }
  const double meanX = sumX / n;
  const double meanY = sumY / n;
  double sxx = 0;
  double sxy = 0;
  double smallestX = points.front().x;
  double largestX = points.front().x;
  for (const FitPoint& p : points) {
    sxx += (p.x - meanX) * (p.x - meanX);
    sxy += (p.x - meanX) * (p.y - meanY);
    smallestX = std::min(smallestX, p.x);
    largestX = std::max(largestX, p.x);
  }
  if (!(sxx > 0)) return std::nullopt;

  const double slope = sxy / sxx;  // points per day
  if (-(slope * (largestX - smallestX)) < minimumFall - kRoundingSlack) return std::nullopt;

  const double xNow = (now - start).count() / kSecondsPerDay;
  const double fittedNow = meanY + slope * (xNow - meanX);
  if (!(fittedNow > serviceThreshold + kRoundingSlack)) return std::nullopt;

  const double slopePerMonth = slope * daysPerMonth;
  return Projection{(fittedNow - serviceThreshold) / -slopePerMonth, slopePerMonth,
                    static_cast<int>(points.size())};
}

}  // namespace batterycore::HealthTrend
