#include "BatteryCore/text/Template.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace batterycore {
namespace {

std::optional<std::string> render(std::string_view format, std::vector<TemplateArg> args) {
  return renderTemplate(format, args);
}

TEST(Template, HeaderExampleHolds) {
  EXPECT_EQ(render("Battery %@", {"4.3 W"}), "Battery 4.3 W");
  EXPECT_EQ(render("%lld h %lld min", {1, 5}), "1 h 5 min");
  EXPECT_EQ(render("%2$@, dann %1$@", {"first", "second"}), "second, dann first");
  EXPECT_EQ(render("100%%", {}), "100%");
  EXPECT_EQ(render("%@ and %@", {"only one"}), std::nullopt);
  EXPECT_EQ(renderPositionMarks("%2$@, dann %1$@"), "\u20392\u203A, dann \u20391\u203A");
}

TEST(Template, RendersEveryPlaceholderKind) {
  struct Case {
    const char* format;
    std::vector<TemplateArg> args;
    const char* expected;
  };
  const Case cases[] = {
      {"Nothing learned yet.", {}, "Nothing learned yet."},
      {"Charge to 100%% once", {}, "Charge to 100% once"},
      {"%%%@%%", {"x"}, "%x%"},
      {"%d of %i", {3, 4}, "3 of 4"},
      {"%ld cycles", {512}, "512 cycles"},
      {"Down %lld points since %@.", {-3, "March"}, "Down -3 points since March."},
      {"%1$@ at %2$@", {"Friday", "7:30"}, "Friday at 7:30"},
      {"%2$lld von %1$lld", {3, 4}, "4 von 3"},
      {"%1$@ and again %1$@", {"twice"}, "twice and again twice"},
      {"\u3010%@\u3011", {"\u6e80\u5145\u96fb"}, "\u3010\u6e80\u5145\u96fb\u3011"},
      {"%@", {""}, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(renderTemplate(c.format, c.args), c.expected) << c.format;
  }
}

TEST(Template, RefusesTemplatesThatDoNotFitTheirValues) {
  struct Case {
    const char* format;
    std::vector<TemplateArg> args;
    const char* why;
  };
  const Case cases[] = {
      {"%@ and %@", {"one"}, "more placeholders than values"},
      {"%@", {"one", "two"}, "a value left over"},
      {"Plain text", {"one"}, "a value for a text without placeholders"},
      {"%3$@", {"a", "b"}, "a position past the values"},
      {"%2$@", {"a", "b"}, "the first value never used"},
      {"%@", {7}, "a number where text goes"},
      {"%lld", {"seven"}, "text where a number goes"},
      {"50%", {}, "a lone percent sign at the end"},
      {"Load %@ at 5%", {"x"}, "a lone percent sign at the end after a value"},
      {"%s", {"text"}, "a conversion we do not know"},
      {"%f", {7}, "a floating-point conversion"},
      {"%5d", {7}, "a width"},
      {"%llld", {7}, "too many length letters"},
      {"%1$@ %@", {"a", "b"}, "numbered and unnumbered mixed"},
      {"%@ %1$@", {"a"}, "unnumbered then numbered"},
      {"%0$@", {"a"}, "position zero"},
      {"%100$@", {"a"}, "a position no text ever has"},
      {"%99999999999999999999$@", {"a"}, "a position that does not fit an integer"},
      {"%1$@ %1$lld", {"a"}, "one position as text and as a number"},
      {"%1$", {"a"}, "a position without a conversion"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(renderTemplate(c.format, c.args), std::nullopt) << c.why << ": " << c.format;
  }
}

// Whatever the template asks for, only the values given are read; the
// sanitizer build turns an out-of-range read into a failure.
TEST(Template, NeverReadsPastTheValues) {
  const char* greedy[] = {"%@ %@ %@ %@", "%9$@", "%2$lld", "%@%@%@%@%@%@%@%@%@%@", "%99$@"};
  for (const char* format : greedy) {
    EXPECT_EQ(renderTemplate(format, std::span<const TemplateArg>()), std::nullopt) << format;
    const std::vector<TemplateArg> one{"x"};
    EXPECT_EQ(renderTemplate(format, std::span<const TemplateArg>(one).first(1)), std::nullopt) << format;
  }
}

TEST(Template, SignatureListsValueTypesInValueOrder) {
  struct Case {
    const char* format;
    std::optional<std::string> signature;
  };
  const Case cases[] = {
      {"No values", ""},
      {"100%%", ""},
      {"%@ at %@", "@@"},
      {"%lld h %lld min", "dd"},
      {"Step %d of %i", "dd"},
      {"%@: %lld days", "@d"},
      {"%2$lld Tage: %1$@", "@d"},
      {"%1$@ und %1$@", "@"},
      {"nur %2$@", "?@"},
      {"50% off", std::nullopt},
      {"%1$@ %1$d", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(placeholderSignature(c.format), c.signature) << c.format;
  }
}

TEST(Template, PositionMarksShowWhereEachValueLands) {
  EXPECT_EQ(renderPositionMarks("Battery %@"), "Battery \u20391\u203A");
  EXPECT_EQ(renderPositionMarks("%lld h %lld min"), "\u20391\u203A h \u20392\u203A min");
  EXPECT_EQ(renderPositionMarks("100%%"), "100%");
  EXPECT_EQ(renderPositionMarks("50% off"), std::nullopt);
}

}  // namespace
}  // namespace batterycore
