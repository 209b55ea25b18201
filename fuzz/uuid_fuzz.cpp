// The Uuid text parser against a reference of the accepted form: 36
// characters in front of the first null, of which at most four are hyphens,
// wherever they stand, and all others hexadecimal digits; the first 32 digits
// give the bytes. Anything else gives the all-zero value, without an
// exception. A parsed value prints in lower case, and text in the canonical
// 8-4-4-4-12 form prints back as itself, case aside; the printed text and the
// byte vector both give the same value back.
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

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The bytes the text stands for, or all zero when it is refused.
Bytes referenceParse(const std::string& text, bool& accepted) {
  std::string digits;
  // The length counts up to the first null.
  accepted = std::min(text.find('\0'), text.size()) == 36;
  for (std::size_t i = 0; accepted && i < 36; ++i) {
    if (text[i] != '-') digits += text[i];
    accepted = hexDigit(text[i]) >= 0 || text[i] == '-';
  }
  accepted = accepted && digits.size() >= 32;
  Bytes bytes(16, 0);
  for (std::size_t i = 0; accepted && i < 16; ++i) {
    const int high = hexDigit(digits[2 * i]), low = hexDigit(digits[2 * i + 1]);
    bytes[i] = static_cast<unsigned char>(high * 16 + low);
  }
  return bytes;
}

bool canonical(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < 36; ++i) {
    const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (hyphen ? text[i] != '-' : hexDigit(text[i]) < 0) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  bool accepted = false;
  const Bytes expected = referenceParse(text, accepted);
  const Uuid value(text);
  check(static_cast<Bytes>(value) == expected);

  const std::string printed = static_cast<std::string>(value);
  check(printed.size() == 36 && canonical(printed));
  for (const char c : printed) check(!std::isupper(static_cast<unsigned char>(c)));
  if (canonical(text)) {
    check(accepted);
    std::string lower = text;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    check(printed == lower);
  }
  check(Uuid(printed) == value);
  check(Uuid(static_cast<Bytes>(value)) == value);
  std::ostringstream out;
  out << value;
  check(out.str() == printed);
  return 0;
}
