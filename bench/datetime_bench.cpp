// DateTime's text form, YYYY-MM-DD hh:mm:ss, beside the C library and POCO.
//
// What each row does, so that the work compares:
// - parse/lumbrel: reads the six fields from their fixed positions and checks
//   each against its bounds. It works out no seconds since the epoch.
// - parse/strptime: "%Y-%m-%d %H:%M:%S" into a struct tm, which checks the
//   same ranges. No mktime, as the library's parse makes no such conversion.
// - parse/poco: DateTimeParser::parse with the same format, which checks the
//   fields and also works out the value's Julian day (its representation).
// - format/lumbrel: the text of a value with date and time into a std::string.
// - format/strftime: the same format from a filled struct tm into a buffer,
//   then into a std::string; no localtime, as the library reads no clock.
// - format/poco: DateTimeFormatter::format of a Poco::DateTime, same format.
// to_seconds/lumbrel (mktime of the fields) has no peer row.
#include <benchmark/benchmark.h>

#include <ctime>
#include <string>

#include "lumbrel/DateTime.h"

#if defined(LUMBREL_PEER_POCO)
#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/DateTimeParser.h>
#endif

namespace {

const std::string kText = "2004-03-09 07:05:02";
const char* const kFormat = "%Y-%m-%d %H:%M:%S";

void items(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// ---- lumbrel ----

void parseLumbrel(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::DateTime(kText, 3));
  items(state);
}
BENCHMARK(parseLumbrel)->Name("datetime/parse/lumbrel");

void formatLumbrel(benchmark::State& state) {
  const Lumbrel::DateTime value(kText, 3);
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<std::string>(value));
  items(state);
}
BENCHMARK(formatLumbrel)->Name("datetime/format/lumbrel");

void toSecondsLumbrel(benchmark::State& state) {
  const Lumbrel::DateTime value(kText, 3);
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<long>(value));
  items(state);
}
BENCHMARK(toSecondsLumbrel)->Name("datetime/to_seconds/lumbrel");

// ---- C library ----

void parseStrptime(benchmark::State& state) {
  for (auto _ : state) {
    std::tm fields{};
    benchmark::DoNotOptimize(strptime(kText.c_str(), kFormat, &fields));
    benchmark::DoNotOptimize(fields);
  }
  items(state);
}
BENCHMARK(parseStrptime)->Name("datetime/parse/strptime");

void formatStrftime(benchmark::State& state) {
  std::tm fields{};
  strptime(kText.c_str(), kFormat, &fields);
  for (auto _ : state) {
    char text[32];
    const std::size_t size = std::strftime(text, sizeof text, kFormat, &fields);
    benchmark::DoNotOptimize(std::string(text, size));
  }
  items(state);
}
BENCHMARK(formatStrftime)->Name("datetime/format/strftime");

// ---- POCO ----

#if defined(LUMBREL_PEER_POCO)
void parsePoco(benchmark::State& state) {
  const std::string format = kFormat;
  int zone = 0;
  for (auto _ : state) benchmark::DoNotOptimize(Poco::DateTimeParser::parse(format, kText, zone));
  items(state);
}
BENCHMARK(parsePoco)->Name("datetime/parse/poco");

void formatPoco(benchmark::State& state) {
  const std::string format = kFormat;
  const Poco::DateTime value(2004, 3, 9, 7, 5, 2);
  for (auto _ : state) benchmark::DoNotOptimize(Poco::DateTimeFormatter::format(value, format));
  items(state);
}
BENCHMARK(formatPoco)->Name("datetime/format/poco");
#endif

}  // namespace
