#include "store/HashIndex.h"

#include <stdexcept>

namespace Lumbrel {
namespace store {

void HashIndex::clear() {
  std::vector<std::uint32_t>().swap(hashes_);
  std::vector<std::uint32_t>().swap(next_);
  std::vector<std::uint32_t>().swap(heads_);
}

void HashIndex::assign(std::vector<std::uint32_t> hashes) {
  if (hashes.size() >= kOut) throw std::length_error("too many positions for the index");
  std::vector<std::uint32_t> next(hashes.size());
  std::size_t buckets = 1;
  while (2 * buckets < hashes.size()) buckets *= 2;
  std::vector<std::uint32_t> heads(buckets);
  hashes_.swap(hashes);
  next_.swap(next);
  heads_.swap(heads);
  chain();
}

void HashIndex::push(std::uint64_t hash) {
  // Two values of a 32-bit position mark the ends of chains.
  if (hashes_.size() >= kOut) throw std::length_error("too many positions for the index");
  const auto position = static_cast<std::uint32_t>(hashes_.size());
  hashes_.push_back(static_cast<std::uint32_t>(hash));
  try {
    next_.push_back(kOut);
    if (hashes_.size() > 2 * heads_.size()) {
      link();
    } else {
      enter(position);
    }
  } catch (...) {
    // As it was: a position that no chain reaches would be an entry that no
    // lookup finds.
    next_.resize(position);
    hashes_.pop_back();
    throw;
  }
}

void HashIndex::unlink(std::size_t position) {
  const auto p = static_cast<std::uint32_t>(position);
  if (next_[p] == kOut) return;
  std::uint32_t* link = &headOf(hashes_[p]);
  while (*link != p) link = &next_[*link];
  *link = next_[p];
  next_[p] = kOut;
}

void HashIndex::relink(std::size_t position, std::uint64_t hash) {
  unlink(position);
  hashes_[position] = static_cast<std::uint32_t>(hash);
  enter(static_cast<std::uint32_t>(position));
}

void HashIndex::enter(std::uint32_t position) {
  std::uint32_t* link = &headOf(hashes_[position]);
  while (*link != kEnd && *link < position) link = &next_[*link];
  next_[position] = *link;
  *link = position;
}

void HashIndex::link() {
  std::size_t buckets = 1;
  while (2 * buckets < hashes_.size()) buckets *= 2;
  // Allocated before anything changes, so that a failure leaves the index whole.
  std::vector<std::uint32_t> heads(buckets, kEnd);
  heads_.swap(heads);
  chain();
}

void HashIndex::chain() {
  if (heads_.empty()) return;
  for (std::uint32_t& head : heads_) head = kEnd;
  // Backwards, each in front of its chain: every chain comes out ascending.
  for (std::size_t p = hashes_.size(); p-- > 0;) {
    std::uint32_t& head = headOf(hashes_[p]);
    next_[p] = head;
    head = static_cast<std::uint32_t>(p);
  }
}

}  // namespace store
}  // namespace Lumbrel
