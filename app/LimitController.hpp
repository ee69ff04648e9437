// LimitController: how the application switches the operating system's charge
// limit on or off. It never changes the limit's value. Each call answers with
// the reason it failed, or nothing when it worked.
#pragma once

#include <optional>
#include <string>

namespace kestrin::app {

class LimitController {
 public:
  virtual ~LimitController() = default;
  virtual std::optional<std::string> switchOn() = 0;
  virtual std::optional<std::string> switchOff() = 0;
};

}  // namespace kestrin::app
