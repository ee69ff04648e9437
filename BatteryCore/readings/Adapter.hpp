// Adapter: the connected power adapter as reported.
//
//   Adapter{96, "96W USB-C Power Adapter", false}
//   encode(Adapter{30}) == {"watts": 30, "isWireless": false}
#pragma once

#include "BatteryCore/foundation/Json.hpp"

#include <optional>
#include <string>

namespace batterycore {

struct Adapter {
  int watts = 0;
  std::optional<std::string> description;
  bool isWireless = false;

  friend bool operator==(const Adapter&, const Adapter&) = default;

  Json toJson() const;
  static Adapter fromJson(const Json& json);
};

}  // namespace batterycore
