// Built only against the installed package: proves the headers, the library,
// its dependencies and the catalogue arrive together.
#include <BatteryCore/BatteryCore.hpp>

#include <iostream>

int main() {
  using namespace batterycore;
  const BatterySnapshot snapshot{dateFromSecondsSince1970(0), 81, true, false, false, std::nullopt,
                                 std::nullopt, LimitState::on(80), 0, 0, 0, ThermalLevel::nominal,
                                 4000, 4100, 4500, 3200, 120, 1000, 12500, 0};
  const bool holding = snapshot.phase() == ChargePhase::holding(80);
  std::cout << encode(snapshot).dump() << '\n';
  return holding ? 0 : 1;
}
