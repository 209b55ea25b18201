// Arbitrary bytes as a data file, read by DataFile's own open from a real
// file and held against a small reference reader of the record layout: the
// same records, the same failure with the same message, and on a clean load a
// rewrite by close that is exactly the reference encoding of those records. A
// file that failed to load is left as it was.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "FuzzFiles.h"
#include "lumbrel/DataFile.h"

namespace {

using Lumbrel::DataFile;
using Lumbrel::File;
using Lumbrel::wstring;
using lumbrel_fuzz::check;
using Bytes = std::vector<unsigned char>;

constexpr const char* kDamaged = "failed to read from file";
constexpr const char* kNoKey = "zero length key (invalid_argument)";

struct Expected {
  std::vector<std::pair<wstring, Bytes>> records;
  std::string failure;  // of the first damage, if any
};

// The records in front of the first damage. Each is a 32-bit little-endian
// key length (even), the key's units most significant byte first, a 32-bit
// little-endian data length, the data. Blanks (space, tab, newline) at both
// ends of a key go, unless there is nothing else; what is left must have
// something in front of its first null unit.
Expected referenceRead(const std::uint8_t* data, std::size_t size) {
  Expected result;
  std::size_t at = 0;
  const auto length = [&](std::size_t& value) {
    if (size - at < 4) return false;
    value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8 | data[at + i];
    at += 4;
    return true;
  };
  const auto blank = [](unsigned short u) { return u == ' ' || u == '\t' || u == '\n'; };
  while (at < size) {
    std::size_t keyBytes = 0, dataBytes = 0;
    if (!length(keyBytes) || keyBytes % 2 != 0 || size - at < keyBytes)
      return {result.records, kDamaged};
    wstring key;
    for (std::size_t i = 0; i < keyBytes; i += 2)
      key += static_cast<unsigned short>(data[at + i] << 8 | data[at + i + 1]);
    at += keyBytes;
    if (!length(dataBytes) || size - at < dataBytes) return {result.records, kDamaged};
    std::size_t first = 0, last = key.size();
    while (first < last && blank(key[first])) ++first;
    while (last > first && blank(key[last - 1])) --last;
    if (first == last) first = 0, last = key.size();
    if (first == last || key[first] == 0) return {result.records, kNoKey};
    result.records.emplace_back(key.substr(first, last - first),
                                Bytes(data + at, data + at + dataBytes));
    at += dataBytes;
  }
  return result;
}

// The file a clean load is written back as: keys up to their first null unit.
std::string referenceWrite(const Expected& expected) {
  std::string out;
  const auto length = [&out](std::size_t value) {
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>((value >> shift) & 0xFF);
  };
  for (const auto& [key, bytes] : expected.records) {
    const wstring counted = key.substr(0, key.find(static_cast<unsigned short>(0)));
    length(2 * counted.size());
    for (const unsigned short unit : counted)
      out += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    length(bytes.size());
    out.append(bytes.begin(), bytes.end());
  }
  return out;
}

// What the open raised, or empty. Any other exception escapes and is reported
// as a crash.
std::string opened(DataFile& file, unsigned long mode) {
  try {
    file.open(mode);
  } catch (const std::runtime_error& failure) {
    return failure.what();
  } catch (const std::invalid_argument& failure) {
    return failure.what() + std::string(" (invalid_argument)");
  }
  return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Expected expected = referenceRead(data, size);
  const auto& scratch = lumbrel_fuzz::scratch("fuzz.dat");
  scratch.write(data, size);
  {
    DataFile file(scratch.path);
    check(opened(file, File::MODE_READ) == expected.failure);
    // The records in front of the damage are there, in file order.
    check(file.size() == expected.records.size());
    for (unsigned long i = 0; i < file.size(); ++i) {
      check(file[i].getKey() == expected.records[i].first);
      check(file[i].getData() == expected.records[i].second);
    }
  }
  {
    DataFile file(scratch.path);
    opened(file, File::MODE_READ | File::MODE_WRITE);
    file.close();
  }
  const std::string original(reinterpret_cast<const char*>(data), size);
  check(scratch.read() == (expected.failure.empty() ? referenceWrite(expected) : original));
  return 0;
}
