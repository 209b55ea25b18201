// What the two settings benchmark families share. Each works on one file of
// settings, the same bytes for every implementation, and measures opening and
// closing it alone or with lookups of existing keys (checked in an untimed
// first round), opening it for writing so that closing writes it anew, and
// the line reader alone. Names are `<family>/<operation>_<size>[_<variant>]/
// <impl>`; rates are bytes of file per second.
#ifndef LUMBREL_BENCH_SETTINGSBENCH_H
#define LUMBREL_BENCH_SETTINGSBENCH_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "BenchFiles.h"
#include "lumbrel/File.h"
#include "store/SettingsFormat.h"

namespace bench {

// Lookups in a round of the `_<n>_lookups` rows.
constexpr int kSettingsLookups = 1000;

struct SettingsFamily {
  const char* name;       // the first part of every benchmark name
  const char* size;       // the file's size as the names give it
  const char* extension;  // of each implementation's copy of the file
  Lumbrel::store::SettingsLayout layout;
  const std::string& (*content)();
};

inline std::string settingsName(const SettingsFamily& family, const char* operation,
                                const char* impl, const std::string& variant = "") {
  return std::string(family.name) + "/" + operation + "_" + family.size + variant + "/" + impl;
}

inline void countBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(size));
}

// One lookup of an existing key: its section (empty in the flat layout), key
// and value as the peers take them, `dotted` being `section.key` for those
// that address keys so, and as the library's store takes them.
struct SettingsLookup {
  std::string section;
  std::string key;
  std::string dotted;
  std::string value;
  Lumbrel::wstring wideSection;
  Lumbrel::wstring wideKey;
  Lumbrel::wstring wideValue;
};

// The lookups of the `_<n>_lookups` rows, with a fixed seed; `pick` makes
// one from the random numbers.
template <typename Pick>
std::vector<SettingsLookup> pickLookups(Pick pick) {
  std::mt19937 random(1000);
  std::vector<SettingsLookup> out;
  for (int i = 0; i < kSettingsLookups; ++i) out.push_back(pick(random));
  return out;
}

template <typename Value, typename Expected>
bool lookedUp(bool check, const Value& value, const Expected& expected) {
  benchmark::DoNotOptimize(value);
  return !check || value == expected;
}

// A round opens the file, looks up the wanted keys and closes; with `check`
// it also compares the values.
using LookupRound = bool (*)(const TempFile&, const std::vector<SettingsLookup>&, bool);

inline void openClose(benchmark::State& state, const SettingsFamily& family,
                      const std::string& leaf, LookupRound round,
                      const std::vector<SettingsLookup>& wanted) {
  const TempFile file(leaf, family.content());
  if (!round(file, wanted, true)) state.SkipWithError("wrong value");
  for (auto _ : state) round(file, wanted, false);
  countBytes(state, file.size());
}

// Open and close alone, and with the lookups.
inline void registerLookups(const SettingsFamily& family, const char* impl, LookupRound round,
                            const std::vector<SettingsLookup>& (*wanted)()) {
  const std::string leaf = std::string("lookups-") + impl + "." + family.extension;
  benchmark::RegisterBenchmark(
      settingsName(family, "open_close", impl).c_str(),
      [&family, leaf, round](benchmark::State& state) {
        openClose(state, family, leaf, round, std::vector<SettingsLookup>());
      })
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(
      settingsName(family, "open_close", impl,
                   "_" + std::to_string(kSettingsLookups) + "_lookups")
          .c_str(),
      [&family, leaf, round, wanted](benchmark::State& state) {
        openClose(state, family, leaf, round, wanted());
      })
      ->Unit(benchmark::kMillisecond);
}

// Rounds of `rewrite` (false when it failed) on the implementation's own
// copy of the file, so that from the second round on it reads what it wrote
// itself; with `kUnsorted` the copy gets the first content back, untimed,
// before every round.
template <bool kUnsorted, typename Rewrite>
void rewriteRounds(benchmark::State& state, const SettingsFamily& family, const char* impl,
                   const Rewrite& rewrite) {
  const TempFile file(std::string("rewrite-") + impl + "." + family.extension, family.content());
  for (auto _ : state) {
    if constexpr (kUnsorted) {
      state.PauseTiming();
      file.rewrite(family.content());
      state.ResumeTiming();
    }
    if (!rewrite(file)) state.SkipWithError("load or save failed");
  }
  countBytes(state, file.size());
}

template <bool kUnsorted = false, typename Rewrite>
void registerRewrite(const SettingsFamily& family, const char* impl, Rewrite rewrite) {
  benchmark::RegisterBenchmark(
      settingsName(family, "open_rewrite_close", impl, kUnsorted ? "_unsorted" : "").c_str(),
      [&family, impl, rewrite](benchmark::State& state) {
        rewriteRounds<kUnsorted>(state, family, impl, rewrite);
      })
      ->Unit(benchmark::kMillisecond);
}

// The library's store opened for reading and writing and closed, which
// writes the file anew.
template <typename Store>
struct Reopen {
  bool operator()(const TempFile& file) const {
    Store store(Lumbrel::File::Path(file.name()));
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_WRITE);
    store.close();
    return true;
  }
};

// `parse` reads the whole content and gives the number of entries it found.
template <typename Parse>
void registerParse(const SettingsFamily& family, const char* impl, Parse parse) {
  benchmark::RegisterBenchmark(settingsName(family, "parse", impl).c_str(),
                               [&family, parse](benchmark::State& state) {
                                 const std::string& bytes = family.content();
                                 for (auto _ : state) {
                                   std::size_t entries = parse(bytes);
                                   benchmark::DoNotOptimize(entries);
                                 }
                                 countBytes(state, bytes.size());
                               })
      ->Unit(benchmark::kMillisecond);
}

// The library's line reader alone. The family is a template argument so that
// the layout stays a constant the compiler can build the reader around.
template <const SettingsFamily& kFamily>
void registerLumbrelParse() {
  registerParse(kFamily, "lumbrel", [](const std::string& bytes) {
    Lumbrel::store::SettingsReader reader(bytes.data(), bytes.size(), kFamily.layout);
    std::size_t entries = 0;
    while (reader.next()) ++entries;
    return entries;
  });
}

}  // namespace bench

#endif  // LUMBREL_BENCH_SETTINGSBENCH_H
