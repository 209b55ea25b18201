// The 8-bit to wide decoder against a slow reference that follows the
// decoding table row by row, unit for unit, and the encoder against its three
// forms; and the round trip: encoding the
// decoder's result and decoding again gives the same units, since every unit
// the decoder yields encodes to a form that decodes to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "lumbrel/Text.h"

namespace {

using Lumbrel::wstring;

// The last three bytes of a form of three or more bytes make the unit.
unsigned short tail(const unsigned char* b, std::size_t first) {
  return static_cast<unsigned short>(((b[first] & 0x0Fu) << 12) | ((b[first + 1] & 0x3Fu) << 6) |
                                     (b[first + 2] & 0x3Fu));
}

// Decodes the bytes in front of the first null byte. Each lead byte is tried
// against the rows in order: the first whose count of bytes behind and whose
// test on the lead byte both hold decides the unit and how many bytes go.
wstring referenceDecode(const unsigned char* text, std::size_t size) {
  std::size_t n = 0;
  while (n < size && text[n] != 0) ++n;
  wstring units;
  std::size_t i = 0;
  while (i < n) {
    const unsigned char* b = text + i;
    const std::size_t behind = n - i - 1;
    unsigned short unit;
    std::size_t consumed;
    if (b[0] < 0x80) {
      unit = b[0];
      consumed = 1;
    } else if (behind >= 1 && (b[0] & 0xE0) == 0xC0) {
      unit = static_cast<unsigned short>(((b[0] & 0x1Fu) << 6) | (b[1] & 0x3Fu));
      consumed = 2;
    } else if (behind >= 2 && (b[0] & 0xF0) == 0xE0) {
      unit = tail(b, 0);
      consumed = 3;
    } else if (behind >= 3 && (b[0] & 0xF8) == 0xF0) {
      unit = tail(b, 1);
      consumed = 4;
    } else if (behind >= 4 && (b[0] & 0xFC) == 0xF8) {
      unit = tail(b, 2);
      consumed = 5;
    } else if (behind >= 5) {
      unit = tail(b, 3);
      consumed = 6;
    } else {
      unit = '?';
      consumed = 1;
    }
    units.push_back(unit);
    i += consumed;
  }
  // An overlong null ends the text.
  const std::size_t null = units.find(static_cast<unsigned short>(0));
  if (null != wstring::npos) units.resize(null);
  return units;
}

// Encodes the units in front of the first null unit: one, two or three bytes
// each, surrogates like every other unit.
Lumbrel::string referenceEncode(const wstring& text) {
  Lumbrel::string bytes;
  for (const unsigned short u : text) {
    if (u == 0) break;
    if (u < 0x80) {
      bytes += static_cast<char>(u);
    } else if (u < 0x800) {
      bytes += static_cast<char>(0xC0 | (u >> 6));
      bytes += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      bytes += static_cast<char>(0xE0 | (u >> 12));
      bytes += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      bytes += static_cast<char>(0x80 | (u & 0x3F));
    }
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
