#include "lumbrel/Uuid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/Guid.h"
#include "platform/Testing.h"

using Lumbrel::Uuid;

namespace {

using Bytes = std::vector<unsigned char>;
using Key = std::array<std::uint64_t, 2>;  // the 16 bytes as two words: quick to sort
constexpr const char* kExample = "00112233-4455-6677-8899-aabbccddeeff";
constexpr const char* kZero = "00000000-0000-0000-0000-000000000000";

std::string text(const Uuid& value) { return value; }

// Fills `keys` with fresh values; false if one lacks the version 4 and variant marks.
bool drawFresh(Key* keys, std::size_t count) {
  bool marked = true;
  for (std::size_t i = 0; i < count; ++i) {
    const Bytes b = Uuid();
    marked = marked && b[7] >> 4 == 4 && b[8] >> 6 == 2;
    std::memcpy(&keys[i], b.data(), 16);
  }
  return marked;
}

bool allDistinct(std::vector<Key>& keys) {
  std::sort(keys.begin(), keys.end());
  return std::adjacent_find(keys.begin(), keys.end()) == keys.end();
}

// uuid_fuzz holds the accepted text forms against a reference; here the
// other sources, and byte vectors of the wrong size.
TEST(UuidTest, TextBytesAndGuidAgreeAndUnusableInputGivesZero) {
  const Bytes bytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                       0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  EXPECT_EQ(Bytes(Uuid(std::string(kExample))), bytes);
  std::ostringstream out;
  out << Uuid(bytes);
  EXPECT_EQ(out.str(), kExample);
  const _GUID guid = {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_EQ(Uuid(guid), Uuid(std::string(kExample)));
  EXPECT_EQ(text(Uuid(std::string(kExample).substr(1))), kZero);
  for (std::size_t size : {0u, 15u, 17u}) EXPECT_EQ(text(Uuid(Bytes(size, 0xAB))), kZero) << size;
}

TEST(UuidTest, AMillionFreshValuesAreDistinctVersionFourValues) {
  constexpr std::size_t kEach = 250000;  // on four threads at once: each has its own supply
  std::vector<Key> keys(4 * kEach);
  bool marked[4] = {};
  std::thread threads[4];
  for (std::size_t t = 0; t < 4; ++t)
    threads[t] = std::thread([&, t] { marked[t] = drawFresh(&keys[t * kEach], kEach); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(marked[0] && marked[1] && marked[2] && marked[3]);
  EXPECT_TRUE(allDistinct(keys));
}

TEST(UuidTest, ForkedChildNeverRepeatsItsParent) {
  constexpr std::size_t kCount = 64;
  std::vector<Key> all(2 * kCount);
  const Uuid primed;  // the parent's supply now holds unused bytes
  lumbrel_test::TempDir dir;
  struct Child {
    Key* keys;
    std::string file;
  } child{all.data(), dir.native("child")};
  const int status = Lumbrel::platform::runInCopy(
      [](void* context) {
        auto& self = *static_cast<Child*>(context);
        drawFresh(self.keys, kCount);
        lumbrel_test::writeFile(self.file, std::string(reinterpret_cast<const char*>(self.keys),
                                                       kCount * sizeof(Key)));
        return 0;
      },
      &child);
  if (status == Lumbrel::platform::kNoCopies)
    GTEST_SKIP() << "no fork here: a new process never starts with a copy of this one's memory";
  ASSERT_EQ(status, 0);
  const std::string written = lumbrel_test::readFile(child.file);
  ASSERT_EQ(written.size(), kCount * sizeof(Key));
  std::memcpy(all.data(), written.data(), written.size());
  drawFresh(&all[kCount], kCount);
  EXPECT_TRUE(allDistinct(all));
}

}  // namespace
