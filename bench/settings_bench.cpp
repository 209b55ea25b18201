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
#include <random>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "SettingsBench.h"
#include "lumbrel/InitializationFile.h"

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

using bench::lookedUp;
using Lookup = bench::SettingsLookup;
using Lumbrel::File;

constexpr int kSections = 1000;
constexpr int kKeysPerSection = 100;

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

constexpr bench::SettingsFamily kFamily{"settings", "3MB", "ini",
                                        Lumbrel::store::SettingsLayout::Sectioned, content};

const std::vector<Lookup>& lookups() {
  static const std::vector<Lookup> list =
      bench::pickLookups([section = std::uniform_int_distribution<int>(0, kSections - 1),
                          key = std::uniform_int_distribution<int>(0, kKeysPerSection - 1)](
                             std::mt19937& random) mutable {
        const int s = section(random);
        const int k = key(random);
        Lookup lookup{sectionName(s), keyName(k), sectionName(s) + "." + keyName(k),
                      valueText(s, k), {}, {}, {}};
        lookup.wideSection = Lumbrel::make_wstring(lookup.section);
        // The store keeps the blanks around `=` in the key and the value.
        lookup.wideKey = Lumbrel::make_wstring(lookup.key + " ");
        lookup.wideValue = Lumbrel::make_wstring(" " + lookup.value);
        return lookup;
      });
  return list;
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

#if defined(LUMBREL_PEER_INIH)
bool inihLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const INIReader reader(file.native());
  bool good = reader.ParseError() == 0;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, reader.Get(lookup.section, lookup.key, ""), lookup.value);
  return good;
}

const auto inihParse = [](const std::string& text) {
  std::size_t entries = 0;
  ini_parse_string(
      text.c_str(),
      [](void* user, const char*, const char*, const char*) {
        ++*static_cast<std::size_t*>(user);
        return 1;
      },
      &entries);
  return entries;
};
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

const auto boostRewrite = [](const bench::TempFile& file) {
  boost::property_tree::ptree tree;
  boost::property_tree::ini_parser::read_ini(file.native(), tree);
  boost::property_tree::ini_parser::write_ini(file.native(), tree);
  return true;
};
#endif

void registerAll() {
  bench::registerLookups(kFamily, "lumbrel", lumbrelLookups, lookups);
#if defined(LUMBREL_PEER_INIH)
  bench::registerLookups(kFamily, "inih", inihLookups, lookups);
#endif
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerLookups(kFamily, "simpleini", simpleIniLookups, lookups);
#endif
#if defined(LUMBREL_PEER_POCO)
  bench::registerLookups(kFamily, "poco", pocoLookups, lookups);
#endif
#if defined(LUMBREL_PEER_BOOST)
  bench::registerLookups(kFamily, "boost", boostLookups, lookups);
#endif

  bench::registerRewrite(kFamily, "lumbrel", bench::Reopen<Lumbrel::InitializationFile>());
#if defined(LUMBREL_PEER_SIMPLEINI)
  bench::registerRewrite(kFamily, "simpleini", simpleIniRewrite);
#endif
#if defined(LUMBREL_PEER_BOOST)
  bench::registerRewrite(kFamily, "boost", boostRewrite);
#endif
  bench::registerRewrite<true>(kFamily, "lumbrel", bench::Reopen<Lumbrel::InitializationFile>());

  bench::registerLumbrelParse<kFamily>();
#if defined(LUMBREL_PEER_INIH)
  bench::registerParse(kFamily, "inih", inihParse);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
