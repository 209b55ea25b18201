// The flat settings store beside POCO's PropertyFileConfiguration, on one
// 4 MB file of 100,000 `key=value` lines, the same bytes for both. Rates are
// bytes of file per second.
//
// open_close_4MB: open for reading and close; _1000_lookups adds 1,000
// lookups of existing keys chosen with a fixed seed (checked in an untimed
// first round) between the two.
// open_rewrite_close_4MB: open for reading and writing and close, which
// writes the file anew, beside POCO's load and save; each on its own copy.
// parse_4MB: the line reader alone.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "BenchFiles.h"
#include "lumbrel/PropertyFile.h"
#include "store/SettingsFormat.h"

#if defined(LUMBREL_PEER_POCO)
#include <Poco/AutoPtr.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#endif

namespace {

using Lumbrel::File;

constexpr int kLines = 100000;
constexpr int kLookups = 1000;

std::string keyName(int i) { return "program.setting." + std::to_string(i); }
std::string valueText(int i) { return "value number " + std::to_string(i * 7); }

const std::string& content() {
  static const std::string text = [] {
    std::string out;
    for (int i = 0; i < kLines; ++i) out += keyName(i) + "=" + valueText(i) + "\n";
    return out;
  }();
  return text;
}

struct Lookup {
  std::string key;
  std::string value;
  Lumbrel::wstring wideKey;
  Lumbrel::wstring wideValue;
};

const std::vector<Lookup>& lookups() {
  static const std::vector<Lookup> list = [] {
    std::mt19937 random(1000);
    std::uniform_int_distribution<int> line(0, kLines - 1);
    std::vector<Lookup> out;
    for (int i = 0; i < kLookups; ++i) {
      const int n = line(random);
      out.push_back(Lookup{keyName(n), valueText(n), Lumbrel::make_wstring(keyName(n)),
                           Lumbrel::make_wstring(valueText(n))});
    }
    return out;
  }();
  return list;
}

template <typename Value, typename Expected>
bool lookedUp(bool check, const Value& value, const Expected& expected) {
  benchmark::DoNotOptimize(value);
  return !check || value == expected;
}

using Round = bool (*)(const bench::TempFile&, const std::vector<Lookup>&, bool);

void openClose(benchmark::State& state, const std::string& leaf, Round round,
               const std::vector<Lookup>& wanted) {
  const bench::TempFile file(leaf, content());
  if (!round(file, wanted, true)) state.SkipWithError("wrong value");
  for (auto _ : state) round(file, wanted, false);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}

bool lumbrelLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  Lumbrel::PropertyFile store(File::Path(file.name()));
  store.open(File::MODE_READ);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, store.getValue(lookup.wideKey), lookup.wideValue);
  store.close();
  return good;
}

void lumbrelRewrite(benchmark::State& state) {
  const bench::TempFile file("rewrite-lumbrel.properties", content());
  for (auto _ : state) {
    Lumbrel::PropertyFile store(File::Path(file.name()));
    store.open(File::MODE_READ | File::MODE_WRITE);
    store.close();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}

void parseLumbrel(benchmark::State& state) {
  const std::string& bytes = content();
  for (auto _ : state) {
    Lumbrel::store::SettingsReader reader(bytes.data(), bytes.size(),
                                          Lumbrel::store::SettingsLayout::Flat);
    std::size_t entries = 0;
    while (reader.next()) ++entries;
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(bytes.size()));
}

#if defined(LUMBREL_PEER_POCO)
bool pocoLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
      new Poco::Util::PropertyFileConfiguration(file.native()));
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, configuration->getString(lookup.key, ""), lookup.value);
  return good;
}

void pocoRewrite(benchmark::State& state) {
  const bench::TempFile file("rewrite-poco.properties", content());
  for (auto _ : state) {
    const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
        new Poco::Util::PropertyFileConfiguration(file.native()));
    configuration->save(file.native());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}
#endif

// Open and close alone, and with the lookups.
void lookupsCase(const char* impl, Round round) {
  static const std::vector<Lookup> none;
  const std::string leaf = std::string("lookups-") + impl + ".properties";
  benchmark::RegisterBenchmark(
      (std::string("properties/open_close_4MB/") + impl).c_str(),
      [leaf, round](benchmark::State& state) { openClose(state, leaf, round, none); })
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(
      (std::string("properties/open_close_4MB_1000_lookups/") + impl).c_str(),
      [leaf, round](benchmark::State& state) { openClose(state, leaf, round, lookups()); })
      ->Unit(benchmark::kMillisecond);
}

void registerAll() {
  lookupsCase("lumbrel", lumbrelLookups);
#if defined(LUMBREL_PEER_POCO)
  lookupsCase("poco", pocoLookups);
#endif
  benchmark::RegisterBenchmark("properties/open_rewrite_close_4MB/lumbrel", lumbrelRewrite)
      ->Unit(benchmark::kMillisecond);
#if defined(LUMBREL_PEER_POCO)
  benchmark::RegisterBenchmark("properties/open_rewrite_close_4MB/poco", pocoRewrite)
      ->Unit(benchmark::kMillisecond);
#endif
  benchmark::RegisterBenchmark("properties/parse_4MB/lumbrel", parseLumbrel)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
