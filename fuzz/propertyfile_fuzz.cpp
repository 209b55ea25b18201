// Arbitrary bytes as a flat settings file. The codec must read what the
// reference reader reads and survive its own round trip; PropertyFile's own
// open, from a real file, must hold exactly those entries in file order, and
// its close must write them back as the reference writer does.
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "FuzzFiles.h"
#include "SettingsFuzz.h"
#include "lumbrel/PropertyFile.h"

using Lumbrel::File;
using Lumbrel::PropertyFile;
using Lumbrel::wstring;
using lumbrel_fuzz::check;
using lumbrel_fuzz::Entry;
using Lumbrel::store::SettingsLayout;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer's buffer has no terminator behind it, so a read one byte too
  // far is caught.
  const char* bytes = reinterpret_cast<const char*>(data);
  const std::vector<Entry> model = lumbrel_fuzz::checkCodec(bytes, size, SettingsLayout::Flat);

  const auto& scratch = lumbrel_fuzz::scratch("fuzz.properties");
  scratch.write(data, size);
  {
    PropertyFile file(scratch.path());
    file.open(File::MODE_READ);
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
    file.close();
  }
  {
    PropertyFile file(scratch.path());
    file.open(File::MODE_READ | File::MODE_WRITE);
    file.close();
  }
  check(scratch.read() == lumbrel_fuzz::referenceWrite(model, SettingsLayout::Flat));
  return 0;
}
