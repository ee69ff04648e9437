#include "KestrinWidget/LimitControl.hpp"

#include "BatteryCore/text/Meaning.hpp"

namespace kestrin::widget {

std::string LimitControl::title() { return batterycore::Meaning::text("limit.title", "Charge limit"); }

LimitControl::ValueLabel LimitControl::valueLabel(bool on) {
  if (on) return {batterycore::Meaning::text("switch.on", "On"), "battery.75percent"};
  return {batterycore::Meaning::text("switch.off", "Off"), "battery.100percent"};
}

}  // namespace kestrin::widget
