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

using Bytes = std::vector<unsigned char>;
using Records = std::vector<std::unique_ptr<Lumbrel::DataFile::Record>>;

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  bool failed = false, again = false;
  Records first, second, third;
  const Bytes once = recode(Bytes(data, data + size), failed, first);
  // Keys are cut at a null unit when written, so compare after one more pass.
  const Bytes twice = recode(once, again, second);
  if (again || second.size() != first.size()) std::abort();
  for (std::size_t i = 0; i < first.size(); ++i)
    if (second[i]->getData() != first[i]->getData()) std::abort();
  if (recode(twice, again, third) != twice || again) std::abort();

  Lumbrel::store::RecordSet set;
  Lumbrel::store::ByteBuffer input(size);
  if (size != 0) std::memcpy(input.data(), data, size);
  bool setFailed = false;
  try {
    set.load(std::move(input));
  } catch (const std::exception&) {
    setFailed = true;
  }
  Bytes written;
  set.encode([&written](const unsigned char* bytes, std::size_t count) {
    written.insert(written.end(), bytes, bytes + count);
  });
  if (setFailed != failed || written != once) std::abort();
  return 0;
}
