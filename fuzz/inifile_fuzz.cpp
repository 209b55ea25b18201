// Arbitrary bytes as a sectioned settings file. InitializationFile's own open,
// from a real file, must hold exactly the entries the reference reader reads,
// sorted by section and key (equal ones in file order), and its close must
// write them back as the reference writer does.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "SettingsFuzz.h"
#include "lumbrel/InitializationFile.h"

using Lumbrel::compare;
using Lumbrel::InitializationFile;
using Lumbrel::wstring;
using lumbrel_fuzz::check;
using lumbrel_fuzz::Entry;

namespace {

bool sameKey(const Entry& a, const Entry& b) {
  return lumbrel_fuzz::sameSection(a, b) && compare(std::get<1>(a), std::get<1>(b)) == 0;
}

void inspect(InitializationFile& file, const std::vector<Entry>& model) {
  std::vector<wstring> sections;
  for (std::size_t i = 0; i < model.size(); ++i) {
    if (i == 0 || !lumbrel_fuzz::sameSection(model[i], model[i - 1]))
      sections.push_back(std::get<0>(model[i]));
  }
  check(file.enumerateSections() == sections);
  for (const wstring& section : sections) {
    std::vector<wstring> keys;
    for (const auto& [entrySection, key, value] : model)
      if (compare(entrySection, section) == 0) keys.push_back(key);
    check(file.enumerateKeys(section) == keys);
  }
  // A lookup finds the first of equal entries; the first few suffice.
  for (std::size_t i = 0; i < model.size() && i < 32; ++i) {
    const Entry& first = *std::find_if(
        model.begin(), model.end(), [&](const Entry& other) { return sameKey(other, model[i]); });
    check(file.getValue(std::get<0>(model[i]), std::get<1>(model[i])) == std::get<2>(first));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using lumbrel_fuzz::Layout;
  std::vector<Entry> model = lumbrel_fuzz::referenceRead(
      std::string(reinterpret_cast<const char*>(data), size), Layout::Sectioned);
  std::stable_sort(model.begin(), model.end(), [](const Entry& a, const Entry& b) {
    const long bySection = compare(std::get<0>(a), std::get<0>(b));
    return bySection != 0 ? bySection < 0 : compare(std::get<1>(a), std::get<1>(b)) < 0;
  });
  lumbrel_fuzz::checkStore<InitializationFile>(
      "fuzz.ini", data, size, model, Layout::Sectioned, inspect,
      [](InitializationFile& file, const Entry& entry) {
        const auto& [section, key, value] = entry;
        file.setValue(section, key, file.getValue(section, key));
      });
  return 0;
}
