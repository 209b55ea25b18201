#include "store/DataFileFormat.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace Lumbrel {
namespace store {
namespace {

constexpr std::size_t kLengthField = 4;
constexpr std::uint64_t kMaxField = 0xFFFFFFFFULL;

[[noreturn]] void readFailed() { throw std::runtime_error("failed to read from file"); }
[[noreturn]] void writeFailed() { throw std::runtime_error("failed to write to file"); }

std::uint32_t readLength(const unsigned char* at) {
  return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
         static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

unsigned char* writeLength(std::size_t value, unsigned char* out) {
  out[0] = static_cast<unsigned char>(value & 0xFF);
  out[1] = static_cast<unsigned char>((value >> 8) & 0xFF);
  out[2] = static_cast<unsigned char>((value >> 16) & 0xFF);
  out[3] = static_cast<unsigned char>((value >> 24) & 0xFF);
  return out + kLengthField;
}

}  // namespace

std::size_t encodedSize(const DataFile::Record& record) {
  const std::uint64_t keyBytes = 2 * static_cast<std::uint64_t>(length(record.getKey()));
  const std::uint64_t dataBytes = record.getData().size();
  if (keyBytes > kMaxField || dataBytes > kMaxField) writeFailed();
  return static_cast<std::size_t>(2 * kLengthField + keyBytes + dataBytes);
}

unsigned char* encodeRecord(const DataFile::Record& record, unsigned char* out) {
  const wstring& key = record.getKey();
  const std::size_t units = length(key);
  out = writeLength(2 * units, out);
  for (std::size_t i = 0; i < units; ++i) {
    *out++ = static_cast<unsigned char>(key[i] >> 8);
    *out++ = static_cast<unsigned char>(key[i] & 0xFF);
  }
  const std::vector<unsigned char>& data = record.getData();
  out = writeLength(data.size(), out);
  if (!data.empty()) {
    std::copy(data.begin(), data.end(), out);
    out += data.size();
  }
  return out;
}

RecordDecoder::RecordDecoder(const unsigned char* input, std::size_t inputSize)
    : bytes(input), size(inputSize), position(0) {}

RecordView RecordDecoder::next() {
  // Every length is checked against what is left before anything is
  // allocated, so a damaged length field costs nothing.
  RecordView view{};
  std::size_t at = position;
  if (size - at < kLengthField) readFailed();
  view.keyBytes = readLength(bytes + at);
  at += kLengthField;
  if (view.keyBytes % 2 != 0 || size - at < view.keyBytes) readFailed();
  view.key = bytes + at;
  at += view.keyBytes;
  if (size - at < kLengthField) readFailed();
  view.dataBytes = readLength(bytes + at);
  at += kLengthField;
  if (size - at < view.dataBytes) readFailed();
  view.data = bytes + at;
  view.offset = position;
  view.size = at + view.dataBytes - position;
  position = at + view.dataBytes;
  return view;
}

void RecordDecoder::next(wstring& key, std::vector<unsigned char>& data) {
  const RecordView view = next();
  key.resize(view.keyBytes / 2);
  for (std::size_t i = 0; i < key.size(); ++i) {
    key[i] = static_cast<unsigned short>(view.key[2 * i] << 8 | view.key[2 * i + 1]);
  }
  data.assign(view.data, view.data + view.dataBytes);
}

wstring decodeKey(const unsigned char* key, std::size_t keyBytes) {
  wstring units(keyBytes / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<unsigned short>(key[2 * i] << 8 | key[2 * i + 1]);
  }
  return units;
}

bool isPlainKey(const unsigned char* key, std::size_t keyBytes) {
  const std::size_t units = keyBytes / 2;
  if (units == 0) return false;
  // No early exit, so that the loop runs over whole vectors.
  bool hasNull = false;
  for (std::size_t i = 0; i < units; ++i) hasNull |= (key[2 * i] | key[2 * i + 1]) == 0;
  if (hasNull) return false;
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

void decodeRecords(const unsigned char* bytes, std::size_t size,
                   const std::function<void(std::unique_ptr<DataFile::Record>)>& add) {
  RecordDecoder decoder(bytes, size);
  wstring key;
  std::vector<unsigned char> data;
  while (!decoder.atEnd()) {
    decoder.next(key, data);
    add(std::make_unique<DataFile::Record>(key, data));
  }
}

}  // namespace store
}  // namespace Lumbrel
