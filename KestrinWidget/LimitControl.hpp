// LimitControl: the Control Center toggle's face — its kind, its title and
// the label beside the switch.
//
//   LimitControl::kind == "app.kestrin.limit"
//   LimitControl::title() == "Charge limit"
//   LimitControl::valueLabel(true)  == LimitControl::ValueLabel{"On", "battery.75percent"}
//   LimitControl::valueLabel(false) == LimitControl::ValueLabel{"Off", "battery.100percent"}
//
// Its value comes from LimitValueProvider, its action is
// SetLimitFromControlIntent.
#pragma once

#include "KestrinWidget/ControlRequest.hpp"

#include <string>
#include <string_view>

namespace kestrin::widget {

struct LimitControl {
  static constexpr std::string_view kind = ControlRequest::controlKind;

  struct ValueLabel {
    std::string text;
    std::string symbol;  // a system symbol name
    friend bool operator==(const ValueLabel&, const ValueLabel&) = default;
  };

  static std::string title();
  // A limit that is on keeps the battery part full, hence the three-quarter
  // battery; off lets it fill.
  static ValueLabel valueLabel(bool on);
};

}  // namespace kestrin::widget
