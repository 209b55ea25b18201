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
#include <random>
#include <string>
#include <vector>

#include "BenchMain.h"
#include "SettingsBench.h"
#include "lumbrel/PropertyFile.h"

#if defined(LUMBREL_PEER_POCO)
#include <Poco/AutoPtr.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#endif

namespace {

using bench::lookedUp;
using Lookup = bench::SettingsLookup;
using Lumbrel::File;

constexpr int kLines = 100000;

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

constexpr bench::SettingsFamily kFamily{"properties", "4MB", "properties",
                                        Lumbrel::store::SettingsLayout::Flat, content};

const std::vector<Lookup>& lookups() {
  static const std::vector<Lookup> list =
      bench::pickLookups([line = std::uniform_int_distribution<int>(0, kLines - 1)](
                             std::mt19937& random) mutable {
        const int n = line(random);
        return Lookup{{}, keyName(n), {}, valueText(n), {}, Lumbrel::make_wstring(keyName(n)),
                      Lumbrel::make_wstring(valueText(n))};
      });
  return list;
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

#if defined(LUMBREL_PEER_POCO)
bool pocoLookups(const bench::TempFile& file, const std::vector<Lookup>& wanted, bool check) {
  const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
      new Poco::Util::PropertyFileConfiguration(file.native()));
  bool good = true;
  for (const Lookup& lookup : wanted)
    good &= lookedUp(check, configuration->getString(lookup.key, ""), lookup.value);
  return good;
}

const auto pocoRewrite = [](const bench::TempFile& file) {
  const Poco::AutoPtr<Poco::Util::PropertyFileConfiguration> configuration(
      new Poco::Util::PropertyFileConfiguration(file.native()));
  configuration->save(file.native());
  return true;
};
#endif

void registerAll() {
  bench::registerLookups(kFamily, "lumbrel", lumbrelLookups, lookups);
#if defined(LUMBREL_PEER_POCO)
  bench::registerLookups(kFamily, "poco", pocoLookups, lookups);
#endif
  bench::registerRewrite(kFamily, "lumbrel", bench::Reopen<Lumbrel::PropertyFile>());
#if defined(LUMBREL_PEER_POCO)
  bench::registerRewrite(kFamily, "poco", pocoRewrite);
#endif
  bench::registerLumbrelParse<kFamily>();
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  return bench::runBenchmarks(argc, argv);
}
