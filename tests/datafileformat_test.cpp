// The format as the store reads and writes it: records loaded from bytes
// and encoded back.
#include "store/DataFileFormat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "TestSupport.h"
#include "store/RecordSet.h"

using Lumbrel::store::RecordSet;

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
  std::memcpy(buffer.data(), bytes.data(), bytes.size());
  set.load(std::move(buffer), true);
}

Bytes written(RecordSet& set) {
  Lumbrel::store::FileImage image;
  set.compose(image);
  Bytes out;
  image.write([&out](const unsigned char* bytes, std::size_t count) {
    out.insert(out.end(), bytes, bytes + count);
    return true;
  });
  return out;
}

// Units are written big-endian and a key ends at its first null unit. Keys
// load with space, tab and newline trimmed (nothing else); blanks alone stay.
TEST(DataFileFormatTest, KeysAreBigEndianCutAtANullAndTrimmedWhenLoaded) {
  RecordSet set;
  set.insert(Lumbrel::DataFile::Record({0x4E2D, 0x00FF, 0, 'c'}, {7}));
  EXPECT_EQ(written(set), frame({0x4E, 0x2D, 0x00, 0xFF}, {7}));

  load(set, frame({0, ' ', 0, '\r', 0, 'a', 0, '\n', 0, '\t'}, {1}) + frame({0, ' ', 0, ' '}, {}));
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
  RecordSet set;
  for (const Bytes& damage : damaged) {
    EXPECT_THROW_MSG(load(set, good + damage), std::runtime_error, "failed to read from file");
    EXPECT_EQ(written(set), good);
  }
  // Empty, and a blank in front of a null unit: nothing is left of either.
  for (const Bytes& key : {Bytes{}, Bytes{0, ' ', 0, 0, 0, 'x'}}) {
    EXPECT_THROW_MSG(load(set, good + frame(key, {1}) + next), std::invalid_argument,
                     "zero length key");
    EXPECT_EQ(written(set), good);
  }
}

}  // namespace
