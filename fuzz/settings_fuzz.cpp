// Reads arbitrary bytes as both settings layouts, writes what was read and
// reads that again. Whatever the input, nothing may be read past its end; and
// when every entry read is one that the format can carry (no newline in it, a
// key without `=` that cannot pass for a comment or header, no blanks where a
// line's ends are stripped), the second reading must give the same entries,
// and writing them again the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "store/SettingsFormat.h"

namespace {

using Lumbrel::compare;
using Lumbrel::wstring;
using Lumbrel::store::SettingsLayout;
using Lumbrel::store::SettingsReader;
using Lumbrel::store::SettingsWriter;

struct Entry {
  wstring section;
  wstring key;
  wstring value;
};

void check(bool condition) {
  if (!condition) std::abort();
}

std::vector<Entry> parse(const char* data, std::size_t size, SettingsLayout layout) {
  std::vector<Entry> entries;
  SettingsReader reader(data, size, layout);
  while (reader.next()) entries.push_back({reader.section(), reader.key(), reader.value()});
  if (layout == SettingsLayout::Sectioned) {
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
      const long bySection = compare(a.section, b.section);
      return bySection != 0 ? bySection < 0 : compare(a.key, b.key) < 0;
    });
  }
  return entries;
}

std::string write(const std::vector<Entry>& entries, SettingsLayout layout) {
  SettingsWriter writer(layout);
  for (const Entry& entry : entries) writer.add(entry.section, entry.key, entry.value);
  return writer.bytes();
}

bool has(const wstring& text, unsigned short unit) { return text.find(unit) != wstring::npos; }
bool blank(unsigned short unit) { return unit == ' ' || unit == '\t'; }

bool survives(const Entry& entry, SettingsLayout layout) {
  const wstring& key = entry.key;
  const wstring& value = entry.value;
  if (key.empty() || has(key, '\n') || has(key, '=') || has(value, '\n')) return false;
  if (blank(key.front()) || key.front() == '#' || key.front() == ';') return false;
  if (!value.empty() && blank(value.back())) return false;
  if (layout == SettingsLayout::Flat) return true;
  const wstring& section = entry.section;
  return key.front() != '[' && !section.empty() && !has(section, '\n') && section.front() != '[' &&
         section.back() != ']';
}

void roundTrip(const char* data, std::size_t size, SettingsLayout layout) {
  const std::vector<Entry> first = parse(data, size, layout);
  const std::string written = write(first, layout);
  const std::vector<Entry> second = parse(written.data(), written.size(), layout);
  for (const Entry& entry : first) {
    if (!survives(entry, layout)) return;
  }
  check(second.size() == first.size());
  const wstring* spelling = nullptr;
  for (std::size_t i = 0; i < first.size(); ++i) {
    check(second[i].key == first[i].key);
    check(second[i].value == first[i].value);
    // Sections equal but for case share the header of the first of them.
    if (i == 0 || compare(first[i].section, first[i - 1].section) != 0)
      spelling = &first[i].section;
    check(second[i].section == (layout == SettingsLayout::Flat ? wstring() : *spelling));
  }
  check(write(second, layout) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer's own buffer has no terminator behind it, so a read one byte
  // too far is caught.
  const char* bytes = reinterpret_cast<const char*>(data);
  roundTrip(bytes, size, SettingsLayout::Sectioned);
  roundTrip(bytes, size, SettingsLayout::Flat);
  return 0;
}
