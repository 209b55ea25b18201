// A multimap from key hashes to record sequence numbers, by open addressing
// with linear probing in one flat array: a lookup touches one or two cache
// lines, where a node-based map chases a pointer per entry. Several entries
// may share a hash, and even a (hash, sequence) pair. Not thread-safe.
#ifndef LUMBREL_STORE_KEY_INDEX_H
#define LUMBREL_STORE_KEY_INDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Lumbrel {
namespace store {

class KeyIndex {
 public:
  void clear();
  // Makes room for `count` entries without growing again.
  void reserve(std::size_t count);
  void add(std::uint64_t hash, std::uint64_t sequence);
  // Removes one entry (hash, sequence); false when there is none.
  bool erase(std::uint64_t hash, std::uint64_t sequence);

  // Calls visit(sequence) for every entry with this hash.
  template <typename Visit>
  void forEach(std::uint64_t hash, Visit&& visit) const {
    if (entries.empty()) return;
    for (std::size_t i = home(hash); entries[i].sequence != kFree; i = (i + 1) & mask()) {
      if (entries[i].hash == hash) visit(entries[i].sequence);
    }
  }

 private:
  static constexpr std::uint64_t kFree = ~std::uint64_t{0};
  struct Entry {
    std::uint64_t hash;
    std::uint64_t sequence;  // kFree marks an empty entry
  };

  std::size_t mask() const { return entries.size() - 1; }
  std::size_t home(std::uint64_t hash) const {
    return static_cast<std::size_t>((hash * 0x9E3779B97F4A7C15ULL) >> shift);
  }
  void grow(std::size_t capacity);

  std::vector<Entry> entries;  // a power of two in size, at most half full
  std::size_t count = 0;
  unsigned shift = 64;
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_KEY_INDEX_H
