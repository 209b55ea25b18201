// Arbitrary bytes as a flat settings file. PropertyFile's own open, from a
// real file, must hold exactly the entries the reference reader reads, in
// file order, and its close must write them back as the reference writer
// does.
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

namespace {

void inspect(PropertyFile& file, const std::vector<Entry>& model) {
  std::vector<wstring> keys;
  for (const Entry& entry : model) keys.push_back(std::get<1>(entry));
  check(file.enumerateKeys() == keys);
  // A lookup finds the first of equal keys; the first few suffice.
  for (std::size_t i = 0; i < model.size() && i < 32; ++i) {
    std::size_t first = 0;
    while (Lumbrel::compare(keys[first], keys[i]) != 0) ++first;
    check(file.getValue(keys[i]) == std::get<2>(model[first]));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using lumbrel_fuzz::Layout;
  const std::vector<Entry> model = lumbrel_fuzz::referenceRead(
      std::string(reinterpret_cast<const char*>(data), size), Layout::Flat);
  lumbrel_fuzz::checkStore<PropertyFile>("fuzz.properties", data, size, model, Layout::Flat,
                                         inspect, [](PropertyFile& file, const Entry& entry) {
                                           const wstring& key = std::get<1>(entry);
                                           file.setValue(key, file.getValue(key));
                                         });
  return 0;
}
