#include "store/KeyIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace {

// Few distinct hashes in a small table: long probe runs that wrap around the
// end, and deletions from their middle.
TEST(KeyIndexTest, MatchesAMultimapUnderRandomChanges) {
  std::mt19937_64 random(7);
  Lumbrel::store::KeyIndex index;
  std::multimap<std::uint64_t, std::uint64_t> model;
  for (int step = 0; step < 20000; ++step) {
    const std::uint64_t hash = random() % 13 * 0x1234567ULL;
    const std::uint64_t sequence = random() % 40;
    if (random() % 3 != 0) {
      index.add(hash, sequence);
      model.emplace(hash, sequence);
    } else {
      auto range = model.equal_range(hash);
      auto it = std::find_if(range.first, range.second, [&](const auto& e) { return e.second == sequence; });
      EXPECT_EQ(index.erase(hash, sequence), it != range.second);
      if (it != range.second) model.erase(it);
    }
    if (step % 97 == 0) {
      for (std::uint64_t h = 0; h < 13; ++h) {
        std::vector<std::uint64_t> found;
        index.forEach(h * 0x1234567ULL, [&found](std::uint64_t s) { found.push_back(s); });
        std::vector<std::uint64_t> expected;
        auto range = model.equal_range(h * 0x1234567ULL);
        for (auto it = range.first; it != range.second; ++it) expected.push_back(it->second);
        std::sort(found.begin(), found.end());
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(found, expected) << step;
      }
    }
  }
  index.clear();
  bool any = false;
  index.forEach(0, [&any](std::uint64_t) { any = true; });
  EXPECT_FALSE(any);
  EXPECT_FALSE(index.erase(0, 0));
}

}  // namespace
