#include "lumbrel/Uuid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
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

// uuid_fuzz holds the text forms, printing and the byte vectors against a
// reference; the GUID form is this test's.
TEST(UuidTest, GuidGivesItsFieldsInTextOrder) {
  const _GUID guid = {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  EXPECT_EQ(text(Uuid(guid)), "00112233-4455-6677-8899-aabbccddeeff");
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
  std::string file = dir.native("child");
  const int status = Lumbrel::platform::runInCopy(
      [](void* context) {
        Key keys[kCount];
        drawFresh(keys, kCount);
        lumbrel_test::writeFile(*static_cast<std::string*>(context),
                                std::string(reinterpret_cast<const char*>(keys), sizeof keys));
        return 0;
      },
      &file);
  if (status == Lumbrel::platform::kNoCopies)
    GTEST_SKIP() << "no fork here: a new process never starts with a copy of this one's memory";
  ASSERT_EQ(status, 0);
  const std::string written = lumbrel_test::readFile(file);
  ASSERT_EQ(written.size(), kCount * sizeof(Key));
  std::memcpy(all.data(), written.data(), written.size());
  drawFresh(&all[kCount], kCount);
  EXPECT_TRUE(allDistinct(all));
}

}  // namespace
