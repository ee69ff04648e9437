// `kestrin texts`: the texts of a language under a key prefix, sorted, as a
// translator reads them.
#include "tests/common/ToolRun.hpp"

namespace batterycore::testing {
namespace {

using namespace ::testing;
using TextsCommand = ToolTest;

TEST_F(TextsCommand, ListsTheTextsUnderAPrefix) {
  expectRuns({
      {"texts --locale en_US thermal.", 0,
       AllOf(StartsWith("# en_US reads en.json: 11 of 11 texts\nthermal.comfortable        Comfortable\n"),
             HasSubstr("\nthermal.state              Thermal state \u20391\u203A.\n"),
             EndsWith("\nthermal.veryHot            Very hot\nthermal.warm               Warm\n"),
             ResultOf(lineCount, 12))},
      // A level leaves out the other level's wording.
      {"texts --locale en_US --level technical thermal.", 0,
       AllOf(HasSubstr("thermal.fair.technical"), HasSubstr("thermal.hot.unplugged"), Not(HasSubstr(".simple")))},
      {"texts --locale sw_KE thermal.warm", 0,
       "# sw_KE has no table: every text is the English default\nthermal.warm  Warm\n"},
      {"texts --locale en_US no.such.prefix", 1, HasSubstr("no text key starts with \"no.such.prefix\"")},
      {"texts --level expert thermal.", 2, HasSubstr("--level: expert")},
  });
}

}  // namespace
}  // namespace batterycore::testing
