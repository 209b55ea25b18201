// Reads arbitrary bytes as both settings layouts, writes what was read and
// reads that again. Whatever the input, nothing may be read past its end; and
// when every entry read is one that the format can carry, the second reading
// must give the same entries, and writing them again the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "store/SettingsFormat.h"

namespace {

using Lumbrel::wstring;
using Lumbrel::store::SettingsLayout;
using Entry = std::tuple<wstring, wstring, wstring>;  // section, key, value

std::vector<Entry> parse(const char* data, std::size_t size, SettingsLayout layout) {
  std::vector<Entry> entries;
  Lumbrel::store::SettingsReader reader(data, size, layout);
  while (reader.next()) entries.emplace_back(reader.section(), reader.key(), reader.value());
  return entries;
}

std::string write(const std::vector<Entry>& entries, SettingsLayout layout) {
  Lumbrel::store::SettingsWriter writer(layout);
  for (const auto& [section, key, value] : entries) writer.add(section, key, value);
  return writer.bytes();
}

// Decoding can turn bytes into what a line cannot carry (a NUL cuts a value
// before a blank, an overlong form yields a newline or `=`): no newline in
// any text, no `=` in a key, and nothing that reads as a comment, a header or
// blanks stripped from a line's ends.
bool carried(const Entry& entry, SettingsLayout layout) {
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

void roundTrip(const char* data, std::size_t size, SettingsLayout layout) {
  std::vector<Entry> entries = parse(data, size, layout);
  const std::string written = write(entries, layout);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!carried(entries[i], layout)) return;
    // A run of sections equal but for case shares the header of its first.
    wstring& section = std::get<0>(entries[i]);
    if (i > 0 && Lumbrel::compare(section, std::get<0>(entries[i - 1])) == 0)
      section = std::get<0>(entries[i - 1]);
  }
  const std::vector<Entry> again = parse(written.data(), written.size(), layout);
  if (again != entries || write(again, layout) != written) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer's buffer has no terminator behind it, so a read one byte too
  // far is caught.
  const char* bytes = reinterpret_cast<const char*>(data);
  roundTrip(bytes, size, SettingsLayout::Sectioned);
  roundTrip(bytes, size, SettingsLayout::Flat);
  return 0;
}
