// Feeds arbitrary bytes to the data file decoder. Whatever it accepts must
// encode back into bytes that decode to the same records, and the encoding of
// those must not change again. The store's own load, which keeps records as
// file bytes until they are needed, must fail where the decoder fails, keep
// the same records and write the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "store/DataFileFormat.h"
#include "store/RecordSet.h"

namespace {

using Lumbrel::DataFile;
using Records = std::vector<std::unique_ptr<DataFile::Record>>;

std::vector<unsigned char> encode(const Records& records) {
  std::size_t total = 0;
  for (const auto& record : records) total += Lumbrel::store::encodedSize(*record);
  std::vector<unsigned char> bytes(total);
  unsigned char* out = bytes.data();
  for (const auto& record : records) out = Lumbrel::store::encodeRecord(*record, out);
  return bytes;
}

Records decode(const unsigned char* data, std::size_t size, bool& failed) {
  Records records;
  failed = false;
  try {
    Lumbrel::store::decodeRecords(data, size, [&records](std::unique_ptr<DataFile::Record> r) {
      records.push_back(std::move(r));
    });
  } catch (const std::exception&) {
    failed = true;
  }
  return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  bool failed = false;
  const Records first = decode(data, size, failed);
  const bool firstFailed = failed;
  const std::vector<unsigned char> once = encode(first);
  // Keys are cut at a null unit when written, so compare after one more pass.
  const Records second = decode(once.data(), once.size(), failed);
  if (failed || second.size() != first.size()) std::abort();
  const std::vector<unsigned char> twice = encode(second);
  const Records third = decode(twice.data(), twice.size(), failed);
  if (failed || encode(third) != twice) std::abort();
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (second[i]->getData() != first[i]->getData()) std::abort();
  }

  Lumbrel::store::RecordSet set;
  Lumbrel::store::ByteBuffer input(size);
  if (size != 0) std::memcpy(input.data(), data, size);
  bool setFailed = false;
  try {
    set.load(std::move(input));
  } catch (const std::exception&) {
    setFailed = true;
  }
  if (setFailed != firstFailed || set.size() != first.size()) std::abort();
  std::vector<unsigned char> written;
  set.encode([&written](const unsigned char* bytes, std::size_t count) {
    written.insert(written.end(), bytes, bytes + count);
  });
  if (written != once) std::abort();
  return 0;
}
