// The flat settings store beside POCO's PropertyFileConfiguration, the same
// bytes for both. Rates are bytes of file per second. The files: `4MB`,
// 100,000 `key=value` lines alike; `realistic_3MB` and `realistic_30MB`,
// written as people write them (SettingsCorpus.h).
//
// open_close_<file>: open for reading and close; _1000_lookups adds 1,000
// lookups of existing keys chosen with a fixed seed (checked in an untimed
// first round) between the two.
// open_rewrite_close_4MB: open for reading and writing and close, which
// writes the file anew, beside POCO's load and save; each on its own copy.
// peak_memory_realistic_30MB: the peak resident set that reading the file
// (and, for the store, one lookup) adds, per byte of the file; beside POCO,
// SimpleIni and inih's INIReader, which read it as keys outside any section.
#include <string>
#include <vector>

#include "BenchMain.h"
#include "SettingsBench.h"
#include "lumbrel/PropertyFile.h"

#if defined(LUMBREL_PEER_POCO)
#include <Poco/AutoPtr.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#endif
#if defined(LUMBREL_PEER_INIH)
#include <INIReader.h>
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
#define SI_NO_CONVERSION
#include <SimpleIni.h>
#endif

namespace {

using bench::lookedUp;
using Lookup = bench::SettingsLookup;
using Lumbrel::File;

constexpr int kLines = 100000;

const bench::SettingsCorpus& regular() {
  static const bench::SettingsCorpus corpus = [] {
    bench::SettingsCorpus out;
    for (int i = 0; i < kLines; ++i) {
      const std::string key = "program.setting." + std::to_string(i);
      const std::string value = "value number " + std::to_string(i * 7);
      out.text += key + "=" + value + "\n";
      out.keys.push_back(Lookup{
          {}, key, key, value, {}, Lumbrel::make_wstring(key), Lumbrel::make_wstring(value)});
    }
    return out;
  }();
  return corpus;
}

const bench::SettingsCorpus& realistic3() {
  static const bench::SettingsCorpus corpus = bench::realisticProperties(3000000);
  return corpus;
}

const bench::SettingsCorpus& realistic30() {
  static const bench::SettingsCorpus corpus = bench::realisticProperties(30000000);
  return corpus;
}

constexpr bench::SettingsFamily kRegular{"properties", "4MB", "properties", regular};
constexpr bench::SettingsFamily kRealistic3{"properties", "realistic_3MB", "properties",
                                            realistic3};
constexpr bench::SettingsFamily kRealistic30{"properties", "realistic_30MB", "properties",
                                             realistic30};

bool lumbrelLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  Lumbrel::PropertyFile store(File::Path(file.name()));
  store.open(File::MODE_READ);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, store.getValue(lookup.wideKey), lookup.wideValue);
  store.close();
  return good;
}

void lumbrelMemory(const std::string& native) {
  Lumbrel::PropertyFile store(File::Path(bench::libraryName(native)));
  store.open(File::MODE_READ);
  benchmark::DoNotOptimize(store.getValue(Lumbrel::make_wstring("a")));
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

void pocoMemory(const std::string& native) {
  const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
      new Poco::Util::PropertyFileConfiguration(native));
  benchmark::DoNotOptimize(configuration.get());
}

const auto pocoRewrite = [](const bench::TempFile& file) {
  const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
      new Poco::Util::PropertyFileConfiguration(file.native()));
  configuration->save(file.native());
  return true;
};
#endif

#if defined(LUMBREL_PEER_INIH)
void inihMemory(const std::string& native) {
  const INIReader reader(native);
  benchmark::DoNotOptimize(reader.ParseError());
}
#endif

#if defined(LUMBREL_PEER_SIMPLEINI)
void simpleIniMemory(const std::string& native) {
  CSimpleIniA ini;
  benchmark::DoNotOptimize(ini.LoadFile(native.c_str()));
}
#endif

void registerReaders(const bench::SettingsFamily& family) {
  bench::registerLookups(family, "lumbrel", lumbrelLookups);
#if defined(LUMBREL_PEER_POCO)
  bench::registerLookups(family, "poco", pocoLookups);
#endif
}

void registerAll() {
  registerReaders(kRegular);
  registerReaders(kRealistic3);
  registerReaders(kRealistic30);
  bench::registerRewrite(kRegular, "lumbrel", bench::Reopen<Lumbrel::PropertyFile>());
#if defined(LUMBREL_PEER_POCO)
  bench::registerRewrite(kRegular, "poco", pocoRewrite);
#endif

  bench::registerPeakMemory(kRealistic30, "lumbrel", lumbrelMemory);
#if defined(LUMBREL_PEER_POCO)
  bench::registerPeakMemory(kRealistic30, "poco", pocoMemory);
#endif
#if defined(LUMBREL_PEER_INIH)
  bench::registerPeakMemory(kRealistic30, "inih", inihMemory);
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerPeakMemory(kRealistic30, "simpleini", simpleIniMemory);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
