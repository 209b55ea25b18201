// What the two settings fuzz targets share: a small reference reader of the
// line format, written from the format's rules line form by line form, a
// reference writer, and the stores' own open and close on a real file.
#ifndef LUMBREL_FUZZ_SETTINGS_FUZZ_H
#define LUMBREL_FUZZ_SETTINGS_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "FuzzFiles.h"
#include "lumbrel/File.h"
#include "lumbrel/Text.h"

namespace lumbrel_fuzz {

using Lumbrel::wstring;
using Entry = std::tuple<wstring, wstring, wstring>;  // section, key, value
enum class Layout { Sectioned, Flat };

// The entries of a file in file order. Lines end at a newline byte; each is
// stripped of TAB and SPACE at both ends (a line of blanks alone stays as it
// is) and is then empty, a comment (`#`, `;`), in the sectioned layout a
// header (`[`), a key line (first `=` splits key and value) or nothing.
inline std::vector<Entry> referenceRead(const std::string& text, Layout layout) {
  std::vector<Entry> entries;
  wstring section;
  for (std::size_t start = 0, end = 0; start < text.size(); start = end + 1) {
    end = std::min(text.find('\n', start), text.size());
    std::string line = text.substr(start, end - start);
    const std::size_t first = line.find_first_not_of(" \t"), last = line.find_last_not_of(" \t");
    if (first != std::string::npos) line = line.substr(first, last + 1 - first);
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    if (line[0] == '[' && layout == Layout::Sectioned) {
      while (line.back() == ']') line.pop_back();
      const std::size_t name = line.find_first_not_of('[');  // brackets alone stay
      if (name != std::string::npos) line.erase(0, name);
      section = Lumbrel::make_wstring(line);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    const wstring key = Lumbrel::make_wstring(line.substr(0, equals));
    if (key.empty() || (layout == Layout::Sectioned && section.empty())) continue;
    entries.emplace_back(layout == Layout::Sectioned ? section : wstring(), key,
                         Lumbrel::make_wstring(line.substr(equals + 1)));
  }
  return entries;
}

inline bool sameSection(const Entry& a, const Entry& b) {
  return Lumbrel::compare(std::get<0>(a), std::get<0>(b)) == 0;
}

// A header at each change of section (case ignored), spelled as the run's
// first entry, then one `key=value` line per entry.
inline std::string referenceWrite(const std::vector<Entry>& entries, Layout layout) {
  std::string out;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& [section, key, value] = entries[i];
    if (layout == Layout::Sectioned && (i == 0 || !sameSection(entries[i], entries[i - 1])))
      out += "[" + Lumbrel::make_string(section) + "]\n";
    out += Lumbrel::make_string(key) + "=" + Lumbrel::make_string(value) + "\n";
  }
  return out;
}

// The input as a real file in the scratch folder, held against the entries
// the reference reader reads: in file order, sorted by section and key in the
// sectioned layout (equal ones in file order). `Face` names the `Store`, its
// scratch file and layout, reads (get) and sets (set) an entry's value, and
// checks the store's lists of sections and keys (checkLists). Open for reading
// must give those lists, and a lookup the first of equal entries; after an
// open for reading and writing in which each value is set again (so that it
// is the caller's text now), close must write the entries as the reference
// writer does. The binary bit keeps the platform's line-end translation
// (Windows) out, so that the file holds the store's own bytes.
template <typename Face>
int checkStore(const std::uint8_t* data, std::size_t size) {
  using Lumbrel::File;
  std::vector<Entry> model =
      referenceRead(std::string(reinterpret_cast<const char*>(data), size), Face::kLayout);
  if (Face::kLayout == Layout::Sectioned)
    std::stable_sort(model.begin(), model.end(), [](const Entry& a, const Entry& b) {
      const long bySection = Lumbrel::compare(std::get<0>(a), std::get<0>(b));
      return bySection != 0 ? bySection < 0 : Lumbrel::compare(std::get<1>(a), std::get<1>(b)) < 0;
    });
  const ScratchFile& file = scratch(Face::kName);
  file.write(data, size);
  {
    typename Face::Store store(file.path);
    store.open(File::MODE_READ | File::MODE_BINARY);
    Face::checkLists(store, model);
    for (std::size_t i = 0; i < model.size() && i < 32; ++i) {  // the first few suffice
      std::size_t first = 0;
      while (!sameSection(model[first], model[i]) ||
             Lumbrel::compare(std::get<1>(model[first]), std::get<1>(model[i])) != 0) ++first;
      check(Face::get(store, model[i]) == std::get<2>(model[first]));
    }
  }
  {
    typename Face::Store store(file.path);
    store.open(File::MODE_READ | File::MODE_WRITE | File::MODE_BINARY);
    for (const Entry& entry : model) Face::set(store, entry, Face::get(store, entry));
    store.close();
  }
  check(file.read() == referenceWrite(model, Face::kLayout));
  return 0;
}

}  // namespace lumbrel_fuzz

#endif  // LUMBREL_FUZZ_SETTINGS_FUZZ_H
