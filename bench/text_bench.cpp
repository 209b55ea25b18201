// Conversion throughput of make_string and make_wstring, in bytes of 8-bit
// text per second, on ASCII, two-byte and three-byte text.
#include <benchmark/benchmark.h>

#include "lumbrel/Text.h"

namespace {

constexpr std::size_t kUnits = 64 * 1024;

Lumbrel::wstring sample(unsigned short unit) {
  Lumbrel::wstring text(kUnits, unit);
  for (std::size_t i = 0; i < text.size(); i += 7) text[i] = static_cast<unsigned short>(unit + i % 5);
  return text;
}

void encode(benchmark::State& state, unsigned short unit) {
  const Lumbrel::wstring text = sample(unit);
  const std::size_t bytes = Lumbrel::make_string(text).size();
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::make_string(text));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

void decode(benchmark::State& state, unsigned short unit) {
  const Lumbrel::string text = Lumbrel::make_string(sample(unit));
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::make_wstring(text));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

BENCHMARK_CAPTURE(encode, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(encode, two_byte, static_cast<unsigned short>(0x3B1));
BENCHMARK_CAPTURE(encode, three_byte, static_cast<unsigned short>(0x4E00));
BENCHMARK_CAPTURE(decode, ascii, static_cast<unsigned short>('a'));
BENCHMARK_CAPTURE(decode, two_byte, static_cast<unsigned short>(0x3B1));
BENCHMARK_CAPTURE(decode, three_byte, static_cast<unsigned short>(0x4E00));

}  // namespace
