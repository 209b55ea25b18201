#include "store/RecordSet.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "store/DataFileFormat.h"
#include "store/FoldedHash.h"

namespace Lumbrel {
namespace store {
namespace {

unsigned short unitAt(const unsigned char* key, std::size_t i) {
  return static_cast<unsigned short>(key[2 * i] << 8 | key[2 * i + 1]);
}

// The fields of the record that starts at `at`.
// A little-endian 32-bit length field.
std::size_t lengthField(const unsigned char* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  // One load where the processor's order is the file's (the test folds away).
  const std::uint32_t probe = 1;
  unsigned char low;
  std::memcpy(&low, &probe, 1);
  if (low != 1) {
    value = static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
            static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
  }
  return value;
}

RecordView viewAt(const ByteBuffer& bytes, std::size_t at) {
  RecordDecoder decoder(bytes.data() + at, bytes.size() - at);
  RecordView view = decoder.next();
  view.offset = at;
  return view;
}

}  // namespace

RecordSet::~RecordSet() { clear(); }

void RecordSet::clear() {
  if (built_ != 0) {
    for (const Slot slot : slots_)
      if (slot != 0 && !isEncoded(slot)) pool_.destroy(recordOf(slot));
  }
  built_ = 0;
  pool_.release();
  std::vector<Slot>().swap(slots_);
  loaded_ = ByteBuffer();
  live_ = 0;
  holes_ = 0;
  walked_ = 0;
  unused_ = 0;
  resuming_ = false;
  dropIndex();
}

void RecordSet::arriving(const ByteBuffer& bytes) {
  resuming_ = true;
  walk(bytes.data(), bytes.size(), bytes.room(), false);
}

void RecordSet::load(ByteBuffer bytes, bool) {
  // Handed the bytes it saw arriving, it goes on where it stopped.
  if (!resuming_) clear();
  resuming_ = false;
  loaded_ = std::move(bytes);
  walk(loaded_.data(), loaded_.size(), loaded_.size(), true);
}

void RecordSet::walk(const unsigned char* bytes, std::size_t size, std::size_t total, bool all) {
  constexpr std::size_t kLength = 4;
  std::size_t at = walked_;
  std::size_t taken = 0;
  // Counted once at the end, or when leaving by an exception.
  struct Count {
    RecordSet& set;
    std::size_t& at;
    std::size_t& taken;
    ~Count() {
      set.live_ += taken;
      set.walked_ = at;
    }
  } count{*this, at, taken};
  while (size - at >= kLength) {
    const std::size_t keyBytes = lengthField(bytes + at);
    // Odd is damage however many bytes follow; the decoder below says so.
    if (keyBytes % 2 != 0 || size - at - kLength < keyBytes + kLength) break;
    const std::size_t dataAt = at + 2 * kLength + keyBytes;
    const std::size_t dataBytes = lengthField(bytes + dataAt - kLength);
    if (size - dataAt < dataBytes) break;
    const std::size_t record = 2 * kLength + keyBytes + dataBytes;
    // Room for as many records of the first one's size as the file holds,
    // though for no more than one every 16 bytes.
    if (slots_.empty()) slots_.reserve(total / std::max<std::size_t>(record, 16) + 1);
    if (keptAsRead(bytes + at + kLength, keyBytes)) {
      slots_.push_back(Slot{at} << 1 | 1);
      ++taken;
    } else {
      // A record that must be built, and may be refused, is left to load(),
      // which owns the bytes.
      if (!all) break;
      unused_ += record;
      live_ += taken;
      taken = 0;
      // Trimmed, or refused with "zero length key", by the record itself.
      append(pool_.make(decodeKey(bytes + at + kLength, keyBytes),
                       std::vector<unsigned char>(bytes + dataAt, bytes + dataAt + dataBytes)));
    }
    at = dataAt + dataBytes;
    // Each record's place follows from the lengths of the one before, a
    // chain of loads that the processor must wait for one by one. Records
    // of one size often follow each other: while they do, the places are
    // known ahead and the lengths there are only checked, which does not
    // hold the processor up.
    while (size - at >= record && lengthField(bytes + at) == keyBytes &&
           lengthField(bytes + at + kLength + keyBytes) == dataBytes &&
           keptAsRead(bytes + at + kLength, keyBytes)) {
      slots_.push_back(Slot{at} << 1 | 1);
      ++taken;
      at += record;
    }
  }
  // What is left is a record that more bytes may complete, or at the end a
  // damaged one: the decoder raises its failure.
  if (all && at != size) RecordDecoder(bytes + at, size - at).next();
}

void RecordSet::append(DataFile::Record* owned) {
  const std::size_t position = slots_.size();
  try {
    slots_.push_back(slotOf(owned));
  } catch (...) {
    pool_.destroy(owned);
    throw;
  }
  ++built_;
  owned->owner_ = this;
  owned->sequence_ = position;
  ++live_;
  if (!indexed_) return;
  try {
    index_.push(FoldedHash::of(owned->key_));
  } catch (...) {
    dropIndex();
  }
}

bool RecordSet::insert(const DataFile::Record& record) {
  if (search(record.getKey(), FoldedHash::of(record.getKey())) != HashIndex::kNone) return false;
  append(pool_.make(record));
  return true;
}

bool RecordSet::remove(const wstring& key) {
  const std::size_t position = search(key, FoldedHash::of(key));
  if (position == HashIndex::kNone) return false;
  index_.unlink(position);
  if (!isEncoded(slots_[position])) {
    pool_.destroy(recordOf(slots_[position]));
    --built_;
  } else {
    unused_ += viewAt(loaded_, offsetOf(slots_[position])).size;
  }
  slots_[position] = 0;
  --live_;
  ++holes_;
  // Holes are closed lazily by at(); past half the slots, close them here so
  // that a long run of removals keeps memory in line with the records.
  if (holes_ > slots_.size() / 2) compact();
  shed();
  return true;
}

DataFile::Record& RecordSet::at(std::size_t position) {
  if (holes_ != 0) compact();
  const Slot slot = slots_[position];
  return isEncoded(slot) ? build(position) : *recordOf(slot);
}

void RecordSet::keyChanged(const DataFile::Record& record) {
  if (indexed_) index_.relink(static_cast<std::size_t>(record.sequence_), FoldedHash::of(record.key_));
}

void RecordSet::compose(FileImage& image) {
  // Built records are encoded anew, and so is a record whose key holds a
  // null unit (written up to it); the rest go back as the bytes they were
  // read from.
  if (built_ != 0) {
    std::size_t own = 0;
    for (const Slot slot : slots_)
      if (slot != 0 && !isEncoded(slot)) own += encodedSize(*recordOf(slot));
    image.reserve(own);
  }
  for (const Slot slot : slots_) {
    if (isEncoded(slot)) {
      // Read whole when it was taken, so its lengths need no check.
      const unsigned char* record = loaded_.data() + offsetOf(slot);
      const std::size_t keyBytes = lengthField(record);
      const std::size_t size = 8 + keyBytes + lengthField(record + 4 + keyBytes);
      const std::size_t units = unitsBeforeNull(record + 4, keyBytes);
      if (2 * units == keyBytes) {
        image.refer(record, size);
      } else {
        // Cut as it stands, not trimmed again: what precedes the null unit
        // may end in a blank.
        const RecordView view = viewAt(loaded_, offsetOf(slot));
        DataFile::Record cut;
        cut.key_ = decodeKey(view.key, 2 * units);
        cut.data_.assign(view.data, view.data + view.dataBytes);
        encodeRecord(cut, image.extend(encodedSize(cut)));
      }
    } else if (slot != 0) {
      encodeRecord(*recordOf(slot), image.extend(encodedSize(*recordOf(slot))));
    }
  }
}

std::uint64_t RecordSet::hashOf(Slot slot) const {
  if (!isEncoded(slot)) return FoldedHash::of(recordOf(slot)->key_);
  const RecordView view = viewAt(loaded_, offsetOf(slot));
  FoldedHash hash;
  for (std::size_t i = 0; i < view.keyBytes / 2 && unitAt(view.key, i) != 0; ++i)
    hash.add(unitAt(view.key, i));
  return hash.value();
}

bool RecordSet::keyEquals(Slot slot, const wstring& key) const {
  if (!isEncoded(slot)) return compare(recordOf(slot)->key_, key) == 0;
  // As compare: up to the first null unit of either key.
  const RecordView view = viewAt(loaded_, offsetOf(slot));
  const std::size_t units = view.keyBytes / 2;
  const unsigned short* other = key.c_str();
  std::size_t i = 0;
  for (; i < units; ++i) {
    const unsigned short unit = unitAt(view.key, i);
    if (unit == 0) break;
    if (other[i] == 0 || FoldedHash::fold(other[i]) != FoldedHash::fold(unit)) return false;
  }
  return other[i] == 0;
}

DataFile::Record& RecordSet::build(std::size_t position) {
  const RecordView view = viewAt(loaded_, offsetOf(slots_[position]));
  // The key is one that Record's rules keep as it is.
  DataFile::Record* record = pool_.make();
  try {
    record->key_ = decodeKey(view.key, view.keyBytes);
    record->data_.assign(view.data, view.data + view.dataBytes);
  } catch (...) {
    pool_.destroy(record);
    throw;
  }
  record->owner_ = this;
  record->sequence_ = position;
  slots_[position] = slotOf(record);
  ++built_;
  unused_ += view.size;
  shed();
  return *record;
}

void RecordSet::shed() {
  // Past a quarter of the bytes, so that a walk over every record copies
  // about twice the file in all.
  if (unused_ < kShedAtLeast || 4 * unused_ < loaded_.size()) return;
  try {
    ByteBuffer kept(loaded_.size() - unused_);
    std::size_t at = 0;
    for (Slot& slot : slots_) {
      if (!isEncoded(slot)) continue;
      const RecordView view = viewAt(loaded_, offsetOf(slot));
      std::memcpy(kept.data() + at, loaded_.data() + view.offset, view.size);
      slot = Slot{at} << 1 | 1;
      at += view.size;
    }
    loaded_ = std::move(kept);
    unused_ = 0;
  } catch (const std::bad_alloc&) {
    // The bytes stay as they are: nothing was lost but the chance.
  }
}

void RecordSet::buildIndex() {
  if (holes_ != 0) compact();
  std::vector<std::uint32_t> hashes;
  hashes.reserve(slots_.size());
  for (const Slot slot : slots_) hashes.push_back(static_cast<std::uint32_t>(hashOf(slot)));
  index_.assign(hashes);
  indexed_ = true;
}

// The next search builds the index anew: after a load, which need not pay
// for it, or when memory ran out while indexing.
void RecordSet::dropIndex() {
  indexed_ = false;
  index_.clear();
}

void RecordSet::compact() {
  if (indexed_) index_.retain([this](std::size_t p) { return slots_[p] != 0; });
  std::size_t kept = 0;
  for (const Slot slot : slots_) {
    if (slot == 0) continue;
    if (!isEncoded(slot)) recordOf(slot)->sequence_ = kept;
    slots_[kept++] = slot;
  }
  slots_.resize(kept);
  holes_ = 0;
}

std::size_t RecordSet::search(const wstring& key, std::uint64_t hash) {
  if (!indexed_) {
    try {
      buildIndex();
    } catch (...) {
      dropIndex();
      throw;
    }
  }
  return index_.find(hash, [&](std::size_t position) { return keyEquals(slots_[position], key); });
}

}  // namespace store
}  // namespace Lumbrel
