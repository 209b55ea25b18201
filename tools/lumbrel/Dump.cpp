#include "Dump.h"

namespace lumbrel_tool {
namespace {

const char* const hexDigits = "0123456789abcdef";

bool isPrintableAscii(unsigned value) { return value >= 0x20 && value <= 0x7E; }

// Units that would be invisible, ambiguous or invalid as UTF-8 in a text line.
bool needsUnitEscape(unsigned unit) {
  return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || (unit >= 0xD800 && unit <= 0xDFFF) ||
         unit == 0x2028 || unit == 0x2029 || unit == 0xFEFF || unit == 0xFFFE || unit == 0xFFFF;
}

// \\, \t, \n, \r: shared by both fields; false for anything else.
bool appendCommonEscape(std::string& out, unsigned value) {
  switch (value) {
    case '\\': out += "\\\\"; return true;
    case '\t': out += "\\t"; return true;
    case '\n': out += "\\n"; return true;
    case '\r': out += "\\r"; return true;
    default: return false;
  }
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads `count` hex digits at `text[at]`.
unsigned readHex(const std::string& text, std::size_t at, std::size_t count) {
  if (text.size() - at < count) throw DumpError("incomplete escape before byte " + std::to_string(at + 1));
  unsigned value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const int digit = hexValue(text[at + i]);
    if (digit < 0) throw DumpError("bad hex digit at byte " + std::to_string(at + i + 1));
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return value;
}

// The value of \\, \t, \n or \r at text[at] (the letter behind the backslash).
bool commonUnescape(char letter, unsigned& value) {
  switch (letter) {
    case '\\': value = '\\'; return true;
    case 't': value = '\t'; return true;
    case 'n': value = '\n'; return true;
    case 'r': value = '\r'; return true;
    default: return false;
  }
}

unsigned byteAt(const std::string& text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

}  // namespace

std::string escapeKey(const Lumbrel::wstring& key) {
  std::string out;
  out.reserve(key.size());
  for (const unsigned short element : key) {
    const unsigned unit = element;
    if (appendCommonEscape(out, unit)) continue;
    if (isPrintableAscii(unit)) {
      out += static_cast<char>(unit);
    } else if (needsUnitEscape(unit)) {
      out += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) out += hexDigits[(unit >> shift) & 0xF];
    } else if (unit < 0x800) {
      out += static_cast<char>(0xC0 | (unit >> 6));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (unit >> 12));
      out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return out;
}

std::string escapeData(const Bytes& data) {
  std::string out;
  out.reserve(data.size());
  for (const unsigned char byte : data) {
    if (appendCommonEscape(out, byte)) continue;
    if (isPrintableAscii(byte)) {
      out += static_cast<char>(byte);
    } else {
      out += "\\x";
      out += hexDigits[byte >> 4];
      out += hexDigits[byte & 0xF];
    }
  }
  return out;
}

std::string dumpLine(const DumpRecord& record) {
  return escapeKey(record.key) + '\t' + escapeData(record.data) + '\n';
}

Lumbrel::wstring unescapeKey(const std::string& text) {
  Lumbrel::wstring key;
  std::size_t at = 0;
  while (at < text.size()) {
    const unsigned lead = byteAt(text, at);
    if (lead == '\\') {
      if (at + 1 >= text.size()) throw DumpError("backslash at the end of the key");
      const char letter = text[at + 1];
      unsigned value = 0;
      if (commonUnescape(letter, value)) {
        at += 2;
      } else if (letter == 'u') {
        value = readHex(text, at + 2, 4);
        at += 6;
      } else {
        throw DumpError(std::string("unknown escape \\") + letter + " in the key");
      }
      key += static_cast<unsigned short>(value);
      continue;
    }
    if (lead < 0x80) {
      if (!isPrintableAscii(lead)) {
        throw DumpError("control character at byte " + std::to_string(at + 1) + " of the key");
      }
      key += static_cast<unsigned short>(lead);
      ++at;
      continue;
    }
    // UTF-8: the lead byte gives the length; continuation bytes are checked,
    // and overlong forms refused, so that one text has one reading.
    std::size_t extra = 0;
    unsigned point = 0;
    unsigned minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
      extra = 1, point = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      extra = 2, point = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      extra = 3, point = lead & 0x07, minimum = 0x10000;
    } else {
      throw DumpError("invalid UTF-8 at byte " + std::to_string(at + 1) + " of the key");
    }
    if (text.size() - at <= extra) {
      throw DumpError("incomplete UTF-8 at byte " + std::to_string(at + 1) + " of the key");
    }
    for (std::size_t i = 1; i <= extra; ++i) {
      const unsigned next = byteAt(text, at + i);
      if ((next & 0xC0) != 0x80) {
        throw DumpError("invalid UTF-8 at byte " + std::to_string(at + i + 1) + " of the key");
      }
      point = (point << 6) | (next & 0x3F);
    }
    if (point < minimum || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
      throw DumpError("invalid UTF-8 at byte " + std::to_string(at + 1) + " of the key");
    }
    if (point >= 0x10000) {
      point -= 0x10000;
      key += static_cast<unsigned short>(0xD800 + (point >> 10));
      key += static_cast<unsigned short>(0xDC00 + (point & 0x3FF));
    } else {
      key += static_cast<unsigned short>(point);
    }
    at += extra + 1;
  }
  return key;
}

Bytes unescapeData(const std::string& text) {
  Bytes data;
  data.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    const unsigned byte = byteAt(text, at);
    if (byte == '\\') {
      if (at + 1 >= text.size()) throw DumpError("backslash at the end of the data");
      const char letter = text[at + 1];
      unsigned value = 0;
      if (commonUnescape(letter, value)) {
        at += 2;
      } else if (letter == 'x') {
        value = readHex(text, at + 2, 2);
        at += 4;
      } else {
        throw DumpError(std::string("unknown escape \\") + letter + " in the data");
      }
      data.push_back(static_cast<unsigned char>(value));
      continue;
    }
    if (byte < 0x20 || byte == 0x7F) {
      throw DumpError("control character at byte " + std::to_string(at + 1) + " of the data");
    }
    data.push_back(static_cast<unsigned char>(byte));
    ++at;
  }
  return data;
}

std::vector<DumpRecord> parseDump(const std::string& text) {
  std::vector<DumpRecord> records;
  std::size_t start = 0;
  unsigned long line = 0;
  while (start < text.size()) {
    ++line;
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string content = text.substr(start, end - start);
    start = end + 1;
    if (content.empty()) continue;
    const std::string where = "line " + std::to_string(line) + ": ";
    const std::size_t tab = content.find('\t');
    if (tab == std::string::npos) throw DumpError(where + "no tab between key and data");
    if (content.find('\t', tab + 1) != std::string::npos) {
      throw DumpError(where + "more than one tab (a tab in a field is written \\t)");
    }
    try {
      DumpRecord record{unescapeKey(content.substr(0, tab)), unescapeData(content.substr(tab + 1))};
      if (record.key.empty()) throw DumpError("empty key");
      records.push_back(std::move(record));
    } catch (const DumpError& error) {
      throw DumpError(where + error.what());
    }
  }
  return records;
}

}  // namespace lumbrel_tool
