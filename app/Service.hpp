// Service: Kestrin running on a machine, built from that machine's Platform.
// It keeps the states in a folder, ticks the monitor, writes the widget,
// answers the control, shows the alerts, follows the time zone and writes
// the metrics; the platform brings the battery and everything else it reads.
//
//   app::Service service(std::move(platform), {.stateFolder = folder, .metrics = "kestrin.prom"});
//   applyLanguage(service.storedSettings().locale);   // before the first text is worded
//   service.run(stopRequested);                        // returns after a stop, every state saved
//
// A full disk or a read-only folder does not stop it: it keeps its states in
// memory, says so once, and writes them when it can again.
#pragma once

#include "BatteryCore/supervision/Attention.hpp"
#include "app/Metrics.hpp"
#include "app/Monitor.hpp"
#include "app/Platform.hpp"
#include "app/Settings.hpp"
#include "app/StateStore.hpp"
#include "app/Watch.hpp"

#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace kestrin::app {

struct ServiceOptions {
  std::filesystem::path stateFolder;
  // Time between ticks; absent: the setting, which may change while it runs.
  std::optional<batterycore::Seconds> interval;
  // Prometheus metrics written after every tick; empty: none.
  std::filesystem::path metrics;
  // Every log line is also shown here (a terminal); none: the log only.
  std::function<void(std::string_view)> echo;
  // The states' problems (a damaged file moved aside) are also said here.
  std::function<void(std::string_view)> problems;
};

class Service {
 public:
  Service(Platform platform, ServiceOptions options);
  Service(const Service&) = delete;  // the monitor and the hooks point into it
  Service& operator=(const Service&) = delete;

  // The settings as stored before the start (their language is chosen
  // before anything is worded).
  const Settings& storedSettings() const { return stored_; }

  // Builds the monitor and loads its states; run and tick do it when needed.
  void start();
  // Ticks until `stop` is set; every state saved before it returns.
  void run(const volatile std::sig_atomic_t& stop);
  // One tick at `now`, as the loop makes it.
  TickReport tick(batterycore::Date now);

  Monitor& monitor() { return *monitor_; }
  const Platform& platform() const { return platform_; }

 private:
  void note(std::string_view line, bool warning = false) const;
  void show(const std::vector<batterycore::BatteryAlert>& alerts);
  void writeMetrics(const TickReport& report, batterycore::Date now);

  Platform platform_;
  ServiceOptions options_;
  StateStore store_;
  Settings stored_;
  std::unique_ptr<Monitor> monitor_;
  std::unique_ptr<Watch> watch_;
  AlertCounts posted_;
  std::optional<batterycore::Attention::Tone> tone_;
  bool metricsFailed_ = false;
};

}  // namespace kestrin::app
