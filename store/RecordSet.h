// The records of a DataFile in memory: an ordered sequence (file order, then
// insertion order) with constant-time access by position, and a hash index of
// the keys folded as compare folds them (A-Z onto a-z, cut at the first null
// unit), so that finding a key takes one probe of the index on average (and
// a binary search from a record's sequence number to its position).
//
// A record handed out by reference (at) may have its key changed by the
// caller at any time afterwards. Every record object the set holds knows the
// set and its own sequence number, so such a change is reported (keyChanged)
// and moves that record's one entry in the index: the index always holds
// every live record under its current key.
//
// Records loaded from a file stay in the file's bytes until someone needs the
// object: a record is built when it is handed out, and a record never built
// is written back as the bytes it was read from. So opening and closing a
// large file costs little more than reading and writing it.
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
#include "store/KeyIndex.h"
#include "store/StoreModel.h"

namespace Lumbrel {
namespace store {

// Hash of a key as compare sees it: ASCII letters folded, cut at the first
// null unit. Keys that compare equal hash equal.
std::uint64_t foldedKeyHash(const wstring& key);

class RecordSet : public StoreModel {
 public:
  RecordSet() = default;
  ~RecordSet() override;

  std::size_t size() const { return live; }
  // Deletes every record.
  void clear() override;
  // Replaces the records by those encoded in `bytes`, in order, without any
  // search for equal keys. Raises what the decoder raises; the records in
  // front of the damage are kept then.
  void load(ByteBuffer bytes, bool complete) override;
  // Takes ownership and appends, without any search.
  void append(std::unique_ptr<DataFile::Record> record);
  // Appends a copy unless a record with an equal key is stored; false then.
  bool insert(const DataFile::Record& record);
  // Deletes the first record in order with a key equal to `key`; false when
  // there is none.
  bool remove(const wstring& key);
  // The record at `index` (< size()), handed out for change.
  DataFile::Record& at(std::size_t index);
  // Called by a stored record whose key has just changed from one that
  // hashed to `before`.
  void keyChanged(const DataFile::Record& record, std::uint64_t before);

  // The file: runs of records never built refer to the bytes they were read
  // from, built ones are encoded into the image. Raises runtime_error
  // "failed to write to file" when a record's lengths do not fit the format.
  void compose(FileImage& image) override;
  // A data file is bytes, also when it is saved without having been opened.
  bool alwaysBinary() const override { return true; }

 private:
  enum class State : unsigned char { Encoded, Built, Removed };
  struct Slot {
    Slot(std::uint64_t number, DataFile::Record* built)
        : sequence(number), record(built), state(State::Built) {}
    Slot(std::uint64_t number, std::size_t at)
        : sequence(number), offset(at), state(State::Encoded) {}

    std::uint64_t sequence;  // ascending along `slots`, never reused
    union {
      DataFile::Record* record;  // owned, when Built
      std::size_t offset;        // of its bytes in `loaded`, when Encoded
    };
    State state;
  };

  std::uint64_t hashOf(const Slot& slot) const;
  bool keyEquals(const Slot& slot, const wstring& key) const;
  void build(Slot& slot);
  // Makes `record` report its key changes to this set.
  void adopt(DataFile::Record& record, std::uint64_t sequence);
  void buildIndex();
  void dropIndex();
  Slot* find(std::uint64_t sequence);
  void compact();
  // The sequence of the first record whose key equals `key`.
  bool search(const wstring& key, std::uint64_t hash, std::uint64_t& sequence);

  ByteBuffer loaded;  // the file's bytes, for Encoded records
  std::vector<Slot> slots;
  std::size_t live = 0;
  std::size_t holes = 0;
  std::uint64_t nextSequence = 0;
  // Built on the first search, so that a load and a close never pay for it.
  bool indexed = false;
  KeyIndex index;  // folded-key hash -> sequence, for every live record
};

}  // namespace store
}  // namespace Lumbrel

#endif  // LUMBREL_STORE_RECORD_SET_H
