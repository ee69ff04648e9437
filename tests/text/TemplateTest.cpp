#include "BatteryCore/text/Template.hpp"

#include <gtest/gtest.h>

namespace batterycore {
namespace {

struct Case {
  const char* format;
  std::vector<TemplateArg> args;
  std::optional<std::string> expected;  // absent: refused
};

TEST(Template, RendersWhatFitsAndRefusesWhatDoesNot) {
  const Case cases[] = {
      {"Nothing learned yet.", {}, "Nothing learned yet."},
      {"Charge to 100%% once", {}, "Charge to 100% once"},
      {"%%%@%%", {"x"}, "%x%"},
      {"%d of %i", {3, 4}, "3 of 4"},
      {"%ld cycles", {512}, "512 cycles"},
      {"Down %lld points since %@.", {-3, "March"}, "Down -3 points since March."},
      {"%2$@, dann %1$@", {"first", "second"}, "second, dann first"},
      {"%2$lld von %1$lld", {3, 4}, "4 von 3"},
      {"%1$@ and again %1$@", {"twice"}, "twice and again twice"},
      {"\u3010%@\u3011", {"\u6e80\u5145\u96fb"}, "\u3010\u6e80\u5145\u96fb\u3011"},
      {"%@", {""}, ""},
      // Refused: values and placeholders that do not pair up.
      {"%@ and %@", {"one"}, std::nullopt},        {"%@", {"one", "two"}, std::nullopt},
      {"Plain text", {"one"}, std::nullopt},       {"%3$@", {"a", "b"}, std::nullopt},
      {"%2$@", {"a", "b"}, std::nullopt},          {"%@", {7}, std::nullopt},
      {"%lld", {"seven"}, std::nullopt},           {"%1$@ %1$lld", {"a"}, std::nullopt},
      // Refused: templates that are malformed whatever the values.
      {"50%", {}, std::nullopt},                   {"Load %@ at 5%", {"x"}, std::nullopt},
      {"%s", {"text"}, std::nullopt},              {"%5d", {7}, std::nullopt},
      {"%llld", {7}, std::nullopt},                {"%1$@ %@", {"a", "b"}, std::nullopt},
      {"%@ %1$@", {"a"}, std::nullopt},            {"%0$@", {"a"}, std::nullopt},
      {"%100$@", {"a"}, std::nullopt},             {"%99999999999999999999$@", {"a"}, std::nullopt},
      {"%1$", {"a"}, std::nullopt},                {"%l", {7}, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(renderTemplate(c.format, c.args), c.expected) << c.format;
}

TEST(Template, SignatureAndPositionMarksShowWhatEachValueIs) {
  const struct {
    const char* format;
    std::optional<std::string> signature;
    std::optional<std::string> marks;
  } cases[] = {
      {"No values", "", "No values"},
      {"100%%", "", "100%"},
      {"Battery %@", "@", "Battery \u20391\u203A"},
      {"%lld h %lld min", "dd", "\u20391\u203A h \u20392\u203A min"},
      {"Step %d of %i", "dd", "Step \u20391\u203A of \u20392\u203A"},
      {"%2$lld Tage: %1$@", "@d", "\u20392\u203A Tage: \u20391\u203A"},
      {"%1$@ und %1$@", "@", "\u20391\u203A und \u20391\u203A"},
      {"nur %2$@", "?@", "nur \u20392\u203A"},
      {"50% off", std::nullopt, std::nullopt},
      {"%1$@ %1$d", std::nullopt, std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(placeholderSignature(c.format), c.signature) << c.format;
    EXPECT_EQ(renderPositionMarks(c.format), c.marks) << c.format;
  }
}

}  // namespace
}  // namespace batterycore
