// The Uuid text parser against a reference of the accepted form: 36
// characters in front of the first null, of which at most four are hyphens,
// wherever they stand, and all others hexadecimal digits; the first 32 digits
// give the bytes. Anything else gives the all-zero value, without an
// exception. A value prints as its bytes in lower-case 8-4-4-4-12 form, and
// the printed text and the byte vector both give the same value back. The
// input's bytes as a vector are the value when there are 16, else zero.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "lumbrel/Uuid.h"

namespace {

using Lumbrel::Uuid;
using Bytes = std::vector<unsigned char>;

void check(bool condition) {
  if (!condition) std::abort();
}

// The bytes the text stands for, or all zero when it is refused.
Bytes referenceParse(const std::string& text) {
  std::string digits;
  bool accepted = std::min(text.find('\0'), text.size()) == 36;  // counted up to a null
  for (std::size_t i = 0; accepted && i < 36; ++i) {
    if (text[i] != '-') digits += text[i];
    accepted = std::isxdigit(static_cast<unsigned char>(text[i])) || text[i] == '-';
  }
  Bytes bytes(16, 0);
  for (std::size_t i = 0; accepted && digits.size() >= 32 && i < 16; ++i)
    bytes[i] = static_cast<unsigned char>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
  return bytes;
}

std::string referenceFormat(const Bytes& bytes) {
  std::string text;
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Bytes expected = referenceParse(text);
  const Uuid value(text);
  check(static_cast<Bytes>(value) == expected);
  const std::string printed = static_cast<std::string>(value);
  check(printed == referenceFormat(expected));
  check(Uuid(printed) == value && Uuid(expected) == value);
  std::ostringstream out;
  out << value;
  check(out.str() == printed);
  // Sixteen bytes are the value as they are; any other number gives zero.
  const Bytes raw(data, data + size);
  check(static_cast<Bytes>(Uuid(raw)) == (size == 16 ? raw : Bytes(16, 0)));
  return 0;
}
