#include "BatteryCore/health/ChargerReason.hpp"

#include "HealthTestSupport.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

using Kind = ChargerReason::Kind;
using testing::onCharger;

const Date kNow = dateFromSecondsSince1970(1772704800.0);

TEST(ChargerReason, HeaderExampleHolds) {
  EXPECT_EQ(ChargerReason::notCharging(0x01000000).kind, Kind::atLimit());
  EXPECT_EQ(ChargerReason::notCharging(0x400001).kind, Kind::full());
  EXPECT_EQ(ChargerReason::notCharging(0x80).kind, Kind::unknown(0x80));
}

TEST(ChargerReason, DecodesTheNotChargingCodesSeenOnRealMacs) {
  struct Case {
    std::uint64_t code;
    Kind expected;
  };
  const Case cases[] = {
      {0, Kind::none()},                                           // charging
      {1, Kind::full()},                                           // plugged, 100%, done
      {4194305, Kind::full()},                                     // 0x400001, fully charged
      {16777216, Kind::atLimit()},                                 // 0x01000000, held at 80%
      {0x01000001, Kind::atLimit()},                               // held and full at once
      {128, Kind::unknown(128)},                                   // on battery
      {36028797018964096u, Kind::unknown(36028797018964096u)},     // on battery, macOS 26.5
  };
  for (const auto& c : cases) {
    const auto reason = ChargerReason::notCharging(c.code);
    EXPECT_EQ(reason.kind, c.expected) << c.code << ": " << reason.kind.name();
    EXPECT_EQ(reason.code, c.code);
  }
}

TEST(ChargerReason, OnlyUnknownCarriesItsCode) {
  EXPECT_EQ(Kind::unknown(7).unknownCode(), 7u);
  EXPECT_EQ(Kind::full().unknownCode(), std::nullopt);
  EXPECT_NE(Kind::unknown(7), Kind::unknown(8));
  EXPECT_EQ(Kind::unknown(7).name(), "unknown");
  EXPECT_EQ(Kind::weakCharger().name(), "weakCharger");
}

TEST(ChargerReason, ExplainsASlowChargeByHeatOrASmallCharger) {
  auto small = onCharger(kNow, Adapter{20, std::nullopt, false}, 5, 5);
  small.slowChargingReason = 0x8;
  EXPECT_EQ(ChargerReason::slowCharging(small).kind, Kind::weakCharger());

  auto hot = small;
  hot.thermallyLimitedSeconds = 120;
  EXPECT_EQ(ChargerReason::slowCharging(hot).kind, Kind::thermal());

  auto bigEnough = onCharger(kNow, Adapter{96, std::nullopt, false}, 20, 10);
  bigEnough.slowChargingReason = 0x8;
  EXPECT_EQ(ChargerReason::slowCharging(bigEnough), (ChargerReason{Kind::unknown(0x8), 0x8}));

  EXPECT_EQ(ChargerReason::slowCharging(onCharger(kNow, Adapter{20, std::nullopt, false}, 5, 5)).kind,
            Kind::none());
}

}  // namespace
}  // namespace batterycore
