// A full high-charge ledger (400 days) decoded from its JSON and encoded back,
// as the service does when it starts and when a day closes.
#include "BatteryCore/health/HighChargeLedger.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

using namespace batterycore;

HighChargeLedger fullLedger() {
  HighChargeLedger ledger;
  for (std::size_t i = 0; i < HighChargeLedger::keepDays; ++i) {
    char key[16];
    std::snprintf(key, sizeof key, "%04zu-%02zu-%02zu", 2025 + i / 336, 1 + i / 28 % 12, 1 + i % 28);
    ledger.days.push_back({key, 412.5 + static_cast<double>(i % 7), 3.25, 690.0, 1440.0});
  }
  return ledger;
}

void LedgerDecodeEncode(benchmark::State& state) {
  const std::string text = encode(fullLedger()).dump();
  for (auto _ : state) {
    const auto ledger = decode<HighChargeLedger>(Json::parse(text));
    benchmark::DoNotOptimize(encode(ledger).dump());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(LedgerDecodeEncode);

}  // namespace
