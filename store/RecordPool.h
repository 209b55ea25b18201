// Storage for the records a RecordSet owns: blocks of many records instead
// of one allocation each. A record then costs its own size and no more (an
// allocation of its own adds 16 bytes to its 80), records made one after
// the other lie side by side, and dropping a set frees a few blocks instead
// of every record. A place freed by a removal is reused by the next record.
//
// Not thread-safe; the set calls it under its owner's lock.
#ifndef LUMBREL_STORE_RECORD_POOL_H
#define LUMBREL_STORE_RECORD_POOL_H

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "lumbrel/DataFile.h"

namespace Lumbrel {
namespace store {

class RecordPool {
 public:
  RecordPool() = default;
  RecordPool(const RecordPool&) = delete;
  RecordPool& operator=(const RecordPool&) = delete;

  // Makes a record of `arguments` in a free place; raises what the
  // record's constructor or the allocation raises, and keeps nothing then.
  template <class... Arguments>
  DataFile::Record* make(Arguments&&... arguments) {
    Place* place = take();
    try {
      return new (place->bytes) DataFile::Record(std::forward<Arguments>(arguments)...);
    } catch (...) {
      giveBack(place);
      throw;
    }
  }

  // Destroys a record made here and frees its place.
  void destroy(DataFile::Record* record) noexcept {
    record->~Record();
    giveBack(reinterpret_cast<Place*>(record));
  }

  // Frees every block; every record made here must be destroyed already.
  void release() noexcept {
    std::vector<std::unique_ptr<Place[]>>().swap(blocks_);
    free_ = nullptr;
    left_ = 0;
  }

 private:
  static constexpr std::size_t kBlock = 256;  // records a block

  union Place {
    Place* next;  // while free
    alignas(DataFile::Record) unsigned char bytes[sizeof(DataFile::Record)];
  };

  Place* take() {
    if (free_ != nullptr) {
      Place* place = free_;
      free_ = place->next;
      return place;
    }
    if (left_ == 0) {
      blocks_.reserve(blocks_.size() + 1);
      blocks_.push_back(std::unique_ptr<Place[]>(new Place[kBlock]));
      left_ = kBlock;
    }
    return &blocks_.back()[kBlock - left_--];
  }

  void giveBack(Place* place) noexcept {
    place->next = free_;
    free_ = place;
  }

  std::vector<std::unique_ptr<Place[]>> blocks_;
  Place* free_ = nullptr;
  std::size_t left_ = 0;  // places never used at the end of the last block
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_RECORD_POOL_H
