#include "store/HashIndex.h"

#include <new>

namespace Lumbrel {
namespace store {
namespace {

// Two values of a 32-bit position mark the ends of chains; an index that
// would need more fails as one that runs out of memory.
void checkRoom(std::size_t positions) {
  if (positions >= 0xFFFFFFFEu) throw std::bad_alloc();
}

}  // namespace

void HashIndex::clear() {
  std::vector<Link>().swap(links_);
  std::vector<std::uint32_t>().swap(heads_);
}

std::size_t HashIndex::bucketsFor(std::size_t positions) {
  std::size_t buckets = 1;
  while (2 * buckets < positions) buckets *= 2;
  return buckets;
}

void HashIndex::assign(const std::vector<std::uint32_t>& hashes) {
  checkRoom(hashes.size());
  // Allocated before anything changes.
  std::vector<Link> links(hashes.size());
  std::vector<std::uint32_t> heads(bucketsFor(hashes.size()));
  for (std::size_t p = 0; p < hashes.size(); ++p) links[p].hash = hashes[p];
  links_.swap(links);
  heads_.swap(heads);
  chain();
}

void HashIndex::push(std::uint64_t hash) {
  checkRoom(links_.size() + 1);
  const auto position = static_cast<std::uint32_t>(links_.size());
  if (links_.size() + 1 > 2 * heads_.size()) {
    std::vector<std::uint32_t> heads(bucketsFor(links_.size() + 1));
    links_.push_back(Link{static_cast<std::uint32_t>(hash), kOut});
    heads_.swap(heads);
    chain();
  } else {
    links_.push_back(Link{static_cast<std::uint32_t>(hash), kOut});
    enter(position);
  }
}

void HashIndex::unlink(std::size_t position) {
  const auto p = static_cast<std::uint32_t>(position);
  if (links_[p].next == kOut) return;
  std::uint32_t* link = &headOf(links_[p].hash);
  while (*link != p) link = &links_[*link].next;
  *link = links_[p].next;
  links_[p].next = kOut;
}

void HashIndex::relink(std::size_t position, std::uint64_t hash) {
  unlink(position);
  links_[position].hash = static_cast<std::uint32_t>(hash);
  enter(static_cast<std::uint32_t>(position));
}

void HashIndex::enter(std::uint32_t position) {
  std::uint32_t* link = &headOf(links_[position].hash);
  while (*link != kEnd && *link < position) link = &links_[*link].next;
  links_[position].next = *link;
  *link = position;
}

void HashIndex::chain() {
  if (heads_.empty()) return;
  for (std::uint32_t& head : heads_) head = kEnd;
  // Backwards, each in front of its chain: every chain comes out ascending.
  for (std::size_t p = links_.size(); p-- > 0;) {
    std::uint32_t& head = headOf(links_[p].hash);
    links_[p].next = head;
    head = static_cast<std::uint32_t>(p);
  }
}

}  // namespace store
}  // namespace Lumbrel
