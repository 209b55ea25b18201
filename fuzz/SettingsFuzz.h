// What the two settings fuzz targets share: a small reference reader of the
// line format, written from the format's rules line form by line form, a
// reference writer, the round trip of the library's own codec, and the
// stores' own open and close on a real file.
#ifndef LUMBREL_FUZZ_SETTINGS_FUZZ_H
#define LUMBREL_FUZZ_SETTINGS_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "FuzzFiles.h"
#include "lumbrel/File.h"
#include "lumbrel/Text.h"
#include "store/SettingsFormat.h"

namespace lumbrel_fuzz {

using Lumbrel::wstring;
using Lumbrel::store::SettingsLayout;
using Entry = std::tuple<wstring, wstring, wstring>;  // section, key, value

inline void check(bool condition) {
  if (!condition) std::abort();
}

// ---- Reference ----

// The entries of a file in file order. Lines end at a newline byte; each is
// stripped of TAB and SPACE at both ends (a line of blanks alone stays as it
// is) and is then empty, a comment (`#`, `;`), in the sectioned layout a
// header (`[`), a key line (first `=` splits key and value) or nothing.
inline std::vector<Entry> referenceRead(const std::string& text, SettingsLayout layout) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  std::vector<Entry> entries;
  wstring section;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    start = end + 1;

    std::size_t last = line.size();
    while (last > 0 && blank(line[last - 1])) --last;
    std::size_t first = 0;
    while (first < last && blank(line[first])) ++first;
    if (first < last) line = line.substr(first, last - first);
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    if (line[0] == '[' && layout == SettingsLayout::Sectioned) {
      while (line.back() == ']') line.pop_back();
      const std::size_t name = line.find_first_not_of('[');
      if (name != std::string::npos) line.erase(0, name);
      section = Lumbrel::make_wstring(line);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    const wstring key = Lumbrel::make_wstring(line.substr(0, equals));
    if (Lumbrel::length(key) == 0) continue;
    if (layout == SettingsLayout::Sectioned && Lumbrel::length(section) == 0) continue;
    entries.emplace_back(layout == SettingsLayout::Sectioned ? section : wstring(), key,
                         Lumbrel::make_wstring(line.substr(equals + 1)));
  }
  return entries;
}

inline bool sameSection(const Entry& a, const Entry& b) {
  return Lumbrel::compare(std::get<0>(a), std::get<0>(b)) == 0;
}

// By section, then key, case ignored; equal entries keep the file's order.
inline std::vector<Entry> sorted(std::vector<Entry> entries) {
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    const long bySection = Lumbrel::compare(std::get<0>(a), std::get<0>(b));
    if (bySection != 0) return bySection < 0;
    return Lumbrel::compare(std::get<1>(a), std::get<1>(b)) < 0;
  });
  return entries;
}

// A header at each change of section (case ignored), spelled as the run's
// first entry, then one `key=value` line per entry.
inline std::string referenceWrite(const std::vector<Entry>& entries, SettingsLayout layout) {
  std::string out;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto& [section, key, value] = entries[i];
    if (layout == SettingsLayout::Sectioned && (i == 0 || !sameSection(entries[i], entries[i - 1])))
      out += "[" + Lumbrel::make_string(section) + "]\n";
    out += Lumbrel::make_string(key) + "=" + Lumbrel::make_string(value) + "\n";
  }
  return out;
}

// ---- The library's codec ----

inline std::vector<Entry> parse(const char* data, std::size_t size, SettingsLayout layout) {
  std::vector<Entry> entries;
  Lumbrel::store::SettingsReader reader(data, size, layout);
  while (reader.next()) entries.emplace_back(reader.section(), reader.key(), reader.value());
  return entries;
}

inline std::string write(const std::vector<Entry>& entries, SettingsLayout layout) {
  Lumbrel::store::SettingsWriter writer(layout);
  for (const auto& [section, key, value] : entries) writer.add(section, key, value);
  return writer.bytes();
}

// Decoding can turn bytes into what a line cannot carry (a NUL cuts a value
// before a blank, an overlong form yields a newline or `=`): no newline in
// any text, no `=` in a key, and nothing that reads as a comment, a header or
// blanks stripped from a line's ends.
inline bool carried(const Entry& entry, SettingsLayout layout) {
  const auto has = [](const wstring& t, unsigned short c) { return t.find(c) != wstring::npos; };
  const auto blank = [](unsigned short c) { return c == ' ' || c == '\t'; };
  const auto& [section, key, value] = entry;
  if (key.empty() || has(key, '\n') || has(key, '=') || has(value, '\n') || blank(key.front()) ||
      key.front() == '#' || key.front() == ';' || (!value.empty() && blank(value.back())))
    return false;
  return layout == SettingsLayout::Flat ||
         (key.front() != '[' && !section.empty() && !has(section, '\n') &&
          section.front() != '[' && section.back() != ']');
}

// The codec reads what the reference reads. Whatever it writes reads back as
// the same entries, and writing those again gives the same bytes, as long as
// every entry is one a line can carry.
inline std::vector<Entry> checkCodec(const char* data, std::size_t size, SettingsLayout layout) {
  std::vector<Entry> entries = parse(data, size, layout);
  check(entries == referenceRead(std::string(data, size), layout));
  const std::vector<Entry> read = entries;
  const std::string written = write(entries, layout);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!carried(entries[i], layout)) return read;
    // A run of sections equal but for case shares the header of its first.
    wstring& section = std::get<0>(entries[i]);
    if (i > 0 && Lumbrel::compare(section, std::get<0>(entries[i - 1])) == 0)
      section = std::get<0>(entries[i - 1]);
  }
  const std::vector<Entry> again = parse(written.data(), written.size(), layout);
  check(again == entries && write(again, layout) == written);
  return read;
}

// The fuzzer's buffer has no terminator behind it, so a read one byte too
// far is caught.
inline std::vector<Entry> checkCodec(const std::uint8_t* data, std::size_t size,
                                     SettingsLayout layout) {
  return checkCodec(reinterpret_cast<const char*>(data), size, layout);
}

// ---- The stores ----

// The input as a real file in the scratch directory: `Store`'s open for
// reading must pass `inspect(store, model)`, and its close after an open for
// reading and writing must write `model` back as the reference writer does.
// The binary bit keeps the platform's line-end translation (Windows) out, so
// that the file holds the codec's bytes.
template <typename Store, typename Inspect>
void checkStore(const char* entry, const std::uint8_t* data, std::size_t size,
                const std::vector<Entry>& model, SettingsLayout layout, Inspect inspect) {
  const ScratchFile& file = scratch(entry);
  file.write(data, size);
  {
    Store store(file.path());
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_BINARY);
    inspect(store, model);
    store.close();
  }
  {
    Store store(file.path());
    store.open(Lumbrel::File::MODE_READ | Lumbrel::File::MODE_WRITE | Lumbrel::File::MODE_BINARY);
    store.close();
  }
  check(file.read() == referenceWrite(model, layout));
}

}  // namespace lumbrel_fuzz

#endif  // LUMBREL_FUZZ_SETTINGS_FUZZ_H
