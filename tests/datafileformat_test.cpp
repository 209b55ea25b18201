#include "store/DataFileFormat.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "TestSupport.h"

using Lumbrel::DataFile;
using Lumbrel::wstring;
using lumbrel_test::W;

namespace {

using Bytes = std::vector<unsigned char>;
using Records = std::vector<std::unique_ptr<DataFile::Record>>;

constexpr const char* kReadFailed = "failed to read from file";

Bytes encode(const std::vector<DataFile::Record>& records) {
  std::size_t total = 0;
  for (const auto& record : records) total += Lumbrel::store::encodedSize(record);
  Bytes bytes(total);
  unsigned char* out = bytes.data();
  for (const auto& record : records) out = Lumbrel::store::encodeRecord(record, out);
  EXPECT_EQ(out, bytes.data() + bytes.size());
  return bytes;
}

// Decodes into `out`, keeping what came before a failure.
void decode(const Bytes& bytes, Records& out) {
  Lumbrel::store::decodeRecords(bytes.data(), bytes.size(),
                                [&out](std::unique_ptr<DataFile::Record> r) { out.push_back(std::move(r)); });
}

Bytes cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(DataFileFormatTest, ExampleRecordIsFourteenBytes) {
  const Bytes expected = {4, 0, 0, 0, 0x00, 0x61, 0x00, 0x62, 2, 0, 0, 0, 0x01, 0x02};
  EXPECT_EQ(encode({DataFile::Record(W("ab"), {1, 2})}), expected);

  Records records;
  decode(expected, records);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0]->getKey(), W("ab"));
  EXPECT_EQ(records[0]->getData(), (Bytes{1, 2}));
}

TEST(DataFileFormatTest, RoundTripKeepsUnitsOrderAndEmptyData) {
  const wstring high = {0x4E2D, 0x00FF, 0xABCD, 0xFFFF};
  const wstring latin = {0x0080, 0x00C4, 0x00FF};
  std::vector<DataFile::Record> records = {DataFile::Record(high, {0, 255}),
                                           DataFile::Record(latin, {7}),
                                           DataFile::Record(W("Key"), {1}),
                                           DataFile::Record(W("KEY"), {2}),
                                           DataFile::Record(W("last"), {})};
  const Bytes bytes = encode(records);
  // Units are big-endian inside the little-endian length frame.
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 6), (Bytes{8, 0, 0, 0, 0x4E, 0x2D}));
  // Empty data as the last record: the file ends with a zero data length.
  EXPECT_EQ(Bytes(bytes.end() - 4, bytes.end()), (Bytes{0, 0, 0, 0}));

  Records decoded;
  decode(bytes, decoded);
  ASSERT_EQ(decoded.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(decoded[i]->getKey(), records[i].getKey()) << i;
    EXPECT_EQ(decoded[i]->getData(), records[i].getData()) << i;
  }
}

TEST(DataFileFormatTest, KeyIsTrimmedOnDecodeAndCountedToFirstNull) {
  // " a\t" as stored by some other writer loads as "a".
  const Bytes padded = {6, 0, 0, 0, 0, ' ', 0, 'a', 0, '\t', 0, 0, 0, 0};
  Records records;
  decode(padded, records);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0]->getKey(), W("a"));

  // Units behind a null unit are no part of the key as text.
  wstring key = W("ab");
  key += static_cast<unsigned short>(0);
  key += static_cast<unsigned short>('c');
  EXPECT_EQ(encode({DataFile::Record(key, {})}), (Bytes{4, 0, 0, 0, 0, 'a', 0, 'b', 0, 0, 0, 0}));
}

TEST(DataFileFormatTest, CutInputKeepsWholeRecordsAndFails) {
  const Bytes first = encode({DataFile::Record(W("one"), {1, 2, 3})});
  const Bytes second = encode({DataFile::Record(W("two"), {4, 5, 6})});
  const Bytes whole = cat(first, second);
  // Every cut inside the second record, in each of its four fields.
  for (std::size_t cut = first.size() + 1; cut < whole.size(); ++cut) {
    Records records;
    EXPECT_THROW_MSG(decode(Bytes(whole.begin(), whole.begin() + static_cast<long>(cut)), records),
                     std::runtime_error, kReadFailed);
    ASSERT_EQ(records.size(), 1U) << cut;
    EXPECT_EQ(records[0]->getKey(), W("one"));
  }
  // A cut between records cannot be told from a whole input; nothing at all
  // is a valid input with no records.
  Records records;
  decode(first, records);
  EXPECT_EQ(records.size(), 1U);
  records.clear();
  decode({}, records);
  EXPECT_TRUE(records.empty());
}

TEST(DataFileFormatTest, DamagedLengthsFailBeforeAnyAllocation) {
  const Bytes good = encode({DataFile::Record(W("ok"), {9})});
  // A key length of 0xFFFFFFFF and a data length of 0xFFFFFFFF: the decoder
  // must refuse them from the input's size, not try to allocate 4 GiB.
  const Bytes hugeKey = {0xFF, 0xFF, 0xFF, 0xFF, 0, 'x'};
  const Bytes hugeData = {2, 0, 0, 0, 0, 'x', 0xFF, 0xFF, 0xFF, 0xFF, 1, 2};
  const Bytes oddKey = {3, 0, 0, 0, 0, 'x', 'y', 0, 0, 0, 0};
  for (const Bytes& damaged : {hugeKey, hugeData, oddKey}) {
    Records records;
    EXPECT_THROW_MSG(decode(cat(good, damaged), records), std::runtime_error, kReadFailed);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0]->getKey(), W("ok"));
  }
}

TEST(DataFileFormatTest, EmptyKeyStopsTheDecodeWithRecordsBeforeIt) {
  const Bytes bytes = cat(encode({DataFile::Record(W("a"), {1})}),
                          cat(encode({DataFile::Record()}), encode({DataFile::Record(W("b"), {2})})));
  Records records;
  EXPECT_THROW_MSG(decode(bytes, records), std::invalid_argument, "zero length key");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0]->getKey(), W("a"));
}

}  // namespace
