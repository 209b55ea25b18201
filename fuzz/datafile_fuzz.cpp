// Arbitrary bytes as a data file, read by DataFile's own open from a real
// file and held against a small reference reader of the record layout: the
// same records, the same failure with the same message, and on a clean load a
// rewrite by close that is exactly the reference encoding of those records. A
// file that failed to load is left as it was.
//
// Below the store, the decoder and the record set that it loads into are
// checked on their own: whatever the decoder accepts encodes back into bytes
// that decode to the same records, and the set, which keeps records as file
// bytes until they are needed, fails where the decoder fails and writes the
// same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzFiles.h"
#include "lumbrel/DataFile.h"
#include "store/DataFileFormat.h"
#include "store/RecordSet.h"

namespace {

using Lumbrel::DataFile;
using Lumbrel::File;
using Lumbrel::wstring;
using Bytes = std::vector<unsigned char>;
using Records = std::vector<std::unique_ptr<DataFile::Record>>;

void check(bool condition) {
  if (!condition) std::abort();
}

// ---- Reference reader ----

struct Expected {
  std::vector<std::pair<wstring, Bytes>> records;
  const char* failure = nullptr;  // message of the first damage, if any
};

std::size_t le32(const std::uint8_t* p) {
  return static_cast<std::size_t>(p[0]) | static_cast<std::size_t>(p[1]) << 8 |
         static_cast<std::size_t>(p[2]) << 16 | static_cast<std::size_t>(p[3]) << 24;
}

bool blank(unsigned short unit) { return unit == ' ' || unit == '\t' || unit == '\n'; }

Expected referenceRead(const std::uint8_t* data, std::size_t size) {
  Expected result;
  const auto damaged = [&result](const char* message) {
    result.failure = message;
    return result;
  };
  std::size_t at = 0;
  while (at < size) {
    if (size - at < 4) return damaged("failed to read from file");
    const std::size_t keyBytes = le32(data + at);
    at += 4;
    if (keyBytes % 2 != 0 || size - at < keyBytes)
      return damaged("failed to read from file");
    wstring key;
    for (std::size_t i = 0; i < keyBytes; i += 2)
      key += static_cast<unsigned short>(data[at + i] << 8 | data[at + i + 1]);
    at += keyBytes;
    if (size - at < 4) return damaged("failed to read from file");
    const std::size_t dataBytes = le32(data + at);
    at += 4;
    if (size - at < dataBytes) return damaged("failed to read from file");
    // Blanks at both ends go, unless there is nothing else; what is left must
    // have something in front of its first null unit.
    std::size_t first = 0, last = key.size();
    while (first < last && blank(key[first])) ++first;
    while (last > first && blank(key[last - 1])) --last;
    if (first == last) first = 0, last = key.size();
    if (first == last || key[first] == 0) return damaged("zero length key");
    result.records.emplace_back(key.substr(first, last - first),
                                Bytes(data + at, data + at + dataBytes));
    at += dataBytes;
  }
  return result;
}

void appendLe32(std::string& out, std::size_t value) {
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>((value >> shift) & 0xFF);
}

// The file a clean load is written back as: keys up to their first null unit.
std::string referenceWrite(const Expected& expected) {
  std::string out;
  for (const auto& [key, bytes] : expected.records) {
    const wstring counted = key.substr(0, key.find(static_cast<unsigned short>(0)));
    appendLe32(out, 2 * counted.size());
    for (const unsigned short unit : counted) {
      out += static_cast<char>(unit >> 8);
      out += static_cast<char>(unit & 0xFF);
    }
    appendLe32(out, bytes.size());
    out.append(bytes.begin(), bytes.end());
  }
  return out;
}

// Opens the store on the file with `mode`; the message of the failure, or
// null. Any other exception escapes and is reported as a crash.
const char* openStore(DataFile& file, unsigned long mode) {
  try {
    file.open(mode);
  } catch (const std::runtime_error& failure) {
    check(std::strcmp(failure.what(), "failed to read from file") == 0);
    return "failed to read from file";
  } catch (const std::invalid_argument& failure) {
    check(std::strcmp(failure.what(), "zero length key") == 0);
    return "zero length key";
  }
  return nullptr;
}

void checkStore(const std::uint8_t* data, std::size_t size) {
  const Expected expected = referenceRead(data, size);
  const auto& scratch = lumbrel_fuzz::scratch("fuzz.dat");
  scratch.write(data, size);
  {
    DataFile file(scratch.path());
    const char* failure = openStore(file, File::MODE_READ);
    check((failure == nullptr) == (expected.failure == nullptr));
    check(failure == nullptr || std::strcmp(failure, expected.failure) == 0);
    // The records in front of the damage are there, in file order.
    check(file.size() == expected.records.size());
    for (std::size_t i = 0; i < expected.records.size(); ++i) {
      check(file[static_cast<unsigned long>(i)].getKey() == expected.records[i].first);
      check(file[static_cast<unsigned long>(i)].getData() == expected.records[i].second);
    }
    file.close();
  }
  {
    DataFile file(scratch.path());
    openStore(file, File::MODE_READ | File::MODE_WRITE);
    file.close();
  }
  const std::string written = scratch.read();
  if (expected.failure != nullptr) {
    check(written == std::string(reinterpret_cast<const char*>(data), size));
  } else {
    check(written == referenceWrite(expected));
  }
}

// ---- The codec and the record set ----

// Decodes `bytes` up to their end or the first damage (`failed` tells which)
// into `records`, and gives those encoded again.
Bytes recode(const Bytes& bytes, bool& failed, Records& records) {
  failed = false;
  try {
    Lumbrel::store::decodeRecords(bytes.data(), bytes.size(), [&records](auto record) {
      records.push_back(std::move(record));
    });
  } catch (const std::exception&) {
    failed = true;
  }
  Bytes out;
  for (const auto& record : records) {
    const std::size_t at = out.size();
    out.resize(at + Lumbrel::store::encodedSize(*record));
    Lumbrel::store::encodeRecord(*record, out.data() + at);
  }
  return out;
}

void checkCodec(const std::uint8_t* data, std::size_t size) {
  bool failed = false, again = false;
  Records first, second, third;
  const Bytes once = recode(Bytes(data, data + size), failed, first);
  // Keys are cut at a null unit when written, so compare after one more pass.
  const Bytes twice = recode(once, again, second);
  check(!again && second.size() == first.size());
  for (std::size_t i = 0; i < first.size(); ++i) check(second[i]->getData() == first[i]->getData());
  check(recode(twice, again, third) == twice && !again);

  Lumbrel::store::RecordSet set;
  Lumbrel::store::ByteBuffer input(size);
  if (size != 0) std::memcpy(input.data(), data, size);
  bool setFailed = false;
  try {
    set.load(std::move(input), true);
  } catch (const std::exception&) {
    setFailed = true;
  }
  Lumbrel::store::FileImage image;
  set.compose(image);
  Bytes written;
  image.write([&written](const unsigned char* bytes, std::size_t count) {
    written.insert(written.end(), bytes, bytes + count);
    return true;
  });
  check(setFailed == failed && written == once);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkCodec(data, size);
  checkStore(data, size);
  return 0;
}
