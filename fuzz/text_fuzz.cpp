// The 8-bit to wide decoder against a slow reference that reads each form
// from the bits of its lead byte, unit for unit, and the encoder against its
// three forms; and the round trip: encoding the decoder's result and decoding
// again gives the same units, since every unit the decoder yields encodes to
// a form that decodes to itself.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "lumbrel/Text.h"

namespace {

using Lumbrel::wstring;

// The unit of the last three bytes of a form of three or more.
unsigned tail(const unsigned char* t) {
  return ((t[0] & 0x0Fu) << 12) | ((t[1] & 0x3Fu) << 6) | (t[2] & 0x3Fu);
}

// Decodes the bytes in front of the first null byte. The lead byte sets the
// length of its form: 0xxxxxxx one byte, 110xxxxx two, 1110xxxx three,
// 11110xxx four, 111110xx five, any other six. A form longer than the bytes
// left gives "?" for its lead byte alone.
wstring referenceDecode(const unsigned char* text, std::size_t size) {
  const std::size_t n = static_cast<std::size_t>(std::find(text, text + size, 0) - text);
  wstring units;
  for (std::size_t i = 0, length = 1; i < n; i += length) {
    const unsigned char* b = text + i;
    length = b[0] < 0x80 ? 1 : b[0] < 0xC0 ? 6 : b[0] < 0xE0 ? 2 : b[0] < 0xF0 ? 3
             : b[0] < 0xF8 ? 4 : b[0] < 0xFC ? 5 : 6;
    if (length > n - i) {
      units.push_back('?');
      length = 1;
      continue;
    }
    const unsigned unit = length == 1   ? b[0]
                          : length == 2 ? ((b[0] & 0x1Fu) << 6) | (b[1] & 0x3Fu)
                                        : tail(b + length - 3);
    units.push_back(static_cast<unsigned short>(unit));
  }
  // An overlong null ends the text.
  return units.substr(0, units.find(static_cast<unsigned short>(0)));
}

// Encodes the units in front of the first null unit: one, two or three bytes
// each, surrogates like every other unit.
Lumbrel::string referenceEncode(const wstring& text) {
  Lumbrel::string bytes;
  for (const unsigned u : text.substr(0, text.find(static_cast<unsigned short>(0)))) {
    const auto byte = [](unsigned value) { return static_cast<char>(value); };
    if (u < 0x80)
      bytes += byte(u);
    else if (u < 0x800)
      bytes += {byte(0xC0 | (u >> 6)), byte(0x80 | (u & 0x3F))};
    else
      bytes += {byte(0xE0 | (u >> 12)), byte(0x80 | ((u >> 6) & 0x3F)), byte(0x80 | (u & 0x3F))};
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Lumbrel::string bytes(reinterpret_cast<const char*>(data), size);
  const wstring units = Lumbrel::make_wstring(bytes);
  if (units != referenceDecode(data, size)) std::abort();
  // The null-terminated form reads the same text.
  if (Lumbrel::make_wstring(bytes.c_str()) != units) std::abort();
  if (units.size() > Lumbrel::length(bytes)) std::abort();
  if (Lumbrel::length(units) != units.size()) std::abort();
  if (Lumbrel::make_wstring(Lumbrel::make_string(units)) != units) std::abort();

  // The same bytes as 16-bit units, through the encoder.
  wstring wide(size / 2, 0);
  for (std::size_t i = 0; i < wide.size(); ++i)
    wide[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));
  if (Lumbrel::make_string(wide) != referenceEncode(wide)) std::abort();
  return 0;
}
