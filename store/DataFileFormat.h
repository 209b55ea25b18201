// The data file's bytes, without a file: encoding records into a buffer and
// decoding a buffer into records.
//
// One record: key length K (bytes, 32-bit little-endian), K bytes of key (its
// 16-bit units, most significant byte first), data length D (32-bit
// little-endian), D bytes of data. Records follow each other with nothing
// between or around them; zero bytes is a valid file with no records.
#ifndef LUMBREL_STORE_DATA_FILE_FORMAT_H
#define LUMBREL_STORE_DATA_FILE_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "lumbrel/DataFile.h"
#include "lumbrel/Text.h"

namespace Lumbrel {
namespace store {

// Bytes of one record's encoded form. The key counts up to its first null
// unit. Raises runtime_error "failed to write to file" when a length does not
// fit its 32-bit field.
std::size_t encodedSize(const DataFile::Record& record);

// Writes one record at `out`, which has room for encodedSize(record) bytes;
// returns the end of what was written.
unsigned char* encodeRecord(const DataFile::Record& record, unsigned char* out);

// Where one record's fields stand in a buffer.
struct RecordView {
  std::size_t offset;  // of the key length field
  std::size_t size;    // of the whole record
  const unsigned char* key;
  std::size_t keyBytes;
  const unsigned char* data;
  std::size_t dataBytes;
};

// The key units of an encoded key.
wstring decodeKey(const unsigned char* key, std::size_t keyBytes);

// The units of an encoded key in front of its first null unit.
inline std::size_t unitsBeforeNull(const unsigned char* key, std::size_t keyBytes) {
  const std::size_t units = keyBytes / 2;
  std::size_t unit = 0;
  // Four units at a time: a null unit is a 16-bit lane of zeros, whichever
  // order the bytes of a lane are read in.
  for (; unit + 4 <= units; unit += 4) {
    std::uint64_t lanes;
    std::memcpy(&lanes, key + 2 * unit, sizeof lanes);
    if (((lanes - 0x0001000100010001ULL) & ~lanes & 0x8000800080008000ULL) != 0) break;
  }
  while (unit < units && (key[2 * unit] | key[2 * unit + 1]) != 0) ++unit;
  return unit;
}

// True when Record's key rule keeps these encoded units as they are: no
// blank to trim at either end (or blanks alone), and something in front of
// the first null unit. A null unit further on is kept too; the key is
// written and compared only up to it.
inline bool keptAsRead(const unsigned char* key, std::size_t keyBytes) {
  const std::size_t units = keyBytes / 2;
  if (units == 0 || (key[0] | key[1]) == 0) return false;
  auto blank = [key](std::size_t i) {
    if (key[2 * i] != 0) return false;
    const unsigned char low = key[2 * i + 1];
    return low == 0x20 || low == 0x09 || low == 0x0A;
  };
  if (!blank(0) && !blank(units - 1)) return true;
  // Blanks alone are kept as they are; a blank at an end of anything else is
  // trimmed.
  for (std::size_t i = 0; i < units; ++i)
    if (!blank(i)) return false;
  return true;
}

// Walks a buffer record by record. Never reads outside [bytes, bytes + size)
// and never allocates more than the input can hold.
class RecordDecoder {
 public:
  RecordDecoder(const unsigned char* input, std::size_t inputSize)
      : bytes_(input), size_(inputSize), position_(0) {}

  // True when the input ends exactly here, between records.
  bool atEnd() const { return position_ == size_; }

  // Decodes the next record's key and data into the given buffers (their
  // capacity is reused). Raises runtime_error "failed to read from file" when
  // the input ends inside the record or the key length is odd; nothing is
  // consumed then.
  void next(wstring& key, std::vector<unsigned char>& data);
  // The same, giving where the fields stand instead of copies.
  RecordView next() {
    // Every length is checked against what is left before anything is
    // allocated, so a damaged length field costs nothing.
    RecordView view{};
    std::size_t at = position_;
    if (size_ - at < kLengthField) fail();
    view.keyBytes = lengthAt(at);
    at += kLengthField;
    if (view.keyBytes % 2 != 0 || size_ - at < view.keyBytes) fail();
    view.key = bytes_ + at;
    at += view.keyBytes;
    if (size_ - at < kLengthField) fail();
    view.dataBytes = lengthAt(at);
    at += kLengthField;
    if (size_ - at < view.dataBytes) fail();
    view.data = bytes_ + at;
    view.offset = position_;
    view.size = at + view.dataBytes - position_;
    position_ = at + view.dataBytes;
    return view;
  }

  // Bytes consumed so far.
  std::size_t offset() const { return position_; }

 private:
  static constexpr std::size_t kLengthField = 4;

  // Raises runtime_error "failed to read from file".
  [[noreturn]] static void fail();
  std::size_t lengthAt(std::size_t at) const {
    return static_cast<std::size_t>(bytes_[at]) | static_cast<std::size_t>(bytes_[at + 1]) << 8 |
           static_cast<std::size_t>(bytes_[at + 2]) << 16 |
           static_cast<std::size_t>(bytes_[at + 3]) << 24;
  }

  const unsigned char* bytes_;
  std::size_t size_;
  std::size_t position_;
};

// Decodes every record and hands each, made by Record(key, data) so that its
// key is trimmed and tested, to `add`. On a failure ("failed to read from
// file", or invalid_argument "zero length key" for an empty key) the records
// in front of the damaged one have been handed over, and nothing behind it.
void decodeRecords(const unsigned char* bytes, std::size_t size,
                   const std::function<void(std::unique_ptr<DataFile::Record>)>& add);

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_DATA_FILE_FORMAT_H
