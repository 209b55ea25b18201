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

// True when Record's key rule would store these encoded units unchanged (no
// blank to trim, no null unit, not empty), so that the record's encoded form
// is exactly these bytes.
bool isPlainKey(const unsigned char* key, std::size_t keyBytes);

// Walks a buffer record by record. Never reads outside [bytes, bytes + size)
// and never allocates more than the input can hold.
class RecordDecoder {
 public:
  RecordDecoder(const unsigned char* bytes, std::size_t size);

  // True when the input ends exactly here, between records.
  bool atEnd() const { return position == size; }

  // Decodes the next record's key and data into the given buffers (their
  // capacity is reused). Raises runtime_error "failed to read from file" when
  // the input ends inside the record or the key length is odd; nothing is
  // consumed then.
  void next(wstring& key, std::vector<unsigned char>& data);
  // The same, giving where the fields stand instead of copies.
  RecordView next();

  // Bytes consumed so far.
  std::size_t offset() const { return position; }

 private:
  const unsigned char* bytes;
  std::size_t size;
  std::size_t position;
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
