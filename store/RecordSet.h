// The records of a DataFile in memory: an ordered sequence (file order, then
// insertion order) with constant-time access by position, and a hash index of
// the keys as compare sees them (store/HashIndex.h), so that finding a key
// takes one probe of the index on average.
//
// A record handed out by reference (at) may have its key changed by the
// caller at any time afterwards. Every record object the set holds knows the
// set and its own position, so such a change is reported (keyChanged) and
// moves that record in the index: the index always holds every live record
// under its current key.
//
// Records loaded from a file stay in the file's bytes until someone needs the
// object: a record is built when it is handed out, and a record never built
// is written back as the bytes it was read from. So opening and closing a
// large file costs little more than reading and writing it, and a record
// waiting in the file's bytes costs 8 bytes more. Once a quarter of those
// bytes belongs to records built or removed, the rest moves to a smaller
// buffer, so that a walk over every record does not hold the whole file
// beside the objects made of it.
//
// Removal leaves a hole that the next positional access closes, so removing
// many records costs one compaction, not one shift each.
//
// It is the DataFile's model (StoreModel), so the file's life is the one
// every store shares.
//
// Not thread-safe: DataFile calls it under its lock, and a key change through
// a handed-out record reaches it under whatever lock that record's user
// holds (a FileLock, when the DataFile is shared).
#ifndef LUMBREL_STORE_RECORD_SET_H
#define LUMBREL_STORE_RECORD_SET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "lumbrel/DataFile.h"
#include "store/ByteBuffer.h"
#include "store/HashIndex.h"
#include "store/RecordPool.h"
#include "store/StoreModel.h"

namespace Lumbrel {
namespace store {

class RecordSet : public StoreModel {
 public:
  RecordSet() = default;
  ~RecordSet() override;

  std::size_t size() const { return live_; }
  // Deletes every record.
  void clear() override;
  // Replaces the records by those encoded in `bytes`, in order, without any
  // search for equal keys. Raises what the decoder raises; the records in
  // front of the damage are kept then. After arriving(), goes on from the
  // records taken there.
  void arriving(const ByteBuffer& bytes) override;
  void load(ByteBuffer bytes, bool complete) override;
  // Appends a copy unless a record with an equal key is stored; false then.
  bool insert(const DataFile::Record& record);
  // Deletes the first record in order with a key equal to `key`; false when
  // there is none.
  bool remove(const wstring& key);
  // The record at `index` (< size()), handed out for change.
  DataFile::Record& at(std::size_t index);
  // Called by a stored record whose key has just changed.
  void keyChanged(const DataFile::Record& record);

  // The file: runs of records never built refer to the bytes they were read
  // from, built ones are encoded into the image. Raises runtime_error
  // "failed to write to file" when a record's lengths do not fit the format.
  void compose(FileImage& image) override;
  // A data file is bytes, also when it is saved without having been opened.
  bool alwaysBinary() const override { return true; }

 private:
  // A slot is a built record (its address, owned), a record still in the
  // loaded bytes (its offset there, shifted left by one, plus one), or a
  // hole that a removal left (0).
  using Slot = std::uint64_t;
  static bool isEncoded(Slot slot) { return (slot & 1) != 0; }
  static std::size_t offsetOf(Slot slot) { return static_cast<std::size_t>(slot >> 1); }
  static DataFile::Record* recordOf(Slot slot) {
    return reinterpret_cast<DataFile::Record*>(static_cast<std::uintptr_t>(slot));
  }
  static Slot slotOf(const DataFile::Record* record) {
    return reinterpret_cast<std::uintptr_t>(record);
  }

  // Takes the records that stand whole in the first `size` bytes behind
  // those taken already, of a file of `total` bytes. With `all` it takes
  // them all and raises the decoder's failure for what is left; without, it
  // stops at the first record that must be built as an object.
  void walk(const unsigned char* bytes, std::size_t size, std::size_t total, bool all);
  // Appends a record made by `pool`, which it then owns, without any search.
  void append(DataFile::Record* record);
  std::uint64_t hashOf(Slot slot) const;
  bool keyEquals(Slot slot, const wstring& key) const;
  DataFile::Record& build(std::size_t position);
  // Moves the bytes that records still wait in to a buffer of their own,
  // when enough of `loaded` is of no more use.
  void shed();
  void buildIndex();
  void dropIndex();
  void compact();
  // The position of the first record whose key equals `key`, or
  // HashIndex::kNone.
  std::size_t search(const wstring& key, std::uint64_t hash);

  ByteBuffer loaded_;  // the file's bytes, for records not built
  static constexpr std::size_t kShedAtLeast = 1 << 20;
  std::size_t walked_ = 0;  // bytes of them taken into records
  std::size_t unused_ = 0;  // bytes of them that no record waits in
  bool resuming_ = false;   // arriving() took records that load() goes on from
  std::vector<Slot> slots_;
  std::size_t live_ = 0;
  std::size_t holes_ = 0;
  std::size_t built_ = 0;  // records in `slots` that are objects
  // Built on the first search, so that a load and a close never pay for it.
  bool indexed_ = false;
  HashIndex index_;  // key hash -> position in `slots`, for every live record
  RecordPool pool_;  // where the built records live
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_RECORD_SET_H
