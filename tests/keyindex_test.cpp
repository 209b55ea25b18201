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
    auto range = model.equal_range(hash);
    auto it = std::find_if(range.first, range.second,
                           [&](const auto& e) { return e.second == sequence; });
    if (random() % 3 != 0) {
      index.add(hash, sequence);
      model.emplace(hash, sequence);
    } else {
      ASSERT_EQ(index.erase(hash, sequence), it != range.second);
      if (it != range.second) model.erase(it);
    }
    std::vector<std::uint64_t> found, expected;
    index.forEach(hash, [&found](std::uint64_t s) { found.push_back(s); });
    for (range = model.equal_range(hash); range.first != range.second; ++range.first)
      expected.push_back(range.first->second);
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(found, expected) << step;
  }
}

}  // namespace
