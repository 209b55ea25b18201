// The sectioned settings store beside other INI readers, the same bytes for
// every reader. Rates are bytes of file per second. The files: `3MB`, 100,000
// key lines in 1,000 sections, every section alike; `realistic_3MB` and
// `realistic_30MB`, written as people write them (SettingsCorpus.h).
//
// open_close_<file>: open for reading and close; _1000_lookups adds 1,000
// lookups of existing keys chosen with a fixed seed (checked in an untimed
// first round) between the two. The peers keep what they read in a map, as
// the store does: inih's INIReader, SimpleIni, POCO's IniFileConfiguration
// and Boost's property tree.
// open_rewrite_close_3MB: open for reading and writing and close, which
// writes the file anew; beside the peers that can save. Each reader works on
// its own copy, so from the second round on it reads what it wrote itself.
// The `_unsorted` row gives the store the person's file every time.
// peak_memory_realistic_30MB: the peak resident set that reading the file
// (and, for the store, one lookup) adds, per byte of the file.
#include <string>
#include <vector>

#include "BenchMain.h"
#include "SettingsBench.h"
#include "lumbrel/InitializationFile.h"

#if defined(LUMBREL_PEER_INIH)
#include <INIReader.h>
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

using bench::lookedUp;
using Lookup = bench::SettingsLookup;
using Lumbrel::File;

constexpr int kSections = 1000;
constexpr int kKeysPerSection = 100;

// Every section alike, keys numbered, blanks around every `=`.
const bench::SettingsCorpus& regular() {
  static const bench::SettingsCorpus corpus = [] {
    bench::SettingsCorpus out;
    for (int s = 0; s < kSections; ++s) {
      const std::string section = "section" + std::to_string(s);
      out.text += "[" + section + "]\n";
      for (int k = 0; k < kKeysPerSection; ++k) {
        const std::string key = "setting" + std::to_string(k);
        const std::string value = "value number " + std::to_string(s * 7 + k);
        out.text += key + " = " + value + "\n";
        out.keys.push_back(Lookup{section, key, section + "." + key, value,
                                  Lumbrel::make_wstring(section), Lumbrel::make_wstring(key + " "),
                                  Lumbrel::make_wstring(" " + value)});
      }
    }
    return out;
  }();
  return corpus;
}

const bench::SettingsCorpus& realistic3() {
  static const bench::SettingsCorpus corpus = bench::realisticSections(3000000);
  return corpus;
}

const bench::SettingsCorpus& realistic30() {
  static const bench::SettingsCorpus corpus = bench::realisticSections(30000000);
  return corpus;
}

constexpr bench::SettingsFamily kRegular{"settings", "3MB", "ini", regular};
constexpr bench::SettingsFamily kRealistic3{"settings", "realistic_3MB", "ini", realistic3};
constexpr bench::SettingsFamily kRealistic30{"settings", "realistic_30MB", "ini", realistic30};

bool lumbrelLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  Lumbrel::InitializationFile store(File::Path(file.name()));
  store.open(File::MODE_READ);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, store.getValue(lookup.wideSection, lookup.wideKey), lookup.wideValue);
  store.close();
  return good;
}

void lumbrelMemory(const std::string& native) {
  Lumbrel::InitializationFile store(File::Path(bench::libraryName(native)));
  store.open(File::MODE_READ);
  benchmark::DoNotOptimize(store.getValue(Lumbrel::make_wstring("a"), Lumbrel::make_wstring("b")));
}

#if defined(LUMBREL_PEER_INIH)
bool inihLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const INIReader reader(file.native());
  bool good = reader.ParseError() == 0;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, reader.Get(lookup.section, lookup.key, ""), lookup.value);
  return good;
}

void inihMemory(const std::string& native) {
  const INIReader reader(native);
  benchmark::DoNotOptimize(reader.ParseError());
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

void simpleIniMemory(const std::string& native) {
  CSimpleIniA ini;
  benchmark::DoNotOptimize(ini.LoadFile(native.c_str()));
}

const auto simpleIniRewrite = [](const bench::TempFile& file) {
  CSimpleIniA ini;
  return ini.LoadFile(file.native().c_str()) == SI_OK &&
         ini.SaveFile(file.native().c_str()) == SI_OK;
};
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

void pocoMemory(const std::string& native) {
  const Poco::AutoPtr<Poco::Util::IniFileConfiguration> configuration(
      new Poco::Util::IniFileConfiguration(native));
  benchmark::DoNotOptimize(configuration.get());
}
#endif

#if defined(LUMBREL_PEER_BOOST)
// Section names may hold dots, so the path is split at a byte no name holds.
boost::property_tree::ptree::path_type boostPath(const Lookup& lookup) {
  return boost::property_tree::ptree::path_type(lookup.section + '\x1F' + lookup.key, '\x1F');
}

bool boostLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  boost::property_tree::ptree tree;
  boost::property_tree::ini_parser::read_ini(file.native(), tree);
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, tree.get<std::string>(boostPath(lookup), ""), lookup.value);
  return good;
}

const auto boostRewrite = [](const bench::TempFile& file) {
  boost::property_tree::ptree tree;
  boost::property_tree::ini_parser::read_ini(file.native(), tree);
  boost::property_tree::ini_parser::write_ini(file.native(), tree);
  return true;
};
#endif

void registerReaders(const bench::SettingsFamily& family) {
  bench::registerLookups(family, "lumbrel", lumbrelLookups);
#if defined(LUMBREL_PEER_INIH)
  bench::registerLookups(family, "inih", inihLookups);
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerLookups(family, "simpleini", simpleIniLookups);
#endif
#if defined(LUMBREL_PEER_POCO)
  bench::registerLookups(family, "poco", pocoLookups);
#endif
#if defined(LUMBREL_PEER_BOOST)
  bench::registerLookups(family, "boost", boostLookups);
#endif
}

void registerAll() {
  registerReaders(kRegular);
  registerReaders(kRealistic3);
  registerReaders(kRealistic30);

  bench::registerRewrite(kRegular, "lumbrel", bench::Reopen<Lumbrel::InitializationFile>());
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerRewrite(kRegular, "simpleini", simpleIniRewrite);
#endif
#if defined(LUMBREL_PEER_BOOST)
  bench::registerRewrite(kRegular, "boost", boostRewrite);
#endif
  bench::registerRewrite<true>(kRegular, "lumbrel", bench::Reopen<Lumbrel::InitializationFile>());

  bench::registerPeakMemory(kRealistic30, "lumbrel", lumbrelMemory);
#if defined(LUMBREL_PEER_INIH)
  bench::registerPeakMemory(kRealistic30, "inih", inihMemory);
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerPeakMemory(kRealistic30, "simpleini", simpleIniMemory);
#endif
#if defined(LUMBREL_PEER_POCO)
  bench::registerPeakMemory(kRealistic30, "poco", pocoMemory);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
