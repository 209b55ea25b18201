// Arbitrary bytes as a sectioned settings file. The codec must read what the
// reference reader reads and survive its own round trip; InitializationFile's
// own open, from a real file, must hold exactly those entries sorted by
// section and key (equal ones in file order), and its close must write them
// back as the reference writer does.
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "SettingsFuzz.h"
#include "lumbrel/InitializationFile.h"

using Lumbrel::InitializationFile;
using Lumbrel::wstring;
using lumbrel_fuzz::check;
using lumbrel_fuzz::Entry;
using Lumbrel::store::SettingsLayout;

namespace {

void inspect(InitializationFile& file, const std::vector<Entry>& model) {
  std::vector<wstring> sections;
  for (std::size_t i = 0; i < model.size(); ++i) {
    if (i == 0 || !lumbrel_fuzz::sameSection(model[i], model[i - 1]))
      sections.push_back(std::get<0>(model[i]));
  }
  check(file.enumerateSections() == sections);
  std::size_t at = 0;
  for (const wstring& section : sections) {
    std::vector<wstring> keys;
    for (; at < model.size() && Lumbrel::compare(std::get<0>(model[at]), section) == 0; ++at)
      keys.push_back(std::get<1>(model[at]));
    check(file.enumerateKeys(section) == keys);
  }
  // A lookup finds the first of equal entries; the first few suffice.
  for (std::size_t i = 0; i < model.size() && i < 32; ++i) {
    const auto& [section, key, value] = model[i];
    wstring expected = value;
    for (std::size_t j = 0; j < i; ++j) {
      if (Lumbrel::compare(std::get<0>(model[j]), section) == 0 &&
          Lumbrel::compare(std::get<1>(model[j]), key) == 0) {
        expected = std::get<2>(model[j]);
        break;
      }
    }
    check(file.getValue(section, key) == expected);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<Entry> model =
      lumbrel_fuzz::sorted(lumbrel_fuzz::checkCodec(data, size, SettingsLayout::Sectioned));
  lumbrel_fuzz::checkStore<InitializationFile>(
      "fuzz.ini", data, size, model, SettingsLayout::Sectioned, inspect);
  return 0;
}
