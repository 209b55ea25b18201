// What the two settings benchmark families share. Each works on files of
// settings, the same bytes for every implementation: a regular file (every
// section alike, keys numbered) and realistic ones of two sizes
// (SettingsCorpus.h). It measures opening and closing a file alone or with
// lookups of existing keys (checked in an untimed first round), opening it
// for writing so that closing writes it anew, and the memory a reader holds
// once the file is read. Names are `<family>/<operation>_<corpus>[_<variant>]/
// <impl>`; rates are bytes of file per second.
#ifndef LUMBREL_BENCH_SETTINGSBENCH_H
#define LUMBREL_BENCH_SETTINGSBENCH_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "BenchFiles.h"
#include "PeakMemory.h"
#include "SettingsCorpus.h"
#include "lumbrel/File.h"

namespace bench {

// Lookups in a round of the `_<n>_lookups` rows.
constexpr int kSettingsLookups = 1000;

struct SettingsFamily {
  const char* name;       // the first part of every benchmark name
  const char* corpus;     // the file as the names give it, such as `3MB`
  const char* extension;  // of each implementation's copy of the file
  const SettingsCorpus& (*content)();
};

inline std::string settingsName(const SettingsFamily& family, const char* operation,
                                const char* impl, const std::string& variant = "") {
  return std::string(family.name) + "/" + operation + "_" + family.corpus + variant + "/" + impl;
}

inline void countBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(size));
}

inline std::string lowered(const std::string& text) { return corpus::lower(text); }

// The lookups of the `_<n>_lookups` rows, keys of the file chosen with a
// fixed seed. A key whose `section.key` another key spells too, case
// ignored, is passed over: readers that address keys so would find either.
inline std::vector<SettingsLookup> pickLookups(const SettingsCorpus& corpus) {
  std::map<std::string, int> spellings;
  for (const SettingsLookup& key : corpus.keys) ++spellings[lowered(key.dotted)];
  std::mt19937 random(1000);
  std::vector<SettingsLookup> out;
  while (out.size() < static_cast<std::size_t>(kSettingsLookups)) {
    const SettingsLookup& key = corpus.keys[random() % corpus.keys.size()];
    if (spellings[lowered(key.dotted)] == 1) out.push_back(key);
  }
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
                      const std::string& leaf, LookupRound round, bool withLookups) {
  const TempFile file(leaf, family.content().text);
  const std::vector<SettingsLookup> wanted =
      withLookups ? pickLookups(family.content()) : std::vector<SettingsLookup>();
  if (!round(file, wanted, true)) state.SkipWithError("wrong value");
  for (auto _ : state) round(file, wanted, false);
  countBytes(state, file.size());
}

// Open and close alone, and with the lookups.
inline void registerLookups(const SettingsFamily& family, const char* impl, LookupRound round) {
  const std::string leaf =
      std::string("lookups-") + family.corpus + "-" + impl + "." + family.extension;
  benchmark::RegisterBenchmark(settingsName(family, "open_close", impl).c_str(),
                               [&family, leaf, round](benchmark::State& state) {
                                 openClose(state, family, leaf, round, false);
                               })
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(
      settingsName(family, "open_close", impl, "_" + std::to_string(kSettingsLookups) + "_lookups")
          .c_str(),
      [&family, leaf, round](benchmark::State& state) {
        openClose(state, family, leaf, round, true);
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
  const std::string& content = family.content().text;
  const TempFile file(std::string("rewrite-") + family.corpus + "-" + impl + "." + family.extension,
                      content);
  for (auto _ : state) {
    if constexpr (kUnsorted) {
      state.PauseTiming();
      file.rewrite(content);
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

// The peak memory of `read`, which reads the file named natively and keeps
// what it read until it returns (`peak_memory_<corpus>`). The file is the
// family's content, written once for all implementations.
inline void registerPeakMemory(const SettingsFamily& family, const char* impl,
                               void (*read)(const std::string& native)) {
  const auto file = [&family]() -> std::pair<std::string, std::size_t> {
    static std::map<const SettingsFamily*, std::unique_ptr<TempFile>> files;
    auto& made = files[&family];
    if (!made)
      made = std::make_unique<TempFile>(
          std::string("memory-") + family.corpus + "." + family.extension, family.content().text);
    return {made->native(), made->size()};
  };
  registerPeakMemory(settingsName(family, "peak_memory", impl), file, read);
}

}  // namespace bench

#endif  // LUMBREL_BENCH_SETTINGSBENCH_H
