// The sectioned settings store beside other INI readers, on one 3 MB file of
// 100,000 key lines in 1,000 sections, written as a person would (unsorted),
// the same bytes for every reader. Rates are bytes of file per second.
//
// open_close_3MB: open for reading and close; _1000_lookups adds 1,000
// lookups of existing keys chosen with a fixed seed (checked in an untimed
// first round) between the two. The peers keep
// what they read in a map, as the store does: inih's INIReader, SimpleIni,
// POCO's IniFileConfiguration and Boost's property tree.
// open_rewrite_close_3MB: open for reading and writing and close, which
// writes the file anew; beside the peers that can save. Each reader works on
// its own copy, so from the second round on it reads what it wrote itself.
// The `_unsorted` row gives the store the person's file every time.
// parse_3MB: the line reader alone, beside inih's callback parser, which
// keeps nothing.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "BenchFiles.h"
#include "lumbrel/InitializationFile.h"
#include "store/SettingsFormat.h"

#if defined(LUMBREL_PEER_INIH)
#include <INIReader.h>
#include <ini.h>
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
// CSimpleIniA keeps 8-bit text as it is whichever wide converter is chosen;
// this one needs no other library.
#define SI_NO_CONVERSION
#include <SimpleIni.h>
#endif
#if defined(LUMBREL_PEER_POCO)
#include <Poco/AutoPtr.h>
#include <Poco/Util/IniFileConfiguration.h>
#endif
#if defined(LUMBREL_PEER_BOOST)
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#endif

namespace {

using Lumbrel::File;

constexpr int kSections = 1000;
constexpr int kKeysPerSection = 100;
constexpr int kLookups = 1000;

std::string sectionName(int s) { return "section" + std::to_string(s); }
std::string keyName(int k) { return "setting" + std::to_string(k); }
std::string valueText(int s, int k) { return "value number " + std::to_string(s * 7 + k); }

std::string sectionedContent() {
  std::string text;
  for (int s = 0; s < kSections; ++s) {
    text += "[" + sectionName(s) + "]\n";
    for (int k = 0; k < kKeysPerSection; ++k)
      text += keyName(k) + " = " + valueText(s, k) + "\n";
  }
  return text;
}

const std::string& content() {
  static const std::string text = sectionedContent();
  return text;
}

struct Lookup {
  std::string section;
  std::string key;
  std::string dotted;  // section.key, for the peers that address keys so
  std::string value;
  Lumbrel::wstring wideSection;
  Lumbrel::wstring wideKey;
  Lumbrel::wstring wideValue;
};

const std::vector<Lookup>& lookups() {
  static const std::vector<Lookup> list = [] {
    std::mt19937 random(1000);
    std::uniform_int_distribution<int> section(0, kSections - 1);
    std::uniform_int_distribution<int> key(0, kKeysPerSection - 1);
    std::vector<Lookup> out;
    for (int i = 0; i < kLookups; ++i) {
      const int s = section(random);
      const int k = key(random);
      Lookup lookup{sectionName(s), keyName(k), sectionName(s) + "." + keyName(k),
                    valueText(s, k), {}, {}, {}};
      lookup.wideSection = Lumbrel::make_wstring(lookup.section);
      // The store keeps the blanks around `=` in the key and the value.
      lookup.wideKey = Lumbrel::make_wstring(lookup.key + " ");
      lookup.wideValue = Lumbrel::make_wstring(" " + lookup.value);
      out.push_back(std::move(lookup));
    }
    return out;
  }();
  return list;
}

// A round opens the file, looks up the wanted keys and closes; an untimed
// first round checks the values.
using Round = bool (*)(const bench::TempFile&, const std::vector<Lookup>&, bool);

void openClose(benchmark::State& state, const std::string& leaf, Round round,
               const std::vector<Lookup>& wanted) {
  const bench::TempFile file(leaf, content());
  if (!round(file, wanted, true)) state.SkipWithError("wrong value");
  for (auto _ : state) round(file, wanted, false);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}

template <typename Value, typename Expected>
bool lookedUp(bool check, const Value& value, const Expected& expected) {
  benchmark::DoNotOptimize(value);
  return !check || value == expected;
}

bool lumbrelLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  Lumbrel::InitializationFile store(File::Path(file.name()));
  store.open(File::MODE_READ);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, store.getValue(lookup.wideSection, lookup.wideKey), lookup.wideValue);
  store.close();
  return good;
}

void lumbrelRewrite(benchmark::State& state, bool unsorted) {
  const bench::TempFile file("rewrite-lumbrel.ini", content());
  for (auto _ : state) {
    if (unsorted) {
      state.PauseTiming();
      file.rewrite(content());
      state.ResumeTiming();
    }
    Lumbrel::InitializationFile store(File::Path(file.name()));
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
                                          Lumbrel::store::SettingsLayout::Sectioned);
    std::size_t entries = 0;
    while (reader.next()) ++entries;
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(bytes.size()));
}

#if defined(LUMBREL_PEER_INIH)
bool inihLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const INIReader reader(file.native());
  bool good = reader.ParseError() == 0;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, reader.Get(lookup.section, lookup.key, ""), lookup.value);
  return good;
}

void parseInih(benchmark::State& state) {
  const std::string& text = content();
  for (auto _ : state) {
    std::size_t entries = 0;
    ini_parse_string(
        text.c_str(),
        [](void* user, const char*, const char*, const char*) {
          ++*static_cast<std::size_t*>(user);
          return 1;
        },
        &entries);
    benchmark::DoNotOptimize(entries);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}
#endif

#if defined(LUMBREL_PEER_SIMPLEINI)
bool simpleIniLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  CSimpleIniA ini;
  bool good = ini.LoadFile(file.native().c_str()) == SI_OK;
  for (const Lookup& lookup : wanted) {
    const char* value = ini.GetValue(lookup.section.c_str(), lookup.key.c_str(), "");
    good &= lookedUp(check, std::string(value), lookup.value);
  }
  return good;
}

void simpleIniRewrite(benchmark::State& state) {
  const bench::TempFile file("rewrite-simpleini.ini", content());
  for (auto _ : state) {
    CSimpleIniA ini;
    if (ini.LoadFile(file.native().c_str()) != SI_OK ||
        ini.SaveFile(file.native().c_str()) != SI_OK)
      state.SkipWithError("load or save failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}
#endif

#if defined(LUMBREL_PEER_POCO)
bool pocoLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const Poco::AutoPtr<Poco::Util::IniFileConfiguration> configuration(
      new Poco::Util::IniFileConfiguration(file.native()));
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, configuration->getString(lookup.dotted, ""), lookup.value);
  return good;
}
#endif

#if defined(LUMBREL_PEER_BOOST)
bool boostLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  boost::property_tree::ptree tree;
  boost::property_tree::ini_parser::read_ini(file.native(), tree);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, tree.get<std::string>(lookup.dotted, ""), lookup.value);
  return good;
}

void boostRewrite(benchmark::State& state) {
  const bench::TempFile file("rewrite-boost.ini", content());
  for (auto _ : state) {
    boost::property_tree::ptree tree;
    boost::property_tree::ini_parser::read_ini(file.native(), tree);
    boost::property_tree::ini_parser::write_ini(file.native(), tree);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(file.size()));
}
#endif

// Open and close alone, and with the lookups.
void lookupsCase(const char* impl, Round round) {
  static const std::vector<Lookup> none;
  const std::string leaf = std::string("lookups-") + impl + ".ini";
  benchmark::RegisterBenchmark(
      (std::string("settings/open_close_3MB/") + impl).c_str(),
      [leaf, round](benchmark::State& state) { openClose(state, leaf, round, none); })
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(
      (std::string("settings/open_close_3MB_1000_lookups/") + impl).c_str(),
      [leaf, round](benchmark::State& state) { openClose(state, leaf, round, lookups()); })
      ->Unit(benchmark::kMillisecond);
}

void registerAll() {
  lookupsCase("lumbrel", lumbrelLookups);
#if defined(LUMBREL_PEER_INIH)
  lookupsCase("inih", inihLookups);
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
  lookupsCase("simpleini", simpleIniLookups);
#endif
#if defined(LUMBREL_PEER_POCO)
  lookupsCase("poco", pocoLookups);
#endif
#if defined(LUMBREL_PEER_BOOST)
  lookupsCase("boost", boostLookups);
#endif

  benchmark::RegisterBenchmark("settings/open_rewrite_close_3MB/lumbrel", lumbrelRewrite, false)
      ->Unit(benchmark::kMillisecond);
#if defined(LUMBREL_PEER_SIMPLEINI)
  benchmark::RegisterBenchmark("settings/open_rewrite_close_3MB/simpleini", simpleIniRewrite)
      ->Unit(benchmark::kMillisecond);
#endif
#if defined(LUMBREL_PEER_BOOST)
  benchmark::RegisterBenchmark("settings/open_rewrite_close_3MB/boost", boostRewrite)
      ->Unit(benchmark::kMillisecond);
#endif
  benchmark::RegisterBenchmark("settings/open_rewrite_close_3MB_unsorted/lumbrel", lumbrelRewrite,
                               true)
      ->Unit(benchmark::kMillisecond);

  benchmark::RegisterBenchmark("settings/parse_3MB/lumbrel", parseLumbrel)
      ->Unit(benchmark::kMillisecond);
#if defined(LUMBREL_PEER_INIH)
  benchmark::RegisterBenchmark("settings/parse_3MB/inih", parseInih)
      ->Unit(benchmark::kMillisecond);
#endif
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
