#include "BatteryCore/health/MacPower.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace batterycore {
namespace {

struct Expected {
  const char* model;
  int wants;
  int fast;
};

void expectFamily(std::initializer_list<Expected> family) {
  for (const auto& e : family) {
    EXPECT_EQ(MacPower::forModel(e.model), (MacPower{e.wants, e.fast})) << e.model;
  }
}

TEST(MacPower, HeaderExampleHolds) {
  EXPECT_EQ(MacPower::forModel("Mac15,8"), (MacPower{96, 96}));
  EXPECT_EQ(MacPower::forModel("Mac16,12"), (MacPower{30, 70}));
  EXPECT_EQ(MacPower::forModel("MacBookPro16,1"), std::nullopt);
}

TEST(MacPower, M1Laptops) {
  expectFamily({{"MacBookAir10,1", 30, 30}, {"MacBookPro17,1", 61, 61}, {"MacBookPro18,3", 67, 96},
                {"MacBookPro18,4", 96, 96}, {"MacBookPro18,1", 140, 140}, {"MacBookPro18,2", 140, 140}});
}

TEST(MacPower, M2Laptops) {
  expectFamily({{"Mac14,2", 30, 67}, {"Mac14,15", 35, 70}, {"Mac14,7", 67, 67}, {"Mac14,9", 67, 96},
                {"Mac14,5", 96, 96}, {"Mac14,10", 140, 140}, {"Mac14,6", 140, 140}});
}

TEST(MacPower, M3Laptops) {
  expectFamily({{"Mac15,12", 30, 70}, {"Mac15,13", 35, 70}, {"Mac15,3", 70, 96}, {"Mac15,6", 70, 96},
                {"Mac15,8", 96, 96}, {"Mac15,10", 96, 96}, {"Mac15,7", 140, 140}, {"Mac15,9", 140, 140},
                {"Mac15,11", 140, 140}});
}

TEST(MacPower, M4Laptops) {
  expectFamily({{"Mac16,12", 30, 70}, {"Mac16,13", 35, 70}, {"Mac16,1", 70, 96}, {"Mac16,8", 70, 96},
                {"Mac16,6", 96, 96}, {"Mac16,7", 140, 140}, {"Mac16,5", 140, 140}});
}

TEST(MacPower, M5Laptops) { expectFamily({{"Mac17,2", 70, 96}}); }

TEST(MacPower, UnknownIdentifiersHaveNoRating) {
  for (const char* model : {"", "Mac14,3" /* Mac mini */, "Mac13,1" /* Mac Studio */, "MacBookPro16,1",
                            "mac14,2", "Mac14,2 ", "Mac14"}) {
    EXPECT_EQ(MacPower::forModel(model), std::nullopt) << '"' << model << '"';
  }
}

TEST(MacPower, TableIsConsistent) {
  std::set<std::string> models;
  for (const auto& entry : macPowerTable()) {
    EXPECT_TRUE(models.insert(std::string(entry.model)).second) << "twice: " << entry.model;
    EXPECT_GE(entry.power.fast, entry.power.wants) << entry.model;
    EXPECT_GE(entry.power.wants, 30) << entry.model;
    EXPECT_FALSE(entry.name.empty()) << entry.model;
    EXPECT_EQ(MacPower::forModel(entry.model), entry.power) << entry.model;
  }
  EXPECT_EQ(models.size(), 30u);
}

}  // namespace
}  // namespace batterycore
