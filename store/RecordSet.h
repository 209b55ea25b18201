// The records of a DataFile in memory: an ordered sequence (file order, then
// insertion order) with constant-time access by position, and a hash index of
// the keys folded as compare folds them (A-Z onto a-z, cut at the first null
// unit), so that finding a key takes constant time on average.
//
// A record handed out by reference (at) may have its key changed by the
// caller at any time afterwards. Such a record leaves the index and joins a
// short list of "exposed" records that every search also walks: the index
// only ever holds keys that no one outside can have changed.
//
// Removal leaves a hole that the next positional access closes, so removing
// many records costs one compaction, not one shift each.
//
// Not thread-safe: DataFile calls it under its lock.
#ifndef LUMBREL_STORE_RECORD_SET_H
#define LUMBREL_STORE_RECORD_SET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "lumbrel/DataFile.h"

namespace Lumbrel {
namespace store {

// Hash of a key as compare sees it: ASCII letters folded, cut at the first
// null unit. Keys that compare equal hash equal.
std::size_t foldedKeyHash(const wstring& key);

class RecordSet {
 public:
  RecordSet() = default;
  ~RecordSet();
  RecordSet(const RecordSet&) = delete;
  RecordSet& operator=(const RecordSet&) = delete;

  std::size_t size() const { return live; }
  // Deletes every record.
  void clear();
  // Takes ownership and appends, without any search: what a load does.
  void append(std::unique_ptr<DataFile::Record> record);
  // Appends a copy unless a record with an equal key is stored; false then.
  bool insert(const DataFile::Record& record);
  // Deletes the first record in order with a key equal to `key`; false when
  // there is none.
  bool remove(const wstring& key);
  // The record at `index` (< size()), handed out for change.
  DataFile::Record& at(std::size_t index);

  // Calls `visit` on every record in order without handing any out.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (const Slot& slot : slots)
      if (slot.record != nullptr) visit(static_cast<const DataFile::Record&>(*slot.record));
  }

 private:
  struct Slot {
    std::uint64_t sequence;  // ascending along `slots`, never reused
    DataFile::Record* record;  // owned; null once removed
    bool exposed;
  };
  using Index = std::unordered_multimap<std::size_t, std::uint64_t>;

  void buildIndex();
  Slot* find(std::uint64_t sequence);
  void compact();
  // The sequence of the first record whose key equals `key`; in `indexed`
  // the index entry when it was found there, else end().
  bool search(const wstring& key, std::uint64_t& sequence, Index::iterator& indexed);

  std::vector<Slot> slots;
  std::size_t live = 0;
  std::size_t holes = 0;
  std::uint64_t nextSequence = 0;
  // Built on the first search, so that a load and a close never pay for it.
  bool indexed = false;
  Index index;  // folded-key hash -> sequence, for records not exposed
  std::vector<std::uint64_t> exposed;  // sequences of exposed live records
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_RECORD_SET_H
