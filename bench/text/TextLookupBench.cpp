// A text is looked up every time it is shown, never cached, so one look-up
// must stay far below a microsecond.
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <benchmark/benchmark.h>
#include <unicode/locid.h>

namespace {

using namespace batterycore;

// Holds a locale for one benchmark and puts the previous one back.
class LocaleScope {
 public:
  explicit LocaleScope(const char* name) : saved_(icu::Locale::getDefault()) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
  }
  ~LocaleScope() {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(saved_, status);
  }
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;

 private:
  icu::Locale saved_;
};

void TextLookup(benchmark::State& state) {
  const LocaleScope locale("en_US");
  Meaning::bundle();
  for (auto _ : state) benchmark::DoNotOptimize(Meaning::text("smart.header", "Before you usually leave"));
}
BENCHMARK(TextLookup);

// de_AT has no table of its own: the look-up tries de_AT, then de.
void TextLookupRegionFallback(benchmark::State& state) {
  const LocaleScope locale("de_AT");
  Meaning::bundle();
  for (auto _ : state) benchmark::DoNotOptimize(Meaning::text("smart.header", "Before you usually leave"));
}
BENCHMARK(TextLookupRegionFallback);

void TextMissingKey(benchmark::State& state) {
  const LocaleScope locale("en_US");
  Meaning::bundle();
  for (auto _ : state) benchmark::DoNotOptimize(Meaning::text("no.such.key", "Default text"));
}
BENCHMARK(TextMissingKey);

void FormatTwoValues(benchmark::State& state) {
  const LocaleScope locale("en_US");
  Meaning::bundle();
  for (auto _ : state) {
    benchmark::DoNotOptimize(Meaning::format("alert.notHolding.body",
                                             "The battery is at %@ and still charging past your %@ limit.",
                                             {"83%", "80%"}));
  }
}
BENCHMARK(FormatTwoValues);

// Percentages are formatted on every tick for the widget and the headline;
// the locale's formatter is made once per thread, not per call.
void FormatPercent(benchmark::State& state) {
  const LocaleScope locale("en_US");
  std::int64_t value = 0;
  for (auto _ : state) benchmark::DoNotOptimize(Formatting::percent(++value % 101));
}
BENCHMARK(FormatPercent);

void Join(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(Meaning::join({"Thermal state nominal.", std::nullopt, "",
                                            "Heat isn't wearing the battery."}));
  }
}
BENCHMARK(Join);

}  // namespace
