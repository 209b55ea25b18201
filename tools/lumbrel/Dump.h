// The text form of a data file that `lumbrel data dump` writes and `lumbrel
// data load` reads: one record per line, the key, a tab, the data, a newline.
//
// Both fields are escaped so that every key unit and every data byte survives
// and no field holds a raw tab or newline:
//
//   key   printable ASCII as itself; other units as UTF-8, except controls,
//         surrogates and the non-characters, which are \uXXXX;
//   data  printable ASCII as itself; other bytes as \xHH;
//   both  \\ for a backslash, \t, \n and \r for tab, newline and return.
//
// Reading accepts more than writing produces, for dumps made by hand: any
// unit as \uXXXX, UTF-8 of four bytes in a key (as a surrogate pair), raw
// UTF-8 in data (as its bytes), and blank lines, which are skipped.
#ifndef LUMBREL_TOOLS_DUMP_H
#define LUMBREL_TOOLS_DUMP_H

#include <stdexcept>
#include <string>
#include <vector>

#include "lumbrel/Text.h"

namespace lumbrel_tool {

using Bytes = std::vector<unsigned char>;

struct DumpRecord {
  Lumbrel::wstring key;
  Bytes data;
};

// A dump that cannot be read; the message names the line ("line 3: ...").
class DumpError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string escapeKey(const Lumbrel::wstring& key);
std::string escapeData(const Bytes& data);
// The line of one record, newline included.
std::string dumpLine(const DumpRecord& record);

// Inverse of escapeKey; raises DumpError (without a line number) on a bad
// escape or malformed UTF-8.
Lumbrel::wstring unescapeKey(const std::string& text);
// Inverse of escapeData; raises DumpError like unescapeKey.
Bytes unescapeData(const std::string& text);
// Every record of a dump, in its order; raises DumpError naming the line of
// the first fault. A record with an empty key is a fault: no data file holds one.
std::vector<DumpRecord> parseDump(const std::string& text);

}  // namespace lumbrel_tool

#endif  // LUMBREL_TOOLS_DUMP_H
