// Arbitrary bytes as a flat settings file. The codec must read what the
// reference reader reads and survive its own round trip; PropertyFile's own
// open, from a real file, must hold exactly those entries in file order, and
// its close must write them back as the reference writer does.
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "SettingsFuzz.h"
#include "lumbrel/PropertyFile.h"

using Lumbrel::PropertyFile;
using Lumbrel::wstring;
using lumbrel_fuzz::check;
using lumbrel_fuzz::Entry;
using Lumbrel::store::SettingsLayout;

namespace {

void inspect(PropertyFile& file, const std::vector<Entry>& model) {
  std::vector<wstring> keys;
  for (const Entry& entry : model) keys.push_back(std::get<1>(entry));
  check(file.enumerateKeys() == keys);
  // A lookup finds the first of equal keys; the first few suffice.
  for (std::size_t i = 0; i < model.size() && i < 32; ++i) {
    const wstring& key = std::get<1>(model[i]);
    std::size_t first = 0;
    while (Lumbrel::compare(std::get<1>(model[first]), key) != 0) ++first;
    check(file.getValue(key) == std::get<2>(model[first]));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<Entry> model = lumbrel_fuzz::checkCodec(data, size, SettingsLayout::Flat);
  lumbrel_fuzz::checkStore<PropertyFile>("fuzz.properties", data, size, model,
                                         SettingsLayout::Flat, inspect);
  return 0;
}
