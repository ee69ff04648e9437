#include "BatteryCore/health/BackgroundDrain.hpp"

#include "BatteryCore/text/MeaningEnergy.hpp"

#include <algorithm>

namespace batterycore {

namespace {

constexpr double kSecondsPerHour = 3600;

// The battery's energy when full, in joules; absent when not reported.
std::optional<double> fullJoules(const BatterySnapshot& snapshot) {
  if (snapshot.fullChargeCapacity <= 0 || snapshot.voltageMilliV <= 0) return std::nullopt;
  return static_cast<double>(snapshot.fullChargeCapacity) * snapshot.voltageMilliV / 1e6 * kSecondsPerHour;
}

BackgroundDrain::Window opening(const BatterySnapshot& snapshot, std::span<const ProcessSample> processes,
                                std::optional<double> packageJoules, Date now) {
  BackgroundDrain::Window window{now, BackgroundDrain::batteryLevel(snapshot), packageJoules, {}};
  for (const auto& process : processes) window.processes[process.pid] = {process.name, process.cpuSeconds};
  return window;
}

}  // namespace

double BackgroundDrain::batteryLevel(const BatterySnapshot& snapshot) {
  if (snapshot.fullChargeCapacity > 0 && snapshot.remainingCapacity > 0) {
    return 100.0 * snapshot.remainingCapacity / snapshot.fullChargeCapacity;
  }
  return static_cast<double>(snapshot.percent);
}

std::vector<BackgroundDrain::Share> BackgroundDrain::shares(const Window& window, const BatterySnapshot& snapshot,
                                                            std::span<const ProcessSample> processes,
                                                            std::optional<double> packageJoules, Date now) {
  const double elapsed = std::chrono::duration<double>(now - window.openedAt).count();
  if (elapsed <= 0) return {};

  // CPU time per program in the window; the kernel's threads as one.
  struct Use {
    double cpu = 0;
    bool foreground = false;
    bool kernel = false;
  };
  std::map<std::string, Use> uses;
  double busy = 0;
  for (const auto& process : processes) {
    const auto then = window.processes.find(process.pid);
    if (then == window.processes.end() || then->second.name != process.name) continue;
    const double cpu = std::max(0.0, process.cpuSeconds - then->second.cpuSeconds);
    auto& use = uses[process.kernel ? std::string() : process.name];
    use.cpu += cpu;
    use.foreground = use.foreground || process.foreground;
    use.kernel = process.kernel;
    busy += cpu;
  }
  if (busy <= 0) return {};

  const double discharge = std::max(0.0, window.batteryLevel - batteryLevel(snapshot));
  const auto full = fullJoules(snapshot);
  std::optional<double> package;
  if (packageJoules && window.packageJoules && *packageJoules >= *window.packageJoules) {
    package = *packageJoules - *window.packageJoules;  // a counter that wrapped says nothing
  }
  const double scale = std::chrono::duration<double>(BackgroundDrain::window).count() / elapsed;

  std::vector<Share> result;
  for (const auto& [name, use] : uses) {
    const double part = use.cpu / busy;
    double percent = part * discharge;
    std::optional<double> joules;
    if (package && full) {
      joules = part * *package;
      percent = *joules / *full * 100.0;
    } else if (full) {
      joules = percent / 100.0 * *full;
    }
    Share share{name, percent * scale, std::nullopt, use.foreground || use.kernel};
    if (joules) share.watts = *joules / elapsed;
    result.push_back(std::move(share));
  }
  std::stable_sort(result.begin(), result.end(),
                   [](const Share& a, const Share& b) { return a.batteryPercent > b.batteryPercent; });
  return result;
}

BackgroundDrain::Step BackgroundDrain::step(const BackgroundDrain& previous, const BatterySnapshot& snapshot,
                                            std::span<const ProcessSample> processes,
                                            std::optional<double> packageJoules, Date now, const Calendar& calendar) {
  Step step{previous, {}, {}};
  auto& next = step.next;
  const std::string today = calendar.dayKey(now);
  std::erase_if(next.alerted, [&](const auto& entry) { return entry.second != today; });

  if (snapshot.pluggedIn) {
    next.open.reset();
    return step;
  }
  if (!next.open || now < next.open->openedAt || now - next.open->openedAt > longestWindow) {
    next.open = opening(snapshot, processes, packageJoules, now);
    return step;
  }
  if (now - next.open->openedAt < window) return step;

  step.shares = shares(*next.open, snapshot, processes, packageJoules, now);
  for (const auto& share : step.shares) {
    if (share.foreground || share.batteryPercent <= alertAbovePercent || next.alerted.contains(share.name)) continue;
    next.alerted[share.name] = today;
    auto words = Meaning::drainAlert(share);
    step.alerts.push_back(BatteryAlert{BatteryAlert::Kind::backgroundDrain, now, std::move(words.title),
                                       std::move(words.simple), std::move(words.technical)});
  }
  next.open = opening(snapshot, processes, packageJoules, now);
  return step;
}

namespace {

Json windowJson(const BackgroundDrain::Window& window) {
  Json processes = Json::array();
  for (const auto& [pid, process] : window.processes) {
    processes.push_back(Json::array({pid, process.name, process.cpuSeconds}));
  }
  Json json = Json::object();
  put(json, "openedAt", window.openedAt);
  put(json, "batteryLevel", window.batteryLevel);
  putIfPresent(json, "packageJoules", window.packageJoules);
  json["processes"] = std::move(processes);
  return json;
}

BackgroundDrain::Window windowFromJson(const Json& json) {
  BackgroundDrain::Window window{required<Date>(json, "openedAt"), required<double>(json, "batteryLevel"),
                                 optional<double>(json, "packageJoules"), {}};
  const auto processes = valueOr<Json>(json, "processes", Json::array());
  if (!processes.is_array()) throw DecodingError("expected an array", "processes");
  for (const auto& entry : processes) {
    if (!entry.is_array() || entry.size() != 3 || !entry[0].is_number_integer() || !entry[1].is_string() ||
        !entry[2].is_number()) {
      throw DecodingError("expected [pid, name, cpu seconds]", "processes");
    }
    int pid = 0;
    try {
      pid = decode<int>(entry[0]);
    } catch (const DecodingError& error) {
      throw error.within("processes");
    }
    window.processes[pid] = {entry[1].get<std::string>(), entry[2].get<double>()};
  }
  return window;
}

}  // namespace

Json BackgroundDrain::toJson() const {
  Json json = Json::object();
  if (open) json["open"] = windowJson(*open);
  Json days = Json::object();
  for (const auto& [name, day] : alerted) days[name] = day;
  json["alerted"] = std::move(days);
  return json;
}

BackgroundDrain BackgroundDrain::fromJson(const Json& json) {
  BackgroundDrain drain;
  if (!json.is_object()) throw DecodingError("expected an object");
  if (const auto found = json.find("open"); found != json.end() && !found->is_null()) {
    try {
      drain.open = windowFromJson(*found);
    } catch (const DecodingError& error) {
      throw error.within("open");
    }
  }
  const auto days = valueOr<Json>(json, "alerted", Json::object());
  if (!days.is_object()) throw DecodingError("expected an object", "alerted");
  for (const auto& [name, day] : days.items()) {
    if (!day.is_string()) throw DecodingError("expected a day key", "alerted");
    drain.alerted[name] = day.get<std::string>();
  }
  return drain;
}

}  // namespace batterycore
