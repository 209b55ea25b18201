// The lookup index of the stores: a multimap from 32-bit hashes to the
// positions 0..size()-1 of a sequence that the store keeps (the entries of a
// settings file, the records of a data file). The positions of one bucket
// form a chain in ascending order, so the first position in a chain that
// matches is the first in the sequence: the one every lookup of the stores
// wants, since equal names may stand several times.
//
// It holds, for each position, its hash and the next position of its chain
// side by side (one cache line serves both), and the first position of each
// bucket, with at least half as many buckets as positions: 12 bytes or less
// a position. A position can be taken out of its chain and kept (a hole
// that the store closes later), entered again under a new hash, and the
// holes closed in one pass that renumbers the rest.
//
// Not thread-safe; the stores call it under their lock.
#ifndef LUMBREL_STORE_HASH_INDEX_H
#define LUMBREL_STORE_HASH_INDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Lumbrel {
namespace store {

class HashIndex {
 public:
  static constexpr std::size_t kNone = ~std::size_t{0};

  std::size_t size() const { return links_.size(); }
  // Drops every position and the memory they took.
  void clear();

  // Replaces every position by those of `hashes`: position p under
  // hashes[p]. On failure the index stays as it was.
  void assign(const std::vector<std::uint32_t>& hashes);
  // Adds the position size() under `hash`. On failure the index stays as it
  // was.
  void push(std::uint64_t hash);
  // Takes `position` out of its chain; it keeps its number.
  void unlink(std::size_t position);
  // Enters `position`, whether in a chain or not, under `hash`.
  void relink(std::size_t position, std::uint64_t hash);
  // Keeps the positions p for which keep(p) holds, numbered anew in their
  // order and each entered under its hash. Allocates nothing.
  template <class Keep>
  void retain(Keep keep) {
    std::size_t kept = 0;
    for (std::size_t p = 0; p < links_.size(); ++p)
      if (keep(p)) links_[kept++] = links_[p];
    links_.resize(kept);
    chain();
  }

  // The first position whose hash is `hash` and for which matches(position)
  // holds, or kNone.
  template <class Matches>
  std::size_t find(std::uint64_t hash, Matches matches) const {
    if (heads_.empty()) return kNone;
    const auto low = static_cast<std::uint32_t>(hash);
    for (std::uint32_t p = heads_[low & (heads_.size() - 1)]; p != kEnd; p = links_[p].next) {
      if (links_[p].hash == low && matches(std::size_t{p})) return p;
    }
    return kNone;
  }

 private:
  static constexpr std::uint32_t kEnd = 0xFFFFFFFFu;  // ends a chain
  static constexpr std::uint32_t kOut = 0xFFFFFFFEu;  // `next` of an unlinked position

  struct Link {
    std::uint32_t hash;
    std::uint32_t next;
  };

  static std::size_t bucketsFor(std::size_t positions);
  std::uint32_t& headOf(std::uint32_t hash) { return heads_[hash & (heads_.size() - 1)]; }
  // Enters `position` into its chain in order.
  void enter(std::uint32_t position);
  // Builds every chain anew in the buckets there are.
  void chain();

  std::vector<Link> links_;
  std::vector<std::uint32_t> heads_;  // a power of two in size, or empty
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_HASH_INDEX_H
