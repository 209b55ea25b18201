// Identifiers beside peers: a fresh random value, the text form parsed, and
// the text form produced into a std::string. Every implementation reads and
// writes the same canonical 36-character text.
#include <benchmark/benchmark.h>

#include <string>

#include "lumbrel/Uuid.h"

#if defined(LUMBREL_PEER_LIBUUID)
#include <uuid/uuid.h>
#endif
#if defined(LUMBREL_PEER_BOOST)
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>
#endif
#if defined(LUMBREL_PEER_POCO)
#include <Poco/UUID.h>
#include <Poco/UUIDGenerator.h>
#endif

namespace {

const std::string kText = "00112233-4455-6677-8899-aabbccddeeff";

void items(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// ---- lumbrel ----

void generateLumbrel(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid());
  items(state);
}
BENCHMARK(generateLumbrel)->Name("uuid/generate/lumbrel");

void parseLumbrel(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Lumbrel::Uuid(kText));
  items(state);
}
BENCHMARK(parseLumbrel)->Name("uuid/parse/lumbrel");

void formatLumbrel(benchmark::State& state) {
  const Lumbrel::Uuid value(kText);
  for (auto _ : state) benchmark::DoNotOptimize(static_cast<std::string>(value));
  items(state);
}
BENCHMARK(formatLumbrel)->Name("uuid/format/lumbrel");

// ---- libuuid ----

#if defined(LUMBREL_PEER_LIBUUID)
void generateLibuuid(benchmark::State& state) {
  uuid_t value;
  for (auto _ : state) {
    uuid_generate_random(value);
    benchmark::DoNotOptimize(value);
  }
  items(state);
}
BENCHMARK(generateLibuuid)->Name("uuid/generate/libuuid");

void parseLibuuid(benchmark::State& state) {
  uuid_t value;
  for (auto _ : state) {
    benchmark::DoNotOptimize(uuid_parse(kText.c_str(), value));
    benchmark::DoNotOptimize(value);
  }
  items(state);
}
BENCHMARK(parseLibuuid)->Name("uuid/parse/libuuid");

void formatLibuuid(benchmark::State& state) {
  uuid_t value;
  uuid_parse(kText.c_str(), value);
  for (auto _ : state) {
    char text[37];
    uuid_unparse_lower(value, text);
    benchmark::DoNotOptimize(std::string(text));
  }
  items(state);
}
BENCHMARK(formatLibuuid)->Name("uuid/format/libuuid");
#endif

// ---- Boost ----

#if defined(LUMBREL_PEER_BOOST)
void generateBoost(benchmark::State& state) {
  // Made once, as its users keep one: making it opens the system's source.
  boost::uuids::random_generator generator;
  for (auto _ : state) benchmark::DoNotOptimize(generator());
  items(state);
}
BENCHMARK(generateBoost)->Name("uuid/generate/boost");

void parseBoost(benchmark::State& state) {
  const boost::uuids::string_generator parser;
  for (auto _ : state) benchmark::DoNotOptimize(parser(kText));
  items(state);
}
BENCHMARK(parseBoost)->Name("uuid/parse/boost");

void formatBoost(benchmark::State& state) {
  const boost::uuids::uuid value = boost::uuids::string_generator()(kText);
  for (auto _ : state) benchmark::DoNotOptimize(boost::uuids::to_string(value));
  items(state);
}
BENCHMARK(formatBoost)->Name("uuid/format/boost");
#endif

// ---- POCO ----

#if defined(LUMBREL_PEER_POCO)
void generatePoco(benchmark::State& state) {
  Poco::UUIDGenerator& generator = Poco::UUIDGenerator::defaultGenerator();
  for (auto _ : state) benchmark::DoNotOptimize(generator.createRandom());
  items(state);
}
BENCHMARK(generatePoco)->Name("uuid/generate/poco");

void parsePoco(benchmark::State& state) {
  for (auto _ : state) {
    Poco::UUID value;
    value.parse(kText);
    benchmark::DoNotOptimize(value);
  }
  items(state);
}
BENCHMARK(parsePoco)->Name("uuid/parse/poco");

void formatPoco(benchmark::State& state) {
  const Poco::UUID value(kText);
  for (auto _ : state) benchmark::DoNotOptimize(value.toString());
  items(state);
}
BENCHMARK(formatPoco)->Name("uuid/format/poco");
#endif

}  // namespace
