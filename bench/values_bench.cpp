// Cost of the value types' conversions: DateTime text parsing and printing,
// and Uuid generation, parsing and printing.
#include <benchmark/benchmark.h>

#include <string>

#include "lumbrel/DateTime.h"
#include "lumbrel/Uuid.h"

namespace {

void dateTimeParse(benchmark::State& state) {
  const std::string text = "2004-03-09 07:05:02";
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::DateTime(text, 3));
}

void dateTimeFormat(benchmark::State& state) {
  const Lumbrel::DateTime value("2004-03-09 07:05:02", 3);
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<std::string>(value));
}

void dateTimeToSeconds(benchmark::State& state) {
  const Lumbrel::DateTime value("2004-03-09 07:05:02", 3);
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<long>(value));
}

void uuidGenerate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid());
}

void uuidParse(benchmark::State& state) {
  const std::string text = "00112233-4455-6677-8899-aabbccddeeff";
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid(text));
}

void uuidFormat(benchmark::State& state) {
  const Lumbrel::Uuid value;
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<std::string>(value));
}

BENCHMARK(dateTimeParse);
BENCHMARK(dateTimeFormat);
BENCHMARK(dateTimeToSeconds);
BENCHMARK(uuidGenerate);
BENCHMARK(uuidGenerate)->Threads(2);
BENCHMARK(uuidParse);
BENCHMARK(uuidFormat);

}  // namespace
