// Arbitrary bytes as a sectioned settings file. InitializationFile's own open,
// from a real file, must hold exactly the entries the reference reader reads,
// sorted by section and key (equal ones in file order), and its close must
// write them back as the reference writer does.
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "SettingsFuzz.h"
#include "lumbrel/InitializationFile.h"

namespace {

using lumbrel_fuzz::Entry;
using Lumbrel::wstring;

struct Face {
  using Store = Lumbrel::InitializationFile;
  static constexpr const char* kName = "fuzz.ini";
  static constexpr lumbrel_fuzz::Layout kLayout = lumbrel_fuzz::Layout::Sectioned;
  static wstring get(Store& file, const Entry& entry) {
    return file.getValue(std::get<0>(entry), std::get<1>(entry));
  }
  static void set(Store& file, const Entry& entry, const wstring& value) {
    file.setValue(std::get<0>(entry), std::get<1>(entry), value);
  }
  // Each section once, spelled as its first entry, with its keys in order.
  static void checkLists(Store& file, const std::vector<Entry>& model) {
    std::vector<wstring> sections;
    for (std::size_t i = 0; i < model.size(); ++i)
      if (i == 0 || !lumbrel_fuzz::sameSection(model[i], model[i - 1]))
        sections.push_back(std::get<0>(model[i]));
    lumbrel_fuzz::check(file.enumerateSections() == sections);
    for (const wstring& section : sections) {
      std::vector<wstring> keys;
      for (const auto& [entrySection, key, value] : model)
        if (Lumbrel::compare(entrySection, section) == 0) keys.push_back(key);
      lumbrel_fuzz::check(file.enumerateKeys(section) == keys);
    }
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return lumbrel_fuzz::checkStore<Face>(data, size);
}
