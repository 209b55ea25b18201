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

namespace {

using lumbrel_fuzz::Entry;
using Lumbrel::wstring;

struct Face {
  using Store = Lumbrel::PropertyFile;
  static constexpr const char* kName = "fuzz.properties";
  static constexpr lumbrel_fuzz::Layout kLayout = lumbrel_fuzz::Layout::Flat;
  static wstring get(Store& file, const Entry& entry) { return file.getValue(std::get<1>(entry)); }
  static void set(Store& file, const Entry& entry, const wstring& value) {
    file.setValue(std::get<1>(entry), value);
  }
  static void checkLists(Store& file, const std::vector<Entry>& model) {
    std::vector<wstring> keys;
    for (const Entry& entry : model) keys.push_back(std::get<1>(entry));
    lumbrel_fuzz::check(file.enumerateKeys() == keys);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return lumbrel_fuzz::checkStore<Face>(data, size);
}
