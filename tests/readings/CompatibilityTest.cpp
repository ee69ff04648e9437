#include "BatteryCore/readings/Compatibility.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

TEST(Compatibility, VersionRules) {
  struct Case {
    OSVersion version;
    bool atLeast;
    const char* shown;
  };
  const Case cases[] = {
      {{26, 3, 9}, false, "26.3.9"}, {{26, 4, 0}, true, "26.4"}, {{26, 4, 1}, true, "26.4.1"},
      {{27, 0, 0}, true, "27.0"},    {{25, 9, 0}, false, "25.9"}, {{26, 10, 0}, true, "26.10"},
  };
  for (const auto& c : cases) {
    const auto report = Compatibility::check("arm64", c.version, std::nullopt);
    EXPECT_EQ(report.macOSAtLeast26_4, c.atLeast) << c.shown;
    EXPECT_EQ(report.osVersion, c.shown);
  }
}

TEST(Compatibility, MessagesFirstMatchWins) {
  const auto intel = Compatibility::check("x86_64", {27, 0, 0}, true);
  EXPECT_TRUE(intel.watchOnly());
  EXPECT_EQ(intel.message,
            "Kestrin needs a Mac with Apple silicon. This Mac can't set a charge limit, so the app would only watch.");
  const auto old = Compatibility::check("arm64e", {26, 3, 0}, false);
  EXPECT_FALSE(old.watchOnly());
  EXPECT_EQ(old.message,
            "The built-in charge limit arrived in macOS 26.4. Update macOS to switch it from here. Everything else works now.");
  EXPECT_EQ(Compatibility::check("arm64", {26, 4, 0}, false).message,
            "This Mac doesn't offer a charge limit in System Settings, so Kestrin can only watch it.");
  EXPECT_EQ(Compatibility::check("arm64", {26, 4, 0}, std::nullopt).message, std::nullopt);
  EXPECT_EQ(Compatibility::check("arm64", {26, 4, 0}, true).message, std::nullopt);
}

}  // namespace
}  // namespace batterycore
