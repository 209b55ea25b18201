#include "store/KeyIndex.h"

namespace Lumbrel {
namespace store {

void KeyIndex::clear() {
  std::vector<Entry>().swap(entries);
  count = 0;
  shift = 64;
}

void KeyIndex::reserve(std::size_t wanted) {
  std::size_t capacity = 16;
  while (capacity < 2 * wanted) capacity *= 2;
  if (capacity > entries.size()) grow(capacity);
}

void KeyIndex::add(std::uint64_t hash, std::uint64_t sequence) {
  if (2 * (count + 1) > entries.size()) grow(entries.empty() ? 16 : 2 * entries.size());
  std::size_t i = home(hash);
  while (entries[i].sequence != kFree) i = (i + 1) & mask();
  entries[i] = Entry{hash, sequence};
  ++count;
}

bool KeyIndex::erase(std::uint64_t hash, std::uint64_t sequence) {
  if (entries.empty()) return false;
  std::size_t i = home(hash);
  while (entries[i].sequence != sequence || entries[i].hash != hash) {
    if (entries[i].sequence == kFree) return false;
    i = (i + 1) & mask();
  }
  // Backward shift: move later entries of the probe run into the gap, so
  // that no lookup ever stops early at a hole.
  for (std::size_t j = (i + 1) & mask(); entries[j].sequence != kFree; j = (j + 1) & mask()) {
    const std::size_t k = home(entries[j].hash);
    // The entry at j may move to i when its home is not cyclically in (i, j].
    const bool between = i <= j ? (i < k && k <= j) : (i < k || k <= j);
    if (!between) {
      entries[i] = entries[j];
      i = j;
    }
  }
  entries[i].sequence = kFree;
  --count;
  return true;
}

void KeyIndex::grow(std::size_t capacity) {
  std::vector<Entry> old(capacity, Entry{0, kFree});
  old.swap(entries);
  shift = 64;
  for (std::size_t c = capacity; c > 1; c /= 2) --shift;
  count = 0;
  for (const Entry& entry : old)
    if (entry.sequence != kFree) add(entry.hash, entry.sequence);
}

}  // namespace store
}  // namespace Lumbrel
