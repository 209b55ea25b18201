#include "store/DataFileFormat.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace Lumbrel {
namespace store {
namespace {

constexpr std::size_t kLengthField = 4;
constexpr std::uint64_t kMaxField = 0xFFFFFFFFULL;

[[noreturn]] void writeFailed() { throw std::runtime_error("failed to write to file"); }

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

void RecordDecoder::fail() { throw std::runtime_error("failed to read from file"); }

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
