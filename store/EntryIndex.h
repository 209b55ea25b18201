// A hash index over the model of a settings store that lives inside the
// model's own vector, so that a lookup by name costs a hash and a step or two
// instead of a scan of every entry. Each entry carries the hash of its name
// and two links: `next`, the following entry of its bucket, and `head`, the
// first entry of the bucket numbered like the entry's position. The number of
// buckets is the largest power of two not above the number of entries, so
// the index needs no room of its own and no state beside the vector: it is
// whatever the vector's size says.
//
// Chains run in model order, so the first entry that matches in a chain is
// the first in the model, which is the one every lookup wants. The index is
// kept current by the store: `indexLast` after an append, `indexAll` after
// anything else that adds, removes or moves entries.
//
// Names are hashed as compare() sees them: A-Z folded onto a-z, up to the
// first null unit.
#ifndef LUMBREL_STORE_ENTRY_INDEX_H
#define LUMBREL_STORE_ENTRY_INDEX_H

#include <cstddef>
#include <cstdint>

#include "lumbrel/Text.h"

namespace Lumbrel {
namespace store {

constexpr std::size_t kNoEntry = ~std::size_t{0};

// The hash of one name, and of a name within a section. A section's seed
// serves every name within it.
std::size_t nameHash(const wstring& name);
std::size_t nameHash(const wstring& section, const wstring& name);
std::uint64_t sectionSeed(const wstring& section);
std::size_t nameHash(std::uint64_t seed, const wstring& name);

// The largest power of two not above `count`; 0 for 0.
std::size_t bucketCount(std::size_t count);

// Rebuilds every link. Entry needs `hash` (set by the store), `head`, `next`.
template <class Entries>
void indexAll(Entries& entries) {
  const std::size_t buckets = bucketCount(entries.size());
  for (auto& entry : entries) entry.head = kNoEntry;
  // Backwards, so that putting each entry in front of its chain leaves every
  // chain in model order.
  for (std::size_t i = entries.size(); i-- > 0;) {
    auto& head = entries[entries[i].hash & (buckets - 1)].head;
    entries[i].next = head;
    head = i;
  }
}

// Links the last entry, appended since the index was last current.
template <class Entries>
void indexLast(Entries& entries) {
  const std::size_t count = entries.size();
  const std::size_t buckets = bucketCount(count);
  // A new power of two changes the number of buckets.
  if (buckets == count) return indexAll(entries);
  auto& last = entries[count - 1];
  last.head = kNoEntry;
  last.next = kNoEntry;
  std::size_t* link = &entries[last.hash & (buckets - 1)].head;
  while (*link != kNoEntry) link = &entries[*link].next;
  *link = count - 1;
}

// The position of the first entry with this hash for which `matches` holds,
// or kNoEntry.
template <class Entries, class Matches>
std::size_t findIndexed(const Entries& entries, std::size_t hash, Matches matches) {
  if (entries.empty()) return kNoEntry;
  const std::size_t buckets = bucketCount(entries.size());
  for (std::size_t i = entries[hash & (buckets - 1)].head; i != kNoEntry; i = entries[i].next) {
    if (entries[i].hash == hash && matches(entries[i])) return i;
  }
  return kNoEntry;
}

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_ENTRY_INDEX_H
