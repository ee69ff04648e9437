// SysfsLimit: the laptop battery's charge limit as the kernel's power-supply
// class offers it, switched on and off, never set to a value of its own.
//
//   SysfsLimit limit("/sys/class/power_supply/BAT0");
//   limit.kind();          // Kind::startAndEnd on a ThinkPad
//   limit.state();         // LimitState::on(80)
//   limit.switchOff();     // end 100, then start 99: charging begins now
//   limit.switchOn();      // start 75, then end 80: what was there before
//
// Drivers come in two kinds: an end threshold alone
// (charge_control_end_threshold), or a start threshold beside it
// (charge_control_start_threshold). Firmware that keeps a start of 75 does
// not charge a battery at 78% at all when only the end is raised, so "off"
// raises the end to 100 and the start to 99; "on" puts both back. The writes
// go in the order that keeps the start below the end at every moment, which
// some drivers insist on. Every write is read back: a driver that rounds or
// ignores a value is reported, never assumed. A threshold that reads as
// something other than a percentage (a driver bug) is told as unreadable and
// never written back.
#pragma once

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "app/LimitController.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace kestrin::app::live {

class SysfsLimit final : public LimitController {
 public:
  enum class Kind { none, endOnly, startAndEnd };

  // The battery's folder; none: a machine without a battery (no limit).
  explicit SysfsLimit(std::optional<std::filesystem::path> batteryFolder);

  Kind kind() const { return kind_; }
  // For the diagnostics: the kind, the files and what they hold now
  // ("start and end thresholds 75% and 80% (/sys/class/power_supply/BAT0)").
  std::string describe() const;

  // The limit as the files show it now.
  batterycore::LimitState state();
  std::optional<std::string> switchOn() override;
  std::optional<std::string> switchOff() override;

  // What switching on puts back: the thresholds last seen on or replaced. A
  // service keeps them between runs ({"restore": 80, "restoreStart": 75}),
  // so a limit switched off before a restart can still be put back.
  batterycore::Json kept() const;
  void keep(const batterycore::Json& kept);

 private:
  std::optional<std::string> write(const std::filesystem::path& file, int value) const;
  std::filesystem::path endFile() const;
  std::filesystem::path startFile() const;

  std::optional<std::filesystem::path> folder_;
  Kind kind_ = Kind::none;
  std::optional<int> end_;    // the end threshold to put back
  std::optional<int> start_;  // the start threshold to put back
};

}  // namespace kestrin::app::live
