#include "lumbrel/Text.h"

#include <cstdint>
#include <cstring>

namespace Lumbrel {
namespace {

constexpr std::uint64_t kHighBits8 = 0x8080808080808080ULL;
constexpr std::uint64_t kHighBits16 = 0xFF80FF80FF80FF80ULL;

std::size_t unitsBeforeNull(const unsigned short* text, std::size_t limit) {
  std::size_t n = 0;
  while (n < limit && text[n] != 0) ++n;
  return n;
}

unsigned short lowerAscii(unsigned short unit) {
  return (unit >= 'A' && unit <= 'Z') ? static_cast<unsigned short>(unit + ('a' - 'A')) : unit;
}

template <typename Unit>
long compareFolded(const Unit* a, const Unit* b) {
  for (;; ++a, ++b) {
    const long x = lowerAscii(static_cast<unsigned short>(*a));
    const long y = lowerAscii(static_cast<unsigned short>(*b));
    if (x != y || x == 0) return x - y;
  }
}

// Encodes n units into 8-bit text. The result starts at n bytes, which is
// exact for ASCII; the first unit that needs more grows it once to the most
// the rest can take, so that the pass never reallocates again.
string encode(const unsigned short* in, std::size_t n) {
  string result;
  if (n == 0) return result;
  result.resize(n);
  char* out = result.data();
  std::size_t pos = 0;
  std::size_t i = 0;
  while (i < n) {
    // Four ASCII units at a time, while the room for them is certain.
    if (i + 4 <= n && pos + (n - i) <= result.size()) {
      std::uint64_t block;
      std::memcpy(&block, in + i, sizeof block);
      if ((block & kHighBits16) == 0) {
        out[pos] = static_cast<char>(in[i]);
        out[pos + 1] = static_cast<char>(in[i + 1]);
        out[pos + 2] = static_cast<char>(in[i + 2]);
        out[pos + 3] = static_cast<char>(in[i + 3]);
        pos += 4;
        i += 4;
        continue;
      }
    }
    const unsigned u = in[i];
    // Room for this unit's three bytes and one byte for each unit left.
    if (pos + 3 + (n - i - 1) > result.size()) {
      result.resize(pos + 3 * (n - i));
      out = result.data();
    }
    if (u < 0x80) {
      out[pos++] = static_cast<char>(u);
    } else if (u < 0x800) {
      out[pos++] = static_cast<char>(0xC0 | (u >> 6));
      out[pos++] = static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out[pos++] = static_cast<char>(0xE0 | (u >> 12));
      out[pos++] = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out[pos++] = static_cast<char>(0x80 | (u & 0x3F));
    }
    ++i;
  }
  result.resize(pos);
  return result;
}

unsigned short lastThree(const unsigned char* p) {
  return static_cast<unsigned short>(((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu));
}

// Decodes n bytes. Every form yields at most one unit per byte it consumes,
// so n units are always enough and the result is allocated once.
wstring decode(const unsigned char* in, std::size_t n) {
  wstring result;
  if (n == 0) return result;
  result.resize(n);
  unsigned short* out = result.data();
  std::size_t pos = 0;
  std::size_t i = 0;
  while (i < n) {
    if (i + 8 <= n) {
      std::uint64_t block;
      std::memcpy(&block, in + i, sizeof block);
      if ((block & kHighBits8) == 0) {
        for (int k = 0; k < 8; ++k) out[pos + static_cast<std::size_t>(k)] = in[i + static_cast<std::size_t>(k)];
        pos += 8;
        i += 8;
        continue;
      }
    }
    const unsigned b = in[i];
    const std::size_t behind = n - i - 1;
    unsigned short unit;
    std::size_t used;
    if (b < 0x80) {
      unit = static_cast<unsigned short>(b);
      used = 1;
    } else if (behind >= 1 && (b & 0xE0) == 0xC0) {
      unit = static_cast<unsigned short>(((b & 0x1Fu) << 6) | (in[i + 1] & 0x3Fu));
      used = 2;
    } else if (behind >= 2 && (b & 0xF0) == 0xE0) {
      unit = lastThree(in + i);
      used = 3;
    } else if (behind >= 3 && (b & 0xF8) == 0xF0) {
      unit = lastThree(in + i + 1);
      used = 4;
    } else if (behind >= 4 && (b & 0xFC) == 0xF8) {
      unit = lastThree(in + i + 2);
      used = 5;
    } else if (behind >= 5) {
      // No test on the lead byte: this takes lone continuation bytes and
      // 0xFC-0xFF alike.
      unit = lastThree(in + i + 3);
      used = 6;
    } else {
      unit = '?';
      used = 1;
    }
    // An overlong null ends the text; nothing behind it survives.
    if (unit == 0) break;
    out[pos++] = unit;
    i += used;
  }
  result.resize(pos);
  return result;
}

}  // namespace

string make_string(const char* text) {
  return text == nullptr ? string() : string(text);
}

string make_string(const unsigned short* text) {
  return make_string(make_wstring(text));
}

string make_string(const wstring& text) {
  return encode(text.data(), length(text));
}

wstring make_wstring(const unsigned short* text) {
  return text == nullptr ? wstring() : wstring(text, length(text));
}

wstring make_wstring(const char* text) {
  return make_wstring(make_string(text));
}

wstring make_wstring(const string& text) {
  return decode(reinterpret_cast<const unsigned char*>(text.data()), length(text));
}

unsigned long length(const char* text) {
  return text == nullptr ? 0 : std::strlen(text);
}

unsigned long length(const unsigned short* text) {
  return text == nullptr ? 0 : unitsBeforeNull(text, static_cast<std::size_t>(-1));
}

unsigned long length(const string& text) {
  return static_cast<unsigned long>(std::strlen(text.c_str()));
}

unsigned long length(const wstring& text) {
  return unitsBeforeNull(text.data(), text.size());
}

long compare(const char* a, const char* b) {
  return compareFolded(reinterpret_cast<const unsigned char*>(a),
                       reinterpret_cast<const unsigned char*>(b));
}

long compare(const string& a, const string& b) {
  return compare(a.c_str(), b.c_str());
}

long compare(const unsigned short* a, const unsigned short* b) {
  return compareFolded(a, b);
}

long compare(const wstring& a, const wstring& b) {
  return compareFolded(a.c_str(), b.c_str());
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const string& text) {
  for (char c : text) out << c;
  return out;
}

std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out, const wstring& text) {
  for (unsigned short unit : text) out << static_cast<char>(unit & 0xFF);
  return out;
}

}  // namespace Lumbrel
