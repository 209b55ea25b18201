// The format as the store reads and writes it: records loaded from bytes
// and encoded back.
#include "store/DataFileFormat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "TestSupport.h"
#include "store/RecordSet.h"

using Lumbrel::DataFile;
using Lumbrel::store::RecordSet;
using lumbrel_test::W;

namespace {

using Bytes = std::vector<unsigned char>;

// One record: little-endian lengths around the key's bytes and the data.
Bytes frame(const Bytes& key, const Bytes& data) {
  Bytes out;
  for (const Bytes* field : {&key, &data}) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(field->size() >> (8 * i)));
    out.insert(out.end(), field->begin(), field->end());
  }
  return out;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

void load(RecordSet& set, const Bytes& bytes) {
  Lumbrel::store::ByteBuffer buffer(bytes.size());
  if (!bytes.empty()) std::memcpy(buffer.data(), bytes.data(), bytes.size());
  set.load(std::move(buffer));
}

Bytes written(const RecordSet& set) {
  Bytes out;
  set.encode([&out](const unsigned char* bytes, std::size_t count) {
    out.insert(out.end(), bytes, bytes + count);
  });
  return out;
}

TEST(DataFileFormatTest, UnitsAreBigEndianAndKeysEndAtTheFirstNull) {
  RecordSet set;
  set.insert(DataFile::Record({0x4E2D, 0x00FF}, {7}));
  Lumbrel::wstring cut = W("ab c");
  cut[2] = 0;  // what follows a null unit is no part of the key as text
  set.insert(DataFile::Record(cut, {}));
  EXPECT_EQ(written(set), frame({0x4E, 0x2D, 0x00, 0xFF}, {7}) + frame({0, 'a', 0, 'b'}, {}));
}

TEST(DataFileFormatTest, PaddedKeysLoadTrimmedAndBlanksAloneStay) {
  RecordSet set;
  // Space, tab and newline are trimmed, nothing else.
  load(set, frame({0, ' ', 0, '\r', 0, 'a', 0, '\n', 0, '\t'}, {1}) + frame({0, ' ', 0, ' '}, {}));
  ASSERT_EQ(set.size(), 2U);
  EXPECT_EQ(set.at(0).getKey(), W("\ra"));
  EXPECT_EQ(set.at(1).getKey(), W("  "));
  EXPECT_EQ(written(set), frame({0, '\r', 0, 'a'}, {1}) + frame({0, ' ', 0, ' '}, {}));
}

TEST(DataFileFormatTest, DamageFailsWithTheRecordsBeforeIt) {
  const Bytes good = frame({0, 'o', 0, 'k'}, {9});
  const Bytes next = frame({0, 'x'}, {1, 2, 3});
  std::vector<Bytes> damaged = {
      {0xFF, 0xFF, 0xFF, 0xFF, 0, 'x'},                 // key length past the end
      {2, 0, 0, 0, 0, 'x', 0xFF, 0xFF, 0xFF, 0xFF, 1},  // data length past the end
      {3, 0, 0, 0, 0, 'x', 'y', 0, 0, 0, 0}};           // odd key length
  for (std::size_t cut = 1; cut < next.size(); ++cut)
    damaged.emplace_back(next.begin(), next.begin() + static_cast<std::ptrdiff_t>(cut));
  for (const Bytes& damage : damaged) {
    RecordSet set;
    EXPECT_THROW_MSG(load(set, good + damage), std::runtime_error, "failed to read from file");
    ASSERT_EQ(set.size(), 1U);
    EXPECT_EQ(set.at(0).getKey(), W("ok"));
  }
  // Empty, and a blank in front of a null unit: nothing is left of either.
  RecordSet set;
  for (const Bytes& key : {Bytes{}, Bytes{0, ' ', 0, 0, 0, 'x'}}) {
    EXPECT_THROW_MSG(load(set, good + frame(key, {1}) + next), std::invalid_argument,
                     "zero length key");
    EXPECT_EQ(set.size(), 1U);
  }
  load(set, {});  // no bytes: no records
  EXPECT_EQ(set.size(), 0U);
}

}  // namespace
