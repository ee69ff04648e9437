// The service's platform on a Mac: the AppleSmartBattery registry entry for
// the battery, pmset's log for calibration. macOS offers no public call to
// switch its charge limit, so the limit is read where the battery shows it
// and switching it is refused with the words that send the person to System
// Settings, as the charge-limit control shows a refusal.
#ifdef __APPLE__

#include "app/live/Platforms.hpp"

#include "BatteryCore/health/ChargerReason.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "app/live/AppleSmartBattery.hpp"
#include "app/live/PowerLog.hpp"
#include "app/live/SystemClock.hpp"

namespace kestrin::app::live {

namespace {

// A battery the charger holds at its limit shows it: that level is the
// limit. The registry entry says nothing more.
class AppleBattery final : public batterycore::BatterySource, public LimitController {
 public:
  std::optional<batterycore::BatterySnapshot> read() override {
    auto reading = battery_.read();
    if (reading && (reading->notChargingReason & batterycore::ChargerReason::atLimitBit) != 0 &&
        reading->percent < 100) {
      reading->limit = batterycore::LimitState::on(static_cast<int>(reading->percent));
    }
    return reading;
  }
  std::optional<std::string> switchOn() override { return refusal(); }
  std::optional<std::string> switchOff() override { return refusal(); }

 private:
  static std::string refusal() {
    return batterycore::Meaning::text("limit.detail.cantSwitch",
                                      "This Mac can't switch the limit from here. Use System Settings > Battery.");
  }

  AppleSmartBattery battery_{systemNow, [] { return batterycore::LimitState::off(); }};
};

}  // namespace

Platform platformFor(const PlatformOptions& options) {
  if (!AppleSmartBattery::properties()) {
    Platform none;
    none.problem = "no laptop battery (no AppleSmartBattery entry)";
    return none;
  }
  Platform platform = commonPlatform(options);
  auto battery = std::make_shared<AppleBattery>();
  platform.battery = battery;
  platform.limit = battery;
  platform.batteryName = "AppleSmartBattery";
  if (options.powerLog.empty()) {
    // macOS keeps its power log behind pmset, which prints all of it each time.
    auto pmset = std::make_shared<PowerLogFollower>();
    platform.powerLog = [pmset] { return pmset->newPart(readPmsetLog(), systemNow()); };
  }
  return platform;
}

}  // namespace kestrin::app::live

#endif  // __APPLE__
